// The table of slash commands, matching typed text against their names, and the palette's hint lines.
#include "browser/palette_command.h"

#include "core/key_label.h"

namespace quillo::commands {
namespace {

using C = PaletteCommand;

const std::array<PaletteCommandInfo, 21>& table() {
  static const std::array<PaletteCommandInfo, 21> rows{{
      {C::login,
       "login",
       {"login", "1password", "password", "otp", "2fa"},
       "Fill a login from 1Password",
       "1Password",
       "key.fill",
       true},
      {C::permissions,
       "permissions",
       {"permissions", "site permissions", "camera", "microphone"},
       "Site permissions: camera, microphone, apps",
       "Permissions",
       "hand.raised.fill",
       true},
      {C::split,
       "split",
       {"split"},
       "Split view: open something beside this page",
       "Split view: open something beside this page",
       "rectangle.split.2x1",
       false},
      {C::unsplit,
       "unsplit",
       {"unsplit"},
       "Unsplit: back to separate tabs",
       "Unsplit: back to separate tabs",
       "rectangle",
       false},
      {C::mute,
       "mute",
       {"mute", "unmute", "sound", "audio"},
       "Mute or unmute this tab",
       "Mute or unmute this tab",
       "speaker.slash.fill",
       false},
      {C::pictureInPicture,
       "pictureInPicture",
       {"pip", "picture in picture", "float video"},
       "Picture in picture: float this page's video",
       "Picture in picture: float this page's video",
       "pip.enter",
       false},
      {C::reader,
       "reader",
       {"reader", "reading mode", "article"},
       "Reader: just the article, for reading",
       "Reader: just the article, for reading",
       "doc.plaintext",
       false},
      {C::hint,
       "hint",
       {"hint", "follow link"},
       "Hints: follow a link or click by keys (Alt+J)",
       "Hints: follow a link or click by keys (Alt+J)",
       "link",
       false},
      {C::hintBackground,
       "hintBackground",
       {"hint background", "background tab"},
       "Hints: open a link in a background tab (Alt+Shift+J)",
       "Hints: open a link in a background tab (Alt+Shift+J)",
       "link",
       false},
      {C::hintBeside,
       "hintBeside",
       {"hint beside", "beside"},
       "Hints: open a link beside this page",
       "Hints: open a link beside this page",
       "rectangle.split.2x1",
       false},
      {C::hintCopy,
       "hintCopy",
       {"hint copy", "copy link"},
       "Hints: copy a link's address",
       "Hints: copy a link's address",
       "link",
       false},
      {C::hintDownload,
       "hintDownload",
       {"hint download", "download link"},
       "Hints: download a link",
       "Hints: download a link",
       "arrow.down.circle",
       false},
      {C::reopen,
       "reopen",
       {"reopen", "undo close"},
       "Reopen closed tab",
       "Reopen closed tab",
       "arrow.uturn.backward",
       false},
      {C::privateTab, "privateTab", {"private", "incognito"}, "New private tab", "New private tab", "eye.slash", false},
      {C::pins, "pins", {"pins", "bookmarks"}, "Pins: find, reorder and delete", "Pins", "pin.fill", true},
      {C::history, "history", {"history"}, "History", "History", "clock", true},
      {C::downloads, "downloads", {"downloads"}, "Downloads", "Downloads", "arrow.down.circle", true},
      {C::importHistory,
       "importHistory",
       {"import", "import history", "firefox", "chromium"},
       "Import history and bookmarks…",
       "Import",
       "square.and.arrow.down",
       true},
      {C::clearHistory,
       "clearHistory",
       {"clear history", "clearhistory"},
       "Clear history…",
       "Clear history…",
       "trash",
       false},
      {C::makeDefault,
       "makeDefault",
       {"default", "default browser"},
       "Make Quillo the default browser",
       "Make Quillo the default browser",
       "globe",
       false},
      {C::exit, "exit", {"exit", "quit"}, "Exit Quillo", "Exit Quillo", "power", false},
  }};
  return rows;
}

}  // namespace

const std::array<PaletteCommand, 21>& all() {
  static const std::array<PaletteCommand, 21> list = [] {
    std::array<PaletteCommand, 21> out{};
    for (size_t i = 0; i < out.size(); ++i) out[i] = table()[i].command;
    return out;
  }();
  return list;
}

const PaletteCommandInfo& info(PaletteCommand command) { return table()[size_t(command)]; }

std::vector<PaletteCommand> matching(std::string_view text) {
  std::vector<PaletteCommand> found;
  for (const auto& row : table())
    for (auto name : row.names)
      if (name.starts_with(text)) {
        found.push_back(row.command);
        break;
      }
  return found;
}

std::optional<PaletteCommand> scopeNamed(std::string_view text) {
  for (const auto& row : table()) {
    if (!row.opensScope) continue;
    for (auto name : row.names)
      if (name == text) return row.command;
  }
  return std::nullopt;
}

std::string choosingHint() { return "Commands · Tab or Return to open"; }

std::string scopeHint(PaletteCommand scope) {
  const std::string remove = keyLabel(kShift, "Delete");
  const std::string copy = keyLabel(kCtrl, "C");
  switch (scope) {
    case C::login: return "1Password logins for this site · " + keyLabel(0, "Backspace") + " to go back";
    case C::permissions: return "Site permissions · Return changes · " + remove + " back to Ask";
    case C::pins:
      return "Pins · " + keyLabel(kAlt, "↑/↓") + " or drag to reorder · " + remove + " delete · " + copy +
             " copy address";
    case C::history: return "History · newest first · " + remove + " remove · " + copy + " copy address";
    case C::downloads: return "Downloads · Return shows in folder · " + remove + " remove · " + copy + " copy address";
    case C::importHistory: return "Other browsers on this computer · Return imports their history and bookmarks";
    default: return choosingHint();
  }
}

std::string confirmDeletePinHint() { return keyLabel(kShift, "Delete") + " again to delete this pin"; }

}  // namespace quillo::commands
