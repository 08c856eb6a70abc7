// The history tests' fixture: a store in a temporary home on virtual time.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "core/app_support.h"
#include "stores/history.h"
#include "support/temp_home.h"
#include "support/virtual_scheduler.h"

namespace quillo::test {

// Every field of each entry, so that lists compare whole.
using Fields = std::vector<std::tuple<std::string, std::string, int64_t, double>>;
inline std::optional<Fields> fields(const std::optional<std::vector<HistoryEntry>>& entries) {
  if (!entries) return std::nullopt;
  Fields out;
  for (const auto& e : *entries) out.emplace_back(e.url.str(), e.title, e.visits, e.lastVisited);
  return out;
}

// The wall clock is fixed at 2024-06-01 00:00 UTC.
class HistoryTest : public ::testing::Test {
 protected:
  static constexpr double kDay = 86400;

  void SetUp() override { scheduler.setWallNow(std::chrono::system_clock::from_time_t(1717200000)); }

  double now() const { return toReferenceSeconds(scheduler.wallNow()); }
  std::filesystem::path file() const { return home.data("history.json"); }

  static Url url(const std::string& text) { return Url::parse(text).value(); }
  HistoryEntry entry(const std::string& address, const std::string& title, int64_t visits, double daysAgo) const {
    return HistoryEntry{url(address), title, visits, now() - daysAgo * kDay};
  }

  void writeFile(const std::vector<HistoryEntry>& entries) const {
    ASSERT_TRUE(AppSupport::writeAtomically(file(), encodeHistory(entries), "history.json"));
  }
  std::vector<HistoryEntry> readFile() const {
    auto entries = decodeHistory(TempHome::read(file()));
    EXPECT_TRUE(entries);
    return entries ? *entries : std::vector<HistoryEntry>{};
  }

  // Title, visits and last visit of the stored entry, if any.
  std::optional<std::tuple<std::string, int64_t, double>> stored(const std::string& address) const {
    const HistoryEntry* e = history->find(url(address));
    return e ? std::optional(std::tuple(e->title, e->visits, e->lastVisited)) : std::nullopt;
  }

  // A store counting its writes, its file still being read.
  History& start() {
    history = std::make_unique<History>(scheduler);
    history->written().connect([this](bool ok) { ok ? ++writes : ++failedWrites; });
    return *history;
  }
  // A store whose file has been read and merged.
  History& open() {
    start();
    scheduler.waitForWorkers(1);
    EXPECT_TRUE(history->isLoaded());
    return *history;
  }
  History& openWith(const std::vector<HistoryEntry>& entries) {
    writeFile(entries);
    return open();
  }
  // Waits (without sleeping) for `total` writes since the store was opened.
  void waitForWrites(int total) {
    for (int round = 0; round < 20 && writes + failedWrites < total; ++round)
      scheduler.waitForWorkers(1, std::chrono::seconds(5));
    EXPECT_EQ(writes + failedWrites, total);
  }

  using Strings = std::vector<std::string>;
  static std::vector<std::string> urls(const std::vector<HistoryEntry>& entries) {
    std::vector<std::string> out;
    for (const auto& e : entries) out.push_back(e.url.str());
    return out;
  }

  TempHome home;
  VirtualScheduler scheduler;
  std::unique_ptr<History> history;
  int writes = 0, failedWrites = 0;
};

}  // namespace quillo::test
