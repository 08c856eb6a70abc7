// The desktop's notification service for web notifications: GNotification, and whether anything on the session bus
// shows them.
#pragma once
#include <gio/gio.h>

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "features/web_notifications.h"

namespace quillo {

// Posts through the application's GNotification backend. Available while
// a notification service is on the session bus (org.freedesktop.Notifications,
// org.gtk.Notifications or the desktop portal), running or startable by
// the bus. Clicks come back through the application action
// "app.notification-clicked", which this adds to the application.
class DesktopNotifications final : public NotificationCenter {
 public:
  static constexpr const char* kAction = "notification-clicked";
  // The application must be registered.
  explicit DesktopNotifications(GApplication* application);
  ~DesktopNotifications() override;
  DesktopNotifications(const DesktopNotifications&) = delete;
  DesktopNotifications& operator=(const DesktopNotifications&) = delete;

  bool available() const override;
  bool post(const std::string& identifier, const Content& content) override;
  void withdraw(const std::string& identifier) override;

 private:
  void activated(const std::string& identifier);

  GApplication* application_;
  GDBusConnection* bus_;
  GSimpleAction* action_;
  std::vector<guint> watches_;
  // Services with an owner now, as the bus last said.
  mutable std::set<std::string> running_;
  // Whether any of them can be started by the bus; asked once, when first needed.
  mutable std::optional<bool> startable_;
  // The GNotification id each shown notification went out under.
  std::map<std::string, std::string> shown_;
  // How often each GNotification id was posted, shared with withdrawals
  // still waiting, which then leave a newer post under the same id alone.
  std::shared_ptr<std::map<std::string, unsigned>> posts_ = std::make_shared<std::map<std::string, unsigned>>();
};

}  // namespace quillo
