// Benchmark set-up: a browser with many tabs and pins open, as a busy user has.
#pragma once
#include <cstddef>
#include <vector>

#include "stores/history_entry.h"

namespace quillo {
class Browser;
}

namespace quillo::test {
class FakeEngine;
}

namespace quillo::bench {

using test::FakeEngine;

// Opens tabs and pins from a history's busiest sites, as a user's open tabs
// would be: `tabs` background tabs, then `pins` more pages that are pinned.
// True when the browser ends up with exactly that many of each.
bool openBusiestSites(Browser& browser, FakeEngine& engine, std::vector<HistoryEntry> entries, size_t tabs,
                      size_t pins);

}  // namespace quillo::bench
