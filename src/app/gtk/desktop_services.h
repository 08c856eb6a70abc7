// The desktop behind the browser's services: the clipboard, questions over the window, other schemes' links.
#pragma once
#include <gtkmm.h>

#include <deque>
#include <functional>
#include <set>
#include <utility>

#include "core/sources.h"
#include "page/app_links.h"
#include "page/gtk/page_dialog.h"

namespace quillo {

class Permissions;

// The desktop clipboard.
class DesktopClipboard final : public Clipboard {
 public:
  void setText(const std::string& text) override;
};

// The window's own questions, drawn over its content under the bar, one at
// a time in the order asked; never blocking.
class WindowAlerts final : public Alerts {
 public:
  // `content`: the overlay holding the window's content. `refocus` gives the
  // keyboard back (to the page) once the last question is answered.
  WindowAlerts(Gtk::Overlay& content, std::function<void()> refocus);
  ~WindowAlerts() override;
  WindowAlerts(const WindowAlerts&) = delete;
  WindowAlerts& operator=(const WindowAlerts&) = delete;
  void ask(const Alert& alert, std::function<void(size_t button)> answered) override;

 private:
  void showNext();
  Gtk::Overlay& content_;
  std::function<void()> refocus_;
  DialogOverlay overlay_;
  std::deque<std::pair<Alert, std::function<void(size_t)>>> waiting_;
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
