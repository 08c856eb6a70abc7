// The user's settings: one JSON object in "settings.json", read at start and rewritten on every change.
#include "core/settings.h"

#include <climits>

#include "core/app_support.h"
#include "core/log.h"

namespace quillo {

Settings::Settings(std::filesystem::path file) : file_(std::move(file)) {
  auto read = AppSupport::read(file_);
  if (read.status == AppSupport::ReadResult::Status::ok && read.value.is_object()) {
    values_ = std::move(read.value);
  } else if (read.status == AppSupport::ReadResult::Status::unreadable ||
             (read.status == AppSupport::ReadResult::Status::ok && !read.value.is_object())) {
    // Keep the user's file; the next write starts a new one.
    AppSupport::keepAside(file_);
  }
}

std::filesystem::path Settings::defaultFile() { return AppSupport::configFolder() / "settings.json"; }

std::optional<nlohmann::json> Settings::value(const std::string& key) const {
  auto it = values_.find(key);
  if (it == values_.end()) return std::nullopt;
  return *it;
}

std::optional<double> Settings::number(const std::string& key) const {
  auto v = value(key);
  if (!v || !v->is_number()) return std::nullopt;
  return v->get<double>();
}

std::optional<long long> Settings::integer(const std::string& key) const {
  auto v = value(key);
  if (!v || !v->is_number()) return std::nullopt;
  if (v->is_number_float()) {
    // Whole part only; a number past long long's range (a hand-edited 1e300)
    // is no integer at all rather than undefined behaviour.
    double d = v->get<double>();
    if (!(d >= -9.2e18 && d <= 9.2e18)) return std::nullopt;
    return static_cast<long long>(d);
  }
  if (v->is_number_unsigned() && v->get<unsigned long long>() > static_cast<unsigned long long>(LLONG_MAX))
    return std::nullopt;
  return v->get<long long>();
}

std::optional<std::string> Settings::string(const std::string& key) const {
  auto v = value(key);
  if (!v || !v->is_string()) return std::nullopt;
  return v->get<std::string>();
}

void Settings::set(const std::string& key, nlohmann::json value) {
  values_[key] = std::move(value);
  write();
}

void Settings::remove(const std::string& key) {
  if (values_.erase(key)) write();
}

void Settings::write() const { AppSupport::writeAtomically(file_, values_.dump(2), "settings.json"); }

}  // namespace quillo
