// How long a debounced save waits, so that constant changes cannot put it off for good.
#pragma once
#include <algorithm>

#include "core/scheduler.h"

namespace quillo {

// The wait before a debounced save: `delay` after the latest change, but
// never more than twice that after the first change the save will cover. A
// page that retitles itself every half second would otherwise put the save
// off for good, and a crash would lose everything since.
inline Duration saveDelay(Clock::time_point now, Clock::time_point firstUnsavedChange, Duration delay) {
  return std::clamp(firstUnsavedChange + 2 * delay - now, Duration::zero(), delay);
}

}  // namespace quillo
