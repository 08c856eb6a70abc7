// Downloads on the Linux desktop: the launcher's running count, recent files, and showing a file in its folder.
#include "stores/gtk/desktop_downloads.h"

#include <gtk/gtk.h>

#include "core/log.h"

namespace quillo {

namespace {

void openFolder(const std::filesystem::path& file) {
  GFile* folder = g_file_new_for_path(file.parent_path().c_str());
  char* uri = g_file_get_uri(folder);
  GError* error = nullptr;
  if (!g_app_info_launch_default_for_uri(uri, nullptr, &error)) {
    logLine(std::string("couldn't open ") + file.parent_path().string() + ": " +
            (error ? error->message : "no program"));
    g_clear_error(&error);
  }
  g_free(uri);
  g_object_unref(folder);
}

}  // namespace

DesktopDownloads::DesktopDownloads(std::string desktopID)
    : appURI_("application://" + std::move(desktopID)), cancellable_(g_cancellable_new()) {}

DesktopDownloads::~DesktopDownloads() {
  g_cancellable_cancel(cancellable_);
  g_object_unref(cancellable_);
}

void DesktopDownloads::setRunningCount(int count) {
  if (count == lastCount_) return;
  lastCount_ = count;
  GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  if (!bus) return;
  GVariantBuilder properties;
  g_variant_builder_init(&properties, G_VARIANT_TYPE("a{sv}"));
  g_variant_builder_add(&properties, "{sv}", "count", g_variant_new_int64(count));
  g_variant_builder_add(&properties, "{sv}", "count-visible", g_variant_new_boolean(count > 0));
  g_dbus_connection_emit_signal(bus, nullptr, "/org/quillo/Quillo/LauncherEntry", "com.canonical.Unity.LauncherEntry",
                                "Update", g_variant_new("(sa{sv})", appURI_.c_str(), &properties), nullptr);
  g_object_unref(bus);
}

void DesktopDownloads::fileArrived(const std::filesystem::path& file) {
  GFile* location = g_file_new_for_path(file.c_str());
  char* uri = g_file_get_uri(location);
  gtk_recent_manager_add_item(gtk_recent_manager_get_default(), uri);
  g_free(uri);
  g_object_unref(location);
}

void DesktopDownloads::reveal(const std::filesystem::path& file) {
  GFile* location = g_file_new_for_path(file.c_str());
  char* uri = g_file_get_uri(location);
  g_object_unref(location);
  GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  if (!bus) {
    g_free(uri);
    return openFolder(file);
  }
  const char* uris[] = {uri, nullptr};
  auto* path = new std::filesystem::path(file);
  g_dbus_connection_call(
      bus, "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1", "org.freedesktop.FileManager1", "ShowItems",
      g_variant_new("(^ass)", uris, ""), nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, cancellable_,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        std::unique_ptr<std::filesystem::path> file(static_cast<std::filesystem::path*>(data));
        GError* error = nullptr;
        GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
        if (reply) {
          g_variant_unref(reply);
          return;
        }
        bool cancelled = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
        g_error_free(error);
        // No file manager answers there: open the folder instead.
        if (!cancelled) openFolder(*file);
      },
      path);
  g_free(uri);
  g_object_unref(bus);
}

}  // namespace quillo
