// Zoom levels remembered per site: saved in "zoom.json", or kept until quit for private pages.
#include "page/site_zoom.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "core/app_support.h"
#include "core/text.h"

namespace quillo {

namespace {
double stepped(double z) {
  if (z < SiteZoom::kMinimum) return SiteZoom::kMinimum;
  return std::round(std::min(z, SiteZoom::kMaximum) * 10) / 10;
}
}  // namespace

SiteZoom::SiteZoom() : SiteZoom(AppSupport::file(kFileName)) {}

SiteZoom::SiteZoom(std::filesystem::path file) : file_(std::move(file)) { load(); }

std::optional<std::string> SiteZoom::site(const std::optional<Url>& url) {
  if (!url || !url->hasHost()) return std::nullopt;
  auto scheme = asciiLower(url->scheme());
  if (scheme != "http" && scheme != "https") return std::nullopt;
  auto host = asciiLower(url->host());
  if (host.rfind("www.", 0) == 0) host.erase(0, 4);
  if (host.empty()) return std::nullopt;
  return host;
}

double SiteZoom::level(const std::string& site, bool isPrivate) const {
  if (isPrivate)
    if (auto found = untilQuit_.find(site); found != untilQuit_.end()) return found->second;
  if (auto found = saved_.find(site); found != saved_.end()) return found->second;
  return 1.0;
}

void SiteZoom::set(double level, const std::string& site, bool isPrivate) {
  if (std::abs(level - 1.0) < 0.001) level = 1.0;
  if (isPrivate) {
    untilQuit_[site] = level;
  } else {
    if (level == 1.0)
      saved_.erase(site);
    else
      saved_[site] = level;
    save();
  }
  changed_.emit(site);
}

double SiteZoom::zoomedIn(double current) { return stepped(current + kStep); }
double SiteZoom::zoomedOut(double current) { return stepped(current - kStep); }

void SiteZoom::load() {
  // Whatever cannot be read leaves every site at actual size; the file is
  // kept aside, not overwritten, when a level is next saved.
  auto read = AppSupport::read(file_);
  if (read.status == AppSupport::ReadResult::Status::missing) return;
  fileUnreadable_ = true;
  if (read.status != AppSupport::ReadResult::Status::ok) return;
  auto loaded = decode(read.value);
  if (!loaded) return;
  saved_ = std::move(*loaded);
  fileUnreadable_ = false;
}

std::optional<std::map<std::string, double>> SiteZoom::decode(const nlohmann::json& json) {
  if (!json.is_object()) return std::nullopt;
  std::map<std::string, double> levels;
  for (auto& [site, value] : json.items()) {
    if (!value.is_number() || !(value.get<double>() > 0)) return std::nullopt;
    levels[site] = value.get<double>();
  }
  return levels;
}

void SiteZoom::save() {
  if (!AppSupport::readyToReplace(file_, fileUnreadable_, kFileName)) return;
  nlohmann::json object = nlohmann::json::object();
  for (auto& [site, level] : saved_) object[site] = level;
  AppSupport::writeAtomically(file_, object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace), kFileName);
}

}  // namespace quillo
