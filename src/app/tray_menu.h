// The menu-bar item's menu: its entries top to bottom, their labels and states, and what each one does.
#pragma once
#include <string>
#include <vector>

namespace quillo {

class Browser;

enum class DefaultBrowserStatus { isDefault, canBecomeDefault, notInstalled };

// What the menu shows from outside the browser; read afresh whenever the
// menu is about to show, so changes made elsewhere appear.
struct TrayState {
  DefaultBrowserStatus defaultBrowser = DefaultBrowserStatus::notInstalled;
  bool opensAtLogin = false;
  // On X11 a double tap of Ctrl is heard in other programs too; on Wayland
  // only inside Quillo's window.
  bool hearsOtherApps = false;
  bool operator==(const TrayState&) const = default;
};

struct TrayEntry {
  enum class Kind { item, check, separator };
  enum class Action { none, open, newTab, newPrivateTab, makeDefault, toggleOpenAtLogin, quit };
  Kind kind = Kind::item;
  std::string label;
  // None for separators and for lines that only inform, shown disabled.
  Action action = Action::none;
  bool checked = false;  // check items
  bool enabled() const { return action != Action::none; }
  bool operator==(const TrayEntry&) const = default;
};

// The entries in order. Their number and kinds never change, so a place
// in the list names an entry for as long as Quillo runs.
std::vector<TrayEntry> trayMenu(const TrayState& state);

// What a click on an entry does. Opening at login switches by what the
// file says now, not by what the menu showed.
void perform(TrayEntry::Action action, Browser& browser);

}  // namespace quillo
