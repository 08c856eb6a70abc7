// Sites asking for the camera, microphone or notifications: answered from saved permissions or by the user.
#include "page/site_prompts.h"

#include "stores/permissions.h"

namespace quillo::siteprompts {

std::vector<SitePermission> asked(const MediaRequest& request) {
  std::vector<SitePermission> list;
  if (request.camera) list.push_back({request.host, SitePermission::Kind::camera, ""});
  if (request.microphone) list.push_back({request.host, SitePermission::Kind::microphone, ""});
  return list;
}

std::optional<bool> decided(const PermissionSource& permissions, const MediaRequest& request) {
  if (request.host.empty()) return std::nullopt;
  auto list = asked(request);
  if (list.empty()) return false;
  bool allAllowed = true;
  for (const auto& permission : list) {
    auto decision = permissions.decision(permission);
    if (decision == PermissionDecision::block) return false;
    if (decision != PermissionDecision::allow) allAllowed = false;
  }
  if (allAllowed) return true;
  return std::nullopt;
}

Alert mediaAlert(const MediaRequest& request) {
  std::string what = request.camera && request.microphone ? "camera and microphone"
                     : request.camera                     ? "camera"
                                                          : "microphone";
  std::string who = request.host.empty() ? "A frame embedded in this page" : request.host;
  Alert alert{who + " wants to use your " + what, "", {"Allow", "Don't Allow"}};
  if (request.persistent && !request.host.empty()) alert.checkbox = "Remember for " + request.host;
  return alert;
}

void record(Permissions& permissions, const MediaRequest& request, bool allowed, bool remember) {
  if (request.host.empty()) return;  // nothing to remember it for
  for (const auto& permission : asked(request))
    permissions.answer(allowed ? PermissionDecision::allow : PermissionDecision::block, permission,
                       remember && request.persistent);
}

void decideMedia(Permissions& permissions, const MediaRequest& request, const Ask& ask,
                 std::function<void(bool grant)> done) {
  if (auto known = decided(permissions, request)) return done(*known);
  if (!ask) return done(false);
  Alert alert = mediaAlert(request);
  bool offered = alert.checkbox.has_value();
  ask(alert, [&permissions, request, offered, done = std::move(done)](size_t button, bool checked) {
    bool allowed = button == 0;
    record(permissions, request, allowed, offered && checked);
    done(allowed);
  });
}

void askToNotify(Permissions& permissions, const std::string& host, bool persistent, const Ask& ask,
                 std::function<void(PermissionDecision)> done) {
  SitePermission permission{host, SitePermission::Kind::notifications, ""};
  if (auto known = permissions.decision(permission)) return done(*known);
  if (!ask) return done(PermissionDecision::block);
  Alert alert{host + " wants to show notifications", "", {"Allow", "Don't Allow"}};
  ask(alert, [&permissions, permission, persistent, done = std::move(done)](size_t button, bool) {
    auto decision = button == 0 ? PermissionDecision::allow : PermissionDecision::block;
    permissions.answer(decision, permission, persistent);
    done(decision);
  });
}

}  // namespace quillo::siteprompts
