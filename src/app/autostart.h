// Starting Quillo at login: the desktop entry in $XDG_CONFIG_HOME/autostart, what it says and whether it is on.
#pragma once
#include <filesystem>
#include <string>
#include <string_view>

namespace quillo::Autostart {

// $XDG_CONFIG_HOME/autostart/org.quillo.Quillo.desktop, from the
// environment on every call.
std::filesystem::path file();

// The entry that starts `program` at login. Its "--background" marks a
// start at login; Quillo comes up as at any start, window and all.
std::string entry(std::string_view program);

// One word of an Exec line: quoted when it holds a character the desktop
// reads specially, then escaped for the key file.
std::string execWord(std::string_view word);

// Whether an entry's text starts the program at login: it has a
// [Desktop Entry] group that is not Hidden and not switched off through
// X-GNOME-Autostart-enabled=false (what desktops' own settings write).
bool startsAtLogin(std::string_view text);

// Read from the file each time, so a change made elsewhere shows.
bool isEnabled();

// Writes the entry for `program` (whole, atomically, user-only) or removes
// the file. False, logged, when that failed.
bool setEnabled(bool enabled, std::string_view program);

// This running program's path.
std::string runningProgram();

}  // namespace quillo::Autostart
