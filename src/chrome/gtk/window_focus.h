// Bringing a window forward at the user's request, with the keyboard, even from another program's window.
#pragma once
#include <gtkmm.h>

namespace quillo {

// Presents the window as of now. Every caller acts on something the user
// just did (a command, a shortcut, a link, a click on a notification), often
// in another program; on X11 the request carries the server's current time,
// so the window manager gives the focus rather than refusing it as stale.
void presentNow(Gtk::Window& window);

}  // namespace quillo
