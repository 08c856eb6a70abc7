// Helpers the fuzz targets share: a silent log, and stopping the run when an invariant breaks.
#include "fuzz_support.h"

#include <cstdio>
#include <cstdlib>

#include "core/log.h"

namespace quillo::fuzz {

void quietLog() {
  static bool done = [] {
    setLogSink([](const std::string&) {});
    return true;
  }();
  (void)done;
}

void fail(const char* what) {
  std::fprintf(stderr, "invariant broken: %s\n", what);
  std::abort();
}

}  // namespace quillo::fuzz
