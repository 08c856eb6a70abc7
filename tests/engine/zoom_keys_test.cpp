// The zoom keys on the real window: they reach the web view and the site's
// remembered level, and Ctrl+0 is actual size rather than a pin.
#include <gtest/gtest.h>

#include "engine/support/engine_support.h"
#include "engine/support/journey.h"
#include "page/site_zoom.h"

namespace quillo::test {
namespace {

using namespace std::chrono_literals;

class ZoomKeys : public Journey {
 protected:
  SiteZoom zoom;  // outlives the browser, which Journey's TearDown ends
};

TEST_F(ZoomKeys, CtrlEqualsPlusMinusAndZero) {
  browser->attach(zoom);
  auto page = openPage("/alpha.html");
  auto zoomBecomes = [&](double level) {
    return waitFor([&] { return std::abs(page->webView().zoom() - level) < 1e-9; }, 5s);
  };
  auto site = *SiteZoom::site(page->url.get());
  key("ctrl+equal");
  EXPECT_TRUE(zoomBecomes(1.1));
  key("ctrl+plus");
  EXPECT_TRUE(zoomBecomes(1.2));
  EXPECT_DOUBLE_EQ(zoom.level(site, false), 1.2);
  key("ctrl+minus");
  EXPECT_TRUE(zoomBecomes(1.1));
  key("ctrl+0");
  EXPECT_TRUE(zoomBecomes(1.0));
  EXPECT_TRUE(zoom.saved().empty());
  EXPECT_EQ(browser->current(), page);
}

}  // namespace
}  // namespace quillo::test
