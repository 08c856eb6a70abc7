// WebKitGTK and the block lists: compiling the converted EasyPrivacy list,
// and finding the stored lists again at start-up. Run under tools/with-display.
#include <glib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "blocking/block_lists.h"
#include "blocking/content_blocker.h"
#include "blocking/easy_privacy.h"
#include "blocking/webkit/webkit_filter_store.h"
#include "core/app_support.h"
#include "core/date.h"
#include "core/settings.h"

using namespace quillo;
using Ms = std::chrono::duration<double, std::milli>;

namespace {

bool runUntil(const std::function<bool()>& done, std::chrono::seconds timeout = std::chrono::seconds(300)) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  guint tick = g_timeout_add(
      5, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
  while (!done() && std::chrono::steady_clock::now() < deadline) g_main_context_iteration(nullptr, TRUE);
  g_source_remove(tick);
  return done();
}

// Milliseconds until the compile answered, or a negative number on failure.
double compile(WebKitFilterStore& store, const std::string& identifier, const std::string& json) {
  bool answered = false, ok = false;
  std::string error;
  auto start = std::chrono::steady_clock::now();
  store.compile(identifier, json, [&](std::shared_ptr<ContentFilter> filter, std::string why) {
    answered = true;
    ok = filter != nullptr;
    error = std::move(why);
  });
  runUntil([&] { return answered; });
  double ms = Ms(std::chrono::steady_clock::now() - start).count();
  if (!ok) std::fprintf(stderr, "compile failed: %s\n", answered ? error.c_str() : "no answer");
  return ok ? ms : -1;
}

}  // namespace

int main() {
  std::ifstream file(std::string(QUILLO_TEST_DATA_DIR) + "/easyprivacy.txt", std::ios::binary);
  if (!file) {
    std::fprintf(stderr, "bench_blocking_engine: easyprivacy.txt is not available\n");
    return 0;
  }
  std::stringstream text;
  text << file.rdbuf();
  auto converted = EasyPrivacy::convert(text.str());
  std::printf("converted: %d rules, %.2f MB of JSON\n", converted.blocking + converted.exceptions,
              double(converted.json.size()) / 1e6);

  auto folder = AppSupport::folder() / "bench-content-filters";
  std::filesystem::remove_all(folder);

  double bestCompile = 1e12;
  {
    WebKitFilterStore store(folder);
    for (int run = 0; run < 3; ++run) {
      double ms = compile(store, EasyPrivacy::identifier, converted.json);
      if (ms < 0) return 1;
      std::printf("compile run %d: %.0f ms\n", run + 1, ms);
      bestCompile = std::min(bestCompile, ms);
    }
    double trackers = compile(store, ContentBlocker::identifier, ContentBlocker::rulesJSON());
    std::printf("tracker list compile: %.1f ms\n", trackers);
    // Let the JSON kept beside the lists reach the disk.
    runUntil([&] {
      return std::filesystem::exists(folder / "quillo.easyprivacy.digest") &&
             std::filesystem::exists(folder / "quillo.trackers.digest");
    });
  }

  // Start-up: a new store finds both lists; BlockLists settles on them.
  Settings settings(folder / "settings.json");
  EasyPrivacy::markUpdated(settings, std::chrono::system_clock::now());
  GLibScheduler scheduler;
  double bestLookUp = 1e12, bestSettle = 1e12;
  for (int run = 0; run < 5; ++run) {
    WebKitFilterStore store(folder);
    int found = 0, answered = 0;
    auto start = std::chrono::steady_clock::now();
    for (const char* identifier : {ContentBlocker::identifier, EasyPrivacy::identifier}) {
      store.load(identifier, [&](FilterStore::Stored stored) {
        ++answered;
        found += stored.filter != nullptr;
      });
    }
    runUntil([&] { return answered == 2; });
    double lookUp = Ms(std::chrono::steady_clock::now() - start).count();
    if (run == 0) std::printf("start-up look-up, first run: %.1f ms\n", lookUp);
    bestLookUp = std::min(bestLookUp, lookUp);
    if (found != 2) {
      std::fprintf(stderr, "stored lists not found (%d of 2)\n", found);
      return 1;
    }

    WebKitFilterStore startupStore(folder);
    BlockLists lists(startupStore, settings, scheduler, nullptr, "http://127.0.0.1:9/unused");
    start = std::chrono::steady_clock::now();
    lists.start();
    runUntil([&] { return lists.isSettled.get(); });
    bestSettle = std::min(bestSettle, Ms(std::chrono::steady_clock::now() - start).count());
    if (lists.lists().size() != 2 || lists.isUpdating()) {
      std::fprintf(stderr, "start-up did not settle on both stored lists\n");
      return 1;
    }
  }
  std::filesystem::remove_all(folder);

  std::printf("start-up look-up of both stored lists: %.1f ms (best of 5)\n", bestLookUp);
  std::printf("start-up until settled: %.1f ms (best of 5)\n", bestSettle);
  std::printf("easyprivacy compile: %.0f ms, look-up at start-up: %.1f ms\n", bestCompile, bestLookUp);
  return 0;
}
