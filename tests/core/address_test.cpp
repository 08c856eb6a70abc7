// Address rules: what typed text becomes, the search address, local addresses and what the field shows.
#include "core/address.h"

#include <gtest/gtest.h>

namespace quillo {
namespace {

// What typed text becomes: "(none)", "search: " and the words searched for,
// or the address to load.
std::string resolved(std::string_view text) {
  auto url = Address::url(text);
  if (!url) return "(none)";
  if (url->host() == Address::kSearchHost && url->path() == "/") return "search: " + url->queryItem("q").value_or("");
  return url->str();
}

std::optional<Url> u(const char* text) { return Url::parse(text); }

TEST(AddressURL, TypedTextBecomesNothingASearchOrTheAddressAsTyped) {
  for (auto [typed, becomes] : std::initializer_list<std::pair<const char*, const char*>>{
           // Blank text, Unicode spaces included.
           {"   \n\t  ", "(none)"},
           {"\u00a0\u3000", "(none)"},
           // Words and single labels search the whole trimmed text.
           {"  hello world \n", "search: hello world"},
           {"swift", "search: swift"},
           {"example.com/a b", "search: example.com/a b"},  // a space wins over the dot
           {"/usr/share", "search: /usr/share"},            // empty pieces skipped: host "usr"
           {".example", "search: .example"},                // a label starting with a dot
           {"LOCALHOST", "search: LOCALHOST"},              // localhost is compared case-sensitively
           {"mailto:someone@example.com", "search: mailto:someone@example.com"},  // other schemes: the host rules
           {"exa%mple.com", "search: exa%mple.com"},  // text that makes no URL is searched, not lost
           {"example.com:99999", "search: example.com:99999"},
           {"50% off shoes", "search: 50% off shoes"},
           // Dotted names get https, with port, path and query kept.
           {"example.com", "https://example.com"},
           {" example.com:8080/path/to?x=1&y=2 ", "https://example.com:8080/path/to?x=1&y=2"},
           {"1.2.3.256", "https://1.2.3.256"},            // no IPv4 address, but it has dots
           {"example.com:80", "https://example.com:80"},  // parses with the scheme "example.com"
           {"bücher.de/katalog", "https://bücher.de/katalog"},
           {"example.com/50%off", "https://example.com/50%off"},
           // localhost and IPv4 literals get plain http.
           {"localhost", "http://localhost"},
           {"localhost:8080/x?y=%", "http://localhost:8080/x?y=%"},
           {"192.168.1.10:8080", "http://192.168.1.10:8080"},
           {"192.168.1.1/admin%", "http://192.168.1.1/admin%"},
           // Known schemes are taken as typed, in any case.
           {"HTTPS://Example.com/Path", "HTTPS://Example.com/Path"},
           {"file:///tmp/notes.html", "file:///tmp/notes.html"},
           {"  https://example.com/?q=a%20b  ", "https://example.com/?q=a%20b"},
       }) {
    SCOPED_TRACE(typed);
    EXPECT_EQ(resolved(typed), becomes);
  }
}

TEST(AddressSearchURL, OneQueryItemCarryingTheTextUnchanged) {
  auto url = Address::searchURL("a+b&c=d #1 ü%");
  EXPECT_TRUE(url.str().starts_with("https://duckduckgo.com/?q=")) << url.str();
  EXPECT_EQ(url.queryItem("q"), "a+b&c=d #1 ü%");
  // The text's & and # are escaped: no second item, no fragment.
  EXPECT_EQ(url.str().find_first_of("&#"), std::string::npos) << url.str();
  EXPECT_EQ(Address::searchURL("").queryItem("q"), "");
}

TEST(AddressIsIPv4, FourDecimalPartsUpTo255WithEmptyPiecesSkipped) {
  // Leading zeros are still decimal.
  for (const char* text : {"255.255.255.255", "010.001.0.1", "192.168.0.1."})
    EXPECT_TRUE(Address::isIPv4(text)) << text;
  for (const char* text : {"256.1.1.1", "1.2.3", "1.2.3.4.5", "1.2.3.99999999999999999999", "10.0..1"})
    EXPECT_FALSE(Address::isIPv4(text)) << text;
}

TEST(AddressIsLocal, LocalNamesAndPrivateOrLinkLocalRangesOverHttpOnly) {
  EXPECT_FALSE(Address::isLocal(std::nullopt));
  for (const char* local : {"http://printer.local/status", "https://app.test", "http://dev.localhost:8080",
                            "http://LOCALHOST:8080", "http://[::1]:8080/", "http://10.1.2.3", "http://127.0.0.1:8000",
                            "https://172.31.0.1", "http://169.254.1.1", "http://192.168.1.1"})
    EXPECT_TRUE(Address::isLocal(u(local))) << local;
  for (const char* other : {"http://example.local.com", "http://notlocal", "http://172.32.0.1", "http://172.15.0.1",
                            "http://192.169.1.1", "ftp://localhost/", "ws://192.168.1.1", "file:///tmp/x.html"})
    EXPECT_FALSE(Address::isLocal(u(other))) << other;
}

TEST(AddressDisplay, HostWithoutWwwTheWordsOfASearchOrAWholeURLWithoutAHost) {
  EXPECT_EQ(Address::display(std::nullopt), "");
  for (auto [address, shown] : std::initializer_list<std::pair<const char*, const char*>>{
           {"https://www.example.com/path?x=1#top", "example.com"},
           {"https://www2.example.com", "www2.example.com"},
           {"http://localhost:3000/app", "localhost"},
           {"https://duckduckgo.com/?q=first&q=second", "first"},
           // Only the default engine's host, and only with a q item.
           {"https://duckduckgo.com/about", "duckduckgo.com"},
           {"https://www.bing.com/search?q=x", "bing.com"},
           {"file:///tmp/a.html", "file:///tmp/a.html"},
       })
    EXPECT_EQ(Address::display(u(address)), shown) << address;
  EXPECT_EQ(Address::display(Address::searchURL("two words")), "two words");
  EXPECT_EQ(Address::display(Address::url("what is 1+1?")), "what is 1+1?");
  EXPECT_EQ(Address::display(Address::url("50% off shoes")), "50% off shoes");
}

}  // namespace
}  // namespace quillo
