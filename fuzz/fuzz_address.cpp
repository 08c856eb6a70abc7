// Typed text and addresses from pages, files and other programs: address
// resolution and URL parsing never crash, and a parsed URL reads back the
// same from its text, so it survives a trip through the JSON files.
#include "core/address.h"
#include "core/url.h"
#include "fuzz_support.h"
#include "page/site_zoom.h"

using namespace quillo;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto input = fuzz::text(data, size);
  if (auto url = Url::parse(input)) {
    auto again = Url::parse(url->str());
    fuzz::check(again.has_value(), "a parsed URL parses again from its text");
    fuzz::check(again->str() == url->str(), "a parsed URL's text is stable");
    fuzz::check(again->host() == url->host() && again->scheme() == url->scheme(), "its parts are stable");
    (void)Address::display(url);
    (void)Address::isLocal(url);
    (void)SiteZoom::site(url);
  }
  auto resolved = Address::url(input);
  if (resolved) {
    fuzz::check(Url::parse(resolved->str()).has_value(), "a resolved address is a URL");
    (void)Address::display(resolved);
    (void)Address::isLocal(resolved);
  }
  (void)Address::isIPv4(input);
  if (!input.empty() && input.front() == '/') (void)Url::fromFilePath(input);
  return 0;
}
