// URLs: their parts, their text kept byte for byte, what is refused, and derived addresses.
#include "core/url.h"

#include <gtest/gtest.h>

namespace quillo {
namespace {

// Addresses as the engine reports them and as people paste them.
TEST(Url, RealWorldAddressesParseAndKeepTheirText) {
  struct Case {
    std::string text, scheme, host;
    int port;
    std::string path, query, fragment;
  };
  for (const auto& c : std::vector<Case>{
           {"https://example.com/a/b?x=1&y=2#top", "https", "example.com", -1, "/a/b", "x=1&y=2", "top"},
           {"https://u:p@example.com:8080/p?", "https", "example.com", 8080, "/p", "", ""},
           {"https://example.com?q", "https", "example.com", -1, "", "q", ""},
           {"http://[::1]:8/p#", "http", "::1", 8, "/p", "", ""},
           {"file:///home/u/a%20b.html", "file", "", -1, "/home/u/a%20b.html", "", ""},
           {"about:blank", "about", "", -1, "blank", "", ""},
           {"mailto:someone@example.com?subject=Hi%20there", "mailto", "", -1, "someone@example.com",
            "subject=Hi%20there", ""},
           // A "%" that starts no escape: the engine keeps it, so do we.
           {"http://127.0.0.1:8123/alpha.html?q=50%off", "http", "127.0.0.1", 8123, "/alpha.html", "q=50%off", ""},
           {"https://shop.example/50%/sale%", "https", "shop.example", -1, "/50%/sale%", "", ""},
           {"https://example.com/search?q=100%25+sure&x=%zz", "https", "example.com", -1, "/search",
            "q=100%25+sure&x=%zz", ""},
           // Characters a strict parser refuses but browsers take.
           {"https://example.com/a|b^c{d}`e", "https", "example.com", -1, "/a|b^c{d}`e", "", ""},
           {"https://example.com/#/route?x=1#inner", "https", "example.com", -1, "/", "", "/route?x=1#inner"},
           // Non-ASCII paths and queries as typed.
           {"https://a.example/ä?ö=1", "https", "a.example", -1, "/ä", "ö=1", ""},
           // Paths are not rewritten: "." segments stay as the engine sent them.
           {"https://example.com/x/../y/./z", "https", "example.com", -1, "/x/../y/./z", "", ""},
           // Hosts compare in lower case; an encoded name reads as itself; schemes too.
           {"HTTPS://Example.COM/Path", "https", "example.com", -1, "/Path", "", ""},
           {"https://b%C3%BCcher.de/", "https", "bücher.de", -1, "/", "", ""},
           {"http://example.com:/x", "http", "example.com", -1, "/x", "", ""},
           // A name followed by a port reads as a scheme; the address rules see past it.
           {"localhost:8080", "localhost", "", -1, "8080", "", ""},
       }) {
    SCOPED_TRACE(c.text);
    auto url = Url::parse(c.text);
    ASSERT_TRUE(url);
    EXPECT_EQ(url->str(), c.text) << "kept byte for byte";
    EXPECT_EQ(
        std::tuple(url->scheme(), url->host(), url->hasHost(), url->port(), url->path(), url->query(), url->fragment()),
        std::tuple(c.scheme, c.host, !c.host.empty(), c.port, c.path, c.query, c.fragment));
  }
  Url empty;
  EXPECT_EQ(std::tuple(empty.str(), empty.scheme(), empty.hasHost(), empty.port()), std::tuple("", "", false, -1));
}

TEST(Url, TextThatIsNoAddressIsRefused) {
  for (const char* text :
       {"", "example.com", "1http://x", "http:///x", "https://exa mple.com", "https://a.example:99999/",
        "https://exa%mple.com/", "https://[::1/", "http:example.com", "no scheme: here"})
    EXPECT_FALSE(Url::parse(text)) << text;
}

TEST(Url, CopiesAndDerivedURLsKeepChangedParts) {
  std::optional<Url> copy;
  {
    auto original = Url::parse("HTTPS://b%C3%BCcher.de/a/b/c?k=v%20w#f");
    ASSERT_TRUE(original);
    copy = *original;
  }
  EXPECT_EQ(copy->queryItem("k"), "v w");
  EXPECT_EQ(copy->queryItem("missing"), std::nullopt);

  auto folder = copy->deletingLastPathComponent();
  EXPECT_EQ(std::tuple(folder.host(), folder.path(), folder.query()), std::tuple("bücher.de", "/a/b/", ""));

  EXPECT_EQ(copy->withQueryItem("q", "a&b").queryItem("q"), "a&b");

  auto odd = Url::parse("file:///home/u/50%off/page.html?x#y");
  ASSERT_TRUE(odd);
  EXPECT_EQ(odd->deletingLastPathComponent().str(), "file:///home/u/50%off/");
}

}  // namespace
}  // namespace quillo
