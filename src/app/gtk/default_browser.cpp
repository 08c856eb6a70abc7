// Registering the installed Quillo as the desktop's program for web links and HTML files.
#include "app/gtk/default_browser.h"

#include <gio/gdesktopappinfo.h>

namespace quillo {

namespace {
constexpr const char* kEntry = "org.quillo.Quillo.desktop";
}

void makeDefaultBrowser(std::function<void(std::string)> done) {
  // Only an installed desktop entry can be the default: the desktop opens
  // links through it.
  GDesktopAppInfo* info = g_desktop_app_info_new(kEntry);
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

DefaultBrowserStatus defaultBrowserStatus() {
  GDesktopAppInfo* installed = g_desktop_app_info_new(kEntry);
  if (!installed) return DefaultBrowserStatus::notInstalled;
  g_object_unref(installed);
  // The desktop asks about https when it opens a link; http follows it.
  GAppInfo* current = g_app_info_get_default_for_uri_scheme("https");
  const bool ours = current && g_strcmp0(g_app_info_get_id(current), kEntry) == 0;
  if (current) g_object_unref(current);
  return ours ? DefaultBrowserStatus::isDefault : DefaultBrowserStatus::canBecomeDefault;
}

}  // namespace quillo
