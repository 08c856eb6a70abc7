// Reader mode in the model: the article document, the reader's navigation decisions, and toggling on a page.
#include "features/reader.h"

#include <gtest/gtest.h>

#include "support/browser_test.h"

namespace quillo::test {
namespace {

std::string between(const std::string& text, const std::string& open, const std::string& close) {
  auto start = text.find(open);
  if (start == std::string::npos) return "<none>";
  start += open.size();
  return text.substr(start, text.find(close, start) - start);
}

TEST(ReaderPage, EscapesTextAndJoinsTheSiteLine) {
  struct Case {
    std::string site, byline, siteLine;
  };
  const std::vector<Case> cases = {
      {"The Daily", "Ann Lee", "The Daily \u00b7 Ann Lee"},
      {"The Daily", "", "The Daily"},
      {"", "Ann & <Bob>", "Ann &amp; &lt;Bob&gt;"},
      {"", "", "<none>"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.site + "|" + c.byline);
    Reader::Article article{"Fish & \"Chips\" <now>", c.byline, c.site, "<p>Body &amp; <b>soul</b></p>"};
    std::string html = Reader::page(article);
    EXPECT_EQ(between(html, "<p class=\"site\">", "</p>"), c.siteLine);
    // "&" goes first, so the entities the others make are not escaped again.
    EXPECT_EQ(between(html, "<title>", "</title>"), "Fish &amp; &quot;Chips&quot; &lt;now&gt;");
    EXPECT_EQ(between(html, "<h1 class=\"title\">", "</h1>"), "Fish &amp; &quot;Chips&quot; &lt;now&gt;");
    // The cleaned body goes in as it is, after the title.
    EXPECT_NE(html.find("</h1><p>Body &amp; <b>soul</b></p></body></html>"), std::string::npos);
    EXPECT_NE(html.find("content=\"script-src 'none'\""), std::string::npos);
    EXPECT_EQ(html.rfind("<!doctype html>", 0), 0u);
  }
}

TEST(ReaderPage, DecodesOnlyWholeArticles) {
  const auto good = nlohmann::json::parse(R"({"title":"T","byline":"","site":"S","html":"<p>x</p>"})");
  EXPECT_EQ(Reader::decode(nlohmann::json(good.dump())), (Reader::Article{"T", "", "S", "<p>x</p>"}));
  for (const std::optional<nlohmann::json>& result :
       {std::optional<nlohmann::json>(), std::optional<nlohmann::json>(nullptr), std::optional<nlohmann::json>(good),
        std::optional<nlohmann::json>("not json"),
        std::optional<nlohmann::json>(R"({"title":"T","site":"S","html":""})"),
        std::optional<nlohmann::json>(R"({"title":1,"byline":"","site":"S","html":""})")})
    EXPECT_FALSE(Reader::decode(result)) << (result ? result->dump() : "nothing");
}

TEST(ReaderPage, SplitsLongArticlesOnlyBetweenPlainContainers) {
  const std::string para = "<p title=\"a > b\">Words, words.</p>";  // a ">" inside a quoted value
  struct Case {
    std::string html;
    size_t firstLength;  // 0: kept whole
  };
  const std::vector<Case> cases = {
      {para + para, 0},  // short
      {"<div>" + para + para + "<img src=x>" + para + "</div>",
       5 + 2 * para.size()},  // after the second paragraph, void tags
      {"<ul><li>" + para + para + "</li></ul>" + para, 8 + 2 * para.size() + 10},  // not inside a list
      {"<div><!-- <ul> -->" + para + para + "</div>", 18 + 2 * para.size()},       // comments are not tags
      {"<ul>" + para + para + "</li>" + para, 0},                                  // not what it seems: whole
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.html);
    auto [first, rest] = Reader::splitForFirstScreen(c.html, 60);
    EXPECT_EQ(first + rest, c.html);
    EXPECT_EQ(first.size(), c.firstLength ? c.firstLength : c.html.size());
  }
}

TEST(ReaderNavigation, KeepsJumpsWithinTheArticleAndHandsOverTheRest) {
  struct Case {
    std::string target;
    bool isLinkClick;
    NavigationPolicy policy;
    bool handedOver;
  };
  const std::vector<Case> cases = {
      {"https://news.example/story", false, NavigationPolicy::allow, false},  // the reader's own load
      {"", true, NavigationPolicy::allow, false},                             // a link without an address
      {"https://news.example/story#part-2", true, NavigationPolicy::allow, false},
      {"https://news.example/story", true, NavigationPolicy::cancel, true},
      {"https://news.example/story2#part-2", true, NavigationPolicy::cancel, true},
      {"https://elsewhere.example/#top", true, NavigationPolicy::cancel, true},
      {"mailto:ann@news.example", true, NavigationPolicy::cancel, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.target);
    std::vector<std::string> handed;
    Reader::Navigation navigation([] { return Url::parse("https://news.example/story"); },
                                  [&](const Url& url) { handed.push_back(url.str()); });
    NavigationAction action;
    action.target = c.target;
    action.url = Url::parse(c.target);
    action.isLinkClick = c.isLinkClick;
    std::optional<NavigationPolicy> policy;
    navigation.webViewDecideNavigation(action, [&](NavigationPolicy p) { policy = p; });
    EXPECT_EQ(policy, c.policy);
    EXPECT_EQ(handed, c.handedOver ? std::vector<std::string>{c.target} : std::vector<std::string>{});
  }
}

class ReaderToggle : public BrowserTest {
 protected:
  ReaderToggle() { Reader::install(*browser); }
  // The page's extraction answers this article, or nothing.
  void answer(const PagePtr& page, std::optional<Reader::Article> article) {
    view(page).evaluator = [article](const FakeWebView::Evaluation& evaluation, FakeWebView::EvaluationDone done) {
      EXPECT_TRUE(evaluation.isolated);
      auto& a = article;
      done(a ? nlohmann::json(
                   nlohmann::json({{"title", a->title}, {"byline", a->byline}, {"site", a->site}, {"html", a->html}})
                       .dump())
             : nlohmann::json(nullptr),
           "");
    };
  }
  FakeWebView* reader(const PagePtr& page) { return dynamic_cast<FakeWebView*>(page->readerView.get().get()); }
  const Reader::Article article{"A long walk", "Ann Lee", "The Daily", "<p>It was a long walk.</p>"};
};

TEST_F(ReaderToggle, ShowsTheArticleOverThePageUntilToggledOrNavigated) {
  auto page = open("https://news.example/walk#comments", "A long walk - The Daily", true, true);
  page->setZoom(1.25);
  answer(page, article);
  browser->run(PaletteCommand::reader);

  auto* shown = reader(page);
  ASSERT_TRUE(shown);
  // A private page's reader stays in its private store, runs no content
  // scripts, and reads at the page's zoom.
  EXPECT_EQ(shown->store(), view(page).store());
  EXPECT_FALSE(shown->configuration().javaScript);
  EXPECT_TRUE(shown->configuration().scripts.empty());
  EXPECT_EQ(shown->zoom(), 1.25);
  EXPECT_EQ(shown->loadedHTML, Reader::page(article));
  EXPECT_EQ(shown->url(), url("https://news.example/walk"));
  EXPECT_EQ(view(page).url(), url("https://news.example/walk#comments"));  // the page is where it was

  browser->zoomIn();
  EXPECT_EQ(shown->zoom(), view(page).zoom());
  EXPECT_GT(shown->zoom(), 1.25);
  // Find looks in what is read.
  browser->startFinding();
  browser->find("walk");
  EXPECT_TRUE(shown->findActive);
  EXPECT_FALSE(view(page).findActive);
  browser->stopFinding();
  EXPECT_FALSE(shown->findActive);

  // Toggled again: the page alone, as it was.
  browser->toggleReader();
  EXPECT_FALSE(page->readerView.get());
  browser->toggleReader();
  ASSERT_TRUE(reader(page));
  // The page going elsewhere, or unloaded, takes its reader with it.
  page->load(url("https://news.example/next"));
  EXPECT_FALSE(page->readerView.get());
  browser->toggleReader();
  ASSERT_TRUE(reader(page));
  page->unload();
  EXPECT_FALSE(page->readerView.get());
  EXPECT_FALSE(browser->flash.get());
}

TEST_F(ReaderToggle, NoArticleSaysSoAndChangesNothing) {
  auto page = open("https://news.example/");
  answer(page, std::nullopt);
  size_t views = engine.views().size();
  browser->toggleReader();
  EXPECT_FALSE(page->readerView.get());
  EXPECT_EQ(engine.views().size(), views);
  EXPECT_EQ(browser->flash.get(), "No article on this page to read");
  EXPECT_TRUE(browser->flashIsError.get());
}

}  // namespace
}  // namespace quillo::test
