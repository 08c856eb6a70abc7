// Hearing the Ctrl key in other programs' windows: XInput2 raw events on X11, so a double tap anywhere summons Quillo.
#include "chrome/gtk/desktop_keys.h"

#include <gdk/gdk.h>

#include "browser/chrome.h"
// Xlib after GTK: its macros clash with names GTK's headers use.
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#include <X11/keysym.h>
#include <gdk/x11/gdkx.h>

namespace quillo {

namespace {

enum class Kind { ctrl, modifier, other };

Kind kindOf(Display* display, int keycode) {
  KeySym sym = XkbKeycodeToKeysym(display, KeyCode(keycode), 0, 0);
  switch (sym) {
    case XK_Control_L:
    case XK_Control_R: return Kind::ctrl;
    case XK_Shift_L:
    case XK_Shift_R:
    case XK_Alt_L:
    case XK_Alt_R:
    case XK_Meta_L:
    case XK_Meta_R:
    case XK_Super_L:
    case XK_Super_R:
    case XK_ISO_Level3_Shift: return Kind::modifier;
    default: return Kind::other;
  }
}

}  // namespace

DesktopKeys::DesktopKeys(Chrome& chrome, std::function<bool()> isOurs) : chrome_(chrome), isOurs_(std::move(isOurs)) {
  GdkDisplay* gdk = gdk_display_get_default();
  if (!gdk || !GDK_IS_X11_DISPLAY(gdk)) return;
  // A connection of our own: GDK's would hand these events to GTK.
  Display* display = XOpenDisplay(gdk_display_get_name(gdk));
  if (!display) return;
  int event = 0, error = 0, major = 2, minor = 1;
  if (!XQueryExtension(display, "XInputExtension", &opcode_, &event, &error) ||
      XIQueryVersion(display, &major, &minor) != Success) {
    XCloseDisplay(display);
    return;
  }
  unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
  XISetMask(bits, XI_RawKeyPress);
  XISetMask(bits, XI_RawKeyRelease);
  XISetMask(bits, XI_RawButtonPress);
  XIEventMask mask{XIAllMasterDevices, int(sizeof(bits)), bits};
  XISelectEvents(display, DefaultRootWindow(display), &mask, 1);
  XFlush(display);
  display_ = display;
  GIOChannel* channel = g_io_channel_unix_new(ConnectionNumber(display));
  watch_ = g_io_add_watch(
      channel, G_IO_IN,
      [](GIOChannel*, GIOCondition, gpointer self) -> gboolean {
        static_cast<DesktopKeys*>(self)->drain();
        return G_SOURCE_CONTINUE;
      },
      this);
  g_io_channel_unref(channel);
}

DesktopKeys::~DesktopKeys() {
  if (watch_) g_source_remove(watch_);
  if (display_) XCloseDisplay(display_);
}

void DesktopKeys::drain() {
  while (XPending(display_)) {
    XEvent event;
    XNextEvent(display_, &event);
    XGenericEventCookie* cookie = &event.xcookie;
    if (cookie->type != GenericEvent || cookie->extension != opcode_ || !XGetEventData(display_, cookie)) continue;
    const auto* raw = static_cast<XIRawEvent*>(cookie->data);
    const bool press = cookie->evtype == XI_RawKeyPress, release = cookie->evtype == XI_RawKeyRelease;
    const Kind kind = press || release ? kindOf(display_, raw->detail) : Kind::other;
    // Counted even while ours, so a Ctrl held across the switch is known.
    if (kind == Kind::ctrl) ctrlDown_ = std::max(0, ctrlDown_ + (press ? 1 : release ? -1 : 0));
    if (kind == Kind::modifier) othersDown_ = std::max(0, othersDown_ + (press ? 1 : release ? -1 : 0));
    const bool elsewhere = !isOurs_();
    if (elsewhere) {
      if (cookie->evtype == XI_RawButtonPress)
        chrome_.pointerPressed(true);
      else if (kind == Kind::ctrl || (kind == Kind::modifier && press))
        chrome_.modifiersChanged(ctrlDown_ > 0, othersDown_ > 0, true);
      else if (press && kind == Kind::other)
        chrome_.keyPressed(Chrome::Key::other, true);
    }
    XFreeEventData(display_, cookie);
  }
}

}  // namespace quillo
