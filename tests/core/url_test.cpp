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
  EXPECT_EQ(url->str(), text);
  EXPECT_EQ(url->scheme(), want.scheme);
  EXPECT_EQ(url->host(), want.host);
  EXPECT_EQ(url->hasHost(), !want.host.empty());
  EXPECT_EQ(url->port(), want.port);
  EXPECT_EQ(url->path(), want.path);
  EXPECT_EQ(url->query(), want.query);
  EXPECT_EQ(url->fragment(), want.fragment);
}

// Parts are kept as places in the text unless the parser changed them; both
// kinds must read back as the parser gave them.
TEST(Url, PartsReadBackWhetherWrittenAsIsOrChangedByTheParser) {
  expectParts("https://example.com/a/b?x=1&y=2#top", {"https", "example.com", -1, "/a/b", "x=1&y=2", "top"});
  expectParts("https://u:p@example.com:8080/p?", {"https", "example.com", 8080, "/p", "", ""});
  expectParts("https://example.com?q", {"https", "example.com", -1, "", "q", ""});
  expectParts("http://[::1]:8/p#", {"http", "::1", 8, "/p", "", ""});
  expectParts("file:///home/u/a%20b.html", {"file", "", -1, "/home/u/a%20b.html", "", ""});
  expectParts("about:blank", {"about", "", -1, "blank", "", ""});
  // Changed by the parser: scheme case, "." segments, decoded host and
  // unreserved characters, encoded non-ASCII.
  expectParts("HTTPS://Example.com/x/../y/./z?q#f", {"https", "Example.com", -1, "/y/z", "q", "f"});
  expectParts("https://b%C3%BCcher.de/%7e%41", {"https", "bücher.de", -1, "/~A", "", ""});
  expectParts("https://a.example/ä?ö=1", {"https", "a.example", -1, "/%C3%A4", "%C3%B6=1", ""});
  // The lower-cased scheme also occurs later in the text: same bytes, fine.
  expectParts("HTTP://a.example/?u=http://b", {"http", "a.example", -1, "/", "u=http://b", ""});

  Url empty;
  EXPECT_TRUE(empty.str().empty());
  EXPECT_TRUE(empty.scheme().empty());
  EXPECT_FALSE(empty.hasHost());
  EXPECT_EQ(empty.port(), -1);
}

TEST(Url, CopiesAndDerivedURLsKeepChangedParts) {
  std::optional<Url> copy;
  {
    auto original = Url::parse("HTTPS://b%C3%BCcher.de/a/./b/c?k=v%20w#f");
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

  auto searched = copy->withQueryItem("q", "a&b");
  EXPECT_EQ(searched.queryItem("q"), "a&b");
  EXPECT_EQ(searched.fragment(), "f");
  EXPECT_EQ(searched.scheme(), "https");
}

}  // namespace
}  // namespace quillo
