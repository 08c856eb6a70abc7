// "history.json" as found on disk: decoding never crashes and what decodes
// round-trips.
#include "fuzz_support.h"
#include "stores/history_entry.h"

using namespace quillo;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto entries = decodeHistory(fuzz::text(data, size));
  if (!entries) return 0;
  auto again = decodeHistory(encodeHistory(*entries));
  fuzz::check(again.has_value(), "written history reads back");
  fuzz::check(again->size() == entries->size(), "every entry reads back");
  for (size_t i = 0; i < entries->size(); ++i) {
    fuzz::check((*again)[i].url.str() == (*entries)[i].url.str(), "addresses round-trip");
    fuzz::check((*again)[i].title == (*entries)[i].title, "titles round-trip");
    fuzz::check((*again)[i].visits == (*entries)[i].visits, "visit counts round-trip");
  }
  return 0;
}
