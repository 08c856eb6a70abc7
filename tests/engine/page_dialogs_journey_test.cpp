// Journeys through a page's questions: drawn over its own side of a split, answered by keys, one at a time, gone with
// their document or tab.
#include "engine/support/journey.h"
#include "page/webkit/webkit_view.h"

namespace quillo::test {
namespace {

class PageDialogs : public Journey {
 protected:
  void SetUp() override {
    Journey::SetUp();
    other.html("/gamma.html", "<title>Gamma page</title><p>gamma</p>");
  }
  GtkWidget* root() { return GTK_WIDGET(window->gobj()); }
  GtkWidget* viewOf(const PagePtr& page) { return dynamic_cast<WebKitView&>(page->webView()).widget(); }
  bool covers(GtkWidget* card, const PagePtr& page) {
    graphene_rect_t drawn, area;
    return gtk_widget_compute_bounds(card, root(), &drawn) && gtk_widget_compute_bounds(viewOf(page), root(), &area) &&
           graphene_rect_contains_rect(&area, &drawn);
  }
  bool cardHasKeyboard(GtkWidget* card) {
    auto* focus = window->get_focus();
    return focus && gtk_widget_is_ancestor(focus->gobj(), card);
  }
  // Runs `code` in the page once the script that asks it has returned.
  void later(const PagePtr& page, const std::string& code) {
    pageScript(page, "setTimeout(() => { " + code + " }, 0); ''");
  }
  std::string field(const PagePtr& page) { return pageScript(page, "document.getElementById('field').value"); }

  TestServer other{"127.0.0.2"};
};

TEST_F(PageDialogs, AQuestionCoversItsOwnSideIsAnsweredByKeysWaitsItsTurnAndGoesWithItsDocumentOrTab) {
  auto left = openPage("/beta.html");
  browser->openBeside(left, *Url::parse(url("/alpha.html")));
  auto right = browser->current();
  ASSERT_NE(right, left);
  ASSERT_TRUE(waitLoaded(right));
  browser->select(left);
  ASSERT_TRUE(waitFor([&] { return browser->current() == left && pageHasFocus(); }));

  // An alert of the side that is not current brings that side forward and covers only it.
  later(right, "alert('Hello'); document.getElementById('field').focus()");
  GtkWidget* card = awaitCard(root());
  ASSERT_NE(card, nullptr);
  EXPECT_EQ(cardText(card), "127.0.0.1 says | Hello | OK");
  EXPECT_EQ(browser->current(), right);
  EXPECT_TRUE(waitFor([&] { return covers(card, right); }));
  EXPECT_FALSE(covers(card, left));
  ASSERT_TRUE(waitFor([&] { return cardHasKeyboard(card); }));
  key("Return");
  ASSERT_TRUE(waitFor([&] { return !shownCard(root()) && pageHasFocus(); })) << "the keyboard is back in the page";
  ASSERT_TRUE(waitFor([&] { return pageScript(right, "document.activeElement.id") == "field"; }));
  type("typed");
  EXPECT_TRUE(waitFor([&] { return field(right) == "typed"; }));

  // Escape is Cancel; Return is OK, also from a prompt's field, whose text the page gets.
  later(right, "document.title = 'confirm ' + confirm('Sure?')");
  ASSERT_TRUE((card = awaitCard(root())));
  EXPECT_EQ(cardText(card), "127.0.0.1 says | Sure? | Cancel | OK") << "the default on the right";
  key("Escape");
  EXPECT_TRUE(waitFor([&] { return right->title.get() == "confirm false"; }));
  later(right, "document.title = 'prompt ' + prompt('Name?', 'dflt')");
  ASSERT_TRUE((card = awaitCard(root())));
  EXPECT_EQ(cardText(card), "127.0.0.1 says | Name? | [dflt] | Cancel | OK");
  ASSERT_TRUE(waitFor([&] { return cardHasKeyboard(card); }));
  type("Ada");
  key("Return");
  EXPECT_TRUE(waitFor([&] { return right->title.get() == "prompt Ada"; }));
  EXPECT_EQ(field(right), "typed") << "the page under the question got no keys";

  // A second question waits for the first.
  std::optional<AlertAnswer> second;
  later(right, "alert('First')");
  ASSERT_TRUE((card = awaitCard(root())));
  right->ask({"Second", "", {"OK"}}, [&](const AlertAnswer& answer) { second = answer; });
  EXPECT_EQ(cardText(card), "127.0.0.1 says | First | OK");
  key("Return");
  ASSERT_TRUE(waitFor([&] { return cardText(card) == "Second | OK" && cardHasKeyboard(card); }));
  key("Return");
  ASSERT_TRUE(waitFor([&] { return second.has_value() && !shownCard(root()); }));

  // Going to a new document takes its page's question away.
  later(right, "confirm('Stay?')");
  ASSERT_TRUE(awaitCard(root()));
  right->load(*Url::parse(other.url("/gamma.html")));
  ASSERT_TRUE(waitFor([&] { return !shownCard(root()) && right->title.get() == "Gamma page"; }));

  // So does closing its tab, and the script hears Cancel.
  later(right, "document.title = 'prompt ' + prompt('Name?')");
  ASSERT_TRUE(awaitCard(root()));
  key("ctrl+w");
  ASSERT_TRUE(waitFor([&] { return !shownCard(root()) && browser->current() == left && pageHasFocus(); }));
  EXPECT_TRUE(waitFor([&] { return right->title.get() == "prompt null"; })) << right->title.get();
}

}  // namespace
}  // namespace quillo::test
