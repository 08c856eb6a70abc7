// The window chrome's state: when the bar is revealed, and the Ctrl key's gestures (double tap, hold, release).
#include "browser/chrome.h"

namespace quillo {

void Chrome::modifiersChanged(bool ctrl, bool others, bool elsewhere) {
  if (ctrl != isCommandHeld.get()) {
    if (ctrl)
      pressCommand(others, elsewhere);
    else
      letGoOfCommand();
  } else if (others) {
    pressInterrupted_ = true;  // Ctrl+Shift is a chord, not a tap
  }
}

void Chrome::keyPressed(Key key, bool elsewhere) {
  if (key == Key::escape && !elsewhere) clearHover();
  if (!isCommandHeld.get()) return;
  if (key == Key::navigation && !elsewhere) {
    // Ctrl+[ and Ctrl+] show the bar while they are used.
    pressInterrupted_ = true;
    pendingReveal_.cancel();
    commandRevealed = true;
    update();
    return;
  }
  interrupt();
}

void Chrome::pointerPressed(bool) {
  if (isCommandHeld.get()) interrupt();
}

void Chrome::interrupt() {
  pressInterrupted_ = true;
  if (!commandRevealed.get()) pendingReveal_.cancel();
}

void Chrome::pressCommand(bool withOthers, bool elsewhere) {
  const auto at = now();
  isCommandHeld = true;
  isPressElsewhere_ = elsewhere;
  pressStart_ = at;
  pressInterrupted_ = withOthers;
  isSecondPress_ = lastTapEnd_ && at - *lastTapEnd_ <= kSecondPressWithin;
  lastTapEnd_.reset();
  if (isSecondPress_ && !elsewhere && scheduler)
    pendingReveal_ = scheduler->after(kRevealAfter, [this] {
      if (pressInterrupted_) return;
      commandRevealed = true;
      update();
    });
}

void Chrome::letGoOfCommand() {
  const auto at = now();
  const bool tap = !pressInterrupted_ && pressStart_ && at - *pressStart_ < kTapLength;
  const bool doubleTap = tap && isSecondPress_;
  if (tap && !isSecondPress_)
    lastTapEnd_ = at;
  else
    lastTapEnd_.reset();
  const bool elsewhere = isPressElsewhere_;
  releaseCommand();
  // After the release, on purpose: cycling ends before the browser comes forward.
  if (doubleTap) {
    if (elsewhere && onDoubleTapElsewhere)
      onDoubleTapElsewhere();
    else if (!elsewhere && onDoubleTap)
      onDoubleTap();
  }
}

void Chrome::releaseCommand() {
  const bool wasHeld = isCommandHeld.get();
  isCommandHeld = false;
  isSecondPress_ = false;
  pressStart_.reset();
  pendingReveal_.cancel();
  const bool wasRevealed = commandRevealed.get();
  if (wasRevealed) commandRevealed = false;
  if (wasRevealed) update();
  if (wasHeld && onCommandReleased) onCommandReleased();
}

void Chrome::clearHover() {
  if (isHovering.get()) isHovering = false;
}

}  // namespace quillo
