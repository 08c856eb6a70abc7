// Saving the open tabs to session.json and bringing them back.
#include <filesystem>
#include <fstream>

#include "core/log.h"
#include "support/browser_test.h"

namespace quillo {
namespace {

using namespace std::chrono_literals;

class BrowserSession : public test::BrowserTest {
 protected:
  std::filesystem::path file() const { return home.data("session.json"); }
};

TEST_F(BrowserSession, SavingWaitsForASecondOfQuietButNeverMoreThanTwoSeconds) {
  for (int i = 0; i < 10; ++i) {
    open("https://site" + std::to_string(i) + ".example/");
    scheduler.advance(90ms);
  }
  scheduler.advance(909ms);
  EXPECT_FALSE(std::filesystem::exists(file()));
  scheduler.advance(1ms);
  ASSERT_TRUE(std::filesystem::exists(file()));
  EXPECT_EQ(Session::read().tabs.size(), 10u);
  std::filesystem::remove(file());

  // A page that retitles itself twice a second would put a plain debounce off for good.
  int written = 0;
  for (int i = 0; i < 40; ++i) {
    browser->current()->load(*Url::parse("https://ticker.example/" + std::to_string(i)));
    scheduler.advance(500ms);
    written += std::filesystem::remove(file());
  }
  EXPECT_EQ(written, 10) << "one write every two seconds";
}

TEST_F(BrowserSession, AFailedWriteKeepsTheTabsAndTriesAgainAtTheNextChange) {
  std::vector<std::string> log;
  auto previousSink = setLogSink([&](const std::string& line) { log.push_back(line); });
  // The folder cannot be made: a file is where it should be.
  std::filesystem::create_directories(file().parent_path().parent_path());
  std::ofstream(file().parent_path()) << "in the way";
  open("https://a.example/");
  scheduler.advance(1s);
  ASSERT_FALSE(log.empty());
  EXPECT_NE(log.back().find("couldn't save session.json"), std::string::npos) << log.back();

  std::filesystem::remove(file().parent_path());
  open("https://b.example/");
  scheduler.advance(1s);
  EXPECT_EQ(Session::read().tabs.size(), 2u);
  setLogSink(previousSink);
}

TEST_F(BrowserSession, HandEditedFilesAreReadAsFarAsTheyMakeSenseAndOnlyTheCurrentPageLoadsOnceTheListsAreIn) {
  auto session = test::sessionOf({"https://pinned.example/", "https://a.example/", "https://b.example/"});
  session.tabs[0].pinID = "pin-1";
  session.tabs[1].pinID = "D2C1A8E4-0000-4000-8000-000000000001";  // no such pin
  session.tabs[1].splitPartner = 2;
  session.tabs[1].splitIsLeft = true;
  session.tabs[2].splitPartner = 1;
  session.tabs[2].splitIsLeft = false;
  session.recent = {0, 7, 2};
  Browser restored(engine, scheduler);
  restored.pinExists = [](const std::string& id) { return id == "pin-1"; };
  restored.restoreSession(session);
  ASSERT_EQ(restored.pages->size(), 2u) << "the live pin's page is kept aside";
  ASSERT_EQ(restored.pinnedPages.count("pin-1"), 1u);
  auto& pages = restored.pages.get();
  auto pinned = restored.pinnedPages["pin-1"];
  EXPECT_FALSE(pages[0]->pinID) << "a tab whose pin is gone is an ordinary tab";
  EXPECT_EQ(restored.recent.get(), (std::vector<PagePtr>{pinned, pages[1], pages[0]}))
      << "the bad index is skipped, and pages missing from recent are appended";
  ASSERT_EQ(restored.splits.size(), 1u);
  EXPECT_DOUBLE_EQ(restored.splits[0]->ratio.get(), 0.5) << "no ratio: an even split";
  auto saved = restored.buildSession();
  ASSERT_EQ(saved.tabs.size(), 3u);
  EXPECT_EQ(saved.tabs[saved.recent[0]].pinID, std::optional<std::string>("pin-1"));

  for (auto& page : {pinned, pages[0], pages[1]}) EXPECT_TRUE(view(page).loads.empty()) << "before the lists settle";
  restored.settleBlockLists();
  EXPECT_EQ(view(pinned).loads.size(), 1u) << "the current page loads once settled";
  EXPECT_EQ(view(pages[0]).loads.size() + view(pages[1]).loads.size(), 0u) << "others wait until shown";
}

TEST_F(BrowserSession, PrivateTabsAreNeverWrittenNorCountedInTheRecentOrder) {
  open("https://p.example/", "", true, true);
  open("https://a.example/");
  open("https://b.example/");
  open("https://q.example/", "", true, true);
  browser->saveSession();
  auto saved = Session::read();
  ASSERT_EQ(saved.tabs.size(), 2u);
  EXPECT_EQ(saved.tabs[1].url.str(), "https://b.example/");
  EXPECT_EQ(saved.recent, (std::vector<size_t>{1, 0}));
}

TEST_F(BrowserSession, NothingToRestoreComposesANewTab) {
  std::filesystem::create_directories(file().parent_path());
  std::ofstream(file()) << "{ not json";
  Browser restored(engine, scheduler);
  restored.restoreSession();
  EXPECT_TRUE(restored.pages->empty());
  EXPECT_TRUE(restored.isComposingNewTab.get());
}

}  // namespace
}  // namespace quillo
