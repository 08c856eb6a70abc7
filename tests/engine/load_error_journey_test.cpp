// A user types the address of a site that is not there: the window shows
// the error view in place of the page (read here through accessibility, as
// a screen reader would), "Try Again" is pressed with the keyboard, the
// failed address never reaches history, and the next address typed loads.
#include <gtest/gtest.h>
#include <gtkmm.h>

#include "engine/support/engine_support.h"
#include "engine/support/journey.h"

namespace quillo::test {
namespace {

using namespace std::chrono_literals;

using LoadErrorJourney = Journey;

TEST_F(LoadErrorJourney, AClosedPortShowsTheErrorTryAgainByKeyboardAndNoHistory) {
  auto page = openPage("/alpha.html");
  int port = TestServer().port();  // closed again at once
  std::string typed = "127.0.0.1:" + std::to_string(port) + "/nothing-here";
  key("ctrl+e");
  type(typed);
  key("Return");
  ASSERT_TRUE(waitFor([&] { return page->loadError.get().has_value(); }, 10s));
  runFor(200ms);

  // What a screen reader finds where the page was.
  auto* stage = GTK_WIDGET(window->pageStage().gobj());
  auto headings = withRole(stage, GTK_ACCESSIBLE_ROLE_HEADING);
  ASSERT_EQ(headings.size(), 1u);
  EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(headings[0])), "Couldn't open 127.0.0.1");
  std::vector<std::string> labels;
  for (auto* button : withRole(stage, GTK_ACCESSIBLE_ROLE_BUTTON))
    labels.push_back(gtk_button_get_label(GTK_BUTTON(button)));
  EXPECT_EQ(labels, std::vector<std::string>{"Try Again"}) << "no HTTP offer for a local address";
  bool explained = false;
  for (auto* label : withRole(GTK_WIDGET(window->pageStage().errorView().gobj()), GTK_ACCESSIBLE_ROLE_LABEL))
    explained |= std::string(gtk_label_get_text(GTK_LABEL(label))).find("refused") != std::string::npos;
  EXPECT_TRUE(explained) << "the engine's message is shown";
  EXPECT_TRUE(window->pageStage().errorView().retryButton().has_focus()) << "the keyboard is on Try Again";

  int attempts = 0;
  page->loadError.changed().connect([&] {
    if (!page->loadError.get()) ++attempts;
  });
  key("Return");
  ASSERT_TRUE(waitFor([&] { return attempts == 1 && page->loadError.get().has_value(); }, 10s))
      << "tried again and failed again";
  EXPECT_EQ(page->loadError.get()->url, Url::parse("http://" + typed));

  EXPECT_TRUE(waitFor([&] { return history->find(*Url::parse(url("/alpha.html"))) != nullptr; }));
  EXPECT_EQ(history->find(*Url::parse("http://" + typed)), nullptr) << "the failed address is no visit";
  EXPECT_EQ(page->url.get(), Url::parse(url("/alpha.html"))) << "the page behind is unchanged";

  key("ctrl+e");
  type(url("/beta.html"));
  key("Return");
  EXPECT_TRUE(waitFor([&] {
    return address() == url("/beta.html") && !page->loadError.get() && withRole(stage, GTK_ACCESSIBLE_ROLE_HEADING).empty();
  })) << "the error goes with the next load";
  EXPECT_TRUE(waitFor([&] { return history->find(*Url::parse(url("/beta.html"))) != nullptr; }));
}

}  // namespace
}  // namespace quillo::test
