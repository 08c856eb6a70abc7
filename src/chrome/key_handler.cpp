// The window's own keys, before the field or page sees them: tab cycling, Escape, and the palette's keys.
#include "chrome/key_handler.h"

#include <algorithm>

#include "browser/browser.h"
#include "browser/palette_command.h"

namespace quillo {

namespace {
bool only(const KeyPress& p, bool ctrl, bool shift, bool alt) {
  return p.ctrl == ctrl && p.shift == shift && p.alt == alt && !p.super;
}

void moveHighlight(Browser& browser, int step) {
  int count = int(browser.isSearching() ? browser.results().size() : browser.restingItems().size());
  if (count == 0) return;
  auto from = browser.highlightIndex();
  int next = from ? *from + step : (step > 0 ? 0 : count - 1);
  browser.selectedResult = std::clamp(next, 0, count - 1);
}
}  // namespace

bool handleKey(Browser& browser, const KeyPress& p) {
  using Key = KeyPress::Key;
  bool editingRow = browser.isEditingInList();
  switch (p.key) {
    case Key::grave:
      if (p.ctrl && !p.alt && !p.super) {
        browser.cycle(p.shift);
        return true;
      }
      return false;
    case Key::escape:
      // An open rename or address field takes its own Escape (cancel).
      if (!editingRow && browser.selectedResult.get()) {
        browser.selectedResult = std::nullopt;
        return true;
      }
      // Escape in the page ends finding there too.
      if (!p.inField && browser.isFinding.get()) {
        browser.stopFinding();
        return true;
      }
      // Escape leaves the article for the page; the page never sees it.
      if (p.inReader && !p.inField) {
        browser.closeReader();
        return true;
      }
      return false;
    default: break;
  }
  // The rest act on the palette and only while its field has the keyboard.
  if (!p.inField || editingRow) return false;
  switch (p.key) {
    case Key::slash:
      // Typing "/" over an empty or fully selected field opens the commands;
      // inside typed text it is just a slash (a path).
      if (!p.ctrl && !p.alt && !p.super && (p.fieldEmpty || p.fieldAllSelected)) {
        browser.showCommands();
        return true;
      }
      return false;
    case Key::c:
      if (only(p, true, false, false) && !p.fieldHasSelection) {
        browser.copyHighlighted();
        return true;
      }
      return false;
    case Key::enter:
      if (p.ctrl || p.super) return false;
      if (browser.isFinding.get()) {
        browser.findNext(p.shift);
        return true;
      }
      if (p.shift) return false;
      browser.submit(p.fieldText, p.alt);
      return true;
    case Key::tab: {
      if (!only(p, false, false, false)) return false;
      auto rows = browser.isChoosingCommand() ? browser.results() : std::vector<PaletteItem>();
      auto active = browser.activeResult();
      const PaletteCommand* command =
          active && size_t(*active) < rows.size() ? rows[size_t(*active)].command() : nullptr;
      if (command && commands::info(*command).opensScope)
        browser.enter(*command);
      else if (command)
        browser.submit(p.fieldText, false);
      // Otherwise nothing to run: the keyboard stays, since leaving the field
      // would drop the palette.
      return true;
    }
    case Key::del:
      if (only(p, false, true, false)) {
        browser.removeHighlighted();
        return true;
      }
      return false;
    case Key::backspace:
      if (only(p, false, false, false) && browser.scope.get() && p.fieldEmpty) {
        browser.leaveScope();
        return true;
      }
      return false;
    case Key::up:
    case Key::down: {
      const int step = p.key == Key::down ? 1 : -1;
      if (only(p, false, false, false)) {
        moveHighlight(browser, step);
        return true;
      }
      // On a pin's row: Alt moves the pin, Alt+Shift the numbered pins' end.
      if (only(p, false, false, true)) return browser.moveHighlightedPin(step);
      if (only(p, false, true, true)) return browser.moveQuickDivider(step);
      return false;
    }
    case Key::e: return only(p, true, true, false) && browser.editHighlighted(true);
    default: return false;
  }
}

void renameHighlighted(Browser& browser, bool paletteHasKeyboard) {
  if (!paletteHasKeyboard || !browser.editHighlighted(false)) browser.renameCurrent();
}

}  // namespace quillo
