// The real window driven by real key presses (xdotool under Xvfb), checked
// through the model and the address field.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include "chrome/gtk/browser_window.h"
#include "core/browser.h"
#include "engine/support/engine_support.h"
#include "page/webkit/webkit_engine.h"
#include "support/temp_home.h"
#include "support/test_server.h"

namespace quillo {
namespace {

using namespace std::chrono_literals;

// Sends keys without blocking the main loop: a blocked loop loses the first
// key of each burst.
void press(const std::string& arguments) {
  std::string command = "xdotool " + arguments;
  GError* error = nullptr;
  int status = -1;
  GPid pid = 0;
  gchar** argv = nullptr;
  g_shell_parse_argv(command.c_str(), nullptr, &argv, nullptr);
  ASSERT_TRUE(g_spawn_async(nullptr, argv, nullptr, GSpawnFlags(G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD),
                            nullptr, nullptr, &pid, &error));
  g_strfreev(argv);
  bool exited = false;
  g_child_watch_add(pid, [](GPid, int code, gpointer done) {
    *static_cast<bool*>(done) = true;
    (void)code;
  }, &exited);
  ASSERT_TRUE(test::runUntil([&] { return exited; }, 10s));
  (void)status;
  test::runFor(150ms);  // let the window handle what arrived
}

class WindowKeys : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!g_find_program_in_path("xdotool")) GTEST_SKIP() << "xdotool is not installed";
    test::ensureGtk();
    server.html("/alpha.html", "<title>Alpha page</title><p>alpha</p>");
    server.html("/beta.html", "<title>Beta page</title><p>beta</p>");
    browser = std::make_unique<Browser>(test::sharedEngine(), scheduler);
    browser->settleBlockLists();
    window = std::make_unique<BrowserWindow>(*browser);
    window->set_default_size(1000, 700);
    window->present();
    ASSERT_TRUE(test::runUntil([&] { return window->get_mapped(); }));
    press("mousemove 400 300");
    open("/alpha.html");
    open("/beta.html");
  }
  void TearDown() override {
    window.reset();
    browser.reset();
    test::runFor(50ms);
  }
  void open(const std::string& path) {
    auto page = browser->makePage(false);
    page->load(*Url::parse(server.url(path)));
    browser->add(page, true);
    ASSERT_TRUE(test::runUntil([&] { return !page->isLoading.get() && !page->title.get().empty(); }));
  }
  std::string fieldText() { return window->addressBar().entry().get_text(); }

  GLibScheduler scheduler;
  test::TestServer server;
  std::unique_ptr<Browser> browser;
  std::unique_ptr<BrowserWindow> window;
};

TEST_F(WindowKeys, CtrlEThenTypingSearchesTheTabs) {
  press("key ctrl+e");
  EXPECT_TRUE(test::runUntil([&] {
    auto* focus = window->get_focus();
    return focus && focus->is_ancestor(window->addressBar().entry());
  }, 5s));
  EXPECT_TRUE(browser->query->empty()) << "the shown address is not a search";
  press("type --delay 60 alpha");
  ASSERT_TRUE(test::runUntil([&] { return browser->query.get() == "alpha"; }, 5s)) << browser->query.get();
  auto rows = browser->results();
  ASSERT_FALSE(rows.empty());
  ASSERT_TRUE(rows.front().tab());
  EXPECT_EQ((*rows.front().tab())->title.get(), "Alpha page");
  press("key Escape");
  EXPECT_TRUE(test::runUntil([&] { return browser->query->empty(); }, 5s));
}

TEST_F(WindowKeys, SlashListsTheCommands) {
  press("key ctrl+e");
  press("key slash");
  ASSERT_TRUE(test::runUntil([&] { return browser->isChoosingCommand(); }, 5s)) << browser->query.get();
  EXPECT_EQ(browser->results().size(), 15u);
  EXPECT_EQ(fieldText(), "/");
}

TEST_F(WindowKeys, TabOpensAScopeAndBackspaceLeavesItWithItsName) {
  press("key ctrl+e");
  press("type --delay 60 /hist");
  press("key Tab");
  ASSERT_TRUE(test::runUntil([&] { return browser->scope.get() == PaletteCommand::history; }, 5s));
  EXPECT_EQ(fieldText(), "");
  press("key BackSpace");
  ASSERT_TRUE(test::runUntil([&] { return !browser->scope.get(); }, 5s));
  EXPECT_EQ(fieldText(), "/history");
}

TEST_F(WindowKeys, CtrlDPinsAndCtrl1OpensThePin) {
  auto beta = browser->current();
  press("key ctrl+d");
  ASSERT_TRUE(test::runUntil([&] { return browser->pins->size() == 1; }, 5s));
  open("/alpha.html");
  ASSERT_NE(browser->current(), beta);
  press("key ctrl+1");
  ASSERT_TRUE(test::runUntil([&] {
    auto page = browser->current();
    return page && page->savedURL() && page->savedURL()->str() == server.url("/beta.html");
  }, 5s));
}

TEST_F(WindowKeys, CtrlIRenamesTheTab) {
  press("key ctrl+i");
  ASSERT_TRUE(test::runUntil([&] { return browser->renamingID.get().has_value(); }, 5s));
  press("type --delay 60 Reading");
  press("key Return");
  ASSERT_TRUE(test::runUntil([&] { return browser->current()->customName.get() == std::optional<std::string>("Reading"); }, 5s));
  EXPECT_FALSE(browser->renamingID.get());
}

}  // namespace
}  // namespace quillo
