// The history store: recording, saving, merging a load, its file, searching and completing.
#include <nlohmann/json.hpp>

#include <fstream>

#include "stores/history_test_fixture.h"
#include "support/fake_filter_store.h"

namespace quillo::test {
namespace {

TEST_F(HistoryTest, VisitsAndTitlesFollowTheRecordingRules) {
  auto& h = open();
  int changes = 0;
  h.changed().connect([&] { ++changes; });

  for (auto* address : {"ftp://files.example/a", "file:///tmp/a.html", "about:blank"}) h.recordVisit(url(address));
  h.updateTitle("Unknown", url("https://nowhere.example/"));  // a title never creates an entry
  EXPECT_EQ(changes, 0);

  const std::string address = "HTTPS://docs.example/guide";
  auto page = url(address);
  h.recordVisit(page);
  scheduler.advance(std::chrono::hours(1));
  h.recordVisit(page);
  h.updateTitle("The Guide", page);
  h.updateTitle("", page);           // ignored
  h.updateTitle("The Guide", page);  // unchanged: no change, no save
  EXPECT_EQ(stored(address), std::tuple("The Guide", 2, now()));
  EXPECT_EQ(changes, 3);
  EXPECT_EQ(h.matches("GUIDE the", 12).size(), 1u) << "the new title is searchable at once";

  h.remove(page);
  EXPECT_EQ(h.find(page), nullptr);
  EXPECT_EQ(changes, 4);
}

TEST_F(HistoryTest, SavesTwoSecondsAfterTheLastChangeAtLeastEveryFourSecondsAndAtOnceWhenAsked) {
  auto& h = open();
  h.recordVisit(url("https://a.example/"));
  scheduler.advance(std::chrono::milliseconds(1500));
  h.recordVisit(url("https://a.example/"));
  h.updateTitle("A", url("https://a.example/"));
  scheduler.advance(std::chrono::milliseconds(1999));
  EXPECT_EQ(writes, 0) << "still waiting: the burst is not over";

  scheduler.advance(std::chrono::milliseconds(1));
  waitForWrites(1);
  EXPECT_EQ(fields(readFile()), (Fields{{"https://a.example/", "A", 2, now() - 2}}));
  scheduler.advance(std::chrono::seconds(10));

  // Visits that never stop are still written.
  for (int i = 0; i < 8; ++i) {
    h.recordVisit(url("https://busy.example/" + std::to_string(i)));
    scheduler.advance(std::chrono::milliseconds(1000));
  }
  waitForWrites(3);
  EXPECT_EQ(writes, 3) << "at 4 s and at 8 s";

  // Saving now waits behind a write under way and cancels the pending one.
  h.recordVisit(url("https://a.example/"));
  scheduler.advance(History::kSaveDelay);  // an asynchronous write is under way
  h.recordVisit(url("https://b.example/"));
  h.saveNow();
  EXPECT_EQ(readFile().size(), 10u) << "the synchronous write is the last";
  scheduler.runUntilIdle();
  scheduler.advance(std::chrono::seconds(10));
  EXPECT_EQ(writes, 5);
}

// The writer reads the entries as they were when the save began while the main thread changes them.
TEST_F(HistoryTest, ChangesDuringAWriteLeaveTheWrittenSnapshotWhole) {
  std::vector<HistoryEntry> many;
  for (int i = 0; i < 20000; ++i)
    many.push_back(entry("https://site" + std::to_string(i % 50) + ".example/page/" + std::to_string(i),
                         "Page " + std::to_string(i), 1 + i % 4, double(i % 300)));
  auto& h = openWith(many);
  h.recordVisit(url("https://fresh.example/"));
  scheduler.advance(History::kSaveDelay);  // the write is under way on its thread
  for (int i = 0; i < 20000; i += 3) h.updateTitle("Renamed", many[std::size_t(i)].url);
  for (int i = 1; i < 20000; i += 3) h.remove(many[std::size_t(i)].url);
  h.clear();
  waitForWrites(1);
  auto saved = readFile();
  ASSERT_EQ(saved.size(), 20001u);
  EXPECT_EQ(saved[1].title, "Page 1");
  EXPECT_EQ(saved.back().url.str(), "https://fresh.example/");
  // What was let go of is freed once the write is done; the next save writes what is left.
  scheduler.advance(History::kSaveDelay);
  waitForWrites(2);
  EXPECT_TRUE(readFile().empty());
}

// Visits while the file loads merge into its entries and into indexes built off the main thread.
TEST_F(HistoryTest, VisitsDuringLoadingMergeWithTheStoredOnesAndTheirIndexes) {
  writeFile({
      entry("https://news.example/a", "Daily news", 1, 10),
      entry("https://titled.example/", "Old title", 2, 10),
      entry("https://nextcloud.example/files", "Files", 3, 0),
      entry("https://other.example/daily", "Daily other", 2, 0),
  });
  auto& h = start();
  EXPECT_FALSE(h.isLoaded()) << "the file's entries land only when the main loop runs";
  scheduler.setWallNow(scheduler.wallNow() + std::chrono::hours(1));
  for (int i = 0; i < 4; ++i) h.recordVisit(url("https://news.example/a"));
  h.recordVisit(url("https://titled.example/"));
  h.updateTitle("New title", url("https://titled.example/"));
  scheduler.setWallNow(scheduler.wallNow() + std::chrono::hours(1));
  h.recordVisit(url("https://new.example/"));
  scheduler.waitForWorkers(1);
  ASSERT_TRUE(h.isLoaded());
  EXPECT_EQ(stored("https://news.example/a"), std::tuple("Daily news", 5, now() - 3600)) << "the stored title";
  EXPECT_EQ(stored("https://titled.example/"), std::tuple("New title", 3, now() - 3600));
  // 5 visits today beat nextcloud's 3; the loaded count alone would not.
  EXPECT_EQ(h.completion("ne"), "news.example");
  EXPECT_EQ(urls(h.matches("daily", 12)), (Strings{"https://news.example/a", "https://other.example/daily"}));
  EXPECT_EQ(urls(h.recent("", 2)), (Strings{"https://new.example/", "https://news.example/a"}));

  scheduler.advance(History::kSaveDelay);
  waitForWrites(1);
  EXPECT_EQ(readFile().size(), 5u) << "the stored entries are written with the new";
}

TEST_F(HistoryTest, ClearingWhileLoadingKeepsOnlyWhatCameAfterAndClearingLaterEmptiesTheFile) {
  writeFile({entry("https://old.example/", "Old", 5, 1), entry("https://older.example/", "Older", 2, 3)});
  auto& h = start();
  h.recordVisit(url("https://before-clear.example/"));
  h.clear();
  h.recordVisit(url("https://new.example/"));
  scheduler.waitForWorkers(1);  // the load
  EXPECT_EQ(h.size(), 1u);
  waitForWrites(1);  // written at once, not after the delay
  EXPECT_EQ(urls(readFile()), Strings{"https://new.example/"});

  h.clear();
  EXPECT_EQ(h.size(), 0u);
  scheduler.advance(History::kSaveDelay);
  waitForWrites(2);
  EXPECT_TRUE(readFile().empty());
}

TEST_F(HistoryTest, KeepsTheHundredThousandMostRecentlyVisited) {
  std::vector<HistoryEntry> entries;
  entries.reserve(History::kMaxEntries + 1);
  for (size_t i = 0; i <= History::kMaxEntries; ++i)
    entries.push_back(HistoryEntry{url("https://site.example/page/" + std::to_string(i)), "Page", 1,
                                   now() - (i == 17 ? 1e9 : double(i))});
  auto& h = openWith(entries);
  h.saveNow();
  EXPECT_EQ(h.size(), History::kMaxEntries);
  EXPECT_EQ(h.find(url("https://site.example/page/17")), nullptr);
  auto saved = urls(readFile());
  EXPECT_EQ(saved.size(), History::kMaxEntries);
  EXPECT_EQ(std::count(saved.begin(), saved.end(), "https://site.example/page/17"), 0);
}

TEST_F(HistoryTest, LastVisitedIsStoredAsSecondsSince2001) {
  // 2024-06-01 00:00 UTC is 738892800 s after 2001-01-01.
  auto& h = openWith({HistoryEntry{url("https://kept.example/"), "Kept", 2, 738892800.123456789}});
  h.recordVisit(url("https://new.example/"));
  h.saveNow();

  // Exactly, not nearly; and a count is written as an integer.
  auto json = nlohmann::json::parse(TempHome::read(file()));
  EXPECT_EQ(json, nlohmann::json::parse(R"([
      {"url": "https://kept.example/", "title": "Kept", "visits": 2, "lastVisited": 738892800.123456789},
      {"url": "https://new.example/", "title": "", "visits": 1, "lastVisited": 738892800.0}])"));
  EXPECT_TRUE(json[1]["visits"].is_number_integer());
}

TEST_F(HistoryTest, AnUnreadableFileIsKeptAsideOnlyWhenASaveWouldReplaceIt) {
  CapturedLog captured;
  const auto& log = captured.lines;
  std::filesystem::create_directories(file().parent_path());
  const std::string garbage = "[{\"url\": \"https://a.example/\", \"title\": ";
  std::ofstream(file()) << garbage;

  auto& h = open();
  EXPECT_EQ(h.size(), 0u);
  // Quitting without having changed anything leaves the file as it was.
  h.saveNow();
  EXPECT_EQ(TempHome::read(file()), garbage);
  EXPECT_TRUE(log.empty());

  h.recordVisit(url("https://b.example/"));
  scheduler.advance(History::kSaveDelay);
  waitForWrites(1);
  auto aside = home.data("history.json.unreadable");
  EXPECT_EQ(TempHome::read(aside), garbage);
  EXPECT_EQ(urls(readFile()), Strings{"https://b.example/"});
  ASSERT_EQ(log.size(), 1u);
  EXPECT_NE(log[0].find("history.json.unreadable"), std::string::npos) << log[0];

  // Only once: later writes replace our own file.
  h.recordVisit(url("https://c.example/"));
  h.saveNow();
  EXPECT_EQ(TempHome::read(aside), garbage);
  EXPECT_EQ(readFile().size(), 2u);
}

// Found by fuzzing: a title holding a NUL next to non-ASCII text was taken
// for broken UTF-8, and its NUL turned into U+FFFD at the next write.
TEST(HistoryFile, AnyTitleRoundTripsAndBrokenTextIsMendedAroundNuls) {
  std::vector<HistoryEntry> entries = {
      {*Url::parse("https://a.example/?q=%22x%22"), "Quote \" backslash \\ tab \t nl \n bell \x07 é 東京", 3, -12.5},
      {*Url::parse("https://b.example/"), std::string("caf\xc3\xa9\0end", 9), 2, 1},
      {*Url::parse("https://c.example/"), std::string("a\xff\0\xc3", 4), 1, 1},
  };
  auto text = encodeHistory(entries);
  EXPECT_TRUE(nlohmann::json::accept(text));
  entries[2].title = std::string("a\xef\xbf\xbd\0\xef\xbf\xbd", 8);  // mended; the NUL stays
  EXPECT_EQ(fields(decodeHistory(text)), fields(entries));
}

TEST(HistoryFile, DecodingIsAllOrNothing) {
  // Another writer's 3.0 is still a count; keys it does not know are ignored.
  EXPECT_EQ(fields(decodeHistory(R"([{"lastVisited":5,"visits":3.0,"title":"T","url":"https://a.example/","x":0}])")),
            (Fields{{"https://a.example/", "T", 3, 5.0}}));

  // Almost what is written here, which takes a fast reader: still refused.
  const std::string entry = R"({"url":"https://a.example/","title":"A","visits":2,"lastVisited":7})";
  for (const auto& text : std::vector<std::string>{
           R"([{"url":"https://a.example/","title":"A","visits":1}])",
           R"([{"url":"https://a.example/","title":"A","visits":1.5,"lastVisited":1}])",
           R"([{"url":"not a url","title":"A","visits":1,"lastVisited":1}])",
           R"([{"url":"https://a.example/","title":"\ud800","visits":1,"lastVisited":1}])",
           "[" + entry + "] x",  // text after the array
       })
    EXPECT_FALSE(decodeHistory(text)) << text;
  // Another writer's escapes are read; in a repeated key the last one counts.
  EXPECT_EQ(
      fields(decodeHistory(
          R"([{"url":"https://a.example/","title":"\u00e9\ud83d\ude00","visits":4,"lastVisited":8,"visits":5}])")),
      (Fields{{"https://a.example/", "\u00e9\U0001F600", 5, 8}}));
}

TEST_F(HistoryTest, FrecencyHalvesEveryFourteenDaysAndIgnoresFutureVisits) {
  EXPECT_DOUBLE_EQ(History::frecency(entry("https://a.example/", "", 4, 14), now()), 2.0);
  EXPECT_DOUBLE_EQ(History::frecency(entry("https://a.example/", "", 8, 28), now()), 2.0);
  // A visit dated in the future (the clock was changed) counts in full.
  EXPECT_DOUBLE_EQ(History::frecency(entry("https://a.example/", "", 5, -3), now()), 5.0);
}

// Searches over many records are held to a model in the index tests; only a space separates words.
TEST(HistoryWords, AreSplitOnSpacesOnlyAndFolded) {
  EXPECT_EQ(History::words("  Rust\tASYNC  b "), (std::vector<std::string>{"rust\tasync", "b"}));
}

// The index tests hold completion to a model over many histories; these are the rules by example.
TEST_F(HistoryTest, CompletionAddsUpASitesHostsThenWholeAddressesAfterASlash) {
  auto today = [&](const std::string& address, int64_t visits) { return entry(address, "", visits, 0); };
  auto& h = openWith({today("https://www.news.example/a", 2), today("https://news.example/b", 3),
                      today("https://news.example/article?id=1", 1), today("https://nextcloud.example/files", 5),
                      today("file:///home/user/notes.html", 9)});
  for (auto& [typed, expected] : std::vector<std::pair<std::string, std::optional<std::string>>>{
           // Nothing for spaced, slash or scheme text.
           {"ne ws", std::nullopt},
           {"/history", std::nullopt},
           {"https://ne", std::nullopt},
           // news.example totals 2 + 3 + 1 and beats nextcloud's 5; no single page would.
           {"NE", "news.example"},
           {"www.ne", "www.news.example"},  // only the "www." record offers it
           {"news.example", std::nullopt},  // a whole host completes nothing more
           // After a slash /a (its "www." dropped) and /b compete; /b has more visits.
           {"news.example/", "news.example/b"},
           {"news.example/a", "news.example/article?id=1"},
       })
    EXPECT_EQ(h.completion(typed), expected) << typed;
}

}  // namespace
}  // namespace quillo::test
