// The zoom keys on the real window: they reach the web view and the site's
// remembered level, and Ctrl+0 is actual size rather than a pin.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include "chrome/gtk/browser_window.h"
#include "core/browser.h"
#include "engine/support/engine_support.h"
#include "engine/support/journey.h"
#include "page/site_zoom.h"
#include "page/webkit/webkit_engine.h"
#include "support/temp_home.h"
#include "support/test_server.h"

namespace quillo {
namespace {

using namespace std::chrono_literals;


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
  ASSERT_TRUE(test::xdotool("key ctrl+equal"));
  EXPECT_TRUE(zoomBecomes(1.1));
  ASSERT_TRUE(test::xdotool("key ctrl+plus"));
  EXPECT_TRUE(zoomBecomes(1.2));
  EXPECT_DOUBLE_EQ(zoom->level(site, false), 1.2);
  ASSERT_TRUE(test::xdotool("key ctrl+minus"));
  EXPECT_TRUE(zoomBecomes(1.1));
  ASSERT_TRUE(test::xdotool("key ctrl+0"));
  EXPECT_TRUE(zoomBecomes(1.0));
  EXPECT_TRUE(zoom->saved().empty());
  EXPECT_EQ(browser->current(), page);
}

}  // namespace
}  // namespace quillo
