// "session.json" as found on disk: decoding never crashes, every index it
// keeps names a tab, and what decodes encodes and decodes to the same.
#include "core/session.h"
#include "fuzz_support.h"

using namespace quillo;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto session = Session::fromText(fuzz::text(data, size));
  for (size_t index : session.recent) fuzz::check(index < session.tabs.size(), "recent names a tab");
  for (const auto& tab : session.tabs)
    if (tab.splitPartner) fuzz::check(*tab.splitPartner < session.tabs.size(), "a split partner is a tab");
  fuzz::check(Session::fromJSON(session.toJSON()) == session, "the session round-trips");
  return 0;
}
