// Benchmark set-up: opens a history's busiest sites as tabs and pins.
#include "bench/support/busy_browser.h"

#include <algorithm>

#include "browser/browser.h"
#include "support/fake_web_view.h"

namespace quillo::bench {

bool openBusiestSites(Browser& browser, FakeEngine& engine, std::vector<HistoryEntry> entries, size_t tabs,
                      size_t pins) {
  std::stable_sort(entries.begin(), entries.end(), [](auto& a, auto& b) { return a.visits > b.visits; });
  if (entries.size() < (tabs + pins) * 7) return false;
  browser.settleBlockLists();
  size_t pagesBefore = browser.pages->size(), pinsBefore = browser.pins->size();
  for (size_t i = 0; i < tabs + pins; ++i) {
    const auto& entry = entries[i * 7];  // every seventh: varied sites, not one host's pages
    engine.titles[entry.url.str()] = entry.title;
    auto page = browser.makePage(false);
    page->load(entry.url);
    browser.add(page, false);
    if (i >= tabs) browser.pin(page);
  }
  return browser.pages->size() == pagesBefore + tabs && browser.pins->size() == pinsBefore + pins;
}

}  // namespace quillo::bench
