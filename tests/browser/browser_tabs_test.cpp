// The tab model: order, closing and reopening, private stores, flashes, find, pages opened from outside.
#include "support/browser_test.h"

namespace quillo {
namespace {

using namespace std::chrono_literals;
using BrowserTabs = test::BrowserTest;

// The pages are closed through the browser's own lists: the sanitizer run
// found close() reading such an element after its list had dropped it.
TEST_F(BrowserTabs, BackgroundTabsGoBehindTheCurrentOneAndClosingShowsTheOneShownBefore) {
  auto a = open("https://a.example/");
  auto b = open("https://b.example/", "", false);
  auto c = open("https://c.example/", "", false);
  EXPECT_EQ(browser->current(), a);
  EXPECT_EQ(browser->recent.get(), (std::vector<PagePtr>{a, c, b}));  // tab order a b c
  browser->close(browser->pages->front());
  EXPECT_EQ(browser->current(), c) << "not the neighbour in tab order";
  browser->close(browser->recent->back());
  EXPECT_EQ(browser->current(), c) << "closing a background tab keeps the current page";
  EXPECT_EQ(browser->pages->size(), 1u);

  int hides = 0;
  browser->hideRequested.connect([&] { hides++; });
  int focus = browser->addressBarFocusRequests.get();
  browser->closeCurrentTab();
  EXPECT_TRUE(browser->pages->empty());
  EXPECT_EQ(browser->recentlyClosed->size(), 3u);
  EXPECT_TRUE(browser->isComposingNewTab.get()) << "closing the last tab composes a new one";
  EXPECT_GT(browser->addressBarFocusRequests.get(), focus);
  browser->cancelNewTab();
  EXPECT_EQ(hides, 1);
  EXPECT_TRUE(browser->isComposingNewTab.get()) << "stays composing: there is nothing to return to";
  auto d = open("https://d.example/", "", false);
  EXPECT_EQ(browser->current(), d) << "a background tab with nothing in front is the current one";

  // With a page to return to, cancelling a new tab shows it again.
  browser->newPrivateTab();
  browser->cancelNewTab();
  EXPECT_FALSE(browser->isComposingPrivateTab.get());
  EXPECT_EQ(browser->current(), d);
}

TEST_F(BrowserTabs, ReopeningBringsBackTheLastTwentyNewestFirstAtTheirPlacesWithHistoryAndName) {
  std::vector<PagePtr> opened;
  for (int i = 0; i < 22; ++i) opened.push_back(open("https://site" + std::to_string(i) + ".example/"));
  opened[0]->load(*Url::parse("https://site0.example/two"));
  opened[0]->customName = std::string("Work");
  // Close 21 tabs from the front, so each was at index 0... except every third, closed from the back.
  std::vector<std::pair<std::string, size_t>> closed;
  for (int i = 0; i < 21; ++i) {
    auto& list = browser->pages.get();
    auto page = (i % 3 == 0) ? list.back() : list.front();
    size_t position = (i % 3 == 0) ? list.size() - 1 : 0;
    closed.emplace_back(page->url.get()->str(), position);
    browser->close(page);
  }
  ASSERT_EQ(browser->recentlyClosed->size(), 20u) << "the 21st pushes out the oldest";
  EXPECT_EQ(browser->recentlyClosed->front().url.str(), closed[1].first);

  for (int i = 20; i >= 1; --i) {
    size_t before = browser->pages->size();
    browser->reopenClosedTab();
    auto page = browser->current();
    ASSERT_EQ(view(page).entries().back().url.str(), closed[size_t(i)].first);
    size_t expected = std::min(closed[size_t(i)].second, before);
    EXPECT_EQ(browser->pages.get()[expected], page) << "reopen " << i;
  }
  auto first = browser->current();
  EXPECT_EQ(first->url.get()->str(), "https://site0.example/two");
  EXPECT_EQ(first->customName.get(), std::optional<std::string>("Work"));
  EXPECT_TRUE(first->canGoBack.get()) << "the back history comes back too";
  size_t count = browser->pages->size();
  browser->reopenClosedTab();
  EXPECT_EQ(browser->pages->size(), count) << "nothing left to reopen does nothing";
}

TEST_F(BrowserTabs, PrivateTabsAndTheWindowsTheirSitesOpenShareOneStoreThatGoesWithTheLastOfThem) {
  open("https://normal.example/");
  auto p1 = open("https://p1.example/", "", true, true);
  auto p2 = open("https://p2.example/", "", true, true);
  EXPECT_EQ(p1->webView().store(), p2->webView().store());
  EXPECT_NE(p1->webView().store(), engine.persistentStore());

  ASSERT_TRUE(view(p2).openChildWindow(*Url::parse("https://popup.example/")));
  auto child = browser->current();
  EXPECT_NE(child, p2) << "a site's window gets a tab of its own";
  EXPECT_TRUE(child->isPrivate());
  EXPECT_EQ(child->webView().store(), p2->webView().store());
  view(p2).requestAttention();
  EXPECT_EQ(browser->current(), p2) << "a dialog in a background tab brings it forward";
  browser->select(child);
  view(child).closeWindow();
  EXPECT_EQ(browser->current(), p2);

  browser->close(p1);
  EXPECT_TRUE(browser->hasPrivateDataStore());
  EXPECT_TRUE(browser->recentlyClosed->empty()) << "private tabs are never offered for reopening";
  browser->close(p2);
  EXPECT_FALSE(browser->hasPrivateDataStore());
  p1.reset();
  p2.reset();
  child.reset();
  EXPECT_EQ(engine.livePrivateStores(), 0) << "the store is freed once no page holds it";

  auto p3 = open("https://p3.example/", "", true, true);
  EXPECT_EQ(static_cast<const test::FakeDataStore&>(*p3->webView().store()).serial(), 2) << "a fresh store";
}

TEST_F(BrowserTabs, ANewerFlashGetsItsFullTime) {
  browser->show("first");
  scheduler.advance(1s);
  browser->show("second", true);
  scheduler.advance(1s);  // the first one's timer would have fired here
  EXPECT_EQ(browser->flash.get(), std::optional<std::string>("second"));
  EXPECT_TRUE(browser->flashIsError.get());
  scheduler.advance(999ms);
  EXPECT_TRUE(browser->flash.get().has_value()) << "an error shows for 2 s";
  scheduler.advance(1ms);
  EXPECT_FALSE(browser->flash.get().has_value());
}

// The journey ends finding with Ctrl+T and Escape; a pin key ends it too.
TEST_F(BrowserTabs, FindingNeedsAPageAndEndsWhenAPinOpens) {
  browser->startFinding();
  EXPECT_FALSE(browser->isFinding.get()) << "no page: nothing to find in";
  auto a = open("https://a.example/");
  browser->pin(a);
  browser->startFinding();
  browser->find("hello");
  browser->openPin(1);
  EXPECT_FALSE(browser->isFinding.get());
  EXPECT_FALSE(view(a).findActive);
}

// The engine keeps no current match: the index follows the steps, round the ends.
TEST_F(BrowserTabs, FindFollowsTheCurrentMatchRoundTheEnds) {
  view(open("https://a.example/")).matchCount = 3;
  browser->startFinding();
  browser->find("ab");
  std::string seen;
  for (bool backwards : {false, false, false, true}) {
    browser->findNext(backwards);
    seen += std::to_string(browser->findIndex.get());
  }
  browser->stopFinding();
  browser->startFinding();  // the text is kept: stepping back starts from the last
  browser->findNext(true);
  EXPECT_EQ(seen + std::to_string(browser->findIndex.get()), "23133");
}

TEST_F(BrowserTabs, IncomingLinksSelectOpenTabsOrOpenNewOnes) {
  auto a = open("https://a.example/");
  open("https://b.example/");
  browser->openIncoming({*Url::parse("https://a.example/")});
  EXPECT_EQ(browser->current(), a);

  auto restored = browser->makePage(false);
  restored->restore(*Url::parse("https://restored.example/"), "Not loaded yet", std::nullopt);
  browser->add(restored, false);
  browser->openIncoming({*Url::parse("https://restored.example/")});
  EXPECT_EQ(browser->current(), restored) << "a tab restored but not loaded still shows its address";

  browser->openIncoming({*Url::parse("https://c.example/"), *Url::parse("file:///tmp/docs/page.html")});
  EXPECT_EQ(browser->pages->size(), 5u);
  auto& fileView = view(browser->current());
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

}  // namespace
}  // namespace quillo
