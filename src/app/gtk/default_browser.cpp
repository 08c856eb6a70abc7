// Registering the installed Quillo as the desktop's program for web links and HTML files.
#include "app/gtk/default_browser.h"

#include <gio/gdesktopappinfo.h>

namespace quillo {

void makeDefaultBrowser(std::function<void(std::string)> done) {
  // Only an installed desktop entry can be the default: the desktop opens
  // links through it.
  GDesktopAppInfo* info = g_desktop_app_info_new("org.quillo.Quillo.desktop");
  if (!info) {
    done(
        "Quillo needs to be installed to be the default browser: install it with tools/install and open it from "
        "your applications.");
    return;
  }
  std::string error;
  for (const char* type : {"x-scheme-handler/http", "x-scheme-handler/https", "text/html"}) {
    GError* failure = nullptr;
    if (!g_app_info_set_as_default_for_type(G_APP_INFO(info), type, &failure)) {
      error = std::string("Quillo couldn't be made the default browser: ") + (failure ? failure->message : type);
      g_clear_error(&failure);
      break;
    }
  }
  g_object_unref(info);
  done(error);
}

}  // namespace quillo
