// Making Quillo the desktop's default browser.
#pragma once
#include <functional>
#include <string>

namespace quillo {

// Makes the installed Quillo the desktop's browser for http, https and HTML
// files. Calls back with nothing on success, else the message to show.
void makeDefaultBrowser(std::function<void(std::string error)> done);

}  // namespace quillo
