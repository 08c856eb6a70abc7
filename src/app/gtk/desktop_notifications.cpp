// The desktop's notification service for web notifications: GNotification, and whether anything on the session bus
// shows them.
#include "app/gtk/desktop_notifications.h"

#include <algorithm>

#include "app/gtk/app_icon.h"

namespace quillo {

namespace {

// What GLib's notification backends talk to: GNOME's own service, the
// freedesktop one, and the portal that forwards to either.
constexpr const char* kServices[] = {"org.freedesktop.Notifications", "org.gtk.Notifications",
                                     "org.freedesktop.portal.Desktop"};

bool isService(const char* name) {
  return std::any_of(std::begin(kServices), std::end(kServices),
                     [name](const char* service) { return g_strcmp0(service, name) == 0; });
}

// The bus's list of names ("ListNames", "ListActivatableNames") that are services.
std::set<std::string> servicesIn(GDBusConnection* bus, const char* method) {
  std::set<std::string> found;
  GVariant* reply =
      g_dbus_connection_call_sync(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
                                  nullptr, G_VARIANT_TYPE("(as)"), G_DBUS_CALL_FLAGS_NONE, 2000, nullptr, nullptr);
  if (!reply) return found;
  GVariantIter* names = nullptr;
  g_variant_get(reply, "(as)", &names);
  for (const char* name = nullptr; g_variant_iter_loop(names, "&s", &name);)
    if (isService(name)) found.insert(name);
  g_variant_iter_free(names);
  g_variant_unref(reply);
  return found;
}

}  // namespace

DesktopNotifications::DesktopNotifications(GApplication* application)
    : application_(application), action_(g_simple_action_new(kAction, G_VARIANT_TYPE_STRING)) {
  GDBusConnection* bus = g_application_get_dbus_connection(application_);
  bus_ = bus ? G_DBUS_CONNECTION(g_object_ref(bus)) : nullptr;
  g_signal_connect(action_, "activate", G_CALLBACK(+[](GSimpleAction*, GVariant* target, gpointer self) {
                     if (target && g_variant_is_of_type(target, G_VARIANT_TYPE_STRING))
                       static_cast<DesktopNotifications*>(self)->activated(g_variant_get_string(target, nullptr));
                   }),
                   this);
  g_action_map_add_action(G_ACTION_MAP(application_), G_ACTION(action_));
  if (!bus_) return;
  // A service that starts or stops later counts from then on.
  for (const char* service : kServices)
    watches_.push_back(g_bus_watch_name_on_connection(
        bus_, service, G_BUS_NAME_WATCHER_FLAGS_NONE,
        [](GDBusConnection*, const char* name, const char*, gpointer self) {
          static_cast<DesktopNotifications*>(self)->running_.insert(name);
        },
        [](GDBusConnection*, const char* name, gpointer self) {
          static_cast<DesktopNotifications*>(self)->running_.erase(name);
        },
        this, nullptr));
}

DesktopNotifications::~DesktopNotifications() {
  for (guint watch : watches_) g_bus_unwatch_name(watch);
  if (g_action_map_lookup_action(G_ACTION_MAP(application_), kAction) == G_ACTION(action_))
    g_action_map_remove_action(G_ACTION_MAP(application_), kAction);
  g_signal_handlers_disconnect_by_data(action_, this);
  g_object_unref(action_);
  g_clear_object(&bus_);
}

bool DesktopNotifications::available() const {
  if (!bus_) return false;
  if (!startable_) {
    // Asked once, when a page first wants to know: the watches may not
    // have heard back yet, and services the bus starts on demand are
    // never running before they are used.
    auto running = servicesIn(bus_, "ListNames");
    running_.insert(running.begin(), running.end());
    startable_ = !servicesIn(bus_, "ListActivatableNames").empty();
  }
  return !running_.empty() || *startable_;
}

bool DesktopNotifications::post(const std::string& identifier, const Content& content) {
  if (!available() || !g_application_get_is_registered(application_) || g_application_get_is_remote(application_))
    return false;
  GNotification* notification = g_notification_new(content.title.c_str());
  // GNotification has no line under the title: the site leads the body.
  const std::string body = content.body.empty() ? content.site : content.site + "\n" + content.body;
  g_notification_set_body(notification, body.c_str());
  g_notification_set_priority(notification, G_NOTIFICATION_PRIORITY_NORMAL);
  // Quillo's icon by name, also for services that do not look it up through
  // the desktop entry. `silent` is not heard: GNotification has no say over
  // sound, which is the desktop's choice.
  GIcon* icon = g_themed_icon_new(kAppIconName);
  g_notification_set_icon(notification, icon);
  g_object_unref(icon);
  const std::string action = std::string("app.") + kAction;
  g_notification_set_default_action_and_target(notification, action.c_str(), "s", identifier.c_str());
  // A tagged notification goes out under its group's id, so the desktop
  // replaces the one of the same tag (and the replaced one is forgotten).
  const std::string id = content.group.empty() ? identifier : "tag:" + content.group;
  std::erase_if(shown_, [&id](const auto& entry) { return entry.second == id; });
  shown_[identifier] = id;
  ++(*posts_)[id];
  g_application_send_notification(application_, id.c_str(), notification);
  g_object_unref(notification);
  return true;
}

void DesktopNotifications::withdraw(const std::string& identifier) {
  auto found = shown_.find(identifier);
  if (found == shown_.end()) return;
  const std::string id = found->second;
  shown_.erase(found);
  if (!bus_) {
    g_application_withdraw_notification(application_, id.c_str());
    return;
  }
  // GLib's freedesktop backend knows a notification only once the service
  // has answered its Notify, and drops a withdrawal that comes sooner: a
  // page closing what it just showed would leave it on screen. The service
  // answers in order, so once it has answered this call, it has answered
  // the Notify too. Without such a service the call fails at once.
  struct Pending {
    GApplication* application;
    std::string id;
    unsigned post;
    std::weak_ptr<std::map<std::string, unsigned>> posts;
  };
  auto* pending = new Pending{G_APPLICATION(g_object_ref(application_)), id, (*posts_)[id], posts_};
  g_dbus_connection_call(
      bus_, kServices[0], "/org/freedesktop/Notifications", kServices[0], "GetServerInformation", nullptr, nullptr,
      G_DBUS_CALL_FLAGS_NO_AUTO_START, 2000, nullptr,
      [](GObject* bus, GAsyncResult* result, gpointer data) {
        std::unique_ptr<Pending> pending(static_cast<Pending*>(data));
        if (GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, nullptr))
          g_variant_unref(reply);
        auto posts = pending->posts.lock();
        // Posted again meanwhile (a tag's next notification): that one stays.
        if (!posts || (*posts)[pending->id] == pending->post)
          g_application_withdraw_notification(pending->application, pending->id.c_str());
        g_object_unref(pending->application);
      },
      pending);
}

void DesktopNotifications::activated(const std::string& identifier) {
  shown_.erase(identifier);
  if (onClick) onClick(identifier);
}

}  // namespace quillo
