// The application's icon on the desktop: its name in the icon theme, and finding it when Quillo is not installed.
#include "app/gtk/app_icon.h"

#include <gtkmm.h>

namespace quillo {

std::string useAppIcon() {
  std::string added;
  auto display = Gdk::Display::get_default();
  if (!display) return added;
  auto theme = Gtk::IconTheme::get_for_display(display);
  // Installed, the icon is in the theme. Asked first, so an installed copy
  // wins over a source tree that happens to be where it was built.
  if (!theme->has_icon(kAppIconName) && g_file_test(QUILLO_SOURCE_ICONS_DIR, G_FILE_TEST_IS_DIR)) {
    theme->add_search_path(QUILLO_SOURCE_ICONS_DIR);
    added = QUILLO_SOURCE_ICONS_DIR;
  }
  Gtk::Window::set_default_icon_name(kAppIconName);
  return added;
}

}  // namespace quillo
