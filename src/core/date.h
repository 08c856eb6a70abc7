#pragma once
#include <chrono>

namespace quillo {

// Stored dates are seconds since 1 January 2001 UTC, so files are exchangeable
// with other builds of the browser.
constexpr std::chrono::seconds kReferenceDateOffset{978307200};  // 2001-01-01 in Unix time

inline double toReferenceSeconds(std::chrono::system_clock::time_point t) {
  return std::chrono::duration<double>(t.time_since_epoch()).count() - double(kReferenceDateOffset.count());
}
inline std::chrono::system_clock::time_point fromReferenceSeconds(double s) {
  return std::chrono::system_clock::time_point(std::chrono::duration_cast<std::chrono::system_clock::duration>(
      std::chrono::duration<double>(s + double(kReferenceDateOffset.count()))));
}

}  // namespace quillo
