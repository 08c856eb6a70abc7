// "pins.json" as found on disk: decoding never crashes and what decodes
// round-trips.
#include "browser/pin.h"
#include "fuzz_support.h"

using namespace quillo;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto json = nlohmann::json::parse(fuzz::text(data, size), nullptr, false);
  if (json.is_discarded()) return 0;
  std::string why;
  auto pins = decodePins(json, &why);
  if (!pins) {
    fuzz::check(!why.empty(), "a refusal says why");
    return 0;
  }
  auto again = decodePins(encodePins(*pins));
  fuzz::check(again.has_value() && *again == *pins, "pins round-trip");
  return 0;
}
