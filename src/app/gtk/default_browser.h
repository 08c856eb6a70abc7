// Making Quillo the desktop's default browser.
#pragma once
#include <functional>
#include <string>

#include "app/tray_menu.h"

namespace quillo {

// Makes the installed Quillo the desktop's browser for http, https and HTML
// files. Calls back with nothing on success, else the message to show.
void makeDefaultBrowser(std::function<void(std::string error)> done);

// Whether Quillo is installed, and whether it opens web links now.
DefaultBrowserStatus defaultBrowserStatus();

}  // namespace quillo
