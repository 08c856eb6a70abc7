// The menu-bar item's menu: its entries top to bottom, their labels and states, and what each one does.
#include "app/tray_menu.h"

#include "app/autostart.h"
#include "browser/browser.h"
#include "core/key_label.h"

namespace quillo {

std::vector<TrayEntry> trayMenu(const TrayState& state) {
  using Kind = TrayEntry::Kind;
  using Action = TrayEntry::Action;
  const TrayEntry separator{Kind::separator, "", Action::none, false};
  const bool isDefault = state.defaultBrowser == DefaultBrowserStatus::isDefault;
  // Not installed, the entry stays: making it the default then explains how
  // to install, in the window.
  TrayEntry defaultBrowser = isDefault ? TrayEntry{Kind::item, "Quillo is the default browser", Action::none, false}
                                       : TrayEntry{Kind::item, "Make Quillo the default browser", Action::makeDefault};
  const std::string ctrl = keyLabel(0, "Ctrl");
  std::string doubleTap = state.hearsOtherApps ? "Double-tap " + ctrl + " anywhere to open Quillo"
                                               : "Double-tap " + ctrl + " works inside Quillo only on Wayland";
  return {
      {Kind::item, "Open Quillo", Action::open},
      {Kind::item, "New Tab", Action::newTab},
      {Kind::item, "New Private Tab", Action::newPrivateTab},
      separator,
      defaultBrowser,
      {Kind::item, doubleTap, Action::none},
      {Kind::check, "Open at Login", Action::toggleOpenAtLogin, state.opensAtLogin},
      separator,
      {Kind::item, "Quit Quillo", Action::quit},
  };
}

void perform(TrayEntry::Action action, Browser& browser) {
  using Action = TrayEntry::Action;
  switch (action) {
    case Action::none: break;
    case Action::open: browser.summon(); break;
    case Action::newTab:
      browser.bringForwardRequested.emit();
      browser.newTab();
      break;
    case Action::newPrivateTab:
      browser.bringForwardRequested.emit();
      browser.newPrivateTab();
      break;
    case Action::makeDefault:
      // Its answer, or why it can't, shows in the window.
      browser.bringForwardRequested.emit();
      if (browser.features.makeDefault) browser.features.makeDefault();
      break;
    case Action::toggleOpenAtLogin: Autostart::setEnabled(!Autostart::isEnabled(), Autostart::runningProgram()); break;
    case Action::quit: browser.quitRequested.emit(); break;
  }
}

}  // namespace quillo
