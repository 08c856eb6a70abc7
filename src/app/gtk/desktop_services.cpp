#include "app/gtk/desktop_services.h"

namespace quillo {

void DesktopClipboard::setText(const std::string& text) {
  if (auto display = Gdk::Display::get_default()) display->get_clipboard()->set_text(text);
}

void WindowAlerts::ask(const Alert& alert, std::function<void(size_t)> answered) {
  auto* dialog = new Gtk::MessageDialog(window_, alert.message, false, Gtk::MessageType::QUESTION,
                                        Gtk::ButtonsType::NONE, true);
  if (!alert.detail.empty()) dialog->set_secondary_text(alert.detail);
  // Buttons are given default first; GTK lays them out from the left, so the
  // default goes last, where GNOME puts it.
  for (size_t i = alert.buttons.size(); i-- > 0;) dialog->add_button(alert.buttons[i], int(i));
  dialog->set_default_response(0);
  dialog->signal_response().connect([dialog, answered = std::move(answered), count = alert.buttons.size()](int response) {
    dialog->hide();
    // Closing the dialog counts as the last button (the cancel one).
    size_t button = response >= 0 && size_t(response) < count ? size_t(response) : (count ? count - 1 : 0);
    if (answered) answered(button);
    Glib::signal_idle().connect_once([dialog] { delete dialog; });
  });
  dialog->show();
}

}  // namespace quillo
