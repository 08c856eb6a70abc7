// What one keystroke in the palette costs: the mixed results (pins, tabs,
// history) and the inline completion, over a full history, 200 tabs and
// 30 pins.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/support/busy_browser.h"
#include "bench/support/history_corpus.h"
#include "browser/browser.h"
#include "core/app_support.h"
#include "core/text.h"
#include "stores/history.h"
#include "support/fake_web_view.h"
#include "support/temp_home.h"
#include "support/virtual_scheduler.h"

using namespace quillo;
using Ms = std::chrono::duration<double, std::milli>;
using Wall = std::chrono::steady_clock;

namespace {

double percentile(std::vector<double> v, double p) {
  std::sort(v.begin(), v.end());
  return v[std::min(v.size() - 1, size_t(p * double(v.size() - 1) + 0.5))];
}

template <class F>
double timeMs(F&& work) {
  auto start = Wall::now();
  work();
  return Ms(Wall::now() - start).count();
}

}  // namespace

int main() {
  constexpr size_t kEntries = 100000;
  constexpr size_t kTabs = 200;
  constexpr size_t kPins = 30;
  constexpr int kPasses = 3;

  test::TempHome home;
  test::VirtualScheduler scheduler;
  test::FakeEngine engine;
  const double now = toReferenceSeconds(scheduler.wallNow());

  auto entries = bench::realisticHistory(kEntries, 20240601, now);
  if (!AppSupport::writeAtomically(AppSupport::file("history.json"), encodeHistory(entries), "history.json")) return 1;
  History history(scheduler);
  scheduler.waitForWorkers(1);
  if (history.size() != kEntries) {
    std::fprintf(stderr, "history loaded %zu entries\n", history.size());
    return 1;
  }

  Browser browser(engine, scheduler);
  browser.attach(history);
  // The same tabs and pins without a history: what the palette's own part costs.
  Browser bare(engine, scheduler);
  if (!bench::openBusiestSites(browser, engine, entries, kTabs, kPins) ||
      !bench::openBusiestSites(bare, engine, entries, kTabs, kPins))
    return 1;

  std::vector<double> keystrokes, resultTimes, completionTimes, historyTimes, ownTimes;
  size_t rows = 0, completions = 0;
  std::vector<std::pair<double, std::string>> slowest;  // of the history search, per typed text
  for (int pass = 0; pass < kPasses; ++pass) {
    for (const auto& query : bench::typicalQueries()) {
      for (size_t length = 1; length <= query.size(); ++length) {
        // Whole characters only: never cut a UTF-8 sequence.
        if (length < query.size() && (static_cast<unsigned char>(query[length]) & 0xC0) == 0x80) continue;
        std::string typed = query.substr(0, length);
        browser.query = typed;
        double results = timeMs([&] { rows += browser.results().size(); });
        double completion = timeMs([&] { completions += browser.completion(typed) ? 1 : 0; });
        resultTimes.push_back(results);
        completionTimes.push_back(completion);
        keystrokes.push_back(results + completion);
        // The history search inside results, alone, to tell the two apart.
        double search = timeMs([&] { rows += history.matches(foldCase(typed), 12).size(); });
        historyTimes.push_back(search);
        slowest.emplace_back(search + completion, typed);
        bare.query = typed;
        ownTimes.push_back(timeMs([&] { rows += bare.results().size(); }));
      }
    }
  }

  std::printf("keystrokes: %zu (%d passes over %zu queries), rows seen %zu, completions %zu\n", keystrokes.size(),
              kPasses, bench::typicalQueries().size(), rows, completions);
  auto line = [](const char* what, const std::vector<double>& times) {
    std::printf("%-34s p50 %.3f ms, p99 %.3f ms\n", what, percentile(times, 0.5), percentile(times, 0.99));
  };
  line("results (plain search):", resultTimes);
  line("  history matches(_, 12) in it:", historyTimes);
  line("  pins and tabs (no history):", ownTimes);
  line("completion(for:) (history's):", completionTimes);
  std::sort(slowest.begin(), slowest.end(), [](auto& a, auto& b) { return a.first > b.first; });
  std::printf("slowest history work (matches + completion):");
  for (size_t i = 0; i < std::min<size_t>(5, slowest.size()); ++i)
    std::printf(" \"%s\" %.1f ms%s", slowest[i].second.c_str(), slowest[i].first, i < 4 ? "," : "\n");
  std::printf("palette keystroke: p50 %.2f ms, p99 %.2f ms, %zu history entries\n", percentile(keystrokes, 0.5),
              percentile(keystrokes, 0.99), kEntries);
  return 0;
}
