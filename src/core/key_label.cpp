// Key labels: how a key and its modifiers are written in captions and menus ("Ctrl+E").
#include "core/key_label.h"

namespace quillo {

std::string keyLabel(unsigned modifiers, std::string_view key) {
  std::string label;
  if (modifiers & kCtrl) label += "Ctrl+";
  if (modifiers & kAlt) label += "Alt+";
  if (modifiers & kShift) label += "Shift+";
  label += key;
  return label;
}

}  // namespace quillo
