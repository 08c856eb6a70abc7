// The desktop behind the browser's services: the clipboard, dialogs over the window, other schemes' links.
#pragma once
#include <gtkmm.h>

#include <set>
#include <utility>

#include "core/sources.h"
#include "page/app_links.h"

namespace quillo {

class Permissions;

// The desktop clipboard.
class DesktopClipboard final : public Clipboard {
 public:
  void setText(const std::string& text) override;
};

// Questions asked with a dialog over the browser window; never blocking.
class WindowAlerts final : public Alerts {
 public:
  explicit WindowAlerts(Gtk::Window& window) : window_(window) {}
  void ask(const Alert& alert, std::function<void(size_t button)> answered) override;
  void askWithCheckbox(const Alert& alert, std::function<void(size_t button, bool checked)> answered) override;

 private:
  Gtk::Window& window_;
};

// Other schemes' links open in the desktop's default program for the scheme;
// the saved "always allow" answers live in the site permissions.
class DesktopAppLinks final : public AppLinks {
 public:
  explicit DesktopAppLinks(Permissions& permissions) : permissions_(permissions) {}
  std::optional<std::string> appName(const Url& url) override;
  void open(const Url& url) override;
  std::optional<bool> savedDecision(const std::string& site, const std::string& scheme) override;
  void saveAllowed(const std::string& site, const std::string& scheme) override;

 private:
  Permissions& permissions_;
};

}  // namespace quillo
