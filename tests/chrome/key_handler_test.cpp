// The window's own keys: which reach the palette and which pass on. The
// journeys press the keys that act (Ctrl+`, "/", Down, Escape, Tab,
// Backspace, Ctrl+C, Shift+Delete); these are the ones that must not.
#include "chrome/key_handler.h"
#include "palette/palette_fixture.h"

namespace quillo::test {
namespace {

using Key = KeyPress::Key;

class KeyHandling : public PaletteTest {
 protected:
  KeyHandling() {
    for (auto* address : {"https://alpha.example/", "https://beta.example/", "https://gamma.example/"}) open(address);
  }
  static KeyPress field(Key key, bool empty = true) {
    KeyPress p;
    p.key = key;
    p.inField = true;
    p.fieldEmpty = empty;
    return p;
  }
};

TEST_F(KeyHandling, KeysOutOfPlaceOrWithOtherModifiersPassOn) {
  auto current = browser->current();
  browser->pin(current);
  type("gamma");
  ASSERT_TRUE(handleKey(*browser, field(Key::down, false)));
  ASSERT_TRUE(browser->results().at(0).pin());

  auto plainGrave = field(Key::grave);
  auto slashInText = field(Key::slash, false);
  auto slashInPage = field(Key::slash);
  slashInPage.inField = false;
  auto shiftDown = field(Key::down, false);
  shiftDown.shift = true;
  auto copyFieldSelection = field(Key::c, false);
  copyFieldSelection.ctrl = copyFieldSelection.fieldHasSelection = true;
  auto removeInPage = field(Key::del);
  removeInPage.shift = true;
  removeInPage.inField = false;
  for (auto [what, press] : std::initializer_list<std::pair<const char*, KeyPress>>{
           {"a plain grave is typed", plainGrave},
           {"a slash inside an address is a path", slashInText},
           {"the page keeps its slash", slashInPage},
           {"Shift+Down extends the field's selection", shiftDown},
           {"the field copies its own selection", copyFieldSelection},
           {"the page keeps Shift+Delete", removeInPage},
       })
    EXPECT_FALSE(handleKey(*browser, press)) << what;
  EXPECT_EQ(browser->current(), current);
  EXPECT_EQ(browser->query.get(), "gamma");
  EXPECT_EQ(browser->highlightIndex(), 0);
  EXPECT_TRUE(clipboard.texts.empty());
  EXPECT_FALSE(browser->confirmingDeletePinID.get());

  type("/reop");
  EXPECT_FALSE(handleKey(*browser, field(Key::tab, false))) << "a command without a list has no scope to open";
  EXPECT_FALSE(browser->scope.get());
  type("");
  EXPECT_TRUE(handleKey(*browser, field(Key::slash))) << "over an empty field a slash opens the commands";
  EXPECT_EQ(browser->addressBarPrefill.get(), std::optional<std::string>("/"));
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
