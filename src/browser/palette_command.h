// The palette's slash commands: their names, titles, icons, and the hint lines shown while choosing them.
#pragma once
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillo {

// The slash commands, in the order they are listed and matched.
enum class PaletteCommand {
  login,
  permissions,
  split,
  unsplit,
  mute,
  pictureInPicture,
  reader,
  hint,
  hintBackground,
  hintBeside,
  hintCopy,
  hintDownload,
  reopen,
  privateTab,
  pins,
  history,
  downloads,
  importHistory,
  clearHistory,
  makeDefault,
  exit,
};

struct PaletteCommandInfo {
  PaletteCommand command;
  std::string_view rawValue;            // the case name: "pictureInPicture"
  std::vector<std::string_view> names;  // typed names; the first is the main one
  std::string_view title;               // the row text
  std::string_view chipTitle;           // the scope chip's label
  std::string_view symbol;              // icon name, mapped to an icon by the views
  bool opensScope = false;
};

namespace commands {

// Every command in listing order.
const std::array<PaletteCommand, 21>& all();
const PaletteCommandInfo& info(PaletteCommand command);
inline std::string_view mainName(PaletteCommand command) { return info(command).names.front(); }

// The commands with a name beginning with text (already lowercased, without
// its "/"), in listing order; all of them for empty text.
std::vector<PaletteCommand> matching(std::string_view text);
// The scoped command one of whose names is exactly text.
std::optional<PaletteCommand> scopeNamed(std::string_view text);

// The line under the field while choosing a command, and in each scope.
std::string choosingHint();
std::string scopeHint(PaletteCommand scope);
// The pins scope's line while a delete waits for its second press.
std::string confirmDeletePinHint();

}  // namespace commands
}  // namespace quillo
