// Site permissions: the user's answers to sites, saved in "permissions.json" or kept until quit.
#pragma once
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/sources.h"

namespace quillo {

class Settings;

// The user's answers to sites asking for the camera, the microphone,
// notifications, or to open another program. Answers to remember are kept in
// "permissions.json" (host → storage key → "allow"/"block"); answers for this
// run only live in memory. A saved answer always wins over one for the run.
// Main thread only.
class Permissions final : public PermissionSource {
 public:
  static constexpr const char* kFileName = "permissions.json";
  static constexpr const char* kLegacyAppLinksKey = "AlwaysAllowedAppLinks";
  using Saved = std::map<std::string, std::map<std::string, PermissionDecision>>;
  // The name of the desktop's program for links of a scheme, if there is one.
  using AppNamer = std::function<std::optional<std::string>(const std::string& scheme)>;

  // Reads the file (in the application support folder unless given) and, when
  // settings are given, moves their old list of always-allowed app links in.
  explicit Permissions(Settings* settings = nullptr, AppNamer appName = desktopAppName);
  Permissions(std::filesystem::path file, Settings* settings, AppNamer appName);
  Permissions(const Permissions&) = delete;
  Permissions& operator=(const Permissions&) = delete;

  // The desktop's default program for "scheme:" links, by its display name.
  static std::optional<std::string> desktopAppName(const std::string& scheme);
  // A permission from its host and storage key; none for keys of no known form.
  static std::optional<SitePermission> parse(const std::string& host, const std::string& key);
  // Whether a comes before b in every list of permissions.
  static bool before(const SitePermission& a, const SitePermission& b);

  // PermissionSource
  std::vector<SitePermission> listed(const std::string& host) const override;
  std::vector<SitePermission> all() const override;
  std::optional<PermissionDecision> savedDecision(const SitePermission& permission) const override;
  std::optional<PermissionDecision> decision(const SitePermission& permission) const override;
  void set(std::optional<PermissionDecision> decision, const SitePermission& permission) override;
  std::string title(const SitePermission& permission) const override;

  // Records a prompt's answer: saved when remembering, else until quit.
  void answer(PermissionDecision decision, const SitePermission& permission, bool remembering);
  // The decision for this run only, if there is one.
  std::optional<PermissionDecision> untilQuit(const SitePermission& permission) const;

  // Links to other programs: only saved answers count there.
  std::optional<PermissionDecision> savedAppDecision(const std::string& site, const std::string& scheme) const;
  void saveAppAllowed(const std::string& site, const std::string& scheme);

  const Saved& saved() const { return saved_; }

 private:
  void load();
  void importLegacyAppLinks(Settings& settings);
  void save();
  std::filesystem::path file_;
  AppNamer appName_;
  Saved saved_;
  std::vector<std::pair<SitePermission, PermissionDecision>> untilQuit_;
  bool fileUnreadable_ = false;
};

}  // namespace quillo
