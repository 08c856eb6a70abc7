// The session file: its format, what survives bad input, and the copy kept
// from the save before.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits>

#include "core/app_support.h"
#include "core/date.h"
#include "core/log.h"
#include "core/session.h"
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

TEST(SessionJSON, NothingUsableGivesAnEmptySessionWithoutThrowing) {
  for (const char* text : {"", "{", "null", "[1,2]", "\"session\"", "42", "{\"tabs\":", "\xff\xfe\x00garbage",
                           "{\"tabs\":{}}", "{\"tabs\":\"x\",\"recent\":[0]}", "{\"recent\":[0,1]}"}) {
    Session decoded;
    EXPECT_NO_THROW(decoded = Session::fromText(text)) << text;
    EXPECT_TRUE(decoded.tabs.empty()) << text;
    EXPECT_TRUE(decoded.recent.empty()) << text;
  }
}

TEST(SessionJSON, WrongTypesAndMalformedBlobsOfOptionalFieldsAreDropped) {
  auto decoded = Session::fromText(R"({"tabs":[{
      "url": "https://example.com", "title": 7, "customName": ["x"], "pinID": "not-a-uuid",
      "splitPartner": "0", "splitIsLeft": "yes", "splitRatio": "half", "navigation": "not base64!"
    }], "recent": [0]})");
  ASSERT_EQ(decoded.tabs.size(), 1u);
  EXPECT_EQ(decoded.tabs[0], tab("https://example.com"));
  EXPECT_EQ(decoded.recent, std::vector<size_t>{0});

  for (const char* blob : {"aGVsbG8", "aGVs=G8=", "aGVsbG8==", "a===", "aGVs bG8="}) {
    json file = {{"tabs", {{{"url", "https://a.com"}, {"title", "A"}, {"navigation", blob}}}}, {"recent", {0}}};
    decoded = Session::fromJSON(file);
    ASSERT_EQ(decoded.tabs.size(), 1u) << blob;
    EXPECT_FALSE(decoded.tabs[0].navigation) << "malformed: dropped " << blob;
  }

  decoded = Session::fromText(R"({"tabs":[{"url":"https://a.com"}]})");
  ASSERT_EQ(decoded.tabs.size(), 1u);
  EXPECT_EQ(decoded.tabs[0].title, "");  // a missing title is an empty one
  EXPECT_TRUE(decoded.recent.empty());
}

TEST(SessionJSON, DroppedTabsTakeTheirIndicesWithThem) {
  // Tab 1 has no url and tab 3 one that doesn't parse: the others move up,
  // and "recent" and "splitPartner" follow them.
  auto decoded = Session::fromText(R"({"tabs":[
      {"url": "https://a.com", "title": "A", "splitPartner": 4, "splitIsLeft": true},
      {"title": "no address"},
      {"url": "https://c.com", "title": "C", "splitPartner": 1},
      {"url": "not a url", "title": "D"},
      {"url": "https://e.com", "title": "E", "splitPartner": 0.0, "splitIsLeft": false},
      "not a tab"
    ], "recent": [4, 1, 2, 0, 3, 99, -1, "2", 2.5, 2.0]})");
  ASSERT_EQ(decoded.tabs.size(), 3u);
  EXPECT_EQ(decoded.tabs[0].title, "A");
  EXPECT_EQ(decoded.tabs[1].title, "C");
  EXPECT_EQ(decoded.tabs[2].title, "E");
  EXPECT_EQ(decoded.tabs[0].splitPartner, 2u);
  EXPECT_FALSE(decoded.tabs[1].splitPartner);  // its partner was dropped
  EXPECT_EQ(decoded.tabs[2].splitPartner, 0u);
  EXPECT_EQ(decoded.recent, (std::vector<size_t>{2, 1, 0, 1}));
}

class SessionFile : public ::testing::Test {
 protected:
  void SetUp() override {
    oldSink_ = setLogSink([this](const std::string& line) { log_.push_back(line); });
  }
  void TearDown() override { setLogSink(oldSink_); }
  std::filesystem::path sessionFile() const { return AppSupport::file("session.json"); }

  test::TempHome home;
  LogSink oldSink_;
  std::vector<std::string> log_;
};

TEST_F(SessionFile, ABadFileIsKeptAsideAndTheTabsComeFromTheSaveBeforeIt) {
  EXPECT_TRUE(Session::read().tabs.empty());  // no file yet
  EXPECT_TRUE(log_.empty());
  std::filesystem::create_directories(sessionFile().parent_path());
  std::ofstream(sessionFile()) << "{\"tabs\": [";
  EXPECT_EQ(Session::read(), Session()) << "unreadable, and nothing saved before it";
  EXPECT_FALSE(std::filesystem::exists(sessionFile()));
  EXPECT_TRUE(std::filesystem::exists(home.data("session.json.unreadable")));
  ASSERT_EQ(log_.size(), 1u);
  log_.clear();

  Session first = fullSession();
  Session second;
  second.tabs.push_back(first.tabs[0]);
  second.recent = {0};
  ASSERT_TRUE(first.save());
  EXPECT_EQ(Session::read(), first);
  EXPECT_FALSE(std::filesystem::exists(AppSupport::file(Session::kPreviousFileName))) << "nothing to keep yet";
  ASSERT_TRUE(second.save());
  EXPECT_EQ(Session::fromJSON(AppSupport::read(Session::kPreviousFileName).value), first);

  // A torn file comes back from the save before (the crash test tears one);
  // an empty file counts as unreadable too, and the earlier kept copy stays.
  std::ofstream(sessionFile(), std::ios::trunc).flush();
  EXPECT_EQ(Session::read(), first);
  EXPECT_TRUE(std::filesystem::exists(home.data("session.json.unreadable.2")));
  EXPECT_TRUE(std::filesystem::exists(home.data("session.json.unreadable")));
  ASSERT_EQ(log_.size(), 2u);
  EXPECT_EQ(log_[1], "Quillo: restored the open tabs from session.json.previous");

  // A bad file is never kept as the previous one.
  std::ofstream(sessionFile(), std::ios::trunc) << "[1, 2";
  ASSERT_TRUE(second.save());
  EXPECT_EQ(Session::fromJSON(AppSupport::read(Session::kPreviousFileName).value), first);

  // Both unreadable: an empty window.
  std::ofstream(sessionFile(), std::ios::trunc) << "{";
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
