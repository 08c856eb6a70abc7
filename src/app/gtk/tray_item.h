// The menu-bar item: a StatusNotifierItem and its menu over com.canonical.dbusmenu, shown wherever a tray watches.
#pragma once
#include <gio/gio.h>

#include <optional>
#include <vector>

#include "app/tray_menu.h"

namespace quillo {

class Browser;

// Exports the item and its menu on the application's bus and registers the
// item with org.kde.StatusNotifierWatcher whenever one is on the bus (again
// after a tray restarts). With no watcher nothing shows, and that is no
// error: the desktop simply has no tray.
class TrayItem {
 public:
  static constexpr const char* kItemPath = "/StatusNotifierItem";
  static constexpr const char* kMenuPath = "/MenuBar";

  // `iconFolder`: a theme folder holding the icon when it is not installed
  // (running from the build tree), else empty.
  TrayItem(GDBusConnection* bus, Browser& browser, std::string iconFolder = {});
  ~TrayItem();
  TrayItem(const TrayItem&) = delete;
  TrayItem& operator=(const TrayItem&) = delete;

  // Unknown until the bus has answered; then whether a tray took the item.
  std::optional<bool> shown() const { return shown_; }

  // What the menu shows from the desktop now: the default browser, the
  // login item, whether keys of other programs reach Quillo.
  static TrayState desktopState();

 private:
  static void itemCall(GDBusConnection*, const char*, const char*, const char*, const char* method, GVariant*,
                       GDBusMethodInvocation* invocation, gpointer self);
  static GVariant* itemProperty(GDBusConnection*, const char*, const char*, const char*, const char* name, GError**,
                                gpointer self);
  static void menuCall(GDBusConnection*, const char*, const char*, const char*, const char* method,
                       GVariant* parameters, GDBusMethodInvocation* invocation, gpointer self);
  static GVariant* menuProperty(GDBusConnection*, const char*, const char*, const char*, const char* name, GError**,
                                gpointer self);
  void watcherAppeared(const char* owner);
  void watcherVanished();

  // Reads the state again; when the menu changed, a new revision goes out
  // with LayoutUpdated. Returns whether it changed.
  bool refresh();
  bool isItem(int id) const { return id >= 0 && size_t(id) <= entries_.size(); }
  GVariant* properties(int id, GVariant* names) const;
  GVariant* layout(int id, int depth, GVariant* names) const;
  // A click on an entry; false for an unknown id.
  void clicked(int id);

  GDBusConnection* bus_;
  Browser& browser_;
  std::vector<guint> objects_;
  guint watch_ = 0;
  GCancellable* registering_ = nullptr;
  std::optional<bool> shown_;
  // Ids are places in the list, from 1; 0 is the menu itself.
  std::vector<TrayEntry> entries_;
  std::string iconFolder_;
  guint32 revision_ = 1;
};

}  // namespace quillo
