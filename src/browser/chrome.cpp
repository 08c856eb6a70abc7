// The window chrome's state: when the bar is revealed, and releasing Ctrl to end tab cycling.
#include "browser/chrome.h"

namespace quillo {

void Chrome::commandPressed() { isCommandHeld = true; }

void Chrome::commandReleased() {
  if (!isCommandHeld.get()) return;
  isCommandHeld = false;
  bool wasRevealed = commandRevealed.get();
  if (onCommandReleased) onCommandReleased();
  if (wasRevealed) {
    commandRevealed = false;
    update();
  }
}

void Chrome::clearHover() {
  if (isHovering.get()) isHovering = false;
}

}  // namespace quillo
