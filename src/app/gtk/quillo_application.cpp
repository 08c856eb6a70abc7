// Start-up and shutdown: builds the engine, stores, browser and window, and opens addresses from the command line.
#include "app/gtk/quillo_application.h"

#include <glib-unix.h>
#include <glib.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include "app/gtk/app_icon.h"
#include "app/gtk/default_browser.h"
#include "app/gtk/desktop_notifications.h"
#include "app/gtk/desktop_services.h"
#include "app/gtk/tray_item.h"
#include "blocking/block_lists.h"
#include "blocking/content_blocker.h"
#include "blocking/webkit/webkit_filter_store.h"
#include "chrome/gtk/browser_window.h"
#include "chrome/gtk/window_focus.h"
#include "core/address.h"
#include "core/app_support.h"
#include "core/log.h"
#include "features/one_password_logins.h"
#include "features/reader.h"
#include "features/web_notifications.h"
#include "page/gtk/icon_decoding.h"
#include "page/icon_store.h"
#include "page/site_zoom.h"
#include "page/webkit/webkit_engine.h"
#include "page/webkit/webkit_permissions.h"
#include "palette/gtk/palette_view.h"
#include "stores/downloads.h"
#include "stores/gtk/desktop_downloads.h"
#include "stores/history.h"
#include "stores/permissions.h"
#include "stores/webkit/webkit_downloads.h"

namespace quillo {

namespace {
// The process start in the monotonic clock, read from /proc so it counts
// everything before main too (loading libraries).
gint64 processStart() {
  static gint64 start = [] {
    gint64 now = g_get_monotonic_time();
    gchar* stat = nullptr;
    if (!g_file_get_contents("/proc/self/stat", &stat, nullptr, nullptr)) return now;
    std::string text(stat);
    g_free(stat);
    auto close = text.rfind(')');
    std::vector<std::string> fields;
    for (size_t i = close + 2, j; i < text.size(); i = j + 1) {
      j = text.find(' ', i);
      if (j == std::string::npos) j = text.size();
      fields.push_back(text.substr(i, j - i));
    }
    if (fields.size() < 20) return now;
    double ticks = std::stod(fields[19]);  // starttime, in clock ticks since boot
    struct timespec boot;
    clock_gettime(CLOCK_BOOTTIME, &boot);
    double sinceStart = double(boot.tv_sec) + boot.tv_nsec / 1e9 - ticks / double(sysconf(_SC_CLK_TCK));
    return now - gint64(sinceStart * 1e6);
  }();
  return start;
}

// Command-line options that run the action of the same purpose, so that a
// desktop entry's Exec line and its activation over D-Bus do the same.
constexpr std::pair<const char*, const char*> kOptionActions[] = {
    {"--palette", "summon"}, {"--new-window", "new-window"}, {"--private-window", "new-private-window"}};

// A second instance hands its startup id to the running one; GTK 4.8 sends
// DESKTOP_STARTUP_ID only, not the XDG_ACTIVATION_TOKEN that Wayland
// launchers and terminals set.
void (*gtkAddPlatformData)(GApplication*, GVariantBuilder*) = nullptr;
void addPlatformData(GApplication* application, GVariantBuilder* builder) {
  if (gtkAddPlatformData) gtkAddPlatformData(application, builder);
  const char* token = g_getenv("XDG_ACTIVATION_TOKEN");
  if (token && *token && g_utf8_validate(token, -1, nullptr))
    g_variant_builder_add(builder, "{sv}", "activation-token", g_variant_new_string(token));
}
}  // namespace

Glib::RefPtr<QuilloApplication> QuilloApplication::create() {
  return Glib::make_refptr_for_instance<QuilloApplication>(new QuilloApplication());
}

// The command line keeps words as typed; links and files the desktop sends
// over D-Bus (to a D-Bus activated entry) arrive as "open".
QuilloApplication::QuilloApplication()
    : Gtk::Application(kID, Gio::Application::Flags::HANDLES_COMMAND_LINE | Gio::Application::Flags::HANDLES_OPEN) {
  // gtkmm wraps no add_platform_data to override.
  auto* type = G_APPLICATION_GET_CLASS(gobj());
  if (type->add_platform_data != addPlatformData) {
    gtkAddPlatformData = type->add_platform_data;
    type->add_platform_data = addPlatformData;
  }
}

QuilloApplication::~QuilloApplication() = default;

std::optional<Url> QuilloApplication::resolveArgument(const std::string& argument, const std::string& cwd) {
  if (auto url = Url::parse(argument)) {
    const auto& scheme = url->scheme();
    if (scheme == "http" || scheme == "https" || scheme == "file" || scheme == "about") return url;
  }
  // A path to an existing file opens that file; anything else is read as typed.
  std::string path = g_path_is_absolute(argument.c_str()) ? argument : (cwd.empty() ? argument : cwd + "/" + argument);
  if (!argument.empty() && g_file_test(path.c_str(), G_FILE_TEST_IS_REGULAR)) {
    std::unique_ptr<char, decltype(&g_free)> canonical(g_canonicalize_filename(path.c_str(), nullptr), g_free);
    return Url::fromFilePath(canonical.get());
  }
  return Address::url(argument);
}

void QuilloApplication::on_startup() {
  Gtk::Application::on_startup();
  add_action("quit", [this] { quit(); });
  set_accel_for_action("app.quit", "<Control>q");
  // Exported on the bus: `gapplication action org.quillo.Quillo summon`, a
  // desktop shortcut, the desktop entry's actions.
  add_action("summon", [this] { summon(); });
  add_action("new-window", [this] {
    present();
    if (browser_) browser_->newTab();
  });
  add_action("new-private-window", [this] {
    present();
    if (browser_) browser_->newPrivateTab();
  });
  iconFolder_ = useAppIcon();
  // Being told to stop (logout, kill) quits cleanly, so the session is written.
  for (int signal : {SIGTERM, SIGINT, SIGHUP})
    g_unix_signal_add(
        signal,
        [](gpointer self) -> gboolean {
          static_cast<QuilloApplication*>(self)->quit();
          return G_SOURCE_CONTINUE;
        },
        this);
  // Only the user may read what Quillo keeps, also what older versions or
  // the web engine left readable to others.
  AppSupport::secureFolders();
  // The session is read and parsed on a worker while the engine and the
  // window are built; the history loads on a worker of its own.
  auto session = std::async(std::launch::async, [] { return Session::read(); });
  settings_ = std::make_unique<Settings>(Settings::defaultFile());
  engine_ = std::make_unique<WebKitEngine>();
  browser_ = std::make_unique<Browser>(*engine_, scheduler_);
  history_ = std::make_unique<History>(scheduler_);
  // The stored block lists are looked up meanwhile too; the first page
  // loads once they are installed.
  filterStore_ = std::make_unique<WebKitFilterStore>();
  // QUILLO_EASYPRIVACY_URL points updates at another copy (tests, mirrors).
  const char* source = g_getenv("QUILLO_EASYPRIVACY_URL");
  blockLists_ = std::make_unique<BlockLists>(*filterStore_, *settings_, scheduler_, nullptr,
                                             source && *source ? source : EasyPrivacy::defaultSource);
  blockLists_->installed().connect([this](const auto&) { browser_->installBlockLists(blockLists_->lists()); });
  blockLists_->isSettled.changed().connect([this] {
    if (blockLists_->isSettled.get()) browser_->settleBlockLists();
  });
  blockLists_->start();
  clipboard_ = std::make_unique<DesktopClipboard>();
  browser_->attach(*history_);
  browser_->attach(*settings_);
  browser_->attach(*clipboard_);
  siteZoom_ = std::make_unique<SiteZoom>();
  browser_->attach(*siteZoom_);
  browser_->quitRequested.connect([this] { quit(); });
  permissions_ = std::make_unique<Permissions>(settings_.get());
  usePermissions(permissions_.get());
  browser_->attach(*permissions_);
  downloads_ = std::make_unique<Downloads>();
  desktopDownloads_ = std::make_unique<DesktopDownloads>(std::string(kID) + ".desktop");
  downloads_->attach(*desktopDownloads_);
  webkitDownloads_ = std::make_unique<WebKitDownloads>(*downloads_);
  browser_->attach(*downloads_);
  window_ = std::make_unique<BrowserWindow>(*browser_);
  add_window(*window_);
  window_->installAccels(*this);
  window_->addressBar().completion = [this](const std::string& typed) { return browser_->completion(typed); };
  passwordTool_ = std::make_unique<OnePassword::Tool>(scheduler_);
  logins_ = std::make_unique<OnePasswordLogins>(*browser_, *passwordTool_);
  browser_->attach(*logins_);
  Reader::install(*browser_);
  alerts_ = std::make_unique<WindowAlerts>(window_->pageOverlay(), [this] {
    if (auto page = browser_->current()) page->focus();
  });
  browser_->attach(*alerts_);
  // Web notifications; their clicks come back as "app.notification-clicked".
  notificationCenter_ = std::make_unique<DesktopNotifications>(G_APPLICATION(gobj()));
  notifications_ = std::make_unique<WebNotifications>(*browser_, *permissions_, *notificationCenter_);
  appLinks_ = std::make_unique<DesktopAppLinks>(*permissions_);
  browser_->attach(*appLinks_);
  iconFetcher_ = std::make_unique<SoupIconFetcher>();
  iconStore_ = std::make_unique<IconStore>(*iconFetcher_, decodesAsImage, ContentBlocker::isTracker);
  browser_->attach(*iconStore_);
  // What the palette list reads beyond the browser: every store in one place.
  if (auto* list = findPaletteList(*window_)) {
    PaletteView::Services services;
    services.icons = iconStore_.get();
    services.permissions = permissions_.get();
    services.sessionDownloads = [this] { return downloads_->thisSession(); };
    services.loginNotice = [this] { return logins_->notice(); };
    list->setServices(std::move(services));
  }
  browser_->features.makeDefault = [this] {
    makeDefaultBrowser([this](const std::string& error) {
      if (!error.empty())
        alerts_->ask(Alert{error, "", {"OK"}}, nullptr);
      else
        browser_->show("Quillo is now the default browser");
    });
  };
  // The menu-bar item, where the desktop has a tray. Closing the window
  // still quits: the item holds nothing open.
  if (GDBusConnection* bus = g_application_get_dbus_connection(G_APPLICATION(gobj())))
    tray_ = std::make_unique<TrayItem>(bus, *browser_, iconFolder_);
  // QUILLO_REPORT_STARTUP=1 prints how long the window took to show, and
  // when the palette is ready for typing: the window is up and everything
  // start-up queued on the main loop has run, so a key is handled at once.
  if (g_getenv("QUILLO_REPORT_STARTUP"))
    window_->signal_map().connect([] {
      Glib::signal_idle().connect_once([] {
        g_printerr("quillo: window shown %.0f ms after start\n", (g_get_monotonic_time() - processStart()) / 1000.0);
        Glib::signal_idle().connect_once(
            [] {
              g_printerr("quillo: palette ready for typing %.0f ms after start\n",
                         (g_get_monotonic_time() - processStart()) / 1000.0);
            },
            Glib::PRIORITY_LOW);
      });
    });
  // Pins first, so restored tabs find the pins they belong to. Restoring
  // makes no web views: each page makes its own when first shown, and the
  // current one only once the window is up and the palette takes keys.
  window_->holdPagesUntilShown();
  browser_->loadPins();
  browser_->restoreSession(session.get());

  // A week-old EasyPrivacy list is refreshed whenever the window comes back.
  window_->property_is_active().signal_changed().connect([this] {
    if (window_->is_active()) blockLists_->updateEasyPrivacyIfStale();
  });
}

void QuilloApplication::handOverActivationToken() {
  if (window_ && !activationToken_.empty()) window_->set_startup_id(activationToken_);
  activationToken_.clear();
}

void QuilloApplication::present() {
  if (!window_) return;
  handOverActivationToken();
  presentNow(*window_);
}

void QuilloApplication::summon() {
  if (!browser_) return;
  handOverActivationToken();
  browser_->summon();
}

void QuilloApplication::before_emit_vfunc(const Glib::VariantBase& platformData) {
  Gtk::Application::before_emit_vfunc(platformData);
  activationToken_.clear();
  auto* data = const_cast<GVariant*>(platformData.gobj());
  const char* token = nullptr;
  if (data && g_variant_is_of_type(data, G_VARIANT_TYPE_VARDICT) &&
      (g_variant_lookup(data, "activation-token", "&s", &token) ||
       g_variant_lookup(data, "desktop-startup-id", "&s", &token)))
    activationToken_ = token;
}

void QuilloApplication::after_emit_vfunc(const Glib::VariantBase& platformData) {
  // Spent or not, a token belongs to its request only.
  activationToken_.clear();
  Gtk::Application::after_emit_vfunc(platformData);
}

void QuilloApplication::on_activate() { present(); }

int QuilloApplication::on_command_line(const Glib::RefPtr<Gio::ApplicationCommandLine>& commandLine) {
  int argc = 0;
  char** argv = commandLine->get_arguments(argc);
  std::string cwd = commandLine->get_cwd();
  std::vector<Url> urls;
  std::vector<std::string> actions;
  std::optional<std::string> importing;
  for (int i = 1; i < argc; ++i) {
    std::string argument = argv[i];
    if (argument == "--import" && i + 1 < argc) {
      importing = argv[++i];
      continue;
    }
    if (argument.rfind("--", 0) == 0) {
      for (auto [option, action] : kOptionActions)
        if (argument == option) actions.push_back(action);
      continue;
    }
    if (auto url = resolveArgument(argument, cwd))
      urls.push_back(*url);
    else
      commandLine->printerr("quillo: nothing to open for \"" + argument + "\"\n");
  }
  g_strfreev(argv);
  if (importing) return importFor(commandLine, *importing, cwd);
  if (browser_ && !urls.empty()) browser_->openIncoming(urls);
  if (actions.empty()) present();
  for (const auto& action : actions) activate_action(action);
  return 0;
}

int QuilloApplication::importFor(const Glib::RefPtr<Gio::ApplicationCommandLine>& commandLine, std::string what,
                                 const std::string& cwd) {
  if (what.find('/') != std::string::npos && !g_path_is_absolute(what.c_str())) what = cwd + "/" + what;
  auto source = importSourceNamed(what);
  if (!source || !browser_) {
    commandLine->printerr("quillo: no browser history found for \"" + what + "\"\n");
    return 1;
  }
  // Started for this alone (another Quillo quit meanwhile): no window, and
  // gone once done. The terminal waits until the command line is let go.
  const bool windowless = !window_ || !window_->get_visible();
  browser_->importFrom(*source,
                       [this, commandLine, windowless, from = source->browser](const Browser::ImportResult& result) {
                         if (result.error) {
                           commandLine->printerr("quillo: " + *result.error + "\n");
                           commandLine->set_exit_status(1);
                         } else {
                           commandLine->print(importedSummary(result.pages, result.pins, from) + "\n");
                         }
                         if (windowless) quit();
                       });
  return 0;
}

void QuilloApplication::on_open(const type_vec_files& files, const Glib::ustring&) {
  std::vector<Url> urls;
  for (const auto& file : files)
    if (auto url = resolveArgument(file->get_uri(), "")) urls.push_back(*url);
  if (browser_ && !urls.empty()) browser_->openIncoming(urls);
  present();
}

void QuilloApplication::on_shutdown() {
  // Saves may still be waiting for their debounce: write them now.
  if (browser_) browser_->saveSession();
  if (history_) history_->saveNow();
  tray_.reset();
  if (window_) {
    remove_window(*window_);
    window_.reset();
  }
  logins_.reset();
  passwordTool_.reset();
  notifications_.reset();
  notificationCenter_.reset();
  browser_.reset();
  usePermissions(nullptr);
  webkitDownloads_.reset();
  iconStore_.reset();
  iconFetcher_.reset();
  siteZoom_.reset();
  history_.reset();
  blockLists_.reset();
  filterStore_.reset();
  engine_.reset();
  // The web engine writes its files with the usual modes.
  AppSupport::secureFolders();
  Gtk::Application::on_shutdown();
}

}  // namespace quillo
