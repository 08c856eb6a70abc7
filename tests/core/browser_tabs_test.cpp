// The tab model: order, closing and reopening, private stores, cycling,
// flashes, find, and pages opened by sites or other programs.
#include <gtest/gtest.h>

#include "core/browser.h"
#include "support/fake_web_view.h"
#include "support/temp_home.h"
#include "support/virtual_scheduler.h"

namespace quillo {
namespace {

using namespace std::chrono_literals;
using test::FakeEngine;
using test::FakeWebView;

class BrowserTabs : public ::testing::Test {
 protected:
  BrowserTabs() : browser(engine, scheduler) { browser.settleBlockLists(); }

  PagePtr open(const std::string& address, bool showing = true, bool isPrivate = false) {
    auto page = browser.makePage(isPrivate);
    page->load(*Url::parse(address));
    browser.add(page, showing);
    return page;
  }
  FakeWebView& view(const PagePtr& page) { return static_cast<FakeWebView&>(page->webView()); }
  std::vector<std::string> recentURLs() const {
    std::vector<std::string> out;
    for (auto& p : browser.recent.get()) out.push_back(p->url.get() ? p->url.get()->str() : "");
    return out;
  }

  test::TempHome home;
  test::VirtualScheduler scheduler;
  FakeEngine engine;
  Browser browser;
};

TEST_F(BrowserTabs, BackgroundTabsGoBehindTheCurrentOne) {
  auto a = open("https://a.example/");
  auto b = open("https://b.example/", false);
  EXPECT_EQ(browser.current(), a);
  EXPECT_EQ(browser.recent.get()[1], b);
  auto c = open("https://c.example/", false);
  EXPECT_EQ(recentURLs(), (std::vector<std::string>{"https://a.example/", "https://c.example/", "https://b.example/"}));

  Browser empty(engine, scheduler);
  auto first = empty.makePage(false);
  empty.add(first, false);
  EXPECT_EQ(empty.current(), first);
}

TEST_F(BrowserTabs, ClosingTheCurrentTabShowsThePreviouslyShownOne) {
  auto a = open("https://a.example/");
  auto b = open("https://b.example/");
  auto c = open("https://c.example/");
  browser.select(a);  // recent: a c b; tab order a b c
  browser.close(a);
  EXPECT_EQ(browser.current(), c) << "not the neighbour in tab order";
  browser.close(b);
  EXPECT_EQ(browser.current(), c) << "closing a background tab keeps the current page";
  EXPECT_EQ(browser.pages->size(), 1u);
}

// Found by the sanitizer run: closing through a reference into one of the
// browser's own lists read that element after the list had dropped it.
TEST_F(BrowserTabs, ClosingAPageNamedByAnElementOfTheBrowsersOwnLists) {
  open("https://a.example/");
  open("https://b.example/");
  open("https://c.example/");
  browser.close(browser.pages->front());
  browser.close(browser.recent->back());
  browser.close(browser.current());
  EXPECT_EQ(browser.recentlyClosed->size(), 3u);
  EXPECT_TRUE(browser.isComposingNewTab.get());
}

TEST_F(BrowserTabs, ClosingTheLastTabComposesANewOneAndCancellingHides) {
  auto a = open("https://a.example/");
  int hides = 0;
  browser.hideRequested.connect([&] { hides++; });
  int focus = browser.addressBarFocusRequests.get();
  browser.closeCurrentTab();
  EXPECT_TRUE(browser.pages->empty());
  EXPECT_TRUE(browser.isComposingNewTab.get());
  EXPECT_GT(browser.addressBarFocusRequests.get(), focus);
  browser.cancelNewTab();
  EXPECT_EQ(hides, 1);
  EXPECT_TRUE(browser.isComposingNewTab.get()) << "stays composing: there is nothing to return to";
}

TEST_F(BrowserTabs, CancellingANewTabReturnsToTheCurrentPageAndEndsPrivateComposing) {
  auto a = open("https://a.example/");
  browser.newPrivateTab();
  EXPECT_TRUE(browser.isComposingPrivateTab.get());
  browser.cancelNewTab();
  EXPECT_FALSE(browser.isComposingNewTab.get());
  EXPECT_FALSE(browser.isComposingPrivateTab.get());
  EXPECT_EQ(browser.current(), a);
}

TEST_F(BrowserTabs, ReopeningBringsBackTheLastTwentyNewestFirstAtTheirPlaces) {
  std::vector<PagePtr> opened;
  for (int i = 0; i < 22; ++i) opened.push_back(open("https://site" + std::to_string(i) + ".example/"));
  // Close 21 tabs from the front, so each was at index 0... except every third, closed from the back.
  std::vector<std::pair<std::string, size_t>> closed;
  for (int i = 0; i < 21; ++i) {
    auto& list = browser.pages.get();
    auto page = (i % 3 == 0) ? list.back() : list.front();
    size_t position = (i % 3 == 0) ? list.size() - 1 : 0;
    closed.emplace_back(page->url.get()->str(), position);
    browser.close(page);
  }
  ASSERT_EQ(browser.recentlyClosed->size(), 20u) << "the 21st pushes out the oldest";
  EXPECT_EQ(browser.recentlyClosed->front().url.str(), closed[1].first);

  for (int i = 20; i >= 1; --i) {
    size_t before = browser.pages->size();
    browser.reopenClosedTab();
    auto page = browser.current();
    ASSERT_EQ(view(page).entries().back().url.str(), closed[size_t(i)].first);
    size_t expected = std::min(closed[size_t(i)].second, before);
    EXPECT_EQ(browser.pages.get()[expected], page) << "reopen " << i;
  }
  EXPECT_TRUE(browser.recentlyClosed->empty());
  size_t count = browser.pages->size();
  browser.reopenClosedTab();
  EXPECT_EQ(browser.pages->size(), count) << "nothing left to reopen does nothing";
}

TEST_F(BrowserTabs, ReopenedTabKeepsItsBackHistoryAndName) {
  auto a = open("https://a.example/one");
  a->load(*Url::parse("https://a.example/two"));
  a->customName = std::string("Work");
  open("https://b.example/");
  browser.close(a);
  browser.reopenClosedTab();
  auto page = browser.current();
  EXPECT_EQ(page->customName.get(), std::optional<std::string>("Work"));
  EXPECT_EQ(page->url.get()->str(), "https://a.example/two");
  EXPECT_TRUE(page->canGoBack.get());
}

TEST_F(BrowserTabs, PrivateTabsShareOneStoreThatGoesWithTheLastOfThem) {
  open("https://normal.example/");
  auto p1 = open("https://p1.example/", true, true);
  auto p2 = open("https://p2.example/", true, true);
  EXPECT_EQ(p1->webView().store(), p2->webView().store());
  EXPECT_NE(p1->webView().store(), engine.persistentStore());
  EXPECT_TRUE(p1->isPrivate());

  browser.close(p1);
  EXPECT_TRUE(browser.hasPrivateDataStore());
  EXPECT_TRUE(browser.recentlyClosed->empty()) << "private tabs are never offered for reopening";
  browser.close(p2);
  EXPECT_FALSE(browser.hasPrivateDataStore());
  p1.reset();
  p2.reset();
  EXPECT_EQ(engine.livePrivateStores(), 0) << "the store is freed once no page holds it";

  auto p3 = open("https://p3.example/", true, true);
  EXPECT_EQ(static_cast<const test::FakeDataStore&>(*p3->webView().store()).serial(), 2) << "a fresh store";
}

TEST_F(BrowserTabs, CyclingWithoutCtrlSelectsAtOnce) {
  auto a = open("https://a.example/");
  browser.cycle(false);
  EXPECT_EQ(browser.current(), a) << "one unit: nothing to cycle to";
  auto b = open("https://b.example/");
  auto c = open("https://c.example/");  // recent: c b a
  browser.cycle(true);
  EXPECT_EQ(browser.current(), a) << "backward goes to the least recently shown";
  browser.cycle(false);  // recent: a c b
  EXPECT_EQ(browser.current(), c);
}

TEST_F(BrowserTabs, CyclingWithCtrlHeldMovesAHighlightAndSelectsOnRelease) {
  open("https://a.example/");
  auto b = open("https://b.example/");
  open("https://c.example/");
  browser.chrome.commandPressed();
  std::vector<int> indices;
  for (int i = 0; i < 3; ++i) {
    browser.cycle(false);
    indices.push_back(*browser.cycleIndex.get());
  }
  EXPECT_EQ(indices, (std::vector<int>{1, 2, 0}));
  EXPECT_TRUE(browser.chrome.commandRevealed.get());
  browser.cycle(false);  // index 1: b
  auto expected = browser.recentUnits()[1];
  EXPECT_EQ(expected, b);
  browser.chrome.commandReleased();
  EXPECT_EQ(browser.current(), b);
  EXPECT_FALSE(browser.cycleIndex.get().has_value());
}

TEST_F(BrowserTabs, ASplitCountsAsOneUnitForCycling) {
  auto a = open("https://a.example/");
  auto b = open("https://b.example/");
  auto split = std::make_shared<Split>(a, b, 0.5);
  a->split = split;
  b->split = split;
  browser.splits.push_back(split);
  EXPECT_EQ(browser.recentUnits().size(), 1u);
  browser.cycle(false);
  EXPECT_EQ(browser.current(), b) << "one split and nothing else: nothing happens";
}

TEST_F(BrowserTabs, ANewerFlashGetsItsFullTime) {
  browser.show("first");
  scheduler.advance(1s);
  browser.show("second", true);
  scheduler.advance(1s);  // the first one's timer would have fired here
  EXPECT_EQ(browser.flash.get(), std::optional<std::string>("second"));
  EXPECT_TRUE(browser.flashIsError.get());
  scheduler.advance(999ms);
  EXPECT_TRUE(browser.flash.get().has_value()) << "an error shows for 2 s";
  scheduler.advance(1ms);
  EXPECT_FALSE(browser.flash.get().has_value());

  browser.show("plain");
  scheduler.advance(1499ms);
  EXPECT_TRUE(browser.flash.get().has_value());
  scheduler.advance(1ms);
  EXPECT_FALSE(browser.flash.get().has_value());
}

TEST_F(BrowserTabs, FindReportsMatchesAndContinuesInEitherDirection) {
  browser.startFinding();
  EXPECT_FALSE(browser.isFinding.get()) << "no page: nothing to find in";
  auto a = open("https://a.example/");
  view(a).pageText = "Hello world, say hello";
  browser.startFinding();
  EXPECT_TRUE(browser.isFinding.get());
  browser.find("HELLO");
  EXPECT_EQ(browser.findMatched.get(), std::optional<bool>(true));
  browser.findNext(true);
  EXPECT_TRUE(view(a).lastFindBackwards);
  browser.find("zebra");
  EXPECT_EQ(browser.findMatched.get(), std::optional<bool>(false));
  browser.stopFinding();
  EXPECT_FALSE(view(a).findActive);
  EXPECT_EQ(browser.findText.get(), "zebra") << "kept so the last search can be repeated";
}

TEST_F(BrowserTabs, SitesOpeningWindowsGetTabsOfTheirOwn) {
  auto p = open("https://private.example/", true, true);
  ASSERT_TRUE(view(p).openChildWindow(*Url::parse("https://popup.example/")));
  auto child = browser.current();
  EXPECT_NE(child, p);
  EXPECT_TRUE(child->isPrivate()) << "a private tab's window shares its store";
  EXPECT_EQ(child->webView().store(), p->webView().store());
  view(child).closeWindow();
  EXPECT_EQ(browser.current(), p);
}

TEST_F(BrowserTabs, ADialogInABackgroundTabBringsItForward) {
  auto a = open("https://a.example/");
  auto b = open("https://b.example/");
  view(a).requestAttention();
  EXPECT_EQ(browser.current(), a);
}

TEST_F(BrowserTabs, IncomingLinksSelectOpenTabsOrOpenNewOnes) {
  auto a = open("https://a.example/");
  open("https://b.example/");
  browser.openIncoming({*Url::parse("https://a.example/")});
  EXPECT_EQ(browser.current(), a);
  EXPECT_EQ(browser.pages->size(), 2u);

  auto restored = browser.makePage(false);
  restored->restore(*Url::parse("https://restored.example/"), "Not loaded yet", std::nullopt);
  browser.add(restored, false);
  browser.openIncoming({*Url::parse("https://restored.example/")});
  EXPECT_EQ(browser.current(), restored) << "a tab restored but not loaded still shows its address";
  EXPECT_EQ(browser.pages->size(), 3u);

  browser.openIncoming({*Url::parse("https://c.example/"), *Url::parse("file:///tmp/docs/page.html")});
  EXPECT_EQ(browser.pages->size(), 5u);
  auto& fileView = view(browser.current());
  EXPECT_EQ(fileView.loads.back().str(), "file:///tmp/docs/page.html");
  ASSERT_TRUE(fileView.readAccessFolder);
  EXPECT_EQ(fileView.readAccessFolder->str(), "file:///tmp/docs/");
}

// Every way a page can start loading waits for the block lists: nothing may
// reach a tracker before they are in.
TEST_F(BrowserTabs, PagesHoldTheirFirstLoadUntilTheBlockListsSettle) {
  Browser starting(engine, scheduler);
  auto loadsSoFar = [&] {
    size_t count = 0;
    for (auto& page : starting.pages.get()) count += view(page).loads.size();
    return count;
  };
  starting.openIncoming({*Url::parse("https://a.example/")});
  auto page = starting.current();
  EXPECT_TRUE(starting.loadTyped("typed.example/x?q=50%off")) << "typed into the current tab";
  ASSERT_TRUE(page->openInBackground);
  page->openInBackground(*Url::parse("https://background.example/"));
  starting.newTab();
  EXPECT_TRUE(starting.loadTyped("new.example"));
  auto closing = starting.current();
  starting.close(closing);
  starting.reopenClosedTab();
  EXPECT_EQ(loadsSoFar(), 0u) << "nothing loads before the lists are in";
  EXPECT_EQ(starting.pages->size(), 3u);

  starting.settleBlockLists();
  auto current = starting.current();
  ASSERT_EQ(view(current).loads.size(), 1u) << "the page on screen loads";
  EXPECT_EQ(view(current).loads[0].str(), "https://new.example");
  starting.select(page);
  ASSERT_EQ(view(page).loads.size(), 1u);
  EXPECT_EQ(view(page).loads[0].str(), "https://typed.example/x?q=50%off") << "the typed address, byte for byte";
}

// Find belongs to the field until the palette is opened for anything else.
TEST_F(BrowserTabs, OpeningThePaletteForAnythingElseEndsFinding) {
  auto a = open("https://a.example/");
  auto finding = [&] {
    browser.startFinding();
    EXPECT_TRUE(browser.isFinding.get());
  };
  finding();
  browser.toggleBar();
  EXPECT_FALSE(browser.isFinding.get()) << "Ctrl+E";
  EXPECT_FALSE(view(a).findActive);
  finding();
  browser.newTab();
  EXPECT_FALSE(browser.isFinding.get()) << "Ctrl+T";
  browser.cancelNewTab();
  finding();
  browser.newPrivateTab();
  EXPECT_FALSE(browser.isFinding.get()) << "Ctrl+Shift+N";
  browser.cancelNewTab();
  finding();
  browser.showCommands();
  EXPECT_FALSE(browser.isFinding.get()) << "\"/\"";
  browser.pin(a);
  finding();
  browser.openPin(1);
  EXPECT_FALSE(browser.isFinding.get()) << "a pin key";
}

TEST_F(BrowserTabs, TypedTextLoadsInANewTabWhileComposing) {
  auto a = open("https://a.example/");
  browser.newPrivateTab();
  EXPECT_TRUE(browser.loadTyped("example.org"));
  auto page = browser.current();
  EXPECT_NE(page, a);
  EXPECT_TRUE(page->isPrivate());
  EXPECT_EQ(page->url.get()->str(), "https://example.org");
  EXPECT_FALSE(browser.isComposingNewTab.get());
  EXPECT_TRUE(browser.loadTyped("two words"));
  EXPECT_EQ(browser.current(), page) << "not composing: the current page loads it";
  EXPECT_FALSE(browser.loadTyped("   "));
}

}  // namespace
}  // namespace quillo
