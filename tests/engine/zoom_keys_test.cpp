// The zoom keys on the real window: they reach the web view and the site's
// remembered level, and Ctrl+0 is actual size rather than a pin.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include "chrome/gtk/browser_window.h"
#include "core/browser.h"
#include "engine/support/engine_support.h"
#include "page/site_zoom.h"
#include "page/webkit/webkit_engine.h"
#include "support/temp_home.h"
#include "support/test_server.h"

namespace quillo {
namespace {

using namespace std::chrono_literals;

// Runs xdotool without blocking the main loop, so the window sees every key.
bool press(const std::string& keys) {
  gchar* argv[] = {const_cast<gchar*>("xdotool"), const_cast<gchar*>("key"), const_cast<gchar*>(keys.c_str()),
                   nullptr};
  GPid pid = 0;
  if (!g_spawn_async(nullptr, argv, nullptr, GSpawnFlags(G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD), nullptr,
                     nullptr, &pid, nullptr))
    return false;
  bool exited = false;
  g_child_watch_add(pid, [](GPid, int, gpointer done) { *static_cast<bool*>(done) = true; }, &exited);
  bool ok = test::runUntil([&] { return exited; }, 10s);
  test::runFor(150ms);
  return ok;
}

class ZoomKeys : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!g_find_program_in_path("xdotool")) GTEST_SKIP() << "xdotool is not installed";
    test::ensureGtk();
    server.html("/page.html", "<title>Zoomed</title><p>text</p>");
    zoom = std::make_unique<SiteZoom>();
    browser = std::make_unique<Browser>(test::sharedEngine(), scheduler);
    browser->settleBlockLists();
    browser->attach(*zoom);
    window = std::make_unique<BrowserWindow>(*browser);
    window->present();
    ASSERT_TRUE(test::runUntil([&] { return window->get_mapped(); }));
    page = browser->makePage(false);
    page->load(*Url::parse(server.url("/page.html")));
    browser->add(page, true);
    ASSERT_TRUE(test::runUntil([&] { return !page->isLoading.get() && !page->title.get().empty(); }));
  }
  void TearDown() override {
    page.reset();
    window.reset();
    browser.reset();
    test::runFor(50ms);
  }
  bool zoomBecomes(double level) {
    return test::runUntil([&] { return std::abs(page->webView().zoom() - level) < 1e-9; }, 5s);
  }

  test::TempHome home;
  GLibScheduler scheduler;
  test::TestServer server;
  std::unique_ptr<SiteZoom> zoom;
  std::unique_ptr<Browser> browser;
  std::unique_ptr<BrowserWindow> window;
  PagePtr page;
};

TEST_F(ZoomKeys, CtrlEqualsPlusMinusAndZero) {
  auto site = *SiteZoom::site(page->url.get());
  ASSERT_TRUE(press("ctrl+equal"));
  EXPECT_TRUE(zoomBecomes(1.1));
  ASSERT_TRUE(press("ctrl+plus"));
  EXPECT_TRUE(zoomBecomes(1.2));
  EXPECT_DOUBLE_EQ(zoom->level(site, false), 1.2);
  ASSERT_TRUE(press("ctrl+minus"));
  EXPECT_TRUE(zoomBecomes(1.1));
  ASSERT_TRUE(press("ctrl+0"));
  EXPECT_TRUE(zoomBecomes(1.0));
  EXPECT_TRUE(zoom->saved().empty());
  EXPECT_EQ(browser->current(), page);
}

}  // namespace
}  // namespace quillo
