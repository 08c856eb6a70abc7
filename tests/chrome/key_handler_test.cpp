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

}  // namespace
}  // namespace quillo::test
