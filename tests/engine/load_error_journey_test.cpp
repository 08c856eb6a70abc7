// A user types the address of a site that is not there: the window shows
// the error view in place of the page (read here through accessibility, as
// a screen reader would), "Try Again" is pressed with the keyboard, and the
// failed address never reaches history.
#include <gtest/gtest.h>
#include <gtkmm.h>

#include "chrome/gtk/browser_window.h"
#include "core/browser.h"
#include "engine/support/engine_support.h"
#include "engine/support/journey.h"
#include "page/webkit/webkit_engine.h"
#include "support/test_server.h"

namespace quillo::test {
namespace {

using namespace std::chrono_literals;


// Drawn widgets under root with this accessible role, depth first.
void collect(GtkWidget* root, GtkAccessibleRole role, std::vector<GtkWidget*>& out) {
  for (GtkWidget* child = gtk_widget_get_first_child(root); child; child = gtk_widget_get_next_sibling(child)) {
    if (!gtk_widget_get_visible(child)) continue;
    if (gtk_test_accessible_has_role(GTK_ACCESSIBLE(child), role)) out.push_back(child);
    collect(child, role, out);
  }
}

class LoadErrorJourney : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!g_find_program_in_path("xdotool")) GTEST_SKIP() << "xdotool is not installed";
    const char* a11y = g_getenv("GTK_A11Y");
    savedA11y_ = a11y ? std::optional<std::string>(a11y) : std::nullopt;
    g_setenv("GTK_A11Y", "test", TRUE);
    ensureGtk();
    server.html("/start.html", "<title>Start</title><p>start</p>");
    browser = std::make_unique<Browser>(sharedEngine(), scheduler);
    browser->settleBlockLists();
    browser->recordVisit = [this](const Url& url) { visits.push_back(url.str()); };
    window = std::make_unique<BrowserWindow>(*browser);
    window->set_default_size(1000, 700);
    window->present();
    ASSERT_TRUE(runUntil([&] { return window->get_mapped(); }));
    ASSERT_TRUE(xdotool("mousemove 500 400"));
    auto page = browser->makePage(false);
    page->load(*Url::parse(server.url("/start.html")));
    browser->add(page, true);
    ASSERT_TRUE(runUntil([&] { return page->title.get() == "Start" && !page->isLoading.get(); }));
  }
  void TearDown() override {
    window.reset();
    browser.reset();
    runFor(50ms);
    if (savedA11y_)
      g_setenv("GTK_A11Y", savedA11y_->c_str(), TRUE);
    else
      g_unsetenv("GTK_A11Y");
  }
  std::vector<GtkWidget*> shown(GtkAccessibleRole role) {
    std::vector<GtkWidget*> found;
    collect(GTK_WIDGET(window->pageStage().gobj()), role, found);
    return found;
  }

  GLibScheduler scheduler;
  TestServer server;
  std::unique_ptr<Browser> browser;
  std::unique_ptr<BrowserWindow> window;
  std::vector<std::string> visits;
  std::optional<std::string> savedA11y_;
};

TEST_F(LoadErrorJourney, AClosedPortShowsTheErrorTryAgainByKeyboardAndNoHistory) {
  int port = TestServer().port();  // closed again at once
  std::string typed = "127.0.0.1:" + std::to_string(port) + "/nothing-here";
  ASSERT_TRUE(xdotool("key ctrl+e"));
  ASSERT_TRUE(xdotool("type --delay 40 " + typed));
  ASSERT_TRUE(xdotool("key Return"));
  auto page = browser->current();
  ASSERT_TRUE(runUntil([&] { return page->loadError.get().has_value(); }, 10s));
  runFor(200ms);

  // What a screen reader finds where the page was.
  auto headings = shown(GTK_ACCESSIBLE_ROLE_HEADING);
  ASSERT_EQ(headings.size(), 1u);
  EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(headings[0])), "Couldn't open 127.0.0.1");
  auto buttons = shown(GTK_ACCESSIBLE_ROLE_BUTTON);
  std::vector<std::string> labels;
  for (auto* button : buttons) labels.push_back(gtk_button_get_label(GTK_BUTTON(button)));
  EXPECT_EQ(labels, std::vector<std::string>{"Try Again"}) << "no HTTP offer for a local address";
  std::vector<GtkWidget*> texts;
  collect(GTK_WIDGET(window->pageStage().errorView().gobj()), GTK_ACCESSIBLE_ROLE_LABEL, texts);
  bool explained = false;
  for (auto* label : texts)
    explained |= std::string(gtk_label_get_text(GTK_LABEL(label))).find("refused") != std::string::npos;
  EXPECT_TRUE(explained) << "the engine's message is shown";
  EXPECT_TRUE(window->pageStage().errorView().retryButton().has_focus()) << "the keyboard is on Try Again";

  int attempts = 0;
  page->loadError.changed().connect([&] {
    if (!page->loadError.get()) ++attempts;
  });
  ASSERT_TRUE(xdotool("key Return"));
  ASSERT_TRUE(runUntil([&] { return attempts == 1 && page->loadError.get().has_value(); }, 10s))
      << "tried again and failed again";
  EXPECT_EQ(page->loadError.get()->url, Url::parse("http://" + typed));

  EXPECT_EQ(visits, std::vector<std::string>{server.url("/start.html")}) << "the failed address is no visit";
  EXPECT_EQ(page->url.get(), Url::parse(server.url("/start.html"))) << "the page behind is unchanged";
}

}  // namespace
}  // namespace quillo::test
