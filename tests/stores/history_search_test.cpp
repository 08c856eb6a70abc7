// Searching the history by words and completing typed addresses from it.
#include "stores/history_test_fixture.h"

namespace quillo::test {
namespace {

TEST_F(HistoryTest, FrecencyHalvesEveryFourteenDaysAndIgnoresFutureVisits) {
  EXPECT_DOUBLE_EQ(History::frecency(entry("https://a.example/", "", 4, 14), now()), 2.0);
  EXPECT_DOUBLE_EQ(History::frecency(entry("https://a.example/", "", 1, 0), now()), 1.0);
  EXPECT_DOUBLE_EQ(History::frecency(entry("https://a.example/", "", 8, 28), now()), 2.0);
  // A visit dated in the future (the clock was changed) counts in full.
  EXPECT_DOUBLE_EQ(History::frecency(entry("https://a.example/", "", 5, -3), now()), 5.0);
}

TEST_F(HistoryTest, EveryWordMustMatchInAnyOrderAndAnyCase) {
  auto& h = openWith({
      entry("https://blog.example/posts/1", "Async Rust in practice", 1, 1),
      entry("https://python.example/asyncio", "Async Python", 1, 1),
      entry("https://news.example/rust", "Rust 1.80 released", 1, 1),
      entry("https://ru.example/", "Новости науки", 1, 1),
  });
  EXPECT_EQ(urls(h.matches("RUST async", 12)), (Strings{"https://blog.example/posts/1"}));
  EXPECT_EQ(urls(h.matches("  rust   ASYNC ", 12)), (Strings{"https://blog.example/posts/1"}));
  // The address is part of what is searched, the title too.
  EXPECT_EQ(urls(h.matches("asyncio python", 12)), (Strings{"https://python.example/asyncio"}));
  // Only the space separates words: a tab is part of the word.
  EXPECT_TRUE(h.matches("rust\tasync", 12).empty());
  EXPECT_TRUE(h.matches("rust missing", 12).empty());
  EXPECT_TRUE(h.matches("rust", 0).empty());
  // Case folds beyond ASCII.
  EXPECT_EQ(urls(h.matches("НОВОСТИ", 12)), (Strings{"https://ru.example/"}));
  // No words, no matches; but the listing shows everything.
  EXPECT_TRUE(h.matches("   ", 12).empty());
  EXPECT_EQ(h.recent("", 12).size(), 4u);
  EXPECT_EQ(History::words(" A  b "), (std::vector<std::string>{"a", "b"}));
}

// Retitling and removing leave old haystack bytes behind until the store
// repacks them; searches must see only the current titles throughout.
TEST_F(HistoryTest, SearchFollowsNewTitlesAndRemovals) {
  std::vector<HistoryEntry> entries;
  for (int i = 0; i < 3000; ++i)
    entries.push_back(entry("https://s.example/" + std::to_string(i), "original title " + std::to_string(i), 1, 1));
  auto& h = openWith(entries);
  for (int round = 1; round <= 3; ++round)
    for (int i = 0; i < 3000; ++i)
      h.updateTitle("round" + std::to_string(round) + " title " + std::to_string(i),
                    url("https://s.example/" + std::to_string(i)));
  for (int i = 0; i < 3000; i += 2) h.remove(url("https://s.example/" + std::to_string(i)));

  EXPECT_TRUE(h.matches("original", 12).empty());
  EXPECT_TRUE(h.matches("round2", 12).empty());
  EXPECT_EQ(h.recent("round3", 5000).size(), 1500u);
  EXPECT_EQ(urls(h.matches("round3 title 2999", 12)), (Strings{"https://s.example/2999"}));
  EXPECT_TRUE(h.matches("round3 title 2998", 12).empty());
  auto one = h.recent("title 1001 ", 12);
  ASSERT_EQ(one.size(), 1u);
  EXPECT_EQ(one[0].title, "round3 title 1001");
}

// One site reached with and without "www.", a neighbour sharing its first
// letters, a host in mixed case and a file address.
TEST_F(HistoryTest, CompletionAddsUpASitesHostsThenWholeAddressesAfterASlash) {
  // Completion reads addresses and visits only; all were visited today.
  auto today = [&](const std::string& address, int64_t visits) { return entry(address, "", visits, 0); };
  auto& h = openWith({today("https://www.news.example/a", 2), today("https://news.example/b", 3),
                      today("https://news.example/article?id=1", 1), today("https://nextcloud.example/files", 5),
                      today("https://Mixed.Example/Path", 1), today("file:///home/user/notes.html", 9)});
  auto check = [&](const std::vector<std::pair<std::string, std::optional<std::string>>>& cases) {
    for (auto& [typed, expected] : cases) EXPECT_EQ(h.completion(typed), expected) << typed;
  };
  check({
      // Nothing for empty, spaced, slash or scheme text.
      {"", std::nullopt},
      {"ne ws", std::nullopt},
      {"/history", std::nullopt},
      {"https://ne", std::nullopt},
      {"zz", std::nullopt},
      // news.example totals 2 + 3 + 1 and beats nextcloud's 5, which no
      // single page of the news site would.
      {"ne", "news.example"},
      {"NE", "news.example"},
      {"nex", "nextcloud.example"},
      {"www.ne", "www.news.example"},  // only the "www." record offers it
      {"news.example", std::nullopt},  // a whole host completes nothing more
      {"mi", "mixed.example"},         // hosts are lower-cased as stored
      // After a slash /a (its "www." dropped) and /b compete; /b has more
      // visits today.
      {"news.example/", "news.example/b"},
  });
  h.recordVisit(url("https://www.news.example/a"));
  h.recordVisit(url("https://www.news.example/a"));
  check({
      {"news.example/", "news.example/a"},
      // A typed path completes only to a longer one, query included.
      {"news.example/a", "news.example/article?id=1"},
      {"news.example/article?id=1", std::nullopt},
      {"www.news.example/", "www.news.example/a"},
      {"mixed.example/", "mixed.example/Path"},  // the path keeps its case
  });
}

}  // namespace
}  // namespace quillo::test
