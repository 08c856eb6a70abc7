// Hearing the Ctrl key in other programs' windows: XInput2 raw events on X11, so a double tap anywhere summons Quillo.
#pragma once
#include <glib.h>

#include <functional>

struct _XDisplay;

namespace quillo {

class Chrome;

// Listens to raw keys and buttons on the whole X11 display (no grab, no
// permission asked) and tells the chrome about those that happen while
// `isOurs` says the keyboard is elsewhere; the window reports its own. On
// Wayland nothing can hear other programs, and this hears nothing.
class DesktopKeys {
 public:
  DesktopKeys(Chrome& chrome, std::function<bool()> isOurs);
  ~DesktopKeys();
  DesktopKeys(const DesktopKeys&) = delete;
  DesktopKeys& operator=(const DesktopKeys&) = delete;
  // Whether other programs' keys are heard (an X11 display with XInput 2).
  bool hearsOtherApps() const { return display_ != nullptr; }

 private:
  void drain();
  Chrome& chrome_;
  std::function<bool()> isOurs_;
  ::_XDisplay* display_ = nullptr;
  guint watch_ = 0;
  int opcode_ = 0;
  // Modifier keys down, heard raw: Ctrl's two keys, and the others.
  int ctrlDown_ = 0, othersDown_ = 0;
};

}  // namespace quillo
