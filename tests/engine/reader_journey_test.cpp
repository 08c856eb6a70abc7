// Reader mode as a user meets it: Ctrl+Shift+R, reading and scrolling by keys, links, Escape, the caption, splits.
#include <gtest/gtest.h>

#include "engine/support/journey.h"
#include "features/reader.h"
#include "page/webkit/webkit_view.h"

namespace quillo::test {
namespace {

class ReaderJourney : public Journey {
 protected:
  void SetUp() override {
    Journey::SetUp();
    if (IsSkipped()) return;
    Reader::install(*browser);
    std::string body =
        "<title>A long walk - The Daily</title><nav><a href='/gamma.html'>Home</a></nav>"
        "<div id=story><h1>A long walk</h1>";
    for (int i = 0; i < 400; ++i) {  // long enough to come in two steps
      if (i == 1)
        body += "<p>See <a href='#part-2'>the second part</a>, or <a href='/beta.html'>the beta page</a>.</p>";
      if (i == 20) body += "<h2 id=part-2>Part two</h2>";
      body += "<p>Paragraph " + std::to_string(i) +
              " of the walk, with commas, hills, rivers and a long road to make it read like an article.</p>";
    }
    server.html("/story.html", body + "</div>");
  }

  WebViewPort* reader() {
    auto page = browser->current();
    return page ? page->readerView.get().get() : nullptr;
  }
  GtkWidget* readerWidget() {
    auto* view = dynamic_cast<WebKitView*>(reader());
    return view ? view->widget() : nullptr;
  }
  bool readerHasFocus() {
    auto* focus = window->get_focus();
    return readerWidget() && focus && focus->gobj() == readerWidget();
  }
  // Shown, painted at its size and holding the keyboard.
  bool readerShown() {
    return readerHasFocus() && gtk_widget_get_mapped(readerWidget()) && gtk_widget_get_width(readerWidget()) > 300 &&
           !reader()->isLoading() && readerText("document.body ? 'ready' : ''") == "ready";
  }
  std::string readerText(const std::string& script) { return reader() ? evaluateText(*reader(), script) : "<none>"; }
  int readerScroll() { return std::atoi(readerText("String(Math.round(scrollY))").c_str()); }
  // A real click on a link of the article, found by its text.
  void clickLink(const std::string& text) {
    auto at = readerText("(() => { for (const a of document.links) if (a.textContent === '" + text +
                         "') { a.scrollIntoView({block: 'center'}); const r = a.getBoundingClientRect();"
                         " return Math.round(r.x + r.width / 2) + ',' + Math.round(r.y + r.height / 2); } })()");
    auto comma = at.find(',');
    ASSERT_NE(comma, std::string::npos) << at;
    click(*Glib::wrap(readerWidget()), std::stod(at.substr(0, comma)), std::stod(at.substr(comma + 1)));
  }
};

TEST_F(ReaderJourney, ReadByKeysFollowLinksAndGoBackToThePage) {
  auto story = openPage("/story.html");
  key("ctrl+shift+r");
  ASSERT_TRUE(waitFor([&] { return readerShown(); })) << "the article comes up with the keyboard";
  EXPECT_EQ(readerText("document.querySelector('h1.title').textContent"), "A long walk");
  EXPECT_EQ(readerText("document.querySelector('.site').textContent"), "127.0.0.1");
  EXPECT_EQ(readerText("document.querySelector('h1.title + p').textContent").substr(0, 30),
            "Paragraph 0 of the walk, with ");
  EXPECT_EQ(readerText("String(document.querySelectorAll('nav, h1:not(.title)').length)"), "0");
  EXPECT_TRUE(waitFor([&] {
    return readerText("String(document.body.textContent.includes('Paragraph 399 '))") == "true";
  })) << "the rest of the article follows the first screens";
  EXPECT_EQ(caption(), "Reader · click or Ctrl+Shift+R for the page");
  EXPECT_EQ(window->addressBar().captionLabel().get_tooltip_text(),
            "Reader: click, or press Ctrl+Shift+R, to go back to the page");

  key("Page_Down");
  ASSERT_TRUE(waitFor([&] { return readerScroll() > 200; })) << "Page Down scrolls the article";
  EXPECT_EQ(pageScript(story, "String(scrollY)"), "0") << "not the page under it";
  key("ctrl+plus");
  EXPECT_GT(reader()->zoom(), 1.0);
  EXPECT_EQ(reader()->zoom(), story->webView().zoom()) << "zoom keys act on what is read";
  key("ctrl+0");

  // A jump within the article scrolls it; another link leaves for the page.
  int before = readerScroll();
  clickLink("the second part");
  ASSERT_TRUE(waitFor([&] { return readerScroll() > before + 300; })) << readerScroll();
  EXPECT_TRUE(reader());
  clickLink("the beta page");
  ASSERT_TRUE(waitFor([&] { return !reader() && address() == url("/beta.html"); })) << address();
  EXPECT_TRUE(waitFor([&] { return pageHasFocus(); }));
  EXPECT_EQ(caption(), "Ctrl+E · Local site") << "a page served from this computer says so";
  EXPECT_EQ(window->addressBar().captionLabel().get_tooltip_text(), AddressBar::kLocalSiteHelp);

  // On a page with no article: the flash, and nothing else.
  enter("/reader");
  ASSERT_TRUE(waitFor([&] { return caption() == "No article on this page to read"; })) << caption();
  EXPECT_TRUE(window->addressBar().captionLabel().has_css_class("error")) << "it reads as an error";
  EXPECT_FALSE(reader());
  EXPECT_EQ(address(), url("/beta.html"));

  // The command again on the story; kept across a tab switch; Escape goes back.
  key("alt+Left");
  ASSERT_TRUE(waitFor([&] { return address() == url("/story.html") && !story->isLoading.get(); }));
  enter("/reader");
  ASSERT_TRUE(waitFor([&] { return readerShown(); }));
  auto other = openPage("/gamma.html");
  ASSERT_TRUE(waitFor([&] { return pageHasFocus(); }));
  key("ctrl+grave");
  ASSERT_TRUE(waitFor([&] { return browser->current() == story && readerShown(); })) << "still reading";
  key("Escape");
  ASSERT_TRUE(waitFor([&] { return !reader() && pageHasFocus(); })) << "the page has the keyboard back";
  EXPECT_EQ(address(), url("/story.html"));

  // The key again, and the caption's click, are ways back too.
  key("ctrl+shift+r");
  ASSERT_TRUE(waitFor([&] { return readerShown(); }));
  key("ctrl+shift+r");
  ASSERT_TRUE(waitFor([&] { return !reader() && pageHasFocus(); }));
  key("ctrl+shift+r");
  ASSERT_TRUE(waitFor([&] { return readerShown(); }));
  click(window->addressBar().captionLabel(), 4, 4);
  ASSERT_TRUE(waitFor([&] { return !reader() && pageHasFocus(); }));
}

TEST_F(ReaderJourney, EachSideOfASplitReadsOnItsOwn) {
  auto left = openPage("/gamma.html");
  auto right = openPage("/story.html");
  browser->showBeside(left);
  ASSERT_TRUE(waitFor([&] { return shownWidth(left) > 0 && shownWidth(right) > 0; }));
  browser->select(right);
  key("ctrl+shift+r");
  ASSERT_TRUE(waitFor([&] { return browser->current() == right && readerShown(); }));
  EXPECT_FALSE(left->readerView.get());
  EXPECT_GT(shownWidth(left), 0) << "the other side stays as it was";
  EXPECT_LT(gtk_widget_get_width(readerWidget()), window->get_width() * 3 / 4) << "the reader covers its side only";
  key("Escape");
  ASSERT_TRUE(waitFor([&] { return !right->readerView.get() && pageHasFocus(); }));
}

}  // namespace
}  // namespace quillo::test
