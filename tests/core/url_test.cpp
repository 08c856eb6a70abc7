#include <gtest/gtest.h>

#include "core/url.h"

namespace quillo {
namespace {

struct Parts {
  std::string scheme, host;
  int port;
  std::string path, query, fragment;
};

void expectParts(const std::string& text, const Parts& want) {
  SCOPED_TRACE(text);
  auto url = Url::parse(text);
  ASSERT_TRUE(url);
  EXPECT_EQ(url->str(), text) << "kept byte for byte";
  EXPECT_EQ(url->scheme(), want.scheme);
  EXPECT_EQ(url->host(), want.host);
  EXPECT_EQ(url->hasHost(), !want.host.empty());
  EXPECT_EQ(url->port(), want.port);
  EXPECT_EQ(url->path(), want.path);
  EXPECT_EQ(url->query(), want.query);
  EXPECT_EQ(url->fragment(), want.fragment);
}

// Addresses as the engine reports them and as people paste them. Each must
// parse, keep its text exactly, and give the parts the engine would see.
TEST(Url, RealWorldAddressesParseAndKeepTheirText) {
  expectParts("https://example.com/a/b?x=1&y=2#top", {"https", "example.com", -1, "/a/b", "x=1&y=2", "top"});
  expectParts("https://u:p@example.com:8080/p?", {"https", "example.com", 8080, "/p", "", ""});
  expectParts("https://example.com?q", {"https", "example.com", -1, "", "q", ""});
  expectParts("http://[::1]:8/p#", {"http", "::1", 8, "/p", "", ""});
  expectParts("http://[2001:db8::7]/", {"http", "2001:db8::7", -1, "/", "", ""});
  expectParts("file:///home/u/a%20b.html", {"file", "", -1, "/home/u/a%20b.html", "", ""});
  expectParts("about:blank", {"about", "", -1, "blank", "", ""});
  expectParts("mailto:someone@example.com?subject=Hi%20there",
              {"mailto", "", -1, "someone@example.com", "subject=Hi%20there", ""});
  expectParts("data:text/html,<p>hi</p>", {"data", "", -1, "text/html,<p>hi</p>", "", ""});
  // A "%" that starts no escape: the engine keeps it, so do we.
  expectParts("http://127.0.0.1:8123/alpha.html?q=50%off", {"http", "127.0.0.1", 8123, "/alpha.html", "q=50%off", ""});
  expectParts("https://shop.example/50%/sale%", {"https", "shop.example", -1, "/50%/sale%", "", ""});
  expectParts("https://example.com/search?q=100%25+sure&x=%zz", {"https", "example.com", -1, "/search", "q=100%25+sure&x=%zz", ""});
  // Characters a strict parser refuses but browsers take.
  expectParts("https://example.com/a|b^c{d}`e", {"https", "example.com", -1, "/a|b^c{d}`e", "", ""});
  expectParts("https://example.com/p?list=[1,2]&v=\"x\"", {"https", "example.com", -1, "/p", "list=[1,2]&v=\"x\"", ""});
  expectParts("https://example.com/#/route?x=1#inner", {"https", "example.com", -1, "/", "", "/route?x=1#inner"});
  // Non-ASCII paths and queries as typed.
  expectParts("https://a.example/ä?ö=1", {"https", "a.example", -1, "/ä", "ö=1", ""});
  // Paths are not rewritten: "." segments and escapes stay as the engine sent them.
  expectParts("https://example.com/x/../y/./z", {"https", "example.com", -1, "/x/../y/./z", "", ""});
  expectParts("https://example.com/%7e%41", {"https", "example.com", -1, "/%7e%41", "", ""});
  // Hosts compare in lower case; an encoded name reads as itself; schemes too.
  expectParts("HTTPS://Example.COM/Path", {"https", "example.com", -1, "/Path", "", ""});
  expectParts("https://b%C3%BCcher.de/", {"https", "bücher.de", -1, "/", "", ""});
  expectParts("https://bücher.de/katalog", {"https", "bücher.de", -1, "/katalog", "", ""});
  expectParts("HTTP://a.example/?u=http://b", {"http", "a.example", -1, "/", "u=http://b", ""});
  expectParts("https://example.com:443/", {"https", "example.com", 443, "/", "", ""});
  expectParts("http://example.com:/x", {"http", "example.com", -1, "/x", "", ""});
  expectParts("chrome-extension://abc/x", {"chrome-extension", "abc", -1, "/x", "", ""});
  // A name followed by a port reads as a scheme; the address rules see past it.
  expectParts("localhost:8080", {"localhost", "", -1, "8080", "", ""});

  Url empty;
  EXPECT_TRUE(empty.str().empty());
  EXPECT_TRUE(empty.scheme().empty());
  EXPECT_FALSE(empty.hasHost());
  EXPECT_EQ(empty.port(), -1);
}

TEST(Url, TextThatIsNoAddressIsRefused) {
  for (const char* text : {"", "example.com", "/path/only", "1http://x", "https://", "http:///x", "https://exa mple.com",
                           "https://a.example:99999/", "https://a.example:8o/", "https://exa%mple.com/",
                           "https://[::1/", "https://a<b.example/", "http:example.com", "https://tab\there",
                           "no scheme: here"})
    EXPECT_FALSE(Url::parse(text)) << text;
}

TEST(Url, CopiesAndDerivedURLsKeepChangedParts) {
  std::optional<Url> copy;
  {
    auto original = Url::parse("HTTPS://b%C3%BCcher.de/a/b/c?k=v%20w#f");
    ASSERT_TRUE(original);
    copy = *original;
  }
  EXPECT_EQ(copy->scheme(), "https");
  EXPECT_EQ(copy->host(), "bücher.de");
  EXPECT_EQ(copy->path(), "/a/b/c");
  EXPECT_EQ(copy->queryItem("k"), "v w");
  EXPECT_EQ(copy->queryItem("missing"), std::nullopt);

  auto folder = copy->deletingLastPathComponent();
  EXPECT_EQ(folder.path(), "/a/b/");
  EXPECT_EQ(folder.host(), "bücher.de");
  EXPECT_EQ(folder.query(), "");

  auto searched = copy->withQueryItem("q", "a&b");
  EXPECT_EQ(searched.queryItem("q"), "a&b");
  EXPECT_EQ(searched.fragment(), "f");
  EXPECT_EQ(searched.scheme(), "https");

  auto odd = Url::parse("file:///home/u/50%off/page.html?x#y");
  ASSERT_TRUE(odd);
  EXPECT_EQ(odd->deletingLastPathComponent().str(), "file:///home/u/50%off/");
}

}  // namespace
}  // namespace quillo
