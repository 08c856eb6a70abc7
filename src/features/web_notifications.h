// Web notifications: pages' Notification API answered from the site permissions, shown by the desktop, clicks back to
// their tab.
#pragma once
#include <nlohmann/json.hpp>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace quillo {

class Browser;
class Page;
class Permissions;
struct FrameMessage;

// The desktop's notification service, as the model sees it.
class NotificationCenter {
 public:
  struct Content {
    std::string title;
    std::string site;  // the sending site's host, without "www."
    std::string body;
    // A later notification of the same group replaces the one shown; empty
    // for none. (A site's tag.)
    std::string group;
    bool silent = false;
  };
  virtual ~NotificationCenter() = default;
  // Whether anything on the desktop shows notifications.
  virtual bool available() const = 0;
  // Shows a notification under a fresh identifier; false when it cannot.
  virtual bool post(const std::string& identifier, const Content& content) = 0;
  virtual void withdraw(const std::string& identifier) = 0;
  // Called when the user clicks a posted notification.
  std::function<void(const std::string& identifier)> onClick;
};

// The browser's side of the pages' notification script: permission states
// by site, the prompt, posting and withdrawing, and clicks that bring the
// page forward and fire its notification's "click". Main thread only.
class WebNotifications {
 public:
  // Takes the browser's "quilloNotify" messages and the center's clicks
  // until it goes.
  WebNotifications(Browser& browser, Permissions& permissions, NotificationCenter& center);
  ~WebNotifications();
  WebNotifications(const WebNotifications&) = delete;
  WebNotifications& operator=(const WebNotifications&) = delete;

  // "default", "granted" or "denied": denied for everyone while the desktop
  // shows no notifications, and for pages without a host; else the site's
  // decision (none is "default").
  std::string state(const std::string& host) const;
  // Answers one message of the page's script (see notifications.js): its
  // "type" is "permission", "request", "show" or "close"; anything else is
  // answered null. The site is the host of the frame that sent it.
  void handle(const std::shared_ptr<Page>& page, const FrameMessage& message);
  // The user clicked a notification: its tab, if still open, comes forward
  // and the page's notification hears "click". Each is clicked once.
  void clicked(const std::string& identifier);

 private:
  using Reply = std::function<void(const nlohmann::json&)>;
  void request(const std::shared_ptr<Page>& page, const std::string& host, Reply reply);
  bool show(const std::shared_ptr<Page>& page, const std::string& host, const nlohmann::json& message);
  void close(const std::shared_ptr<Page>& page, const std::string& id);

  struct Delivered {
    std::weak_ptr<Page> page;  // a notification never keeps its tab alive
    std::string id;            // the page script's id
    std::string group;
  };
  Browser& browser_;
  Permissions& permissions_;
  NotificationCenter& center_;
  // By the center's identifier.
  std::map<std::string, Delivered> delivered_;
  // Requests waiting for the prompt of their site, one prompt per site.
  std::map<std::string, std::vector<Reply>> asking_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace quillo
