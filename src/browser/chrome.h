// The window chrome's state: when the bar is revealed, and what the held Ctrl key means for tab cycling.
#pragma once
#include <sigc++/signal.h>

#include <functional>

#include "core/observable.h"

namespace quillo {

// The window chrome's state: whether the bar is revealed, and what the Ctrl
// key is doing. The window feeds it key events; the browser reads it.
class Chrome {
 public:
  // Ctrl is down (Command on other platforms); cycling waits for its release.
  Published<bool> isCommandHeld{false};
  // The bar was revealed by holding Ctrl while cycling.
  Published<bool> commandRevealed{false};
  // The pointer is near the top edge, revealing the bar.
  Published<bool> isHovering{false};
  // The bar must stay: its field is being edited, or a row renamed or edited.
  Published<bool> isHeldOpen{false};
  Published<bool> isRenaming{false};
  Published<bool> isEditing{false};
  // Called when Ctrl goes up after being held.
  std::function<void()> onCommandReleased;
  // Fires when something the bar's visibility depends on changed.
  sigc::signal<void()> updated;

  void commandPressed();
  void commandReleased();
  void clearHover();
  void cancelPendingReveal() {}
  void update() { updated.emit(); }
};

}  // namespace quillo
