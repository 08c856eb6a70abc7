// The window's own keys, before the field or page sees them: tab cycling, Escape, and the palette's keys.
#pragma once
#include <string>

namespace quillo {

class Browser;

// A key press as the window's own key handling sees it. Only the keys the
// browser acts on are named; everything else is `other` and passes on.
struct KeyPress {
  enum class Key { slash, c, e, enter, tab, grave, backspace, del, escape, up, down, other } key = Key::other;
  bool ctrl = false, shift = false, alt = false, super = false;
  // Where the keyboard is: the palette's field, or the page.
  bool inField = false;
  // The keyboard is in the current page's reader view.
  bool inReader = false;
  bool fieldEmpty = true;
  bool fieldHasSelection = false;
  bool fieldAllSelected = false;
  // The field's whole text, a completed tail included (Return takes it).
  std::string fieldText;
};

// The window's key handling, before the field or the page sees the key.
// Returns true when the key was used. Keys are only taken from the palette's
// field: a page keeps "/", Ctrl+C and Shift+Delete for its own text fields.
bool handleKey(Browser& browser, const KeyPress& press);

// Ctrl+I: renames the palette's highlighted pin or tab while the palette has
// the keyboard, else the current tab.
void renameHighlighted(Browser& browser, bool paletteHasKeyboard);

}  // namespace quillo
