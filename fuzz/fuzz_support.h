// Helpers the fuzz targets share: a silent log, invariant checks that abort, and raw input read as text.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string_view>

// A failed check stops the run, and so reports the input.
namespace quillo::fuzz {

void quietLog();
[[noreturn]] void fail(const char* what);
inline void check(bool ok, const char* what) {
  if (!ok) fail(what);
}
inline std::string_view text(const uint8_t* data, size_t size) {
  return std::string_view(reinterpret_cast<const char*>(data), size);
}

}  // namespace quillo::fuzz
