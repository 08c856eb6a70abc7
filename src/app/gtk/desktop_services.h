#pragma once
#include <gtkmm.h>

#include "palette/sources.h"

namespace quillo {

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

 private:
  Gtk::Window& window_;
};

}  // namespace quillo
