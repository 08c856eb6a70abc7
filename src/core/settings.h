// The user's settings: one JSON object in "settings.json", read at start and rewritten on every change.
#pragma once
#include <nlohmann/json.hpp>

#include <filesystem>
#include <optional>
#include <string>

namespace quillo {

// The user's settings: one JSON object in $XDG_CONFIG_HOME/quillo/settings.json,
// rewritten whole and atomically on every change. Keys: "QuickPinCount",
// "EasyPrivacyUpdated" (seconds since 2001); "AlwaysAllowedAppLinks" only until
// the site permissions take it over.
class Settings {
 public:
  explicit Settings(std::filesystem::path file);
  // The settings file of this user.
  static std::filesystem::path defaultFile();

  std::optional<nlohmann::json> value(const std::string& key) const;
  std::optional<double> number(const std::string& key) const;
  std::optional<long long> integer(const std::string& key) const;
  std::optional<std::string> string(const std::string& key) const;

  void set(const std::string& key, nlohmann::json value);
  void remove(const std::string& key);

 private:
  void write() const;
  std::filesystem::path file_;
  nlohmann::json values_ = nlohmann::json::object();
};

}  // namespace quillo
