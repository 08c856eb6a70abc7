// The menu-bar item: a StatusNotifierItem and its menu over com.canonical.dbusmenu, shown wherever a tray watches.
#include "app/gtk/tray_item.h"

#include <gdk/x11/gdkx.h>

#include <string>
#include <tuple>

#include "app/autostart.h"
#include "app/gtk/default_browser.h"
#include "browser/browser.h"
#include "core/log.h"

namespace quillo {

namespace {

constexpr const char* kWatcher = "org.kde.StatusNotifierWatcher";
constexpr const char* kMenuInterface = "com.canonical.dbusmenu";
// A symbolic icon: trays tint it for light and dark panels alike.
constexpr const char* kIcon = "org.quillo.Quillo-symbolic";

constexpr const char* kInterfaces = R"(<node>
<interface name='org.kde.StatusNotifierItem'>
  <property name='Category' type='s' access='read'/>
  <property name='Id' type='s' access='read'/>
  <property name='Title' type='s' access='read'/>
  <property name='Status' type='s' access='read'/>
  <property name='WindowId' type='i' access='read'/>
  <property name='IconName' type='s' access='read'/>
  <property name='IconThemePath' type='s' access='read'/>
  <property name='IconPixmap' type='a(iiay)' access='read'/>
  <property name='OverlayIconName' type='s' access='read'/>
  <property name='AttentionIconName' type='s' access='read'/>
  <property name='ToolTip' type='(sa(iiay)ss)' access='read'/>
  <property name='ItemIsMenu' type='b' access='read'/>
  <property name='Menu' type='o' access='read'/>
  <method name='ContextMenu'><arg type='i' direction='in'/><arg type='i' direction='in'/></method>
  <method name='Activate'><arg type='i' direction='in'/><arg type='i' direction='in'/></method>
  <method name='SecondaryActivate'><arg type='i' direction='in'/><arg type='i' direction='in'/></method>
  <method name='Scroll'><arg type='i' direction='in'/><arg type='s' direction='in'/></method>
  <signal name='NewTitle'/><signal name='NewIcon'/><signal name='NewAttentionIcon'/><signal name='NewOverlayIcon'/>
  <signal name='NewToolTip'/><signal name='NewStatus'><arg type='s'/></signal>
</interface>
<interface name='com.canonical.dbusmenu'>
  <property name='Version' type='u' access='read'/>
  <property name='TextDirection' type='s' access='read'/>
  <property name='Status' type='s' access='read'/>
  <property name='IconThemePath' type='as' access='read'/>
  <method name='GetLayout'><arg type='i' direction='in'/><arg type='i' direction='in'/><arg type='as' direction='in'/>
    <arg type='u' direction='out'/><arg type='(ia{sv}av)' direction='out'/></method>
  <method name='GetGroupProperties'><arg type='ai' direction='in'/><arg type='as' direction='in'/>
    <arg type='a(ia{sv})' direction='out'/></method>
  <method name='GetProperty'><arg type='i' direction='in'/><arg type='s' direction='in'/>
    <arg type='v' direction='out'/></method>
  <method name='Event'><arg type='i' direction='in'/><arg type='s' direction='in'/><arg type='v' direction='in'/>
    <arg type='u' direction='in'/></method>
  <method name='EventGroup'><arg type='a(isvu)' direction='in'/><arg type='ai' direction='out'/></method>
  <method name='AboutToShow'><arg type='i' direction='in'/><arg type='b' direction='out'/></method>
  <method name='AboutToShowGroup'><arg type='ai' direction='in'/><arg type='ai' direction='out'/>
    <arg type='ai' direction='out'/></method>
  <signal name='ItemsPropertiesUpdated'><arg type='a(ia{sv})'/><arg type='a(ias)'/></signal>
  <signal name='LayoutUpdated'><arg type='u'/><arg type='i'/></signal>
  <signal name='ItemActivationRequested'><arg type='i'/><arg type='u'/></signal>
</interface>
</node>)";

GDBusNodeInfo* interfaces() {
  static GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(kInterfaces, nullptr);
  return node;
}

// An empty list of property names asks for all of them.
bool wanted(GVariant* names, const char* name) {
  if (!names || g_variant_n_children(names) == 0) return true;
  GVariantIter iter;
  g_variant_iter_init(&iter, names);
  for (const char* each = nullptr; g_variant_iter_next(&iter, "&s", &each);)
    if (g_str_equal(each, name)) return true;
  return false;
}

}  // namespace

TrayItem::TrayItem(GDBusConnection* bus, Browser& browser, std::string iconFolder)
    : bus_(G_DBUS_CONNECTION(g_object_ref(bus))),
      browser_(browser),
      entries_(trayMenu(TrayState{})),
      iconFolder_(std::move(iconFolder)) {
  // The desktop's state is read when a tray first asks for the menu, not
  // while the window is coming up.
  static const GDBusInterfaceVTable item = {itemCall, itemProperty, nullptr, {}};
  static const GDBusInterfaceVTable menu = {menuCall, menuProperty, nullptr, {}};
  GDBusNodeInfo* node = interfaces();
  for (auto [path, index, vtable] : {std::tuple{kItemPath, 0, &item}, std::tuple{kMenuPath, 1, &menu}}) {
    GError* error = nullptr;
    guint id = g_dbus_connection_register_object(bus_, path, node->interfaces[index], vtable, this, nullptr, &error);
    if (id)
      objects_.push_back(id);
    else
      logLine(std::string("couldn't offer the menu-bar item: ") + (error ? error->message : path));
    g_clear_error(&error);
  }
  // A tray that starts (or restarts) later gets the item then.
  watch_ = g_bus_watch_name_on_connection(
      bus_, kWatcher, G_BUS_NAME_WATCHER_FLAGS_NONE,
      [](GDBusConnection*, const char*, const char* owner, gpointer self) {
        static_cast<TrayItem*>(self)->watcherAppeared(owner);
      },
      [](GDBusConnection*, const char*, gpointer self) { static_cast<TrayItem*>(self)->watcherVanished(); }, this,
      nullptr);
}

TrayItem::~TrayItem() {
  g_bus_unwatch_name(watch_);
  if (registering_) g_cancellable_cancel(registering_);
  g_clear_object(&registering_);
  for (guint id : objects_) g_dbus_connection_unregister_object(bus_, id);
  g_object_unref(bus_);
}

TrayState TrayItem::desktopState() {
  TrayState state;
  state.defaultBrowser = defaultBrowserStatus();
  state.opensAtLogin = Autostart::isEnabled();
  // X11 lets Quillo hear keys pressed in other programs; Wayland does not.
  GdkDisplay* display = gdk_display_get_default();
  state.hearsOtherApps = display && GDK_IS_X11_DISPLAY(display);
  return state;
}

void TrayItem::watcherAppeared(const char* owner) {
  if (registering_) g_cancellable_cancel(registering_);
  g_clear_object(&registering_);
  registering_ = g_cancellable_new();
  // Named by our bus name, the watcher looks for the item at its usual path.
  g_dbus_connection_call(
      bus_, owner, "/StatusNotifierWatcher", kWatcher, "RegisterStatusNotifierItem",
      g_variant_new("(s)", g_dbus_connection_get_unique_name(bus_)), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, registering_,
      [](GObject* source, GAsyncResult* result, gpointer self) {
        GError* error = nullptr;
        GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
        if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
          g_error_free(error);  // the item or the watcher is gone
          return;
        }
        auto* tray = static_cast<TrayItem*>(self);
        tray->shown_ = reply != nullptr;
        if (reply) g_variant_unref(reply);
        // A tray that went away meanwhile is no fault; one that refused is.
        if (error && !g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) &&
            !g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER))
          logLine(std::string("the tray didn't take the menu-bar item: ") + error->message);
        g_clear_error(&error);
      },
      this);
}

void TrayItem::watcherVanished() {
  if (registering_) g_cancellable_cancel(registering_);
  g_clear_object(&registering_);
  shown_ = false;
}

void TrayItem::itemCall(GDBusConnection*, const char*, const char*, const char*, const char* method, GVariant*,
                        GDBusMethodInvocation* invocation, gpointer self) {
  g_dbus_method_invocation_return_value(invocation, nullptr);
  // A click on the icon opens Quillo; the menu is the tray's to show.
  if (g_str_equal(method, "Activate")) static_cast<TrayItem*>(self)->browser_.summon();
}

GVariant* TrayItem::itemProperty(GDBusConnection*, const char*, const char*, const char*, const char* name, GError**,
                                 gpointer self) {
  const std::string_view property = name;
  if (property == "Category") return g_variant_new_string("ApplicationStatus");
  if (property == "Id") return g_variant_new_string("quillo");
  if (property == "Title") return g_variant_new_string("Quillo");
  if (property == "Status") return g_variant_new_string("Active");
  if (property == "WindowId") return g_variant_new_int32(0);
  if (property == "IconName") return g_variant_new_string(kIcon);
  if (property == "IconThemePath") return g_variant_new_string(static_cast<TrayItem*>(self)->iconFolder_.c_str());
  if (property == "IconPixmap") return g_variant_new_array(G_VARIANT_TYPE("(iiay)"), nullptr, 0);
  if (property == "ToolTip")
    return g_variant_new("(s@a(iiay)ss)", kIcon, g_variant_new_array(G_VARIANT_TYPE("(iiay)"), nullptr, 0), "Quillo",
                         "");
  if (property == "ItemIsMenu") return g_variant_new_boolean(false);
  if (property == "Menu") return g_variant_new_object_path(kMenuPath);
  return g_variant_new_string("");  // no overlay or attention icon
}

GVariant* TrayItem::menuProperty(GDBusConnection*, const char*, const char*, const char*, const char* name, GError**,
                                 gpointer) {
  const std::string_view property = name;
  if (property == "Version") return g_variant_new_uint32(3);
  if (property == "TextDirection") return g_variant_new_string("ltr");
  if (property == "Status") return g_variant_new_string("normal");
  return g_variant_new_strv(nullptr, 0);  // IconThemePath: the desktop's own themes
}

GVariant* TrayItem::properties(int id, GVariant* names) const {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
  auto add = [&](const char* name, GVariant* value) {
    if (wanted(names, name))
      g_variant_builder_add(&builder, "{sv}", name, value);
    else
      g_variant_unref(g_variant_ref_sink(value));
  };
  if (id == 0) {
    add("children-display", g_variant_new_string("submenu"));
  } else {
    const TrayEntry& entry = entries_[size_t(id) - 1];
    if (entry.kind == TrayEntry::Kind::separator) {
      add("type", g_variant_new_string("separator"));
    } else {
      add("label", g_variant_new_string(entry.label.c_str()));
      add("enabled", g_variant_new_boolean(entry.enabled()));
    }
    add("visible", g_variant_new_boolean(true));
    if (entry.kind == TrayEntry::Kind::check) {
      add("toggle-type", g_variant_new_string("checkmark"));
      add("toggle-state", g_variant_new_int32(entry.checked ? 1 : 0));
    }
  }
  return g_variant_builder_end(&builder);
}

GVariant* TrayItem::layout(int id, int depth, GVariant* names) const {
  GVariantBuilder children;
  g_variant_builder_init(&children, G_VARIANT_TYPE("av"));
  if (id == 0 && depth != 0)
    for (int child = 1; size_t(child) <= entries_.size(); ++child)
      g_variant_builder_add(&children, "v", layout(child, depth - 1, names));
  return g_variant_new("(i@a{sv}av)", id, properties(id, names), &children);
}

bool TrayItem::refresh() {
  auto fresh = trayMenu(desktopState());
  if (fresh == entries_) return false;
  entries_ = std::move(fresh);
  ++revision_;
  g_dbus_connection_emit_signal(bus_, nullptr, kMenuPath, kMenuInterface, "LayoutUpdated",
                                g_variant_new("(ui)", revision_, 0), nullptr);
  return true;
}

void TrayItem::clicked(int id) {
  if (id <= 0 || !isItem(id) || !entries_[size_t(id) - 1].enabled()) return;
  perform(entries_[size_t(id) - 1].action, browser_);
  refresh();
}

void TrayItem::menuCall(GDBusConnection*, const char*, const char*, const char*, const char* method,
                        GVariant* parameters, GDBusMethodInvocation* invocation, gpointer self) {
  auto* tray = static_cast<TrayItem*>(self);
  const std::string_view call = method;
  auto unknown = [&](int id) {
    g_dbus_method_invocation_return_error(invocation, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS, "no menu item %d", id);
  };
  if (call == "GetLayout") {
    gint32 parent = 0, depth = 0;
    GVariant* names = nullptr;
    g_variant_get(parameters, "(ii@as)", &parent, &depth, &names);
    tray->refresh();
    if (tray->isItem(parent))
      g_dbus_method_invocation_return_value(
          invocation, g_variant_new("(u@(ia{sv}av))", tray->revision_, tray->layout(parent, depth, names)));
    else
      unknown(parent);
    g_variant_unref(names);
  } else if (call == "GetGroupProperties") {
    GVariant *ids = nullptr, *names = nullptr;
    g_variant_get(parameters, "(@ai@as)", &ids, &names);
    GVariantBuilder found;
    g_variant_builder_init(&found, G_VARIANT_TYPE("a(ia{sv})"));
    const size_t count = g_variant_n_children(ids);
    // No ids asks for every item.
    for (size_t i = 0; i < (count ? count : tray->entries_.size() + 1); ++i) {
      gint32 id = gint32(i);
      if (count) g_variant_get_child(ids, i, "i", &id);
      if (tray->isItem(id)) g_variant_builder_add(&found, "(i@a{sv})", id, tray->properties(id, names));
    }
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(a(ia{sv}))", &found));
    g_variant_unref(ids);
    g_variant_unref(names);
  } else if (call == "GetProperty") {
    gint32 id = 0;
    const char* name = nullptr;
    g_variant_get(parameters, "(i&s)", &id, &name);
    GVariant* value = nullptr;
    if (tray->isItem(id)) {
      GVariant* all = tray->properties(id, nullptr);
      value = g_variant_lookup_value(all, name, nullptr);
      g_variant_unref(g_variant_ref_sink(all));
    }
    if (value) {
      g_dbus_method_invocation_return_value(invocation, g_variant_new("(v)", value));
      g_variant_unref(value);
    } else {
      g_dbus_method_invocation_return_error(invocation, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS,
                                            "menu item %d has no property %s", id, name);
    }
  } else if (call == "Event") {
    gint32 id = 0;
    const char* event = nullptr;
    g_variant_get(parameters, "(i&svu)", &id, &event, nullptr, nullptr);
    if (!tray->isItem(id)) return unknown(id);
    const bool click = g_str_equal(event, "clicked");
    // Answered first: what the click does may take the window's time.
    g_dbus_method_invocation_return_value(invocation, nullptr);
    if (click) tray->clicked(id);
  } else if (call == "EventGroup") {
    GVariantIter* events = nullptr;
    g_variant_get(parameters, "(a(isvu))", &events);
    GVariantBuilder errors;
    g_variant_builder_init(&errors, G_VARIANT_TYPE("ai"));
    std::vector<int> clicks;
    gint32 id = 0;
    const char* event = nullptr;
    while (g_variant_iter_next(events, "(i&svu)", &id, &event, nullptr, nullptr)) {
      if (!tray->isItem(id))
        g_variant_builder_add(&errors, "i", id);
      else if (g_str_equal(event, "clicked"))
        clicks.push_back(id);
    }
    g_variant_iter_free(events);
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(ai)", &errors));
    for (int click : clicks) tray->clicked(click);
  } else if (call == "AboutToShow") {
    gint32 id = 0;
    g_variant_get(parameters, "(i)", &id);
    if (!tray->isItem(id)) return unknown(id);
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(b)", tray->refresh()));
  } else if (call == "AboutToShowGroup") {
    GVariantIter* ids = nullptr;
    g_variant_get(parameters, "(ai)", &ids);
    const bool changed = tray->refresh();
    GVariantBuilder updates, errors;
    g_variant_builder_init(&updates, G_VARIANT_TYPE("ai"));
    g_variant_builder_init(&errors, G_VARIANT_TYPE("ai"));
    for (gint32 id = 0; g_variant_iter_next(ids, "i", &id);) {
      if (!tray->isItem(id))
        g_variant_builder_add(&errors, "i", id);
      else if (changed)
        g_variant_builder_add(&updates, "i", id);
    }
    g_variant_iter_free(ids);
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(aiai)", &updates, &errors));
  }
}

}  // namespace quillo
