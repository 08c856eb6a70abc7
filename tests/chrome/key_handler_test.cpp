// The window's own keys that must pass on to the field or the page (the journeys press those that act).
#include "chrome/key_handler.h"

#include "support/browser_test.h"

namespace quillo::test {
namespace {

using Key = KeyPress::Key;

class KeyHandling : public BrowserTest {
 protected:
  KeyHandling() {
    for (auto* address : {"https://alpha.example/", "https://beta.example/", "https://gamma.example/"}) open(address);
  }
  // A key pressed in the field (empty or not) or in the page; Ctrl is only ever held over selected text.
  static KeyPress press(Key key, bool inField, bool empty, bool shift = false, bool ctrl = false) {
    KeyPress p;
    p.key = key;
    p.inField = inField;
    p.fieldEmpty = empty;
    p.shift = shift;
    p.ctrl = p.fieldHasSelection = ctrl;
    return p;
  }
  static KeyPress field(Key key, bool empty = true) { return press(key, true, empty); }
};

TEST_F(KeyHandling, KeysOutOfPlaceOrWithOtherModifiersPassOn) {
  auto current = browser->current();
  browser->pin(current);
  type("gamma");
  ASSERT_TRUE(handleKey(*browser, field(Key::down, false)));
  ASSERT_TRUE(browser->results().at(0).pin());

  for (auto [what, key] : std::initializer_list<std::pair<const char*, KeyPress>>{
           {"a plain grave is typed", press(Key::grave, true, true)},
           {"a slash inside an address is a path", press(Key::slash, true, false)},
           {"the field copies its own selection", press(Key::c, true, false, false, true)},
           {"the page keeps Shift+Delete", press(Key::del, false, true, true)},
       })
    EXPECT_FALSE(handleKey(*browser, key)) << what;
  EXPECT_EQ(browser->current(), current);
  EXPECT_EQ(browser->query.get(), "gamma");
  EXPECT_EQ(browser->highlightIndex(), 0);
  EXPECT_TRUE(clipboard.texts.empty());
  EXPECT_FALSE(browser->confirmingDeletePinID.get());
}

TEST_F(KeyHandling, TabRunsTheHighlightedCommandAndNeverLeavesTheField) {
  browser->closeCurrentTab();
  for (auto [typed, left] : std::initializer_list<std::pair<const char*, const char*>>{
           {"/reop", ""},     // runs like Return: the tab is back
           {"/zzz", "/zzz"},  // nothing to run: stays as typed
           {"gamma", "gamma"},
       }) {
    type(typed);
    EXPECT_TRUE(handleKey(*browser, field(Key::tab, false))) << typed << ": the field keeps the keyboard";
    EXPECT_EQ(browser->pages->size(), 3u) << typed;
    EXPECT_EQ(browser->query.get(), left) << typed;
  }
}

TEST_F(KeyHandling, ArrowsStopAtTheEndsOfTheList) {
  type("example");
  auto rows = browser->results().size();
  ASSERT_GE(rows, 3u);
  EXPECT_FALSE(browser->highlightIndex()) << "a plain search highlights nothing at first";
  EXPECT_TRUE(handleKey(*browser, field(Key::down, false)));
  EXPECT_EQ(browser->highlightIndex(), 0);
  for (size_t i = 0; i < rows + 2; ++i) handleKey(*browser, field(Key::down, false));
  EXPECT_EQ(browser->highlightIndex(), int(rows) - 1) << "stops at the last row";
  for (size_t i = 0; i < rows + 2; ++i) EXPECT_TRUE(handleKey(*browser, field(Key::up, false)));
  EXPECT_EQ(browser->highlightIndex(), 0);
}

// Alt+Up/Down and Alt+Shift+Up/Down on the highlighted pin row, Ctrl+Shift+E and Ctrl+I on it, in the pins list.
TEST_F(KeyHandling, PinRowKeysMoveThePinOrTheNumberedEndAndEditIt) {
  for (auto& page : std::vector(browser->pages.get())) browser->pin(page);  // alpha, beta, gamma: all numbered
  browser->enter(PaletteCommand::pins);
  auto order = [&] {
    std::string letters;
    for (auto& pin : browser->pins.get()) letters += pin.url.host()[0];
    return letters;
  };
  auto numbered = [&] { return std::min(browser->quickPinCount.get(), int(browser->pins->size())); };
  auto alt = [](Key key, bool shift = false) {
    auto p = field(key);
    p.alt = true;
    p.shift = shift;
    return p;
  };
  struct Step {
    const char* what;
    int highlight;
    KeyPress key;
    const char* order;
    int numbered, highlightAfter;
  };
  for (auto& step : std::initializer_list<Step>{
           {"the second pin goes up, lit", 1, alt(Key::up), "bag", 3, 0},
           {"the first pin stays first", 0, alt(Key::up), "bag", 3, 0},
           {"the last pin stays last", 2, alt(Key::down), "bag", 3, 2},
           {"every pin numbered already", 1, alt(Key::down, true), "bag", 3, 1},
           {"one fewer numbered", 1, alt(Key::up, true), "bag", 2, 1},
           {"and another", 1, alt(Key::up, true), "bag", 1, 1},
           {"none", 1, alt(Key::up, true), "bag", 0, 1},
           {"never fewer than none", 1, alt(Key::up, true), "bag", 0, 1},
       }) {
    browser->selectedResult = step.highlight;
    EXPECT_TRUE(handleKey(*browser, step.key)) << step.what;
    EXPECT_EQ(order(), step.order) << step.what;
    EXPECT_EQ(numbered(), step.numbered) << step.what;
    EXPECT_EQ(browser->highlightIndex(), step.highlightAfter) << step.what;
  }

  auto ctrlShiftE = press(Key::e, true, true, true, true);
  EXPECT_TRUE(handleKey(*browser, ctrlShiftE));
  EXPECT_EQ(browser->editingURLPinID.get(), browser->pins.get()[1].id) << "Ctrl+Shift+E edits the lit pin's address";
  browser->finishEditingURL(std::nullopt);
  renameHighlighted(*browser, true);
  EXPECT_EQ(browser->renamingID.get(), PaletteItemID(browser->pins.get()[1].id)) << "Ctrl+I renames it";
  browser->finishRenaming(std::nullopt);

  // No pin lit: a tab's row, the keys pass on; Ctrl+I renames the tab.
  browser->leaveScope();
  auto tab = open("https://delta.example/");
  type("delta");
  browser->selectedResult = 0;
  for (auto key : {alt(Key::up), alt(Key::down, true), ctrlShiftE}) EXPECT_FALSE(handleKey(*browser, key));
  EXPECT_EQ(order(), "bag");
  EXPECT_EQ(numbered(), 0);
  renameHighlighted(*browser, true);
  EXPECT_EQ(browser->renamingID.get(), PaletteItem::idOf(*tab));
}

}  // namespace
}  // namespace quillo::test
