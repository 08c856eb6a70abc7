// The GTK application: one instance per session, owning every store, the browser and the window.
#pragma once
#include <gtkmm.h>

#include <memory>

#include "browser/browser.h"
#include "core/scheduler.h"
#include "core/settings.h"

namespace quillo {

class BlockLists;
class OnePasswordLogins;
namespace OnePassword {
class Tool;
}
class DesktopDownloads;
class Downloads;
class Permissions;
class WebKitDownloads;
class DesktopAppLinks;
class DesktopClipboard;
class History;
class IconStore;
class SoupIconFetcher;
class SiteZoom;
class WindowAlerts;
class DesktopNotifications;
class WebNotifications;
class BrowserWindow;
class TrayItem;
class WebKitEngine;
class WebKitFilterStore;

// The application: one instance per user session over D-Bus. A second
// `quillo URL…` (or `quillo --palette`) hands its request to the running one
// and exits; the desktop may also start it over D-Bus and call its actions.
class QuilloApplication : public Gtk::Application {
 public:
  static constexpr const char* kID = "org.quillo.Quillo";
  static Glib::RefPtr<QuilloApplication> create();
  ~QuilloApplication() override;

  // Turns one command-line word into an address: URLs as given, existing
  // files (relative to the caller's folder) as file URLs, anything else as typed.
  static std::optional<Url> resolveArgument(const std::string& argument, const std::string& cwd);

 protected:
  QuilloApplication();
  void on_startup() override;
  void on_activate() override;
  void on_shutdown() override;
  int on_command_line(const Glib::RefPtr<Gio::ApplicationCommandLine>& commandLine) override;
  void on_open(const type_vec_files& files, const Glib::ustring& hint) override;
  void before_emit_vfunc(const Glib::VariantBase& platformData) override;
  void after_emit_vfunc(const Glib::VariantBase& platformData) override;

 private:
  // --import sent to this (running) Quillo: the answer goes back to the terminal.
  // Returns the exit status known at once (the rest is set when done).
  int importFor(const Glib::RefPtr<Gio::ApplicationCommandLine>& commandLine, std::string what, const std::string& cwd);
  void present();
  // present(), then the palette opens ready for typing.
  void summon();
  void handOverActivationToken();

  // The token of the request being handled, from whoever asked (a launcher,
  // a terminal, a link in another program): it lets the window take the focus.
  std::string activationToken_;

  GLibScheduler scheduler_;
  std::unique_ptr<Settings> settings_;
  std::unique_ptr<WebKitEngine> engine_;
  std::unique_ptr<History> history_;
  std::unique_ptr<SiteZoom> siteZoom_;
  std::unique_ptr<DesktopClipboard> clipboard_;
  std::unique_ptr<WindowAlerts> alerts_;
  std::unique_ptr<Permissions> permissions_;
  std::unique_ptr<Downloads> downloads_;
  std::unique_ptr<DesktopDownloads> desktopDownloads_;
  std::unique_ptr<WebKitDownloads> webkitDownloads_;
  std::unique_ptr<DesktopAppLinks> appLinks_;
  std::unique_ptr<SoupIconFetcher> iconFetcher_;
  std::unique_ptr<IconStore> iconStore_;
  std::unique_ptr<WebKitFilterStore> filterStore_;
  std::unique_ptr<BlockLists> blockLists_;
  std::unique_ptr<Browser> browser_;
  std::unique_ptr<OnePassword::Tool> passwordTool_;
  std::unique_ptr<OnePasswordLogins> logins_;
  std::unique_ptr<DesktopNotifications> notificationCenter_;
  std::unique_ptr<WebNotifications> notifications_;
  std::unique_ptr<BrowserWindow> window_;
  std::unique_ptr<TrayItem> tray_;
  // Where the icon is found when it is not installed (a build-tree run).
  std::string iconFolder_;
};

}  // namespace quillo
