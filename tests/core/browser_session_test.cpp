// Saving the open tabs and bringing them back.
#include <filesystem>
#include <fstream>

#include "core/log.h"
#include "support/browser_test.h"

namespace quillo {
namespace {

using namespace std::chrono_literals;

class BrowserSession : public ::testing::Test {
 protected:
  std::unique_ptr<Browser> start() {
    auto browser = std::make_unique<Browser>(engine, scheduler);
    browser->restoreSession();
    browser->settleBlockLists();
    return browser;
  }
  PagePtr open(Browser& browser, const std::string& address, bool isPrivate = false) {
    auto page = browser.makePage(isPrivate);
    page->load(*Url::parse(address));
    browser.add(page, true);
    return page;
  }
  std::filesystem::path file() const { return home.data("session.json"); }

  test::TempHome home;
  test::VirtualScheduler scheduler;
  test::FakeEngine engine;
};

TEST_F(BrowserSession, SavingWaitsForASecondOfQuietButNeverMoreThanTwoSeconds) {
  auto browser = start();
  for (int i = 0; i < 10; ++i) {
    open(*browser, "https://site" + std::to_string(i) + ".example/");
    scheduler.advance(90ms);
  }
  EXPECT_FALSE(std::filesystem::exists(file()));
  scheduler.advance(909ms);
  EXPECT_FALSE(std::filesystem::exists(file()));
  scheduler.advance(1ms);
  ASSERT_TRUE(std::filesystem::exists(file()));
  EXPECT_EQ(Session::read().tabs.size(), 10u);
  std::filesystem::remove(file());

  // A page that retitles itself twice a second would put a plain debounce off for good.
  auto page = browser->current();
  int written = 0;
  for (int i = 0; i < 40; ++i) {
    page->load(*Url::parse("https://ticker.example/" + std::to_string(i)));
    scheduler.advance(500ms);
    if (std::filesystem::exists(file())) {
      written++;
      std::filesystem::remove(file());
    }
  }
  EXPECT_EQ(written, 10) << "one write every two seconds";
}

TEST_F(BrowserSession, AFailedWriteKeepsTheTabsAndTriesAgainAtTheNextChange) {
  std::vector<std::string> log;
  auto previousSink = setLogSink([&](const std::string& line) { log.push_back(line); });
  auto browser = start();
  // The folder cannot be made: a file is where it should be.
  std::filesystem::create_directories(file().parent_path().parent_path());
  std::ofstream(file().parent_path()) << "in the way";
  open(*browser, "https://a.example/");
  scheduler.advance(1s);
  ASSERT_FALSE(log.empty());
  EXPECT_NE(log.back().find("couldn't save session.json"), std::string::npos) << log.back();
  EXPECT_EQ(browser->pages->size(), 1u);

  std::filesystem::remove(file().parent_path());
  open(*browser, "https://b.example/");
  scheduler.advance(1s);
  EXPECT_EQ(Session::read().tabs.size(), 2u);
  setLogSink(previousSink);
}

// The journeys restore splits and the end-to-end runs the file; restored
// tabs without views and their names are the idle unloading tests' part.
TEST_F(BrowserSession, ARestoredCurrentTabIsTheMostRecentAndLoadsOnlyOnceTheListsAreIn) {
  auto session = test::sessionOf({"https://a.example/", "https://b.example/", "https://c.example/"});
  session.recent = {1, 0, 2};
  Browser browser(engine, scheduler);
  browser.restoreSession(session);
  auto& pages = browser.pages.get();
  ASSERT_EQ(pages.size(), 3u);
  EXPECT_EQ(browser.current(), pages[1]);
  for (auto& view : engine.views()) EXPECT_TRUE(view->loads.empty()) << "nothing loads before the block lists settle";

  browser.settleBlockLists();
  auto loads = [&](size_t i) { return static_cast<test::FakeWebView&>(pages[i]->webView()).loads.size(); };
  EXPECT_EQ(loads(1), 1u) << "the current page loads once settled";
  EXPECT_EQ(loads(0) + loads(2), 0u) << "others wait until shown";
}

TEST_F(BrowserSession, HandEditedFilesAreReadAsFarAsTheyMakeSenseAndLivePinsAreKeptAside) {
  auto session = test::sessionOf({"https://pinned.example/", "https://a.example/", "https://b.example/"});
  session.tabs[0].pinID = "pin-1";
  session.tabs[1].pinID = "D2C1A8E4-0000-4000-8000-000000000001";  // no such pin
  session.tabs[1].splitPartner = 2;
  session.tabs[1].splitIsLeft = true;
  session.tabs[2].splitPartner = 1;
  session.tabs[2].splitIsLeft = false;
  session.recent = {0, 7, 2};
  Browser browser(engine, scheduler);
  browser.pinExists = [](const std::string& id) { return id == "pin-1"; };
  browser.restoreSession(session);
  ASSERT_EQ(browser.pages->size(), 2u) << "the live pin's page is kept aside";
  ASSERT_EQ(browser.pinnedPages.count("pin-1"), 1u);
  auto& pages = browser.pages.get();
  EXPECT_FALSE(pages[0]->pinID) << "a tab whose pin is gone is an ordinary tab";
  EXPECT_EQ(browser.recent.get(), (std::vector<PagePtr>{browser.pinnedPages["pin-1"], pages[1], pages[0]}))
      << "the bad index is skipped, and pages missing from recent are appended";
  ASSERT_EQ(browser.splits.size(), 1u);
  EXPECT_DOUBLE_EQ(browser.splits[0]->ratio.get(), 0.5) << "no ratio: an even split";
  auto saved = browser.buildSession();
  ASSERT_EQ(saved.tabs.size(), 3u);
  EXPECT_EQ(saved.tabs[saved.recent[0]].pinID, std::optional<std::string>("pin-1"));
}

// An unshown tab's back history across restarts is the idle unloading tests' part.
TEST_F(BrowserSession, PrivateTabsAreNeverWrittenNorCountedInTheRecentOrder) {
  auto browser = start();
  open(*browser, "https://p.example/", true);
  browser->saveSession();
  EXPECT_EQ(Session::read(), Session());
  open(*browser, "https://a.example/");
  open(*browser, "https://b.example/");
  open(*browser, "https://q.example/", true);
  browser->saveSession();
  auto saved = Session::read();
  ASSERT_EQ(saved.tabs.size(), 2u);
  EXPECT_EQ(saved.tabs[1].url.str(), "https://b.example/");
  EXPECT_EQ(saved.recent, (std::vector<size_t>{1, 0}));
}

TEST_F(BrowserSession, NothingToRestoreComposesANewTab) {
  std::filesystem::create_directories(file().parent_path());
  std::ofstream(file()) << "{ not json";
  auto browser = start();
  EXPECT_TRUE(browser->pages->empty());
  EXPECT_TRUE(browser->isComposingNewTab.get());
}

}  // namespace
}  // namespace quillo
