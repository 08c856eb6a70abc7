// The session file: its format, what survives bad input, and the copy kept from the save before.
#include "core/session.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits>

#include "core/app_support.h"
#include "core/date.h"
#include "support/fake_filter_store.h"
#include "support/temp_home.h"

namespace quillo {
namespace {

using nlohmann::json;

Url url(const char* text) { return *Url::parse(text); }

Session::Tab tab(const char* address, std::string title = "") {
  Session::Tab tab;
  tab.url = url(address);
  tab.title = std::move(title);
  return tab;
}

Session fullSession() {
  auto left = tab("https://example.com/a?x=1", "Example — A");
  left.customName = "Work";
  left.pinID = "6F1C1E2A-3B4D-4E5F-8A9B-0C1D2E3F4A5B";
  left.splitPartner = 1;
  left.splitIsLeft = true;
  left.splitRatio = 0.62;
  left.navigation = std::string("\0\x01\xfe\xff back/forward", 17);
  auto right = tab("http://localhost:8080/");
  right.splitPartner = 0;
  right.splitIsLeft = false;
  right.splitRatio = 0.62;
  auto notes = tab("file:///tmp/notes.html", "Notes");
  notes.navigation = "";
  return Session{{left, right, notes}, {2, 0, 1}};
}

// The navigation blob is standard base64 ("+", "/" and "=" included).
TEST(SessionJSON, EveryFieldIsWrittenUnderItsFileKeyAbsentOnesLeftOutAndReadBack) {
  auto session = fullSession();
  EXPECT_EQ(session.toJSON(), json::parse(R"({"tabs": [
      {"url": "https://example.com/a?x=1", "title": "Example — A", "customName": "Work",
       "pinID": "6F1C1E2A-3B4D-4E5F-8A9B-0C1D2E3F4A5B", "splitPartner": 1, "splitIsLeft": true, "splitRatio": 0.62,
       "navigation": "AAH+/yBiYWNrL2ZvcndhcmQ="},
      {"url": "http://localhost:8080/", "title": "", "splitPartner": 0, "splitIsLeft": false, "splitRatio": 0.62},
      {"url": "file:///tmp/notes.html", "title": "Notes", "navigation": ""}
    ], "recent": [2, 0, 1]})"));
  auto decoded = Session::fromText(session.toJSON().dump());
  EXPECT_EQ(decoded, session);
  ASSERT_EQ(decoded.tabs.size(), 3u);
  EXPECT_EQ(decoded.tabs[0].navigation->size(), 17u);  // zero bytes survive
  EXPECT_EQ(decoded.tabs[2].navigation, "") << "empty is kept as empty";
}

// Nothing usable gives an empty session (the fuzzer tries more); bad optional fields are dropped.
TEST(SessionJSON, BadInputIsDropped) {
  for (const char* text : {"[1,2]", "{\"tabs\":\"x\",\"recent\":[0]}", "{\"recent\":[0,1]}"})
    EXPECT_EQ(Session::fromText(text), Session()) << text;

  EXPECT_EQ(Session::fromText(R"({"tabs":[{
      "url": "https://example.com", "title": 7, "customName": ["x"], "pinID": "not-a-uuid",
      "splitPartner": "0", "splitIsLeft": "yes", "splitRatio": "half", "navigation": "not base64!"
    }], "recent": [0]})"),
            (Session{{tab("https://example.com")}, {0}}));
  for (const char* blob : {"aGVsbG8", "aGVs=G8="}) {
    json file = {{"tabs", {{{"url", "https://a.com"}, {"title", "A"}, {"navigation", blob}}}}, {"recent", {0}}};
    EXPECT_EQ(Session::fromJSON(file), (Session{{tab("https://a.com", "A")}, {0}})) << "malformed: dropped " << blob;
  }
  // A missing title is an empty one.
  EXPECT_EQ(Session::fromText(R"({"tabs":[{"url":"https://a.com"}]})"), (Session{{tab("https://a.com")}, {}}));
}

TEST(SessionJSON, DroppedTabsTakeTheirIndicesWithThem) {
  // Tabs 1 and 3 have no usable url: the others move up, and "recent" and "splitPartner" follow.
  auto decoded = Session::fromText(R"({"tabs":[
      {"url": "https://a.com", "title": "A", "splitPartner": 4, "splitIsLeft": true},
      {"title": "no address"},
      {"url": "https://c.com", "title": "C", "splitPartner": 1},
      {"url": "not a url", "title": "D"},
      {"url": "https://e.com", "title": "E", "splitPartner": 0.0, "splitIsLeft": false},
      "not a tab"
    ], "recent": [4, 1, 2, 0, 3, 99, -1, "2", 2.5, 2.0]})");
  std::vector<std::pair<std::string, std::optional<size_t>>> kept;
  for (const auto& tab : decoded.tabs) kept.emplace_back(tab.title, tab.splitPartner);
  // C's partner was dropped.
  EXPECT_EQ(kept, (decltype(kept){{"A", 2}, {"C", std::nullopt}, {"E", 0}}));
  EXPECT_EQ(decoded.recent, (std::vector<size_t>{2, 1, 0, 1}));
}

TEST(SessionFile, ABadFileIsKeptAsideAndTheTabsComeFromTheSaveBeforeIt) {
  test::TempHome home;
  test::CapturedLog quiet;
  const auto sessionFile = AppSupport::file("session.json");
  std::filesystem::create_directories(sessionFile.parent_path());
  std::ofstream(sessionFile) << "{\"tabs\": [";
  EXPECT_EQ(Session::read(), Session()) << "unreadable, and nothing saved before it";

  Session first = fullSession();
  Session second{{first.tabs[0]}, {0}};
  ASSERT_TRUE(first.save());
  ASSERT_TRUE(second.save());
  EXPECT_EQ(Session::fromJSON(AppSupport::read(Session::kPreviousFileName).value), first);

  // An empty file is unreadable too (the crash test tears one); the earlier kept copy stays.
  std::ofstream(sessionFile, std::ios::trunc).flush();
  EXPECT_EQ(Session::read(), first);
  EXPECT_TRUE(std::filesystem::exists(home.data("session.json.unreadable.2")));
  EXPECT_TRUE(std::filesystem::exists(home.data("session.json.unreadable")));

  // A bad file is never kept as the previous one.
  std::ofstream(sessionFile, std::ios::trunc) << "[1, 2";
  ASSERT_TRUE(second.save());
  EXPECT_EQ(Session::fromJSON(AppSupport::read(Session::kPreviousFileName).value), first);

  // Both unreadable: an empty window.
  std::ofstream(sessionFile, std::ios::trunc) << "{";
  std::ofstream(AppSupport::file(Session::kPreviousFileName), std::ios::trunc) << "{";
  EXPECT_EQ(Session::read(), Session());
}

}  // namespace
}  // namespace quillo

// Found by fuzzing downloads.json: a date far past what the clock holds.
TEST(StoredDates, OutOfRangeDatesAreClampedNotUndefined) {
  using quillo::fromReferenceSeconds;
  using quillo::toReferenceSeconds;
  EXPECT_GT(toReferenceSeconds(fromReferenceSeconds(7.85e46)), 5e9);
  EXPECT_LT(toReferenceSeconds(fromReferenceSeconds(-7.85e46)), -5e9);
  EXPECT_NEAR(toReferenceSeconds(fromReferenceSeconds(785000000.5)), 785000000.5, 1e-3);
  (void)fromReferenceSeconds(std::numeric_limits<double>::quiet_NaN());
}
