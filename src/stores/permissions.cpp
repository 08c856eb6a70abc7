// Site permissions: the user's answers to sites, saved in "permissions.json" or kept until quit.
#include "stores/permissions.h"

#include <gio/gio.h>

#include <algorithm>
#include <cctype>

#include "core/app_support.h"
#include "core/settings.h"
#include "core/text.h"

namespace quillo {

namespace {

const char* encode(PermissionDecision decision) { return decision == PermissionDecision::allow ? "allow" : "block"; }

std::optional<PermissionDecision> decode(const nlohmann::json& value) {
  if (value == "allow") return PermissionDecision::allow;
  if (value == "block") return PermissionDecision::block;
  return std::nullopt;
}

SitePermission appPermission(const std::string& site, const std::string& scheme) {
  return SitePermission{site, SitePermission::Kind::app, asciiLower(scheme)};
}

}  // namespace

Permissions::Permissions(Settings* settings, AppNamer appName)
    : Permissions(AppSupport::file(kFileName), settings, std::move(appName)) {}

Permissions::Permissions(std::filesystem::path file, Settings* settings, AppNamer appName)
    : file_(std::move(file)), appName_(std::move(appName)) {
  load();
  if (settings) importLegacyAppLinks(*settings);
}

std::optional<std::string> Permissions::desktopAppName(const std::string& scheme) {
  if (scheme.empty()) return std::nullopt;
  GAppInfo* app = g_app_info_get_default_for_uri_scheme(scheme.c_str());
  if (!app) return std::nullopt;
  const char* name = g_app_info_get_display_name(app);
  std::optional<std::string> result;
  if (name && *name) result = name;
  g_object_unref(app);
  return result;
}

std::optional<SitePermission> Permissions::parse(const std::string& host, const std::string& key) {
  // An entry without a site cannot be shown or asked for; like an unknown key,
  // it stays in the file untouched.
  if (host.empty()) return std::nullopt;
  if (key == "camera") return SitePermission{host, SitePermission::Kind::camera, ""};
  if (key == "microphone") return SitePermission{host, SitePermission::Kind::microphone, ""};
  if (key == "notifications") return SitePermission{host, SitePermission::Kind::notifications, ""};
  if (key.size() > 4 && key.rfind("app:", 0) == 0)
    return SitePermission{host, SitePermission::Kind::app, key.substr(4)};
  return std::nullopt;
}

bool Permissions::before(const SitePermission& a, const SitePermission& b) {
  if (a.host != b.host) return a.host < b.host;
  if (a.kind != b.kind) return int(a.kind) < int(b.kind);
  return a.scheme < b.scheme;
}

std::vector<SitePermission> Permissions::all() const {
  std::vector<SitePermission> list;
  for (const auto& [host, keys] : saved_)
    for (const auto& [key, decision] : keys)
      if (auto permission = parse(host, key)) list.push_back(*permission);
  for (const auto& [permission, decision] : untilQuit_)
    if (std::find(list.begin(), list.end(), permission) == list.end()) list.push_back(permission);
  std::stable_sort(list.begin(), list.end(), before);
  return list;
}

std::vector<SitePermission> Permissions::listed(const std::string& host) const {
  std::vector<SitePermission> list{{host, SitePermission::Kind::camera, ""},
                                   {host, SitePermission::Kind::microphone, ""},
                                   {host, SitePermission::Kind::notifications, ""}};
  for (auto& permission : all())
    if (permission.host == host && std::find(list.begin(), list.end(), permission) == list.end())
      list.push_back(permission);
  return list;
}

std::optional<PermissionDecision> Permissions::savedDecision(const SitePermission& permission) const {
  auto host = saved_.find(permission.host);
  if (host == saved_.end()) return std::nullopt;
  auto key = host->second.find(permission.key());
  if (key == host->second.end()) return std::nullopt;
  return key->second;
}

std::optional<PermissionDecision> Permissions::untilQuit(const SitePermission& permission) const {
  for (const auto& [p, decision] : untilQuit_)
    if (p == permission) return decision;
  return std::nullopt;
}

std::optional<PermissionDecision> Permissions::decision(const SitePermission& permission) const {
  if (auto saved = savedDecision(permission)) return saved;
  return untilQuit(permission);
}

void Permissions::set(std::optional<PermissionDecision> decision, const SitePermission& permission) {
  std::erase_if(untilQuit_, [&](const auto& entry) { return entry.first == permission; });
  if (decision) {
    saved_[permission.host][permission.key()] = *decision;
  } else if (auto host = saved_.find(permission.host); host != saved_.end()) {
    host->second.erase(permission.key());
    if (host->second.empty()) saved_.erase(host);
  }
  save();
  changed.emit();
}

void Permissions::answer(PermissionDecision decision, const SitePermission& permission, bool remembering) {
  if (remembering) return set(decision, permission);
  std::erase_if(untilQuit_, [&](const auto& entry) { return entry.first == permission; });
  untilQuit_.emplace_back(permission, decision);
  changed.emit();
}

std::string Permissions::title(const SitePermission& permission) const {
  if (permission.kind == SitePermission::Kind::app && appName_)
    if (auto name = appName_(permission.scheme)) return "Open " + *name;
  return PermissionSource::title(permission);
}

std::optional<PermissionDecision> Permissions::savedAppDecision(const std::string& site,
                                                                const std::string& scheme) const {
  return savedDecision(appPermission(site, scheme));
}

void Permissions::saveAppAllowed(const std::string& site, const std::string& scheme) {
  set(PermissionDecision::allow, appPermission(site, scheme));
}

void Permissions::load() {
  auto read = AppSupport::read(file_);
  if (read.status == AppSupport::ReadResult::Status::missing) return;
  // Anything that is not the expected map leaves the store empty; the file is
  // kept aside before the next write rather than overwritten.
  fileUnreadable_ = true;
  if (read.status != AppSupport::ReadResult::Status::ok || !read.value.is_object()) return;
  Saved loaded;
  for (auto& [host, keys] : read.value.items()) {
    if (!keys.is_object()) return;
    for (auto& [key, value] : keys.items()) {
      auto decision = decode(value);
      if (!decision) return;
      loaded[host][key] = *decision;
    }
    if (loaded[host].empty()) loaded.erase(host);
  }
  saved_ = std::move(loaded);
  fileUnreadable_ = false;
}

void Permissions::importLegacyAppLinks(Settings& settings) {
  auto legacy = settings.value(kLegacyAppLinksKey);
  if (!legacy) return;
  if (legacy->is_array())
    for (const auto& entry : *legacy) {
      if (!entry.is_string()) continue;
      const std::string text = entry.get<std::string>();
      auto space = text.find(' ');
      if (space == std::string::npos || space == 0 || space + 1 >= text.size()) continue;
      saved_[text.substr(0, space)]["app:" + asciiLower(text.substr(space + 1))] = PermissionDecision::allow;
    }
  settings.remove(kLegacyAppLinksKey);
  save();
}

void Permissions::save() {
  if (!AppSupport::readyToReplace(file_, fileUnreadable_, kFileName)) return;
  nlohmann::json object = nlohmann::json::object();
  for (const auto& [host, keys] : saved_)
    for (const auto& [key, decision] : keys) object[host][key] = encode(decision);
  AppSupport::writeAtomically(file_, object.dump(2, ' ', false, nlohmann::json::error_handler_t::replace), kFileName);
}

}  // namespace quillo
