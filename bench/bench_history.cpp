// Loading and saving a full history (100,000 entries), and what typing into
// the palette costs per keystroke over it.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "bench/support/history_corpus.h"
#include "core/app_support.h"
#include "stores/history.h"
#include "support/temp_home.h"
#include "support/virtual_scheduler.h"

using namespace quillo;
using Ms = std::chrono::duration<double, std::milli>;
using Wall = std::chrono::steady_clock;

namespace {

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

double percentile(std::vector<double> v, double p) {
  std::sort(v.begin(), v.end());
  return v[std::min(v.size() - 1, size_t(p * double(v.size() - 1) + 0.5))];
}

// Bytes handed out by malloc and not freed, over all arenas: what the
// history holds, without what the allocator keeps back after loading.
double heapMegabytes() {
  struct mallinfo2 info = mallinfo2();
  return double(info.uordblks + info.hblkhd) / (1024.0 * 1024.0);
}

double residentMegabytes() {
  std::ifstream statm("/proc/self/statm");
  long pages = 0, resident = 0;
  statm >> pages >> resident;
  return double(resident) * double(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

// CPU time of this thread: what the main loop itself spends, whatever else
// the machine is doing.
double threadCpuMs() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return double(t.tv_sec) * 1e3 + double(t.tv_nsec) / 1e6;
}

template <class F>
double timeMs(F&& work) {
  auto start = Wall::now();
  work();
  return Ms(Wall::now() - start).count();
}

// Wall time is what the user waits; CPU time leaves out the moments this
// thread was not running on a busy machine.
struct Samples {
  std::vector<double> wall, cpu;
  template <class F>
  void time(F&& work) {
    double cpuStart = threadCpuMs();
    wall.push_back(timeMs(work));
    cpu.push_back(threadCpuMs() - cpuStart);
  }
  void print(const char* name) const {
    std::printf("%-22s p50 %.2f ms, p99 %.2f ms (CPU p50 %.2f ms, p99 %.2f ms)\n", name, percentile(wall, 0.5),
                percentile(wall, 0.99), percentile(cpu, 0.5), percentile(cpu, 0.99));
  }
};

}  // namespace

int main() {
  constexpr size_t kEntries = 100000;
  constexpr int kRounds = 5;
  test::TempHome home;
  test::VirtualScheduler scheduler;
  const double now = toReferenceSeconds(scheduler.wallNow());

  auto entries = bench::realisticHistory(kEntries, 20240601, now);
  auto file = AppSupport::file("history.json");
  if (!AppSupport::writeAtomically(file, encodeHistory(entries), "history.json")) return 1;
  std::printf("history.json: %.1f MB\n", double(std::filesystem::file_size(file)) / (1024.0 * 1024.0));
  // Visits during the save rounds go to pages already known, so the cap
  // does not come into play.
  std::vector<Url> known;
  for (size_t i = 0; i < entries.size(); i += entries.size() / 16) known.push_back(entries[i].url);
  entries.clear();
  entries.shrink_to_fit();

  // Loading: from construction until the entries are in memory and merged.
  // Only until loaded: freeing the store afterwards is not part of it.
  std::vector<double> loads;
  for (int round = 0; round < kRounds; ++round) {
    std::optional<History> loading;
    double ms = timeMs([&] {
      loading.emplace(scheduler);
      scheduler.waitForWorkers(1);
    });
    if (!loading->isLoaded() || loading->size() != kEntries) {
      std::fprintf(stderr, "loaded %zu entries\n", loading->size());
      return 1;
    }
    loads.push_back(ms);
    loading.reset();
    malloc_trim(0);
  }

  malloc_trim(0);
  double rssBefore = residentMegabytes(), heapBefore = heapMegabytes();
  History history(scheduler);
  scheduler.waitForWorkers(1);
  std::printf("memory for the loaded history: about %.0f MB resident, %.1f MB in use on the heap\n",
              residentMegabytes() - rssBefore, heapMegabytes() - heapBefore);
  int written = 0;
  history.written().connect([&](bool ok) { written += ok ? 1 : 0; });

  // Saving: the debounced save runs on the main loop (copying the entries),
  // then the writer thread encodes and writes.
  std::vector<double> blocked, blockedCpu, untilWritten, saveNow;
  for (int round = 0; round < kRounds; ++round) {
    history.recordVisit(known[size_t(round) % known.size()]);
    int before = written;
    scheduler.advance(History::kSaveDelay - std::chrono::nanoseconds(1));
    auto due = Wall::now();
    double cpu = threadCpuMs();
    scheduler.advance(std::chrono::nanoseconds(1));
    auto handedOff = Wall::now();
    blockedCpu.push_back(threadCpuMs() - cpu);
    while (written == before) scheduler.waitForWorkers(1);
    auto done = Wall::now();
    blocked.push_back(Ms(handedOff - due).count());
    untilWritten.push_back(Ms(done - due).count());
  }
  for (int round = 0; round < kRounds; ++round) saveNow.push_back(timeMs([&] { history.saveNow(); }));
  scheduler.runUntilIdle();
  if (history.size() != kEntries) return 1;

  // Typing: every prefix of each query. On each keystroke the palette asks
  // for its history rows and then for the inline completion; the history
  // scope (recent) is another mode and is timed on its own.
  // QUILLO_BENCH_COLD=1 evicts the caches before each keystroke, as the rest
  // of the program does between two keystrokes; QUILLO_BENCH_SLOWEST=n lists
  // the n slowest keystrokes.
  const bool cold = std::getenv("QUILLO_BENCH_COLD") != nullptr;
  const char* slowestEnv = std::getenv("QUILLO_BENCH_SLOWEST");
  const size_t slowest = slowestEnv ? size_t(std::atoi(slowestEnv)) : 0;
  std::vector<char> evictor(cold ? 64u << 20 : 0);
  auto evict = [&] {
    for (size_t i = 0; i < evictor.size(); i += 64) evictor[i] = char(evictor[i] + 1);
  };
  Samples matchTimes, recentTimes, completionTimes, keystrokeTimes;
  struct Keystroke {
    double total, matches, completion;
    std::string typed;
  };
  std::vector<Keystroke> perKeystroke;
  size_t keystrokes = 0, found = 0;
  for (int pass = 0; pass < 3; ++pass) {
    for (const auto& query : bench::typicalQueries()) {
      for (size_t length = 1; length <= query.size(); ++length) {
        // Whole characters only: never cut a UTF-8 sequence.
        if (length < query.size() && (static_cast<unsigned char>(query[length]) & 0xC0) == 0x80) continue;
        std::string typed = query.substr(0, length);
        ++keystrokes;
        evict();
        keystrokeTimes.time([&] {
          matchTimes.time([&] { found += history.matches(typed, 12).size(); });
          completionTimes.time([&] { found += history.completion(typed) ? 1 : 0; });
        });
        perKeystroke.push_back({keystrokeTimes.cpu.back(), matchTimes.cpu.back(), completionTimes.cpu.back(), typed});
        evict();
        recentTimes.time([&] { found += history.recent(typed, 12).size(); });
      }
    }
  }
  std::printf("keystrokes: %zu over %zu queries, typed 3 times%s (results seen: %zu)\n", keystrokes / 3,
              bench::typicalQueries().size(), cold ? ", caches evicted before each" : "", found);
  matchTimes.print("matches(_, 12):");
  completionTimes.print("completion(for:):");
  keystrokeTimes.print("keystroke (both):");
  recentTimes.print("recent(matching:, 12):");
  std::sort(perKeystroke.begin(), perKeystroke.end(), [](auto& a, auto& b) { return a.total > b.total; });
  for (size_t i = 0; i < std::min(slowest, perKeystroke.size()); ++i) {
    const auto& k = perKeystroke[i];
    std::printf("  %.3f ms CPU (matches %.3f, completion %.3f)  \"%s\"\n", k.total, k.matches, k.completion,
                k.typed.c_str());
  }
  std::printf("save: main thread blocked %.2f ms (%.2f ms CPU) to copy and hand off; saveNow %.1f ms\n",
              median(blocked), median(blockedCpu), median(saveNow));
  std::printf("history load: %.1f ms, save: %.1f ms, %zu entries\n", median(loads), median(untilWritten), kEntries);
  return 0;
}
