// The history search and completion indexes, against a walk over every record.
#include <glib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <set>
#include <tuple>

#include "core/text.h"
#include "stores/history_records.h"
#include "stores/history_test_fixture.h"

namespace quillo::test {
namespace {

constexpr double kDay = 86400;

// A varied history: hosts with and without "www." or a subdomain, sharing
// prefixes; titles in several scripts and cases, some missing; visit counts
// with a heavy tail; visits spread over two years. The same stream number
// gives the same history; every URL is unique.
std::vector<HistoryEntry> variedHistory(std::size_t count, uint32_t stream, double now) {
  static const std::vector<std::string> words = {"rust",   "async", "berlin", "debian",  "election", "climate",
                                                 "energy", "paris", "Über",   "Новости", "ÇAĞDAŞ",   "東京の天気"};
  static const std::vector<std::string> hosts = {"github.com",        "www.nytimes.com", "en.wikipedia.org",
                                                 "kalo.de",           "www.kalori.io",   "blog.kalo.de",
                                                 "stackoverflow.com", "docs.python.org"};
  std::mt19937 random(stream);
  auto word = [&] { return words[random() % words.size()]; };
  std::vector<HistoryEntry> entries;
  for (std::size_t i = 0; i < count; ++i) {
    std::string host = random() % 3 ? hosts[random() % hosts.size()] : "site" + std::to_string(random() % 500) + ".org";
    std::string title = random() % 33 ? word() + " " + word() + " - " + host : "";
    auto visits = int64_t(std::min(std::pow(1.0 - double(random() % 1000) / 1000.0, -1.0 / 1.2), 5000.0));
    entries.push_back({Url::parse("https://" + host + "/" + word() + "/" + std::to_string(i)).value(), title, visits,
                       now - double(random() % 730) * kDay - double(random() % 86400)});
  }
  return entries;
}

const std::vector<std::string> kQueries = {"github.com/rust", "kalo", "www.nytimes.com",   "wikipedia berlin",
                                           "rust async",      "über", "docs.python.org/e", "Новости"};

// The search rules applied to every record in position order.
std::vector<std::string> expectedBest(const HistoryRecords& records, const std::vector<std::string>& words,
                                      std::size_t limit, bool byFrecency, double now) {
  std::vector<std::pair<double, std::string>> found;
  for (std::size_t i = 0; i < records.size(); ++i) {
    const HistoryEntry& e = *records.at(i);
    const std::string hay = foldCase(e.title + " " + e.url.str());
    if (!std::all_of(words.begin(), words.end(), [&](const auto& w) { return hay.find(w) != std::string::npos; }))
      continue;
    found.emplace_back(byFrecency ? History::frecency(e, now) : e.lastVisited, e.url.str());
  }
  std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
  std::vector<std::string> urls;
  for (std::size_t i = 0; i < std::min(limit, found.size()); ++i) urls.push_back(found[i].second);
  return urls;
}

std::optional<std::string> expectedCompletion(const HistoryRecords& records, const std::string& t, double now) {
  const bool typingPath = t.find('/') != std::string::npos, typedWww = t.starts_with("www.");
  std::vector<std::pair<std::string, double>> totals;  // in the order first met
  for (std::size_t i = 0; i < records.size(); ++i) {
    const HistoryEntry& e = *records.at(i);
    std::string candidate = foldCase(e.url.host());
    if (candidate.empty()) continue;
    if (!typedWww && candidate.starts_with("www.")) candidate.erase(0, 4);
    if (typingPath) {
      if (!t.starts_with(candidate) || t.size() == candidate.size() || t[candidate.size()] != '/') continue;
      const auto& text = e.url.str();
      bool hasQuery = text.find('?') < text.find('#');
      candidate += e.url.path() + (hasQuery ? "?" + e.url.query() : "");
    }
    if (!candidate.starts_with(t) || candidate.size() == t.size()) continue;
    auto known = std::find_if(totals.begin(), totals.end(), [&](const auto& p) { return p.first == candidate; });
    double score = History::frecency(e, now);
    if (known == totals.end())
      totals.emplace_back(candidate, score);
    else
      known->second += score;
  }
  const std::pair<std::string, double>* winner = nullptr;
  for (const auto& total : totals)
    if (!winner || total.second > winner->second) winner = &total;
  return winner ? std::optional(winner->first) : std::nullopt;
}

// Both rankings of `words` against the walk above.
void expectSameBest(const HistoryRecords& records, const std::vector<std::string>& words, std::size_t limit, double now,
                    const std::string& trace) {
  for (auto ranking : {HistoryRecords::Ranking::frecency, HistoryRecords::Ranking::recency}) {
    std::vector<std::string> found;
    for (uint32_t p : records.best(words, int(limit), ranking, now)) found.push_back(records.at(p)->url.str());
    EXPECT_EQ(found, expectedBest(records, words, limit, ranking == HistoryRecords::Ranking::frecency, now))
        << trace << " limit " << limit << (ranking == HistoryRecords::Ranking::frecency ? " frecency" : " recency");
  }
}

// Random changes over a few sites reached with and without "www.", the same
// path by several addresses, counts and times drawn from small sets so that
// scores tie often, and now and then a count or time no visit gives.
class RandomHistory {
 public:
  explicit RandomHistory(uint32_t variant) : random_(variant) {
    const char* hosts[] = {"a.example", "www.a.example", "ab.example",          "www.ab.example",
                           "B.Example", "b.example",     "b%C3%BCcher.example", "www.www.c.example"};
    const char* paths[] = {"/", "/x", "/x?q=1", "/xy", "/y/z", "/a/./b", "/%7e", ""};
    for (const char* host : hosts)
      for (const char* path : paths)
        for (const char* rest : {"", "#one", "#two"})
          for (const char* scheme : {"https://", "http://"})
            urls_.push_back(*Url::parse(scheme + std::string(host) + path + rest));
  }

  const std::vector<Url>& urls() const { return urls_; }

  void change(HistoryRecords& records, double& now) {
    const auto roll = random_() % 100;
    const Url& url = urls_[random_() % urls_.size()];
    if (roll < 45) {
      const HistoryEntry* known = records.find(url.str());
      HistoryEntry e{url, known ? known->title : title(), 1 + int64_t(random_() % 3),
                     now - double(random_() % 3) * 14 * kDay};
      if (random_() % 25 == 0) e.visits = random_() % 2 ? 0 : -1;
      if (random_() % 25 == 0) e.lastVisited = random_() % 2 ? now + 2 * kDay : now - 1e11;
      records.put(std::make_shared<const HistoryEntry>(std::move(e)));
    } else if (roll < 60) {
      if (const HistoryEntry* known = records.find(url.str())) {
        auto retitled = std::make_shared<HistoryEntry>(*known);
        retitled->title = title();
        records.put(std::move(retitled));
      }
    } else if (roll < 85) {
      records.erase(url.str());
    } else if (roll < 87) {
      records.clear();
    } else if (roll < 92) {
      // The newest `limit` stay, ties going to the earlier, in their order.
      const std::size_t limit = records.size() * (1 + random_() % 3) / 4;
      std::vector<std::pair<double, std::size_t>> byAge;
      for (std::size_t i = 0; i < records.size(); ++i) byAge.emplace_back(records.at(i)->lastVisited, i);
      std::stable_sort(byAge.begin(), byAge.end(), [](auto& a, auto& b) { return a.first > b.first; });
      byAge.resize(limit);
      std::sort(byAge.begin(), byAge.end(), [](auto& a, auto& b) { return a.second < b.second; });
      std::vector<std::string> expected;
      for (const auto& [time, i] : byAge) expected.push_back(records.at(i)->url.str());
      records.keepMostRecent(limit);
      std::vector<std::string> kept;
      for (std::size_t i = 0; i < records.size(); ++i) kept.push_back(records.at(i)->url.str());
      EXPECT_EQ(kept, expected);
    } else {
      const double steps[] = {3600, 20 * kDay, 2000 * kDay, -30 * kDay};
      now += steps[random_() % 4];
    }
  }

 private:
  std::string title() {
    const char* titles[] = {"Example Title", "EXAMPLE", "title x", "", "Bücher", "Title Example Q"};
    return titles[random_() % 6];
  }
  std::mt19937 random_;
  std::vector<Url> urls_;
};

// Removals, retitles, clearing, trimming and a clock that jumps, with the
// indexes kept up to date throughout.
TEST(HistoryIndex, SearchAndCompletionAgreeWithAWalkOverEveryRecord) {
  const std::vector<std::vector<std::string>> queries = {{},        {"a"},   {"x"}, {"example"}, {"ex", "am"},
                                                         {"title"}, {"q=1"}, {"~"}, {"bücher"},  {"zzz"}};
  std::vector<std::string> typed = {"a",     "ab",    "a.", "b", "bü", "www.",
                                    "www.a", "www.w", "w",  "x", "c",  "b.example/a/b"};
  for (std::string host : {"a.example", "www.a.example", "b.example", "bücher.example", "www.c.example"})
    for (const char* path : {"/", "/x"}) typed.push_back(host + path);
  for (uint32_t variant : {1u, 2u, 3u}) {
    SCOPED_TRACE(variant);
    RandomHistory changes(variant);
    HistoryRecords records;
    double now = 7e8;
    for (int step = 0; step < 3000; ++step) {
      changes.change(records, now);
      if (step % 5 != 0) continue;
      std::map<std::string, std::size_t> held;
      for (std::size_t i = 0; i < records.size(); ++i) held[records.at(i)->url.str()] = i;
      ASSERT_EQ(held.size(), records.size());
      for (const auto& u : changes.urls()) {
        auto at = held.find(u.str());
        ASSERT_EQ(records.find(u.str()), at == held.end() ? nullptr : records.at(at->second).get()) << u.str();
      }
      const std::string trace = "step " + std::to_string(step);
      for (const auto& words : queries)
        for (std::size_t limit : {1u, 3u, 12u, 1000u}) expectSameBest(records, words, limit, now, trace);
      for (const auto& t : typed)
        EXPECT_EQ(records.completion(t, now), expectedCompletion(records, t, now)) << trace << " " << t;
      if (::testing::Test::HasFailure()) return;
    }
  }
}

// Addresses are found through a small open-addressing table; removals
// shift later entries back, also across the table's end.
TEST(HistoryIndex, EveryAddressIsFoundAfterAddsAndRemovals) {
  std::vector<std::string> pool;
  for (int i = 0; i < 40; ++i) pool.push_back("https://s" + std::to_string(i) + ".example/p");
  HistoryRecords records;
  std::set<std::string> held;
  std::mt19937 random(3);
  for (int step = 0; step < 4000; ++step) {
    const std::string& address = pool[random() % pool.size()];
    // Between about 4 and 14 records: a table of 16 or 32 slots.
    if (held.size() < 4 || (held.size() < 14 && random() % 2 == 0)) {
      records.put(std::make_shared<const HistoryEntry>(HistoryEntry{*Url::parse(address), "", 1, 0}));
      held.insert(address);
    } else {
      records.erase(address);
      held.erase(address);
    }
    ASSERT_EQ(records.size(), held.size());
    for (const auto& a : pool) ASSERT_EQ(records.find(a) != nullptr, held.count(a) == 1) << "step " << step << " " << a;
  }
}

// Above a few hundred records the searches take other paths (candidate
// bitmaps over several words, walks that stop early); a realistic history
// with many removals and new visits exercises them.
TEST(HistoryIndex, ALargeHistoryAgreesAfterManyChanges) {
  const double now = 7.5e8;
  auto entries = variedHistory(4000, 11, now);
  HistoryRecords records;
  for (auto& e : entries) records.put(std::make_shared<const HistoryEntry>(e));
  records.prepare();
  std::mt19937 random(5);
  for (int i = 0; i < 1500; ++i) {
    const auto& e = entries[random() % entries.size()];
    if (i % 3 == 0) {
      records.erase(e.url.str());
    } else {
      auto visited = std::make_shared<HistoryEntry>(e);
      visited->visits += 1;
      visited->lastVisited = now - double(random() % 1000);
      if (i % 5 == 0) visited->title = "Changed title " + std::to_string(i);
      records.put(std::move(visited));
    }
  }
  // A batch of puts (as a merge makes) leaves the orders where one at a time would.
  records.beginBatch();
  for (int i = 0; i < 600; ++i) {
    auto visited = std::make_shared<HistoryEntry>(entries[random() % entries.size()]);
    visited->visits += i % 4;
    visited->lastVisited = now - double(random() % 1000);
    records.put(std::move(visited));
  }
  records.endBatch();
  records.keepMostRecent(records.size() - 37);
  for (std::string query : kQueries) {
    for (std::size_t length = 1; length <= query.size(); length += 2) {
      expectSameBest(records, History::words(query.substr(0, length)), 12, now, query.substr(0, length));
      auto t = foldCase(query.substr(0, length));
      if (t.find(' ') != std::string::npos) continue;
      EXPECT_EQ(records.completion(t, now), expectedCompletion(records, t, now)) << t;
    }
  }
}

// A big file is read and indexed on several threads, cut between entries;
// whatever it holds (duplicates, escapes, hosts the parser rewrites,
// non-ASCII text, a cut that falls inside a title), the store must answer
// as if every entry had been put in file order.
TEST_F(HistoryTest, AFileReadOnSeveralThreadsAnswersLikeOneReadInOrder) {
  auto entries = variedHistory(30000, 3, now());
  for (std::size_t i = 0; i < entries.size(); i += 97) {
    HistoryEntry again = entries[i];
    again.title = "Seen again " + std::to_string(i);
    again.visits += 2;
    entries.push_back(again);  // a later duplicate replaces the earlier
  }
  for (std::size_t i = 0; i < 200; ++i) {
    entries.insert(
        entries.begin() + std::ptrdiff_t(entries.size() / 2),
        entry("https://B%C3%BCcher.Example/x" + std::to_string(i), "quote \"q\" \\ Grüße " + std::to_string(i), 1, 3));
  }
  for (bool cutInTitle : {false, true}) {
    auto written = entries;
    if (cutInTitle) {
      // A long title across the middle of the file: the text is cut inside
      // it, and must then be read whole.
      const std::size_t total = encodeHistory(written).size();
      std::string title;
      while (title.size() < total / 5) title += "},{";
      std::size_t at = 0;
      for (std::size_t bytes = 0; bytes < total / 2; ++at) bytes += encodeHistory({written[at]}).size();
      written.insert(written.begin() + std::ptrdiff_t(at), entry("https://long.example/", title, 1, 1));
    }
    HistoryRecords inOrder;
    for (const auto& e : written) inOrder.put(std::make_shared<const HistoryEntry>(e));
    auto& loaded = openWith(written);
    ASSERT_EQ(loaded.size(), inOrder.size());
    for (std::size_t i = 0; i < inOrder.size(); i += 7) {
      const HistoryEntry* found = loaded.find(inOrder.at(i)->url);
      ASSERT_TRUE(found) << inOrder.at(i)->url.str();
      const HistoryEntry& expected = *inOrder.at(i);
      EXPECT_EQ(std::tie(found->title, found->visits, found->lastVisited),
                std::tie(expected.title, expected.visits, expected.lastVisited));
    }
    auto queries = kQueries;
    queries.insert(queries.end(), {"grüße", "bücher", "seen again", "quote \"q", "long.ex"});
    for (const auto& query : queries) {
      for (std::size_t length = 1; length <= query.size(); length += 3) {
        std::string typed = query.substr(0, length);
        if (!g_utf8_validate(typed.data(), gssize(typed.size()), nullptr)) continue;
        const auto words = History::words(typed);
        EXPECT_EQ(urls(loaded.matches(typed, 12)),
                  words.empty() ? Strings{} : expectedBest(inOrder, words, 12, true, now()))
            << typed;
        EXPECT_EQ(urls(loaded.recent(typed, 12)), expectedBest(inOrder, words, 12, false, now())) << typed;
        const std::string folded = foldCase(typed);
        if (folded.find(' ') == std::string::npos) {
          EXPECT_EQ(loaded.completion(typed), expectedCompletion(inOrder, folded, now())) << typed;
        }
      }
    }
  }
}

}  // namespace
}  // namespace quillo::test
