// What a page reports to the browser as its web view changes.
#include <gtest/gtest.h>

#include "core/browser.h"
#include "support/fake_web_view.h"
#include "support/temp_home.h"
#include "support/virtual_scheduler.h"

namespace quillo {
namespace {

struct Reports {
  std::vector<std::string> visits;
  std::vector<std::pair<std::string, std::string>> titles;
  int sessionChanges = 0;
};

class PageReports : public ::testing::Test {
 protected:
  std::shared_ptr<Page> makePage() {
    auto page = std::make_shared<Page>(engine.makeView(ViewConfiguration{engine.persistentStore(), {}, {}}), scheduler);
    page->onVisit = [this](const Url& url) { reports.visits.push_back(url.str()); };
    // A navigation empties the title before the new one arrives; only real titles matter here.
    page->onTitle = [this](const std::string& t, const Url& url) {
      if (!t.empty()) reports.titles.emplace_back(t, url.str());
    };
    page->onSessionChange = [this] { reports.sessionChanges++; };
    return page;
  }
  test::FakeWebView& view(Page& page) { return static_cast<test::FakeWebView&>(page.webView()); }

  test::VirtualScheduler scheduler;
  test::FakeEngine engine;
  Reports reports;
};

TEST_F(PageReports, RestoredPagesLoadOnlyWhenAsked) {
  auto source = makePage();
  source->load(*Url::parse("https://a.example/1"));
  source->load(*Url::parse("https://a.example/2"));
  view(*source).goBack();
  auto blob = source->navigationState();
  ASSERT_TRUE(blob);

  auto page = makePage();
  page->restore(*Url::parse("https://a.example/1"), "One", blob);
  EXPECT_TRUE(view(*page).loads.empty());
  EXPECT_EQ(page->title.get(), "One");
  EXPECT_EQ(page->navigationState(), blob) << "an unloaded page saves what it holds";
  page->loadIfPending();
  EXPECT_EQ(page->url.get()->str(), "https://a.example/1");
  EXPECT_TRUE(page->canGoForward.get());
  page->loadIfPending();
  EXPECT_EQ(view(*page).loads.size(), 1u) << "loads once";
}

TEST_F(PageReports, TypedTextTitleChangesHoveredLinksAndACrash) {
  auto page = makePage();
  EXPECT_FALSE(page->load(std::string("  "))) << "text that resolves to nothing is not loaded";
  EXPECT_TRUE(view(*page).loads.empty());
  EXPECT_TRUE(page->load(std::string("example.com/path?q=1")));
  EXPECT_EQ(view(*page).loads.back().str(), "https://example.com/path?q=1");

  // A load's visit, title and address are mirrored on the real engine; a
  // title change alone is reported and saved too.
  int before = reports.sessionChanges;
  view(*page).setPageTitle("Renamed");
  ASSERT_EQ(reports.titles.size(), 1u);
  EXPECT_EQ(reports.titles[0], std::make_pair(std::string("Renamed"), std::string("https://example.com/path?q=1")));
  EXPECT_EQ(reports.sessionChanges, before + 1);

  view(*page).emitMessage("quilloHover", "https://example.com/x");
  ASSERT_TRUE(page->hoveredLink);
  EXPECT_EQ(page->hoveredLink->str(), "https://example.com/x");
  view(*page).emitMessage("quilloHover", "");
  EXPECT_FALSE(page->hoveredLink);
  view(*page).emitMessage("quilloHover", 42);
  EXPECT_FALSE(page->hoveredLink);

  view(*page).crash();
  scheduler.runUntilIdle();
  EXPECT_EQ(view(*page).loads.size(), 2u) << "a crashed page reloads";
  EXPECT_EQ(view(*page).loads.back().str(), "https://example.com/path?q=1");
  page->load(*Url::parse("https://example.com/next"));
  EXPECT_EQ(reports.visits.back(), "https://example.com/next");
  EXPECT_TRUE(page->canGoBack.get());
}

}  // namespace
}  // namespace quillo
