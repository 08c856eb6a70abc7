// The window's own keys: which reach the palette and which pass on.
#include "chrome/key_handler.h"
#include "palette/sources.h"
#include "support/browser_test.h"

namespace quillo {
namespace {

using Key = KeyPress::Key;

struct RecordingClipboard : Clipboard {
  void setText(const std::string& text) override { copied.push_back(text); }
  std::vector<std::string> copied;
};

class KeyHandling : public test::BrowserTest {
 protected:
  KeyHandling() {
    browser.attach(clipboard);
    for (auto* address : {"https://alpha.example/", "https://beta.example/", "https://gamma.example/"}) open(address);
  }
  static KeyPress field(Key key, bool empty = true) {
    KeyPress p;
    p.key = key;
    p.inField = true;
    p.fieldEmpty = empty;
    return p;
  }
  void type(const std::string& text) { browser.query = text; }

  RecordingClipboard clipboard;
};

TEST_F(KeyHandling, CtrlGraveCyclesEverywhere) {
  auto units = browser.recentUnits();  // gamma beta alpha
  KeyPress p;
  p.key = Key::grave;
  p.ctrl = true;
  EXPECT_TRUE(handleKey(browser, p));
  EXPECT_EQ(browser.current(), units[1]);
  p.shift = true;
  EXPECT_TRUE(handleKey(browser, p));
  EXPECT_EQ(browser.current(), units[2]) << "backwards: the least recently shown";
  p.ctrl = false;
  EXPECT_FALSE(handleKey(browser, p)) << "a plain grave is typed";
}

TEST_F(KeyHandling, SlashOpensCommandsOnlyOverAnEmptyOrSelectedField) {
  EXPECT_TRUE(handleKey(browser, field(Key::slash)));
  EXPECT_EQ(browser.addressBarPrefill.get(), std::optional<std::string>("/"));

  auto typing = field(Key::slash, false);
  EXPECT_FALSE(handleKey(browser, typing)) << "a slash inside an address is a path";
  typing.fieldAllSelected = true;
  EXPECT_TRUE(handleKey(browser, typing));

  KeyPress inPage;
  inPage.key = Key::slash;
  EXPECT_FALSE(handleKey(browser, inPage)) << "the page keeps its slash";
}

TEST_F(KeyHandling, ArrowsMoveTheHighlightWithinTheListAndEscapeFirstDropsIt) {
  type("example");
  auto rows = browser.results().size();
  ASSERT_GE(rows, 3u);
  EXPECT_FALSE(browser.highlightIndex()) << "a plain search highlights nothing at first";
  EXPECT_TRUE(handleKey(browser, field(Key::down, false)));
  EXPECT_EQ(browser.highlightIndex(), 0);
  handleKey(browser, field(Key::down, false));
  EXPECT_EQ(browser.highlightIndex(), 1);
  for (size_t i = 0; i < rows + 2; ++i) handleKey(browser, field(Key::down, false));
  EXPECT_EQ(browser.highlightIndex(), int(rows) - 1) << "stops at the last row";
  for (size_t i = 0; i < rows + 2; ++i) handleKey(browser, field(Key::up, false));
  EXPECT_EQ(browser.highlightIndex(), 0);

  auto shifted = field(Key::down, false);
  shifted.shift = true;
  EXPECT_FALSE(handleKey(browser, shifted)) << "Shift+Down extends the field's selection";

  ASSERT_TRUE(browser.selectedResult.get());
  EXPECT_TRUE(handleKey(browser, field(Key::escape, false)));
  EXPECT_FALSE(browser.selectedResult.get());
  EXPECT_FALSE(handleKey(browser, field(Key::escape, false))) << "then Escape goes on to the field";
}

TEST_F(KeyHandling, TabOpensAScopeAndBackspaceLeavesIt) {
  type("/hist");
  EXPECT_TRUE(handleKey(browser, field(Key::tab, false)));
  EXPECT_EQ(browser.scope.get(), std::optional<PaletteCommand>(PaletteCommand::history));
  EXPECT_FALSE(handleKey(browser, field(Key::backspace, false))) << "typed text is deleted first";
  EXPECT_TRUE(handleKey(browser, field(Key::backspace, true)));
  EXPECT_FALSE(browser.scope.get());

  type("/reop");
  EXPECT_FALSE(handleKey(browser, field(Key::tab, false))) << "a command without a list has no scope to open";
}

TEST_F(KeyHandling, CtrlCCopiesAndShiftDeleteRemovesTheHighlightedRowOnlyFromTheField) {
  browser.pin(browser.current());  // gamma
  type("gamma");
  handleKey(browser, field(Key::down, false));
  ASSERT_TRUE(browser.results().at(0).pin());
  auto copy = field(Key::c, false);
  copy.ctrl = true;
  copy.fieldHasSelection = true;
  EXPECT_FALSE(handleKey(browser, copy)) << "the field copies its own selection";
  copy.fieldHasSelection = false;
  EXPECT_TRUE(handleKey(browser, copy));
  ASSERT_EQ(clipboard.copied.size(), 1u);
  EXPECT_NE(clipboard.copied[0].find("gamma.example"), std::string::npos);

  auto remove = field(Key::del, false);
  remove.shift = true;
  KeyPress inPage = remove;
  inPage.inField = false;
  EXPECT_FALSE(handleKey(browser, inPage));
  EXPECT_FALSE(browser.confirmingDeletePinID.get());
  EXPECT_TRUE(handleKey(browser, remove));
  EXPECT_TRUE(browser.confirmingDeletePinID.get()) << "a pin asks for a second press";
  EXPECT_TRUE(handleKey(browser, remove));
  EXPECT_TRUE(browser.pins->empty());
}

}  // namespace
}  // namespace quillo
