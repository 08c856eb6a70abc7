// The EasyPrivacy converter on any text: it must never crash, and what it
// emits must be a JSON array whose rules add up to what it counted.
#include <nlohmann/json.hpp>

#include "blocking/easy_privacy.h"
#include "fuzz_support.h"

using namespace quillo;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto converted = EasyPrivacy::convert(fuzz::text(data, size));
  auto rules = nlohmann::json::parse(converted.json, nullptr, false);
  fuzz::check(rules.is_array(), "the rule list is a JSON array");
  fuzz::check(rules.size() == size_t(converted.blocking + converted.exceptions), "counts match the rules");
  for (const auto& rule : rules) {
    fuzz::check(rule.is_object() && rule.contains("trigger") && rule.contains("action"), "rules are whole");
    fuzz::check(rule["trigger"].contains("url-filter"), "every trigger has a url-filter");
  }
  return 0;
}
