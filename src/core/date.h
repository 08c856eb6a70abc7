// Stored dates: converting clock times to and from seconds since 1 January 2001.
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
  // A date from a damaged or hand-edited file may lie past what the clock
  // holds (about 292 years either way): keep it within about 250 years of 2001.
  constexpr double kLimit = 8e9;
  if (!(s > -kLimit)) s = -kLimit;  // also NaN
  if (s > kLimit) s = kLimit;
  return std::chrono::system_clock::time_point(std::chrono::duration_cast<std::chrono::system_clock::duration>(
      std::chrono::duration<double>(s + double(kReferenceDateOffset.count()))));
}

}  // namespace quillo
