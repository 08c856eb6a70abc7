// Filling a login the way a user does, by keys in the real window: the
// login scope lists the site's logins from the tests' stand-in for the
// 1Password tool, and Return fills the highlighted one into the page.
// With QUILLO_SCREENSHOT_DIR set, pictures of each step are saved there.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include "chrome/gtk/browser_window.h"
#include "core/browser.h"
#include "engine/support/engine_support.h"
#include "features/one_password_logins.h"
#include "page/webkit/webkit_engine.h"
#include "palette/gtk/palette_view.h"
#include "support/fake_op.h"
#include "support/test_server.h"

namespace quillo {
namespace {

using namespace std::chrono_literals;

// Sends keys without blocking the main loop (a blocked loop loses keys).
void press(const std::string& arguments) {
  gchar** argv = nullptr;
  g_shell_parse_argv(("xdotool " + arguments).c_str(), nullptr, &argv, nullptr);
  GPid pid = 0;
  ASSERT_TRUE(g_spawn_async(nullptr, argv, nullptr, GSpawnFlags(G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD),
                            nullptr, nullptr, &pid, nullptr));
  g_strfreev(argv);
  bool exited = false;
  g_child_watch_add(pid, [](GPid, int, gpointer done) { *static_cast<bool*>(done) = true; }, &exited);
  ASSERT_TRUE(test::runUntil([&] { return exited; }, 10s));
  test::runFor(150ms);
}

void screenshot(const std::string& name) {
  const char* folder = g_getenv("QUILLO_SCREENSHOT_DIR");
  if (!folder || !*folder) return;
  test::runFor(300ms);  // let the last frame reach the screen
  std::string command = "import -window root " + std::string(folder) + "/" + name + ".png";
  g_spawn_command_line_sync(command.c_str(), nullptr, nullptr, nullptr, nullptr);
}

class LoginJourney : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!g_find_program_in_path("xdotool")) GTEST_SKIP() << "xdotool is not installed";
    test::ensureGtk();
    server.html("/login",
                "<!doctype html><title>Router sign-in</title><style>body{font:16px sans-serif;margin:40px}"
                "input{display:block;margin:8px 0;padding:6px;width:280px}</style><h1>Router</h1>"
                "<form action='/in'><label>User <input id=user name=username></label>"
                "<label>Password <input id=pass type=password name=password></label><button>Sign in</button></form>");
    browser->settleBlockLists();
    browser->attach(logins);
    window = std::make_unique<BrowserWindow>(*browser);
    if (auto* list = findPaletteList(*window)) {
      PaletteView::Services services;
      services.loginNotice = [this] { return logins.notice(); };
      list->setServices(services);
    }
    window->set_default_size(1000, 700);
    window->present();
    ASSERT_TRUE(test::runUntil([&] { return window->get_mapped(); }));
    press("mousemove 400 300");
    page = browser->makePage(false);
    page->load(*Url::parse(server.url("/login")));
    browser->add(page, true);
    ASSERT_TRUE(test::runUntil([&] { return !page->isLoading.get() && page->title.get() == "Router sign-in"; }));
  }
  void TearDown() override {
    window.reset();
    page.reset();
    test::runFor(50ms);
  }

  std::string field(const std::string& id) {
    auto answer = test::evaluateAndWait(page->webView(), "document.getElementById('" + id + "').value");
    return answer.result && answer.result->is_string() ? answer.result->get<std::string>() : "";
  }
  // Ctrl+E, "/login", then into the scope. Tab enters a scoped command from
  // the command list; Return on "/login" hands the keyboard to the page at
  // present, so the journey uses Tab.
  void openLoginScope() {
    press("key ctrl+e");
    press("type --delay 60 /login");
    ASSERT_TRUE(test::runUntil([&] { return browser->query.get() == "/login"; }, 5s)) << browser->query.get();
    press("key Tab");
    ASSERT_TRUE(test::runUntil([&] { return browser->isChoosingLogin(); }, 5s));
  }
  bool listShows(const std::string& notice) {
    auto* list = findPaletteList(*window);
    if (!list || !list->get_visible()) return false;
    for (const auto& entry : list->entries())
      if (auto* shown = entry.as<PaletteList::Entry::Notice>(); shown && shown->text == notice) return true;
    return false;
  }

  test::FakeOp op;
  GLibScheduler scheduler;
  test::TestServer server;
  std::unique_ptr<Browser> browser = std::make_unique<Browser>(test::sharedEngine(), scheduler);
  OnePassword::Tool tool{scheduler};
  OnePasswordLogins logins{*browser, tool};
  std::unique_ptr<BrowserWindow> window;
  PagePtr page;
};

TEST_F(LoginJourney, DownAndReturnFillTheSecondLoginIntoThePage) {
  openLoginScope();
  auto* list = findPaletteList(*window);
  ASSERT_TRUE(test::runUntil([&] { return browser->results().size() == 3 && list->rows().size() >= 3; }, 10s))
      << logins.notice().value_or("");
  EXPECT_FALSE(logins.notice());
  screenshot("login-scope");
  press("key Down");
  ASSERT_EQ(browser->selectedResult.get(), std::optional<int>(1));
  press("key Return");
  ASSERT_TRUE(test::runUntil([&] { return field("pass") == "b4ckup-p@ss"; }, 10s)) << browser->flash.get().value_or("");
  EXPECT_EQ(field("user"), "backup");
  EXPECT_FALSE(browser->scope.get()) << "the palette closed";
  screenshot("after-filling");
}

TEST_F(LoginJourney, TheToolsTroubleIsTheScopesNotice) {
  op.fail("[ERROR] account is not signed in\n");
  openLoginScope();
  ASSERT_TRUE(test::runUntil([&] { return listShows("[ERROR] account is not signed in"); }, 10s))
      << logins.notice().value_or("");
  screenshot("notice");
  press("key Escape");
  EXPECT_TRUE(test::runUntil([&] { return !browser->scope.get(); }, 5s));
}

}  // namespace
}  // namespace quillo
