// Saving the open tabs and bringing them back.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "core/browser.h"
#include "core/log.h"
#include "support/fake_web_view.h"
#include "support/temp_home.h"
#include "support/virtual_scheduler.h"

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

TEST_F(BrowserSession, ABurstOfChangesIsWrittenOnceASecondAfterTheLast) {
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
}

TEST_F(BrowserSession, ChangesThatNeverStopAreStillWrittenWithinTwoSeconds) {
  auto browser = start();
  auto page = open(*browser, "https://ticker.example/");
  // A page that retitles itself twice a second would put a plain debounce off for good.
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

TEST_F(BrowserSession, PrivateTabsAreNeverWritten) {
  auto browser = start();
  open(*browser, "https://p.example/", true);
  browser->saveSession();
  auto session = Session::read();
  EXPECT_TRUE(session.tabs.empty());
  EXPECT_TRUE(session.recent.empty());

  open(*browser, "https://a.example/");
  open(*browser, "https://q.example/", true);
  browser->saveSession();
  session = Session::read();
  ASSERT_EQ(session.tabs.size(), 1u);
  EXPECT_EQ(session.recent, std::vector<size_t>{0});
}

TEST_F(BrowserSession, RestoreRebuildsOrderNamesAndSplitsWithoutLoading) {
  {
    auto browser = start();
    auto a = open(*browser, "https://a.example/");
    auto b = open(*browser, "https://b.example/");
    auto c = open(*browser, "https://c.example/");
    b->customName = std::string("Bee");
    auto split = std::make_shared<Split>(a, c, 0.3);
    a->split = split;
    c->split = split;
    browser->splits.push_back(split);
    browser->select(a);
    browser->saveSession();
  }
  size_t viewsBefore = engine.views().size();
  Browser browser(engine, scheduler);
  browser.restoreSession();
  ASSERT_EQ(browser.pages->size(), 3u);
  EXPECT_EQ(browser.pages.get()[1]->customName.get(), std::optional<std::string>("Bee"));
  EXPECT_EQ(browser.current()->savedURL()->str(), "https://a.example/");
  for (size_t i = viewsBefore; i < engine.views().size(); ++i)
    EXPECT_TRUE(engine.views()[i]->loads.empty()) << "nothing loads before the block lists settle";
  ASSERT_EQ(browser.splits.size(), 1u);
  EXPECT_DOUBLE_EQ(browser.splits[0]->ratio.get(), 0.3);
  EXPECT_EQ(browser.splits[0]->left, browser.pages.get()[0]);

  browser.settleBlockLists();
  auto& current = static_cast<test::FakeWebView&>(browser.current()->webView());
  ASSERT_EQ(current.loads.size(), 1u) << "the current page loads once settled";
  auto& partner = static_cast<test::FakeWebView&>(browser.pages.get()[2]->webView());
  EXPECT_EQ(partner.loads.size(), 1u) << "and its split partner";
  auto& other = static_cast<test::FakeWebView&>(browser.pages.get()[1]->webView());
  EXPECT_TRUE(other.loads.empty()) << "others wait until shown";
}

TEST_F(BrowserSession, HandEditedFilesAreReadAsFarAsTheyMakeSense) {
  Session session;
  for (auto* address : {"https://a.example/", "https://b.example/"}) {
    Session::Tab tab;
    tab.url = *Url::parse(address);
    session.tabs.push_back(tab);
  }
  session.tabs[0].splitPartner = 1;
  session.tabs[0].splitIsLeft = true;
  session.tabs[1].splitPartner = 0;
  session.tabs[1].splitIsLeft = false;
  session.tabs[0].pinID = "D2C1A8E4-0000-4000-8000-000000000001";  // no such pin
  session.recent = {7, 1};
  Browser browser(engine, scheduler);
  browser.restoreSession(session);
  ASSERT_EQ(browser.pages->size(), 2u) << "a tab whose pin is gone is an ordinary tab";
  EXPECT_FALSE(browser.pages.get()[0]->pinID);
  EXPECT_EQ(browser.current(), browser.pages.get()[1]) << "the bad index is skipped";
  EXPECT_EQ(browser.recent->size(), 2u) << "pages missing from recent are appended";
  ASSERT_EQ(browser.splits.size(), 1u);
  EXPECT_DOUBLE_EQ(browser.splits[0]->ratio.get(), 0.5) << "no ratio: an even split";
}

TEST_F(BrowserSession, PagesOfLivePinsAreKeptAside) {
  Session session;
  Session::Tab tab;
  tab.url = *Url::parse("https://pinned.example/");
  tab.pinID = "pin-1";
  session.tabs.push_back(tab);
  tab.url = *Url::parse("https://plain.example/");
  tab.pinID.reset();
  session.tabs.push_back(tab);
  session.recent = {0, 1};
  Browser browser(engine, scheduler);
  browser.pinExists = [](const std::string& id) { return id == "pin-1"; };
  browser.restoreSession(session);
  EXPECT_EQ(browser.pages->size(), 1u);
  ASSERT_EQ(browser.pinnedPages.count("pin-1"), 1u);
  EXPECT_EQ(browser.current(), browser.pinnedPages["pin-1"]);
  auto saved = browser.buildSession();
  ASSERT_EQ(saved.tabs.size(), 2u);
  EXPECT_TRUE(saved.tabs[0].pinID || saved.tabs[1].pinID);
}

TEST_F(BrowserSession, BackHistoryOfAnUnshownTabSurvivesTwoRestarts) {
  std::optional<std::string> navigation;
  {
    auto browser = start();
    auto a = open(*browser, "https://a.example/1");
    a->load(*Url::parse("https://a.example/2"));
    open(*browser, "https://b.example/");
    navigation = a->navigationState();
    browser->saveSession();
  }
  for (int restart = 0; restart < 2; ++restart) {
    auto browser = start();  // a is never shown
    browser->saveSession();
  }
  auto session = Session::read();
  ASSERT_EQ(session.tabs.size(), 2u);
  EXPECT_EQ(session.tabs[0].url.str(), "https://a.example/2");
  EXPECT_EQ(session.tabs[0].navigation, navigation);

  auto browser = start();
  browser->select(browser->pages.get()[0]);
  EXPECT_TRUE(browser->current()->canGoBack.get());
}

TEST_F(BrowserSession, NothingToRestoreComposesANewTab) {
  std::filesystem::create_directories(file().parent_path());
  FILE* f = fopen(file().c_str(), "w");
  fputs("{ not json", f);
  fclose(f);
  auto browser = start();
  EXPECT_TRUE(browser->pages->empty());
  EXPECT_TRUE(browser->isComposingNewTab.get());
}

}  // namespace
}  // namespace quillo
