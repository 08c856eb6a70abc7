// The menu-bar item on the test's bus: a tray's watcher sees it register, reads its menu and clicks its entries.
#include <gio/gio.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "app/autostart.h"
#include "app/gtk/tray_item.h"
#include "engine/support/journey.h"
#include "support/fake_filter_store.h"

namespace quillo::test {
namespace {

constexpr const char* kWatcherXML = R"(<node><interface name='org.kde.StatusNotifierWatcher'>
  <method name='RegisterStatusNotifierItem'><arg type='s' direction='in'/></method></interface></node>)";

// A desktop's tray, on a connection of its own for as long as it lives: owns the watcher's name, keeps the items that
// register, and talks to them as a tray does.
struct TrayWatcher : FakeBusService {
  TrayWatcher() : FakeBusService(kWatcherXML, "/StatusNotifierWatcher", "org.kde.StatusNotifierWatcher", registered) {
    updates = g_dbus_connection_signal_subscribe(
        connection, nullptr, "com.canonical.dbusmenu", "LayoutUpdated", TrayItem::kMenuPath, nullptr,
        G_DBUS_SIGNAL_FLAGS_NONE,
        [](GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*, gpointer self) {
          ++static_cast<TrayWatcher*>(self)->layoutUpdates;
        },
        this, nullptr);
  }
  ~TrayWatcher() override { g_dbus_connection_signal_unsubscribe(connection, updates); }
  static void registered(GDBusConnection*, const char* sender, const char*, const char*, const char*,
                         GVariant* parameters, GDBusMethodInvocation* invocation, gpointer self) {
    const char* service = nullptr;
    g_variant_get(parameters, "(&s)", &service);
    static_cast<TrayWatcher*>(static_cast<FakeBusService*>(self))->items.push_back({sender, service});
    g_dbus_method_invocation_return_value(invocation, nullptr);
  }
  // Calls the first item and waits for its answer with the main loop turning (the item answers from it).
  GVariant* ask(const char* path, const char* interface, const char* method, GVariant* parameters) {
    struct Answer {
      bool done = false;
      GVariant* value = nullptr;
    } answer;
    g_dbus_connection_call(
        connection, items.at(0).first.c_str(), path, interface, method, parameters, nullptr, G_DBUS_CALL_FLAGS_NONE,
        5000, nullptr,
        [](GObject* source, GAsyncResult* result, gpointer data) {
          auto* answer = static_cast<Answer*>(data);
          answer->value = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, nullptr);
          answer->done = true;
        },
        &answer);
    EXPECT_TRUE(runUntil([&] { return answer.done; }));
    EXPECT_NE(answer.value, nullptr) << method;
    return answer.value;
  }
  // The menu as lines: "---" a separator, "(…)" disabled, "[x] …" checked; and each label's id.
  std::string menu(std::map<std::string, int>* ids = nullptr) {
    g_autoptr(GVariant) reply =
        ask(TrayItem::kMenuPath, "com.canonical.dbusmenu", "GetLayout", g_variant_new("(iias)", 0, -1, nullptr));
    if (!reply) return "";
    g_autoptr(GVariantIter) children = nullptr;
    g_variant_get(reply, "(u(ia{sv}av))", nullptr, nullptr, nullptr, &children);
    std::string text;
    for (GVariant* child = nullptr; g_variant_iter_next(children, "v", &child); g_variant_unref(child)) {
      gint32 id = 0, state = 0;
      g_autoptr(GVariant) properties = nullptr;
      g_variant_get(child, "(i@a{sv}av)", &id, &properties, nullptr);
      const char *label = "", *type = "", *toggle = "";
      gboolean enabled = true;
      g_variant_lookup(properties, "label", "&s", &label);
      g_variant_lookup(properties, "type", "&s", &type);
      g_variant_lookup(properties, "enabled", "b", &enabled);
      g_variant_lookup(properties, "toggle-type", "&s", &toggle);
      g_variant_lookup(properties, "toggle-state", "i", &state);
      if (ids) (*ids)[label] = id;
      if (g_str_equal(type, "separator"))
        text += "---\n";
      else if (g_str_equal(toggle, "checkmark"))
        text += std::string(state ? "[x] " : "[ ] ") + label + "\n";
      else
        text += (enabled ? std::string(label) : "(" + std::string(label) + ")") + "\n";
    }
    return text;
  }
  bool click(int id) {
    g_autoptr(GVariant) reply = ask(TrayItem::kMenuPath, "com.canonical.dbusmenu", "Event",
                                    g_variant_new("(isvu)", id, "clicked", g_variant_new_int32(0), 0u));
    return reply != nullptr;
  }

  guint updates = 0;
  std::vector<std::pair<std::string, std::string>> items;  // sender, the service it registered
  int layoutUpdates = 0;
};

class TrayJourney : public Journey {};

TEST_F(TrayJourney, WithoutATrayNothingShowsAndNothingIsLoggedALaterTrayGetsTheItemAndItsMenuWorks) {
  CapturedLog log;
  g_autoptr(GDBusConnection) connection = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  TrayItem tray(connection, *browser);
  ASSERT_TRUE(waitFor([&] { return tray.shown().has_value(); }));
  EXPECT_FALSE(*tray.shown());
  EXPECT_TRUE(log.lines.empty()) << log.lines.front();

  auto watcher = std::make_unique<TrayWatcher>();
  ASSERT_TRUE(waitFor([&] { return !watcher->items.empty() && tray.shown() == true; }));
  EXPECT_EQ(watcher->items[0].first, g_dbus_connection_get_unique_name(connection));
  EXPECT_EQ(watcher->items[0].second, g_dbus_connection_get_unique_name(connection));
  g_autoptr(GVariant) properties = watcher->ask(TrayItem::kItemPath, "org.freedesktop.DBus.Properties", "GetAll",
                                                g_variant_new("(s)", "org.kde.StatusNotifierItem"));
  ASSERT_NE(properties, nullptr);
  g_autoptr(GVariant) all = g_variant_get_child_value(properties, 0);
  const char *menuPath = "", *icon = "";
  g_variant_lookup(all, "Menu", "&o", &menuPath);
  g_variant_lookup(all, "IconName", "&s", &icon);
  EXPECT_STREQ(menuPath, "/MenuBar");
  EXPECT_STREQ(icon, "org.quillo.Quillo-symbolic");

  std::map<std::string, int> ids;
  EXPECT_EQ(watcher->menu(&ids),
            "Open Quillo\nNew Tab\nNew Private Tab\n---\nMake Quillo the default browser\n"
            "(Double-tap Ctrl anywhere to open Quillo)\n[ ] Open at Login\n---\nQuit Quillo\n");

  // New Private Tab: the window's palette composes one, and what is typed opens in it.
  ASSERT_TRUE(watcher->click(ids["New Private Tab"]));
  ASSERT_TRUE(waitFor([&] { return browser->isComposingPrivateTab.get() && fieldHasFocus(); }));
  type(url("/alpha.html"));
  key("Return");
  ASSERT_TRUE(waitFor([&] { return browser->current() && address() == url("/alpha.html"); }));
  EXPECT_TRUE(browser->current()->isPrivate());

  // Open at Login writes the user-only entry and takes it away; the menu follows and says so to the tray.
  const auto file = home.root() / "config" / "autostart" / "org.quillo.Quillo.desktop";
  const int updates = watcher->layoutUpdates;
  ASSERT_TRUE(watcher->click(ids["Open at Login"]));
  ASSERT_TRUE(std::filesystem::exists(file));
  struct stat info {};
  stat(file.c_str(), &info);
  EXPECT_EQ(info.st_mode & 07777, 0600u);
  EXPECT_NE(TempHome::read(file).find("X-GNOME-Autostart-enabled=true\n"), std::string::npos);
  EXPECT_TRUE(waitFor([&] { return watcher->layoutUpdates > updates; }));
  EXPECT_NE(watcher->menu().find("[x] Open at Login"), std::string::npos);
  ASSERT_TRUE(watcher->click(ids["Open at Login"]));
  EXPECT_FALSE(std::filesystem::exists(file));
  EXPECT_NE(watcher->menu().find("[ ] Open at Login"), std::string::npos);

  // Switched on elsewhere: the menu shows it when it next opens.
  std::ofstream(file) << Autostart::entry("/usr/bin/quillo");
  g_autoptr(GVariant) update =
      watcher->ask(TrayItem::kMenuPath, "com.canonical.dbusmenu", "AboutToShow", g_variant_new("(i)", 0));
  ASSERT_NE(update, nullptr);
  gboolean needed = false;
  g_variant_get(update, "(b)", &needed);
  EXPECT_TRUE(needed);
  EXPECT_NE(watcher->menu().find("[x] Open at Login"), std::string::npos);

  watcher.reset();
  EXPECT_TRUE(waitFor([&] { return tray.shown() == false; }));
  EXPECT_TRUE(log.lines.empty()) << log.lines.front();
}

}  // namespace
}  // namespace quillo::test
