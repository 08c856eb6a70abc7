// The --import command: another browser's history and bookmarks brought over from a terminal, without a window.
#pragma once
#include <iosfwd>
#include <string>

namespace quillo {

// `quillo --import firefox|chromium|epiphany|PATH` while Quillo is not
// running: reads the profile, merges its pages into history.json and its
// toolbar bookmarks into pins.json, and prints what came over to `out`.
// Returns the exit status: 0, or 1 with the reason on `err`, nothing changed.
int importCommand(const std::string& what, std::ostream& out, std::ostream& err);

}  // namespace quillo
