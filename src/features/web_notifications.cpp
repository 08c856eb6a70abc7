// Web notifications: pages' Notification API answered from the site permissions, shown by the desktop, clicks back to
// their tab.
#include "features/web_notifications.h"

#include <glib.h>

#include <algorithm>

#include "browser/browser.h"
#include "page/page.h"
#include "page/site_prompts.h"
#include "stores/permissions.h"

namespace quillo {

namespace {

std::string text(const nlohmann::json& message, const char* key) {
  auto found = message.find(key);
  return found != message.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::string hostOf(const std::string& address) {
  auto url = Url::parse(address);
  return url ? url->host() : std::string();
}

std::string newIdentifier() {
  gchar* uuid = g_uuid_string_random();
  std::string identifier = uuid;
  g_free(uuid);
  return identifier;
}

}  // namespace

WebNotifications::WebNotifications(Browser& browser, Permissions& permissions, NotificationCenter& center)
    : browser_(browser), permissions_(permissions), center_(center) {
  browser_.features.notify = [this](const std::shared_ptr<Page>& page, const FrameMessage& message) {
    handle(page, message);
  };
  center_.onClick = [this](const std::string& identifier) { clicked(identifier); };
}

WebNotifications::~WebNotifications() {
  browser_.features.notify = nullptr;
  center_.onClick = nullptr;
}

std::string WebNotifications::state(const std::string& host) const {
  if (!center_.available() || host.empty()) return "denied";
  auto decision = permissions_.decision({host, SitePermission::Kind::notifications, ""});
  if (!decision) return "default";
  return *decision == PermissionDecision::allow ? "granted" : "denied";
}

void WebNotifications::handle(const std::shared_ptr<Page>& page, const FrameMessage& message) {
  Reply reply = message.reply ? message.reply : [](const nlohmann::json&) {};
  const std::string type = message.payload.is_object() ? text(message.payload, "type") : "";
  const std::string host = hostOf(message.frameURL);
  if (type == "permission") return reply(state(host));
  if (type == "request") return request(page, host, std::move(reply));
  if (type == "show") return reply(show(page, host, message.payload));
  if (type == "close") close(page, text(message.payload, "id"));
  reply(nullptr);
}

void WebNotifications::request(const std::shared_ptr<Page>& page, const std::string& host, Reply reply) {
  if (state(host) != "default") return reply(state(host));
  // Asked already (another click, another tab of the site): one prompt answers all.
  auto [waiting, first] = asking_.try_emplace(host);
  waiting->second.push_back(std::move(reply));
  if (!first) return;
  // The prompt shows over the tab that asked.
  siteprompts::Ask ask = [weak = std::weak_ptr<Page>(page)](const Alert& alert,
                                                            std::function<void(size_t, bool)> answered) {
    auto page = weak.lock();
    if (!page) return answered(AlertAnswer::cancelled(alert).button, false);
    page->ask(alert,
              [answered = std::move(answered)](const AlertAnswer& answer) { answered(answer.button, answer.checked); });
  };
  // A private tab's answer lasts until quit.
  siteprompts::askToNotify(permissions_, host, !page->isPrivate(), ask,
                           [this, alive = std::weak_ptr<bool>(alive_), host](PermissionDecision) {
                             if (alive.expired()) return;
                             auto replies = std::move(asking_[host]);
                             asking_.erase(host);
                             for (auto& waiting : replies) waiting(state(host));
                           });
}

bool WebNotifications::show(const std::shared_ptr<Page>& page, const std::string& host, const nlohmann::json& message) {
  const std::string id = text(message, "id");
  if (id.empty() || state(host) != "granted") return false;
  NotificationCenter::Content content;
  content.title = text(message, "title");
  content.site = host.starts_with("www.") ? host.substr(4) : host;
  content.body = text(message, "body");
  // A tag names one notification of its site: a new one takes its place.
  if (std::string tag = text(message, "tag"); !tag.empty()) content.group = host + "\n" + tag;
  auto silent = message.find("silent");
  content.silent = silent != message.end() && silent->is_boolean() && silent->get<bool>();

  if (!content.group.empty())
    std::erase_if(delivered_, [&](const auto& entry) { return entry.second.group == content.group; });
  const std::string identifier = newIdentifier();
  if (!center_.post(identifier, content)) return false;
  delivered_[identifier] = Delivered{page, id, content.group};
  return true;
}

void WebNotifications::close(const std::shared_ptr<Page>& page, const std::string& id) {
  for (auto it = delivered_.begin(); it != delivered_.end();) {
    if (it->second.id == id && it->second.page.lock() == page) {
      center_.withdraw(it->first);
      it = delivered_.erase(it);
    } else {
      ++it;
    }
  }
}

void WebNotifications::clicked(const std::string& identifier) {
  auto found = delivered_.find(identifier);
  if (found == delivered_.end()) return;
  Delivered entry = std::move(found->second);
  delivered_.erase(found);
  auto page = entry.page.lock();
  const auto& open = browser_.recent.get();
  if (!page || std::find(open.begin(), open.end(), page) == open.end()) return;  // its tab was closed
  // An unloaded page has lost the document its notification came from.
  const bool sameDocument = !page->isUnloaded();
  browser_.bringForwardRequested.emit();
  browser_.select(page);
  WebViewPort* view = page->liveView();
  if (!sameDocument || !view) return;
  view->evaluate("window.__quilloNotificationClicked?.(" + nlohmann::json(entry.id).dump() + ")", 0, false,
                 [](std::optional<nlohmann::json>, const std::string&) {});
}

}  // namespace quillo
