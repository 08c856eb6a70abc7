// The desktop behind the browser's services: the clipboard, questions over the window, other schemes' links.
#include "app/gtk/desktop_services.h"

#include "core/log.h"
#include "stores/permissions.h"

namespace quillo {

void DesktopClipboard::setText(const std::string& text) {
  if (auto display = Gdk::Display::get_default()) display->get_clipboard()->set_text(text);
}

WindowAlerts::WindowAlerts(Gtk::Overlay& content, std::function<void()> refocus)
    : content_(content), refocus_(std::move(refocus)) {}

WindowAlerts::~WindowAlerts() {
  // The window may have gone first, taking the question out of its tree.
  if (auto* parent = overlay_.get_parent(); parent && GTK_IS_OVERLAY(parent->gobj()))
    gtk_overlay_remove_overlay(GTK_OVERLAY(parent->gobj()), GTK_WIDGET(overlay_.gobj()));
}

void WindowAlerts::ask(const Alert& alert, std::function<void(size_t)> answered) {
  waiting_.emplace_back(alert, std::move(answered));
  if (waiting_.size() == 1) showNext();
}

void WindowAlerts::showNext() {
  if (waiting_.empty()) {
    overlay_.dismiss();
    if (refocus_) refocus_();
    return;
  }
  // Laid over the content when first needed, so it lies above everything there.
  if (!overlay_.get_parent()) content_.add_overlay(overlay_);
  overlay_.present(waiting_.front().first, [this](const AlertAnswer& answer) {
    auto answered = std::move(waiting_.front().second);
    waiting_.pop_front();
    showNext();
    if (answered) answered(answer.button);
  });
  overlay_.takeKeyboard();
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
