// The desktop behind the browser's services: the clipboard, dialogs over the window, other schemes' links.
#include "app/gtk/desktop_services.h"

#include "core/log.h"
#include "stores/permissions.h"

namespace quillo {

void DesktopClipboard::setText(const std::string& text) {
  if (auto display = Gdk::Display::get_default()) display->get_clipboard()->set_text(text);
}

void WindowAlerts::ask(const Alert& alert, std::function<void(size_t)> answered) {
  askWithCheckbox(alert, [answered = std::move(answered)](size_t button, bool) {
    if (answered) answered(button);
  });
}

void WindowAlerts::askWithCheckbox(const Alert& alert, std::function<void(size_t, bool)> answered) {
  auto* dialog =
      new Gtk::MessageDialog(window_, alert.message, false, Gtk::MessageType::QUESTION, Gtk::ButtonsType::NONE, true);
  if (!alert.detail.empty()) dialog->set_secondary_text(alert.detail);
  // Buttons are given default first; GTK lays them out from the left, so the
  // default goes last, where GNOME puts it.
  for (size_t i = alert.buttons.size(); i-- > 0;) dialog->add_button(alert.buttons[i], int(i));
  dialog->set_default_response(0);
  Gtk::CheckButton* check = nullptr;
  if (alert.checkbox) {
    check = Gtk::make_managed<Gtk::CheckButton>(*alert.checkbox);
    dialog->get_message_area()->append(*check);
  }
  dialog->signal_response().connect(
      [dialog, check, answered = std::move(answered), count = alert.buttons.size()](int response) {
        dialog->hide();
        // Closing the dialog counts as the last button (the cancel one).
        size_t button = response >= 0 && size_t(response) < count ? size_t(response) : (count ? count - 1 : 0);
        if (answered) answered(button, check && check->get_active());
        Glib::signal_idle().connect_once([dialog] { delete dialog; });
      });
  dialog->show();
}

std::optional<std::string> DesktopAppLinks::appName(const Url& url) {
  std::string scheme = url.scheme();
  GAppInfo* app = g_app_info_get_default_for_uri_scheme(scheme.c_str());
  if (!app) return std::nullopt;
  std::string name = g_app_info_get_display_name(app);
  g_object_unref(app);
  return name;
}

void DesktopAppLinks::open(const Url& url) {
  GError* error = nullptr;
  if (!g_app_info_launch_default_for_uri(url.str().c_str(), nullptr, &error)) {
    logLine(std::string("couldn't open ") + url.scheme() + ": link: " + (error ? error->message : "no program"));
    g_clear_error(&error);
  }
}

std::optional<bool> DesktopAppLinks::savedDecision(const std::string& site, const std::string& scheme) {
  auto decision = permissions_.savedAppDecision(site, scheme);
  if (!decision) return std::nullopt;
  return *decision == PermissionDecision::allow;
}

void DesktopAppLinks::saveAllowed(const std::string& site, const std::string& scheme) {
  permissions_.saveAppAllowed(site, scheme);
}

}  // namespace quillo
