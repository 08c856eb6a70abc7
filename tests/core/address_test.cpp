#include <gtest/gtest.h>

#include "core/address.h"

namespace quillo {
namespace {

std::string resolved(std::string_view text) {
  auto url = Address::url(text);
  return url ? url->str() : "(none)";
}

// The words a search URL carries, or "(not a search)".
std::string searched(std::string_view text) {
  auto url = Address::url(text);
  if (!url || url->host() != Address::kSearchHost || url->path() != "/") return "(not a search)";
  return url->queryItem("q").value_or("(no q)");
}

TEST(AddressURL, BlankTextGivesNothing) {
  EXPECT_FALSE(Address::url(""));
  EXPECT_FALSE(Address::url("   \n\t  "));
  EXPECT_FALSE(Address::url("\u00a0\u3000"));  // Unicode spaces count as blank too
}

TEST(AddressURL, WordsAndSingleLabelsSearchTheWholeTrimmedText) {
  EXPECT_EQ(searched("  hello world \n"), "hello world");
  EXPECT_EQ(searched("swift"), "swift");
  EXPECT_EQ(searched("example.com/a b"), "example.com/a b");  // a space wins over the dot
  EXPECT_EQ(searched("/usr/share"), "/usr/share");            // empty pieces skipped: host "usr"
  EXPECT_EQ(searched(":8080"), ":8080");
}

TEST(AddressURL, DottedNamesGetHttpsWithPortPathAndQueryKept) {
  EXPECT_EQ(resolved("example.com"), "https://example.com");
  EXPECT_EQ(resolved(" example.com:8080/path/to?x=1&y=2 "), "https://example.com:8080/path/to?x=1&y=2");
  auto url = Address::url("example.com:8080/path/to?x=1&y=2");
  ASSERT_TRUE(url);
  EXPECT_EQ(url->host(), "example.com");
  EXPECT_EQ(url->port(), 8080);
  EXPECT_EQ(url->path(), "/path/to");
  EXPECT_EQ(url->query(), "x=1&y=2");
  EXPECT_EQ(resolved("\u00a0example.com\u3000"), "https://example.com");
}

TEST(AddressURL, LocalhostAndIPv4LiteralsGetPlainHttp) {
  EXPECT_EQ(resolved("localhost"), "http://localhost");
  EXPECT_EQ(resolved("localhost:3000/app"), "http://localhost:3000/app");
  EXPECT_EQ(resolved("192.168.1.10:8080"), "http://192.168.1.10:8080");
  EXPECT_EQ(resolved("10.0.0.1/admin"), "http://10.0.0.1/admin");
  // A part above 255 is no IPv4 address, but it has dots.
  EXPECT_EQ(resolved("1.2.3.256"), "https://1.2.3.256");
}

TEST(AddressURL, LabelsStartingOrEndingWithADotAreSearched) {
  EXPECT_EQ(searched(".example"), ".example");
  EXPECT_EQ(searched("example."), "example.");
  EXPECT_EQ(searched(".com/path"), ".com/path");
}

TEST(AddressURL, KnownSchemesAreTakenAsTypedInAnyCase) {
  EXPECT_EQ(resolved("HTTPS://Example.com/Path"), "HTTPS://Example.com/Path");
  EXPECT_EQ(resolved("http://example.com"), "http://example.com");
  EXPECT_EQ(resolved("file:///tmp/notes.html"), "file:///tmp/notes.html");
  EXPECT_EQ(resolved("about:blank"), "about:blank");
}

TEST(AddressURL, LocalhostComparisonIsCaseSensitive) {
  EXPECT_EQ(searched("LOCALHOST"), "LOCALHOST");
  EXPECT_EQ(searched("LocalHost:8080/x"), "LocalHost:8080/x");
}

TEST(AddressURL, OtherSchemesFallThroughToTheHostRules) {
  EXPECT_EQ(searched("mailto:someone@example.com"), "mailto:someone@example.com");
  EXPECT_EQ(searched("ftp://example.com/file"), "ftp://example.com/file");
  // "example.com:80" parses with the scheme "example.com"; it is still a name.
  EXPECT_EQ(resolved("example.com:80"), "https://example.com:80");
}

TEST(AddressURL, TextThatMakesNoURLIsSearchedRatherThanLost) {
  EXPECT_EQ(searched("exa%mple.com"), "exa%mple.com");
  EXPECT_EQ(searched("example.com:99999"), "example.com:99999");
}

TEST(AddressURL, NonASCIIHostsStayReadable) {
  auto url = Address::url("bücher.de/katalog");
  ASSERT_TRUE(url);
  EXPECT_EQ(url->str(), "https://bücher.de/katalog");
  EXPECT_EQ(url->host(), "bücher.de");
  EXPECT_EQ(Address::display(url), "bücher.de");
}

TEST(AddressSearchURL, OneQueryItemCarryingTheTextUnchanged) {
  auto url = Address::searchURL("a+b&c=d #1 ü%");
  EXPECT_EQ(url.scheme(), "https");
  EXPECT_EQ(url.host(), "duckduckgo.com");
  EXPECT_EQ(url.path(), "/");
  EXPECT_EQ(url.queryItem("q"), "a+b&c=d #1 ü%");
  EXPECT_EQ(url.query().find('&'), std::string::npos);  // the text's & is escaped, not a second item
  EXPECT_TRUE(url.fragment().empty());
  EXPECT_EQ(Address::searchURL("").queryItem("q"), "");
}

TEST(AddressIsIPv4, FourDecimalPartsUpTo255) {
  EXPECT_TRUE(Address::isIPv4("192.168.0.1"));
  EXPECT_TRUE(Address::isIPv4("0.0.0.0"));
  EXPECT_TRUE(Address::isIPv4("255.255.255.255"));
  EXPECT_TRUE(Address::isIPv4("010.001.0.1"));  // leading zeros are still decimal
  EXPECT_FALSE(Address::isIPv4("256.1.1.1"));
  EXPECT_FALSE(Address::isIPv4("1.2.3"));
  EXPECT_FALSE(Address::isIPv4("1.2.3.4.5"));
  EXPECT_FALSE(Address::isIPv4("1.2.3.x"));
  EXPECT_FALSE(Address::isIPv4("1.2.3.-4"));
  EXPECT_FALSE(Address::isIPv4("1.2.3.99999999999999999999"));
  EXPECT_FALSE(Address::isIPv4(""));
}

TEST(AddressIsIPv4, EmptyPiecesAreSkipped) {
  EXPECT_TRUE(Address::isIPv4("192.168.0.1."));
  EXPECT_TRUE(Address::isIPv4(".192.168.0.1"));
  EXPECT_FALSE(Address::isIPv4("10.0..1"));  // three pieces
}

std::optional<Url> u(const char* text) { return Url::parse(text); }

TEST(AddressIsLocal, NamesAndSuffixesOverHttp) {
  EXPECT_TRUE(Address::isLocal(u("http://printer.local/status")));
  EXPECT_TRUE(Address::isLocal(u("https://app.test")));
  EXPECT_TRUE(Address::isLocal(u("http://dev.localhost:8080")));
  EXPECT_TRUE(Address::isLocal(u("http://LOCALHOST:8080")));  // lower-cased here, unlike url(for:)
  EXPECT_TRUE(Address::isLocal(u("http://[::1]:8080/")));
  EXPECT_TRUE(Address::isLocal(u("http://0.0.0.0")));
  EXPECT_FALSE(Address::isLocal(u("http://example.local.com")));
  EXPECT_FALSE(Address::isLocal(u("https://example.com")));
  EXPECT_FALSE(Address::isLocal(u("http://notlocal")));
}

TEST(AddressIsLocal, PrivateAndLinkLocalIPv4Ranges) {
  EXPECT_TRUE(Address::isLocal(u("http://10.1.2.3")));
  EXPECT_TRUE(Address::isLocal(u("http://127.0.0.1:8000")));
  EXPECT_TRUE(Address::isLocal(u("http://172.16.0.1")));
  EXPECT_TRUE(Address::isLocal(u("https://172.31.0.1")));
  EXPECT_FALSE(Address::isLocal(u("http://172.32.0.1")));
  EXPECT_FALSE(Address::isLocal(u("http://172.15.0.1")));
  EXPECT_TRUE(Address::isLocal(u("http://169.254.1.1")));
  EXPECT_FALSE(Address::isLocal(u("http://169.253.1.1")));
  EXPECT_TRUE(Address::isLocal(u("http://192.168.1.1")));
  EXPECT_FALSE(Address::isLocal(u("http://192.169.1.1")));
  EXPECT_FALSE(Address::isLocal(u("http://8.8.8.8")));
}

TEST(AddressIsLocal, OnlyHttpAndHttpsWithAHost) {
  EXPECT_FALSE(Address::isLocal(std::nullopt));
  EXPECT_FALSE(Address::isLocal(u("ftp://localhost/")));
  EXPECT_FALSE(Address::isLocal(u("ws://192.168.1.1")));
  EXPECT_FALSE(Address::isLocal(u("file:///tmp/x.html")));
  EXPECT_FALSE(Address::isLocal(u("about:blank")));
}

TEST(AddressDisplay, HostWithoutWwwAndNothingElse) {
  EXPECT_EQ(Address::display(std::nullopt), "");
  EXPECT_EQ(Address::display(u("https://www.example.com/path?x=1#top")), "example.com");
  EXPECT_EQ(Address::display(u("https://news.example.com/a")), "news.example.com");
  EXPECT_EQ(Address::display(u("https://www2.example.com")), "www2.example.com");
  EXPECT_EQ(Address::display(u("http://localhost:3000/app")), "localhost");
}

TEST(AddressDisplay, SearchesShowTheirWords) {
  EXPECT_EQ(Address::display(Address::searchURL("two words")), "two words");
  EXPECT_EQ(Address::display(Address::url("what is 1+1?")), "what is 1+1?");
  EXPECT_EQ(Address::display(u("https://duckduckgo.com/?q=first&q=second")), "first");
  // Only the default engine's host, and only with a q item.
  EXPECT_EQ(Address::display(u("https://duckduckgo.com/about")), "duckduckgo.com");
  EXPECT_EQ(Address::display(u("https://www.bing.com/search?q=x")), "bing.com");
}

TEST(AddressDisplay, URLsWithoutAHostShowWhole) {
  EXPECT_EQ(Address::display(u("file:///tmp/a.html")), "file:///tmp/a.html");
  EXPECT_EQ(Address::display(u("about:blank")), "about:blank");
}

}  // namespace
}  // namespace quillo
