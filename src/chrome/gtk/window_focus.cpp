// Bringing a window forward at the user's request, with the keyboard, even from another program's window.
#include "chrome/gtk/window_focus.h"

#include <gdk/x11/gdkx.h>

namespace quillo {

void presentNow(Gtk::Window& window) {
  // Without a time GTK uses the last event this program saw, which loses to
  // whatever the user did in other programs since.
  auto surface = window.get_surface();
  if (surface && GDK_IS_X11_SURFACE(surface->gobj()))
    gtk_window_present_with_time(window.gobj(), gdk_x11_get_server_time(surface->gobj()));
  else
    window.present();
}

}  // namespace quillo
