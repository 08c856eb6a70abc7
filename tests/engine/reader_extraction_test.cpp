// Reader mode's extraction on real pages: which block is the article, what is cleaned out of it, and its title,
// byline and site.
#include <gtest/gtest.h>

#include "engine/support/engine_support.h"
#include "features/reader.h"

namespace quillo::test {
namespace {

// A paragraph of about `length` characters with a comma every few words, opening with `mark`.
std::string para(const std::string& mark, size_t length = 300) {
  std::string text = mark;
  while (text.size() < length) text += " quiet words, set in a row";
  return "<p>" + text + ".</p>";
}

std::string paras(const std::string& mark, int count, size_t length = 300) {
  std::string out;
  for (int i = 0; i < count; ++i) out += para(mark + " " + std::to_string(i), length);
  return out;
}

class ReaderExtraction : public ViewTest {};

TEST_F(ReaderExtraction, ArticlesAsTheyAreFound) {
  struct Case {
    std::string name, head, body;
    std::string title;  // empty: the page has no article
    std::string byline, site;
    std::vector<std::string> present, absent;
  };
  const std::string here = "127.0.0.1";
  const std::string author = std::string(200, 'b').replace(0, 11, "Ann Author ");
  const std::string nav = "<nav><a href=\"/\">Home</a> <a href=\"/about\">About us</a></nav>";
  const std::vector<Case> cases = {
      // The longest section alone outscores its container, which still holds clearly more; wrappers around a
      // section's paragraphs alone do not stop the climb.
      {"sections",
       "<title>Sections</title>",
       nav + "<div><section><div>" + paras("First section", 3) + "</div></section><section><div>" +
           paras("Middle section", 2, 150) + "</div></section><section>" + paras("Last section", 2, 150) +
           "</section></div>",
       "Sections",
       "",
       here,
       {"First section 0", "Middle section 1", "Last section 1"},
       {"About us"}},
      // A lazy image's real address beats its placeholder; the browser's pick from a srcset beats the src, and
      // pairs with the right image though one before it was cleaned out.
      {"lazy",
       "<title>Lazy</title>",
       "<div>" + paras("Pictured", 3) + "<aside><img src=\"side.png\" srcset=\"/img/side-big.png 1x\"></aside>" +
           "<img data-src=\"/img/a.png\" src=\"placeholder.gif\" alt=\"first\"><img src=\"b.png\">"
           "<img src=\"small.png\" srcset=\"/img/big.png 1x\"></div>",
       "Lazy",
       "",
       here,
       {"src=\"" + server.url("/img/a.png") + "\"", "src=\"" + server.url("/lazy/b.png") + "\"",
        "src=\"" + server.url("/img/big.png") + "\""},
       {"placeholder", "data-src", "small.png", "srcset", "side"}},
      // Clutter goes by whole word and only when short.
      {"clutter",
       "<title>Clutter</title>",
       "<div>" + paras("Body", 3) +
           "<div class=\"share-buttons\">Share this</div><div id=\"Ad_slot\">Buy things</div>"
           "<div class=\"shared\">Shared notes stay</div><div class=\"comment\">" +
           para("Long enough to stay", 320) + "</div></div>",
       "Clutter",
       "",
       here,
       {"Shared notes stay", "Long enough to stay"},
       {"Share this", "Buy things"}},
      // The page's one <article> holds a lead paragraph beyond the best-scored block.
      {"marked",
       "<title>Marked</title>",
       "<article>" + para("Lead paragraph") + "<div>" + paras("Body", 5) + "</div></article>",
       "Marked",
       "",
       here,
       {"Lead paragraph", "Body 4"},
       {}},
      {"titled",
       "<title>Heading text - Site Name</title><meta property=\"og:site_name\" content=\" Site Name \">"
       "<meta name=\"author\" content=\"" +
           author + "\">",
       "<div><h1>Heading text</h1>" + paras("Body", 3) + "<h2>Later heading</h2></div>",
       "Heading text",
       author.substr(0, 120),
       "Site Name",
       {"Later heading"},
       {"<h1>"}},
      {"links",
       "<title>Links</title>",
       "<div>" + paras("Body", 3) +
           "<p style=\"color: red\" onclick=\"go()\" class=\"lead\">A <a href=\"javascript:go()\">script link</a>, "
           "<a href=\"mailto:me@example.com\">mail</a>, <a href=\"https://example.com/x\">web</a> and "
           "<a href=\"#end\">a jump</a>.</p><script>var secretScript = 1;</script><h2 id=\"end\">End</h2></div>",
       "Links",
       "",
       here,
       {"<a>script link</a>", "href=\"mailto:me@example.com\"", "href=\"https://example.com/x\"",
        "href=\"" + server.url("/links/#end") + "\"", "<h2 id=\"end\">"},
       {"javascript", "secretScript", "style", "onclick", "class"}},
      {"short", "", "<div>" + para("Too short") + "</div>", "", "", "", {}, {}},
      // Long text only where no article lives, and elsewhere only short lines, however many.
      {"chrome-only",
       "",
       "<nav>" + paras("Nav", 2) + "</nav><aside>" + paras("Aside", 2) + "</aside><footer>" + paras("Footer", 2) +
           "</footer><form>" + paras("Form", 2) + "</form><div role=\"complementary\">" + paras("Complementary", 2) +
           "</div><div>" + paras("A short line of its own", 30, 0) + "</div>",
       "",
       "",
       "",
       {},
       {}},
  };

  auto view = show("");
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    server.html("/" + test.name + "/", "<!doctype html><html><head><meta charset=\"utf-8\">" + test.head +
                                           "</head><body>" + test.body + "</body></html>");
    ASSERT_TRUE(loadAndWait(*view, events, mustParse(server.url("/" + test.name + "/"))));
    bool answered = false;
    std::optional<Reader::Article> article;
    Reader::article(*view, [&](std::optional<Reader::Article> found) {
      answered = true;
      article = std::move(found);
    });
    ASSERT_TRUE(runUntil([&] { return answered; }));
    ASSERT_EQ(article.has_value(), !test.title.empty());
    if (!article) continue;
    EXPECT_EQ(article->title, test.title);
    EXPECT_EQ(article->byline, test.byline);
    EXPECT_EQ(article->site, test.site);
    for (const auto& text : test.present) EXPECT_NE(article->html.find(text), std::string::npos) << text;
    for (const auto& text : test.absent) EXPECT_EQ(article->html.find(text), std::string::npos) << text;
  }
}

}  // namespace
}  // namespace quillo::test
