// The program's entry point: --version, --help, --convert-filter-list and --import, else the GTK application.
#include <glib.h>
#include <sys/stat.h>

#include <cstring>
#include <iostream>

#include "app/gtk/quillo_application.h"
#include "app/import_command.h"
#include "app/version.h"
#include "blocking/convert_command.h"

namespace {
// Whether a Quillo already runs in this session: it then imports itself,
// since what it holds in memory would otherwise overwrite the files later.
bool quilloIsRunning() {
  GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  if (!bus) return false;
  GVariant* reply =
      g_dbus_connection_call_sync(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                  "NameHasOwner", g_variant_new("(s)", quillo::QuilloApplication::kID),
                                  G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
  gboolean owned = FALSE;
  if (reply) {
    g_variant_get(reply, "(b)", &owned);
    g_variant_unref(reply);
  }
  g_object_unref(bus);
  return owned;
}
}  // namespace

int main(int argc, char** argv) {
  // Before anything is created, and inherited by the engine's processes:
  // cookies, storage and caches are private to this account from birth, so a
  // crash leaves nothing readable by others.
  umask(077);
  g_set_prgname("quillo");
  g_set_application_name("Quillo");
  if (argc > 1 && std::strcmp(argv[1], "--version") == 0) {
    std::cout << "Quillo " << quillo::version() << "\n";
    return 0;
  }
  // For people who maintain filter lists: convert without opening a window.
  if (argc > 1 && std::strcmp(argv[1], "--convert-filter-list") == 0) {
    if (argc != 3) {
      std::cerr << "Usage: quillo --convert-filter-list FILE\n";
      return 2;
    }
    return quillo::convertFilterListCommand(argv[2]);
  }
  if (argc > 1 && std::strcmp(argv[1], "--import") == 0) {
    if (argc != 3) {
      std::cerr << "Usage: quillo --import firefox|chromium|epiphany|PATH\n";
      return 2;
    }
    if (!quilloIsRunning()) return quillo::importCommand(argv[2], std::cout, std::cerr);
  }
  if (argc > 1 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
    std::cout << "Usage: quillo [--palette | --new-window | --private-window] [ADDRESS or FILE…]\n"
                 "  Opens each address or file in the running Quillo, starting it if needed, and brings its\n"
                 "  window forward: with --palette ready for typing, or composing a new (private) tab.\n"
                 "       quillo --convert-filter-list FILE\n"
                 "  Writes an Adblock-style filter list as content-blocker JSON to standard output.\n"
                 "       quillo --import firefox|chromium|epiphany|PATH\n"
                 "  Brings another browser's history and bookmarks (a profile folder or its database) into Quillo.\n";
    return 0;
  }
  auto app = quillo::QuilloApplication::create();
  return app->run(argc, argv);
}
