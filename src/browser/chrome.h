// The window chrome's state: when the bar is revealed, and the Ctrl key's gestures (double tap, hold, release).
#pragma once
#include <sigc++/signal.h>

#include <chrono>
#include <functional>
#include <optional>

#include "core/observable.h"
#include "core/scheduler.h"

namespace quillo {

// The window chrome's state: whether the bar is revealed, and what the Ctrl
// key is doing. The window (and, on X11, a listener on the whole desktop)
// feeds it key and pointer events; the browser reads it.
//
// Ctrl alone makes two gestures: a double tap (press and let go within
// kTapLength, press again within kSecondPressWithin of letting go, let go
// within kTapLength, nothing else in between), and holding the second press
// for kRevealAfter, which shows the bar while it is held. Every release of
// Ctrl also ends cycling through recent tabs.
class Chrome {
 public:
  static constexpr Duration kTapLength = std::chrono::milliseconds(250);
  static constexpr Duration kSecondPressWithin = std::chrono::milliseconds(300);
  static constexpr Duration kRevealAfter = std::chrono::milliseconds(250);

  // The clock and timers of the gestures; set once by the browser.
  Scheduler* scheduler = nullptr;

  // Ctrl is down (Command on other platforms); cycling waits for its release.
  Published<bool> isCommandHeld{false};
  // The bar was revealed by holding Ctrl.
  Published<bool> commandRevealed{false};
  // The pointer is near the top edge, revealing the bar.
  Published<bool> isHovering{false};
  // The bar must stay: its field is being edited, or a row renamed or edited.
  Published<bool> isHeldOpen{false};
  Published<bool> isRenaming{false};
  Published<bool> isEditing{false};
  // Other programs' keys cannot be heard (Wayland): the double tap works
  // in Quillo's window only.
  Published<bool> hearsOnlyItsWindow{false};
  // Called every time Ctrl goes up.
  std::function<void()> onCommandReleased;
  // A double tap, in the browser's window or in another program's.
  std::function<void()> onDoubleTap;
  std::function<void()> onDoubleTapElsewhere;
  // Fires when something the bar's visibility depends on changed.
  sigc::signal<void()> updated;

  // What the window hears, or (elsewhere) another program's window.
  enum class Key { escape, navigation, other };
  // The modifiers changed: Ctrl is down or not, and whether Shift, Alt or
  // Super is down with it.
  void modifiersChanged(bool ctrl, bool others, bool elsewhere);
  void keyPressed(Key key, bool elsewhere);
  // A mouse button or the wheel.
  void pointerPressed(bool elsewhere);
  // Ctrl is up without a release heard (the window lost the keyboard):
  // never a tap.
  void releaseCommand();

  void clearHover();
  void cancelPendingReveal() { pendingReveal_.cancel(); }
  void update() { updated.emit(); }

 private:
  void pressCommand(bool withOthers, bool elsewhere);
  void letGoOfCommand();
  void interrupt();
  Clock::time_point now() const { return scheduler ? scheduler->now() : Clock::now(); }

  bool isPressElsewhere_ = false;
  bool pressInterrupted_ = false;
  bool isSecondPress_ = false;
  std::optional<Clock::time_point> pressStart_;
  std::optional<Clock::time_point> lastTapEnd_;
  TaskHandle pendingReveal_;
};

}  // namespace quillo
