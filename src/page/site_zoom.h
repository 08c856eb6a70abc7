// Zoom levels remembered per site: saved in "zoom.json", or kept until quit for private pages.
#pragma once
#include <nlohmann/json.hpp>
#include <sigc++/signal.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "core/url.h"

namespace quillo {

// Zoom levels remembered per site. Levels set from normal pages are written
// to "zoom.json"; levels set from private pages last only until quit. Every
// change is announced, so all open pages of a site follow at once.
// Main thread only.
class SiteZoom {
 public:
  static constexpr double kMinimum = 0.3;
  static constexpr double kMaximum = 3.0;
  static constexpr double kStep = 0.1;
  static constexpr const char* kFileName = "zoom.json";

  // Reads "zoom.json" in the application support folder, or the file given.
  SiteZoom();
  explicit SiteZoom(std::filesystem::path file);
  SiteZoom(const SiteZoom&) = delete;
  SiteZoom& operator=(const SiteZoom&) = delete;

  // The lower-cased host of an http or https address without a leading
  // "www."; none for other addresses, which are never zoomed by site.
  static std::optional<std::string> site(const std::optional<Url>& url);

  // The private level when there is one, else the saved level, else 1.0.
  double level(const std::string& site, bool isPrivate) const;
  // Records a level (within 0.001 of 1.0 counts as 1.0) and announces the
  // site. Saved levels at 1.0 are removed; a private 1.0 is kept, so a
  // private reset overrides the saved level until quit.
  void set(double level, const std::string& site, bool isPrivate);

  // The levels of "zoom.json": an object of site to level, every level a
  // number above zero; anything else is unreadable as a whole.
  static std::optional<std::map<std::string, double>> decode(const nlohmann::json& json);

  const std::map<std::string, double>& saved() const { return saved_; }
  const std::map<std::string, double>& untilQuit() const { return untilQuit_; }
  sigc::signal<void(const std::string& site)>& changed() { return changed_; }

  // The zoom commands' next level from the current one: one step, at most
  // 3.0 and at least 0.3, rounded to one decimal place.
  static double zoomedIn(double current);
  static double zoomedOut(double current);
  static double actualSize() { return 1.0; }

 private:
  void load();
  void save();

  std::filesystem::path file_;
  std::map<std::string, double> saved_;
  std::map<std::string, double> untilQuit_;
  sigc::signal<void(const std::string&)> changed_;
  // The file could not be read: keep it aside before the first write.
  bool fileUnreadable_ = false;
};

}  // namespace quillo
