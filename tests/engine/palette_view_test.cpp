// The palette list in a real window over pages on the fake engine, read through accessible roles and names.
#include "palette/gtk/palette_view.h"

#include <gtest/gtest.h>
#include <gtkmm.h>

#include "browser/browser.h"
#include "chrome/gtk/browser_window.h"
#include "engine/support/engine_support.h"
#include "stores/history.h"
#include "support/fake_web_view.h"
#include "support/temp_home.h"

namespace quillo::test {
namespace {

class PaletteViewTest : public ::testing::Test {
 protected:
  PaletteViewTest() {
    ensureGtk();
    browser.settleBlockLists();
    browser.attach(history);
    EXPECT_TRUE(runUntil([&] { return history.isLoaded(); }));
    window = std::make_unique<BrowserWindow>(browser);
    window->present();
    view = findPaletteList(*window);
  }
  ~PaletteViewTest() override { window.reset(); }

  PagePtr open(const std::string& address, const std::string& title) {
    engine.titles[address] = title;
    auto page = browser.makePage(false);
    page->load(mustParse(address));
    browser.add(page, true);
    return page;
  }
  void pin(const std::string& address, const std::string& title) { browser.pin(open(address, title)); }

  // Opens the palette and types into its field, then waits for the list.
  void type(const std::string& text) {
    openPalette();
    window->addressBar().entry().set_text(text);
    settle();
  }
  void openPalette() {
    auto& field = window->addressBar().entry();
    if (!field.has_focus()) field.grab_focus();
    runUntil([&] { return browser.chrome.isHeldOpen.get(); }, std::chrono::seconds(2));
    ASSERT_TRUE(browser.chrome.isHeldOpen.get()) << "the field has the keyboard";
  }
  // Lets the list catch up (its update and the frame after it), which must be showing.
  void settle() {
    view->update();
    runUntil([&] { return view->get_visible() && view->get_mapped(); }, std::chrono::seconds(5));
    view->update();
    ASSERT_TRUE(view->get_visible() && view->get_mapped())
        << "held open " << browser.chrome.isHeldOpen.get() << ", renaming " << browser.isEditingInList() << ", scope "
        << bool(browser.scope.get()) << ", query \"" << browser.query.get() << "\"";
  }

  std::vector<GtkWidget*> inList(GtkAccessibleRole role) { return withRole(GTK_WIDGET(view->list().gobj()), role); }
  size_t count(GtkAccessibleRole role) { return inList(role).size(); }
  GtkWidget* findNamed(GtkAccessibleRole role, const std::string& name) {
    for (auto* widget : inList(role))
      if (accessibleNameIs(widget, name)) return widget;
    return nullptr;
  }

  TempHome home;
  GLibScheduler scheduler;
  FakeEngine engine;
  History history{scheduler};
  Browser browser{engine, scheduler};
  std::unique_ptr<BrowserWindow> window;
  PaletteView* view = nullptr;
};

// (Rows by name, and under which heading, are the journeys' and the list model's.)
TEST_F(PaletteViewTest, AHistoryRowsButtonRemovesItAndTheListLeavesWithTheFieldsFocus) {
  ASSERT_NE(view, nullptr) << "the window carries the palette list";
  history.recordVisit(mustParse("https://teapots.example/"));
  type("tea");
  GtkWidget* remove = findNamed(GTK_ACCESSIBLE_ROLE_BUTTON, "Remove from History");
  ASSERT_NE(remove, nullptr);
  gtk_widget_activate(remove);  // clicks it, once its press has been shown
  EXPECT_TRUE(runUntil([&] { return history.find(mustParse("https://teapots.example/")) == nullptr; }));

  browser.chrome.isHeldOpen = false;  // what the field losing the keyboard does
  ASSERT_TRUE(runUntil([&] { return !view->get_visible(); }));
}

TEST_F(PaletteViewTest, RestingListShowsNumberedPinsAsTilesAndAnEmptyScopeItsNote) {
  pin("https://one.example/", "One");
  pin("https://two.example/", "Two");
  open("https://a.example/", "Alpha");

  type("");
  EXPECT_NE(findNamed(GTK_ACCESSIBLE_ROLE_GROUP, "Numbered pins"), nullptr) << "numbered pins are tiles";
  EXPECT_NE(findNamed(GTK_ACCESSIBLE_ROLE_BUTTON, "Ctrl+2: Two, two.example"), nullptr);

  browser.enter(PaletteCommand::permissions);
  settle();
  EXPECT_NE(
      findNamed(GTK_ACCESSIBLE_ROLE_NOTE, "No site has asked for anything yet · open a site to set its permissions"),
      nullptr);
}

TEST_F(PaletteViewTest, TypingKeepsTheRowsThatStay) {
  for (int i = 0; i < 40; ++i) open("https://site" + std::to_string(i) + ".example/", "Tab " + std::to_string(i));
  type("t");
  auto* tab = view->rowFor(PaletteItem::idOf(*browser.pages.get()[5]));
  ASSERT_NE(tab, nullptr);
  const size_t made = view->rowsMade();
  type("ta");
  type("tab");
  type("tab ");
  EXPECT_EQ(view->rowFor(PaletteItem::idOf(*browser.pages.get()[5])), tab) << "the same row, not a new one";
  EXPECT_EQ(view->rowsMade(), made) << "no row was made again for text that matches the same tabs";
  type("tab 3");
  EXPECT_EQ(count(GTK_ACCESSIBLE_ROLE_LIST_ITEM), 11u);  // Tab 3 and Tab 30-39
  EXPECT_EQ(view->rowsMade(), made);
}

TEST_F(PaletteViewTest, RowsPastTheFirstScreenfulAreMadeWhenScrolledToOrHighlighted) {
  for (int i = 0; i < 120; ++i) open("https://site" + std::to_string(i) + ".example/", "Tab " + std::to_string(i));
  type("tab");
  ASSERT_EQ(view->entries().size(), 120u);
  ASSERT_LT(view->rows().size(), 60u) << "a long list starts with a screenful of rows";

  browser.selectedResult = 100;  // the highlight moved far down with the keys
  settle();
  ASSERT_NE(view->highlightedWidget(), nullptr);
  EXPECT_TRUE(accessibleNameIs(view->highlightedWidget()->gobj(), "Tab 100, site100.example"));

  auto* scroller = dynamic_cast<Gtk::ScrolledWindow*>(view->get_first_child());
  ASSERT_NE(scroller, nullptr);
  EXPECT_TRUE(runUntil([&] {
    auto adjustment = scroller->get_vadjustment();
    adjustment->set_value(adjustment->get_upper() - adjustment->get_page_size());  // keep scrolling down
    return view->rows().size() == 120;
  })) << "scrolling to the end makes the rest";
}

TEST_F(PaletteViewTest, PinsScopeHasADividerThatNumbersPinsAndPinsMoveOntoEachOther) {
  for (auto name : {"One", "Two", "Three"}) pin("https://" + std::string(name) + ".example/", name);
  browser.quickPinCount = 2;
  openPalette();
  browser.enter(PaletteCommand::pins);
  settle();
  auto* divider = findNamed(GTK_ACCESSIBLE_ROLE_SEPARATOR, "Ctrl+1–2 above · pins below show only when you search");
  ASSERT_NE(divider, nullptr);
  EXPECT_EQ(gtk_widget_get_prev_sibling(divider), GTK_WIDGET(view->rowFor(browser.pins.get()[1].id)->gobj()))
      << "it sits after the numbered pins";

  view->dropQuickDivider(0);
  settle();
  EXPECT_EQ(browser.quickPinCount.get(), 0);
  EXPECT_NE(findNamed(GTK_ACCESSIBLE_ROLE_SEPARATOR, "No pins numbered · drag this down to give some Ctrl+1–9"),
            nullptr);

  const auto first = browser.pins.get()[0].id;
  view->dropPin(first, browser.pins.get()[2].id);
  settle();
  EXPECT_EQ(browser.pins.get()[2].id, first);
  auto rows = view->rows();
  ASSERT_EQ(rows.size(), 4u);
  EXPECT_EQ(rows.back(), view->rowFor(first)) << "its row follows it to the end";
}

}  // namespace
}  // namespace quillo::test
