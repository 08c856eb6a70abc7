// Key labels: how a key and its modifiers are written in captions and menus ("Ctrl+E").
#pragma once
#include <string>
#include <string_view>

namespace quillo {

// Modifier flags for key labels.
enum KeyModifier : unsigned { kCtrl = 1, kShift = 2, kAlt = 4 };

// The one place a key is turned into text for captions and menus, in the
// desktop's words: keyLabel(kCtrl, "E") is "Ctrl+E", keyLabel(kShift, "Return")
// is "Shift+Return".
std::string keyLabel(unsigned modifiers, std::string_view key);

}  // namespace quillo
