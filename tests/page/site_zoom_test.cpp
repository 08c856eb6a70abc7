// Zoom levels remembered per site: the store, its file, and pages following it.
#include "page/site_zoom.h"

#include <gtest/gtest.h>

#include <fstream>

#include "browser/browser.h"
#include "core/app_support.h"
#include "support/fake_filter_store.h"
#include "support/fake_web_view.h"
#include "support/temp_home.h"
#include "support/virtual_scheduler.h"

namespace quillo {
namespace {

std::optional<std::string> siteOf(const char* address) { return SiteZoom::site(Url::parse(address)); }

TEST(SiteZoomRules, SitesAreHttpHostsWithoutWwwAndStepsAreOneDecimalWithinTheLimits) {
  EXPECT_EQ(siteOf("https://www.Example.COM/a?b"), "example.com");
  EXPECT_EQ(siteOf("http://example.com:8080/"), "example.com");
  EXPECT_EQ(siteOf("https://wwwx.example.com/"), "wwwx.example.com");
  EXPECT_EQ(siteOf("ftp://example.com/"), std::nullopt);
  EXPECT_EQ(SiteZoom::site(std::nullopt), std::nullopt);

  EXPECT_DOUBLE_EQ(SiteZoom::zoomedIn(0.1), 0.3) << "below the floor even after a step";
  EXPECT_DOUBLE_EQ(SiteZoom::zoomedIn(2.95), 3.0);
  EXPECT_DOUBLE_EQ(SiteZoom::zoomedOut(3.6), 3.0) << "a hand-edited level above the cap comes back";
  double level = 0.3;  // ten steps land on 1.3, not on 1.2999999
  for (int i = 0; i < 10; ++i) level = SiteZoom::zoomedIn(level);
  EXPECT_DOUBLE_EQ(level, 1.3);
}

class SiteZoomTest : public ::testing::Test {
 protected:
  SiteZoomTest() : browser(engine, scheduler) {
    browser.settleBlockLists();
    browser.attach(zoom);
  }

  PagePtr open(const std::string& address, bool isPrivate = false) {
    auto page = browser.makePage(isPrivate);
    page->load(*Url::parse(address));
    browser.add(page, true);
    return page;
  }
  static double viewZoom(const PagePtr& page) { return page->webView().zoom(); }
  nlohmann::json file() const {
    auto read = AppSupport::read(std::string_view(SiteZoom::kFileName));
    return read.status == AppSupport::ReadResult::Status::ok ? read.value : nlohmann::json();
  }

  test::TempHome home;
  test::VirtualScheduler scheduler;
  test::FakeEngine engine;
  SiteZoom zoom;  // before the browser: pages follow it until they go
  Browser browser;
};

TEST_F(SiteZoomTest, ZoomingOnePageZoomsEveryOpenPageOfTheSite) {
  auto bare = open("https://example.com/one");
  auto other = open("https://other.example/");
  auto www = open("https://www.example.com/two");
  browser.zoomIn();
  EXPECT_DOUBLE_EQ(viewZoom(www), 1.1);
  EXPECT_DOUBLE_EQ(viewZoom(bare), 1.1);
  EXPECT_DOUBLE_EQ(viewZoom(other), 1.0);
  EXPECT_EQ(file(), (nlohmann::json{{"example.com", 1.1}}));

  browser.close(www);  // a closed page no longer follows; the others still do
  browser.select(bare);
  bare->setZoom(1.0004);
  EXPECT_DOUBLE_EQ(viewZoom(bare), 1.0) << "nearly one is actual size";
  EXPECT_EQ(file(), nlohmann::json::object()) << "sites at actual size are not stored";
}

TEST_F(SiteZoomTest, PrivateLevelsLastUntilQuitAndStayOutOfTheFile) {
  auto normal = open("https://example.com/");
  normal->setZoom(1.5);
  auto first = open("https://example.com/a", true);
  auto second = open("https://www.example.com/b", true);
  EXPECT_DOUBLE_EQ(viewZoom(second), 1.5) << "private pages start from the saved level";

  browser.zoomIn();  // on the second private page
  EXPECT_DOUBLE_EQ(viewZoom(first), 1.6);

  browser.actualSize();
  EXPECT_DOUBLE_EQ(viewZoom(first), 1.0) << "a private reset overrides the saved level";
  EXPECT_DOUBLE_EQ(viewZoom(normal), 1.5);
  EXPECT_DOUBLE_EQ(open("https://example.com/c", true)->webView().zoom(), 1.0);
  EXPECT_DOUBLE_EQ(open("https://example.com/d")->webView().zoom(), 1.5);
  EXPECT_EQ(file(), (nlohmann::json{{"example.com", 1.5}}));
  EXPECT_EQ(zoom.untilQuit(), (std::map<std::string, double>{{"example.com", 1.0}}));
}

TEST_F(SiteZoomTest, ANavigationTakesTheLevelOfItsNewSiteAndFileAddressesHaveNone) {
  std::vector<std::string> announced;
  zoom.changed().connect([&](const std::string& site) { announced.push_back(site); });
  zoom.set(1.7, "example.com", false);
  auto page = open("https://plain.example/");
  page->load(*Url::parse("https://www.example.com/"));
  EXPECT_DOUBLE_EQ(viewZoom(page), 1.7);
  page->load(*Url::parse("https://plain.example/again"));
  EXPECT_DOUBLE_EQ(viewZoom(page), 1.0) << "the view's zoom does not carry to another site";

  page->load(*Url::parse("file:///tmp/quillo-zoom/page.html"));
  browser.zoomIn();
  EXPECT_DOUBLE_EQ(viewZoom(page), 1.1) << "the view still zooms";
  EXPECT_EQ(announced, std::vector<std::string>{"example.com"}) << "but no site does";
  EXPECT_EQ(zoom.saved(), (std::map<std::string, double>{{"example.com", 1.7}}));
}

TEST_F(SiteZoomTest, SavedLevelsComeBackAndUnreadableFilesAreKept) {
  zoom.set(1.3, "example.com", false);
  zoom.set(0.8, "small.example", false);
  SiteZoom reread;
  EXPECT_EQ(reread.saved(), zoom.saved());

  test::CapturedLog log;
  for (const char* contents : {"{not json", R"({"example.com": "big"})"}) {
    std::filesystem::remove(home.data("zoom.json.unreadable"));
    std::ofstream(home.data(SiteZoom::kFileName)) << contents;
    SiteZoom damaged;
    EXPECT_TRUE(damaged.saved().empty()) << contents;
    EXPECT_DOUBLE_EQ(damaged.level("example.com", false), 1.0);
    EXPECT_FALSE(std::filesystem::exists(home.data("zoom.json.unreadable"))) << "nothing moves until a write";
    damaged.set(2.0, "example.com", false);
    std::ifstream aside(home.data("zoom.json.unreadable"));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(aside), {}), contents);
    EXPECT_EQ(file(), (nlohmann::json{{"example.com", 2.0}}));
  }
  EXPECT_EQ(log.lines.size(), 2u) << "each file kept aside is logged once";
}

}  // namespace
}  // namespace quillo
