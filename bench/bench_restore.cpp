// What restoring a large session costs the model: reading and parsing
// "session.json", making the pages (without views) and the heap they keep.
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <vector>

#include "browser/browser.h"
#include "support/fake_web_view.h"
#include "support/temp_home.h"
#include "support/virtual_scheduler.h"

using namespace quillo;
using Ms = std::chrono::duration<double, std::milli>;

namespace {

double heapKilobytes() {
  struct mallinfo2 info = mallinfo2();
  return double(info.uordblks + info.hblkhd) / 1024.0;
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

Session largeSession(size_t tabs) {
  std::mt19937 random(7);
  Session session;
  for (size_t i = 0; i < tabs; ++i) {
    Session::Tab tab;
    tab.url = *Url::parse("https://site" + std::to_string(i % 97) + ".example/articles/" + std::to_string(i) +
                          "?ref=front-page");
    tab.title = "An article of some length, number " + std::to_string(i);
    std::string blob(900 + random() % 600, '\0');
    for (auto& c : blob) c = char(random());
    tab.navigation = blob;
    session.tabs.push_back(std::move(tab));
    session.recent.push_back(i);
  }
  return session;
}

}  // namespace

int main() {
  constexpr size_t kTabs = 500;
  constexpr int kRounds = 7;
  test::TempHome home;
  test::VirtualScheduler scheduler;
  test::FakeEngine engine;
  if (!largeSession(kTabs).save()) return 1;

  std::vector<double> read, made, kept;
  for (int round = 0; round < kRounds; ++round) {
    malloc_trim(0);
    double heapBefore = heapKilobytes();
    auto start = std::chrono::steady_clock::now();
    auto session = Session::read();
    auto parsed = std::chrono::steady_clock::now();
    auto browser = std::make_unique<Browser>(engine, scheduler);
    browser->restoreSession(session);
    auto done = std::chrono::steady_clock::now();
    session = Session();
    malloc_trim(0);
    if (browser->pages->size() != kTabs || !engine.views().empty()) return 1;
    read.push_back(Ms(parsed - start).count());
    made.push_back(Ms(done - parsed).count());
    kept.push_back(heapKilobytes() - heapBefore);
  }
  std::printf("restore: %zu tabs read and parsed in %.1f ms, pages made in %.1f ms, %.1f KB of heap a tab, 0 views\n",
              kTabs, median(read), median(made), median(kept) / double(kTabs));
  return 0;
}
