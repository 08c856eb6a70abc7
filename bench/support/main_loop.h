// The benchmarks' main loop: turning it until something is done, sleeping between events.
#pragma once
#include <functional>

namespace quillo::bench {

// Turns the default main loop until done() or the time-out, blocking between
// events (a busy loop would steal the processor the work being timed needs).
bool runUntil(const std::function<bool()>& done, int timeoutMs = 20000);

}  // namespace quillo::bench
