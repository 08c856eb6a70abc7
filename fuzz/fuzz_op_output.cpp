// What the password tool prints: its lists, full items, one-time codes and
// error texts never crash the readers, and what they keep is well formed.
#include "features/one_password.h"
#include "fuzz_support.h"

using namespace quillo;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto text = fuzz::text(data, size);
  if (auto logins = OnePassword::decodeLogins(text)) {
    for (const auto& login : *logins)
      for (const auto& host : login.hosts) fuzz::check(!host.empty(), "hosts are never empty");
    (void)OnePassword::forHosts(*logins, {"example.com", "127.0.0.1", "alice.github.io"});
  }
  std::string item(text);
  if (auto credentials = OnePassword::decodeCredentials(item)) credentials->wipe();
  fuzz::check(item.find_first_not_of('\0') == std::string::npos, "the item's text is wiped after reading");
  auto code = OnePassword::decodeOneTimeCode(text);
  fuzz::check(code.output.has_value() != code.failure.has_value(), "a code or a failure, never both");
  (void)OnePassword::errorText(text);
  (void)OnePassword::failureFromError(text);
  return 0;
}
