// "zoom.json" as found on disk: decoding never crashes, every level kept is
// usable, and the zoom commands stay within their range from any of them.
#include "fuzz_support.h"
#include "page/site_zoom.h"

using namespace quillo;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto json = nlohmann::json::parse(fuzz::text(data, size), nullptr, false);
  if (json.is_discarded()) return 0;
  auto levels = SiteZoom::decode(json);
  if (!levels) return 0;
  for (const auto& [site, level] : *levels) {
    fuzz::check(level > 0, "levels are above zero");
    double in = SiteZoom::zoomedIn(level), out = SiteZoom::zoomedOut(level);
    fuzz::check(in >= SiteZoom::kMinimum && in <= SiteZoom::kMaximum, "zooming in stays in range");
    fuzz::check(out >= SiteZoom::kMinimum && out <= SiteZoom::kMaximum, "zooming out stays in range");
  }
  return 0;
}
