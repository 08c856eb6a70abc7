// Other browsers' history and bookmarks: finding their profiles on disk and reading them safely.
#pragma once
#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "stores/history_entry.h"

namespace quillo {

// One profile of another browser that history can be brought over from.
struct ImportSource {
  enum class Kind { firefox, chromium, epiphany };
  Kind kind = Kind::firefox;
  std::string browser;  // "Firefox", "Google Chrome", "Brave", "GNOME Web", …
  std::string profile;  // the profile's name as that browser shows it
  std::filesystem::path folder;
  std::size_t pages = 0, bookmarks = 0;  // counted by countImportSource

  std::string title() const { return browser + " · " + profile; }
  // "1,234 pages · 12 bookmarks"
  std::string detail() const;
  bool operator==(const ImportSource& other) const { return folder == other.folder; }
};

struct ImportedBookmark {
  Url url;
  std::string title;
  double added = 0;  // seconds since 1 January 2001, like history dates
  bool onToolbar = false;
};

// What a profile holds, every address already http or https.
struct ImportedData {
  std::vector<HistoryEntry> pages;
  std::vector<ImportedBookmark> bookmarks;  // toolbar ones first, in their order
};

// The pages, then the bookmarks not on the toolbar as pages visited once
// when they were added.
std::vector<HistoryEntry> importedHistory(ImportedData&& data);

// The profiles under a home folder ($HOME when none is given), uncounted.
std::vector<ImportSource> findImportSources(std::filesystem::path home = {});
// A browser's name ("firefox", "chromium", "epiphany"; its first profile
// with history), a profile folder or a database file.
std::optional<ImportSource> importSourceNamed(const std::string& nameOrPath, std::filesystem::path home = {});

// Each reads a private copy of the databases and never touches the
// originals. On failure: a message naming the file and what is wrong.
using ImportProgress = std::function<void(double fraction)>;
std::variant<ImportedData, std::string> readImportSource(const ImportSource& source,
                                                         const ImportProgress& progress = {});
std::optional<std::string> countImportSource(ImportSource& source);

// "1,234"
std::string groupedNumber(std::size_t n);
// "Imported 1,234 pages and 12 pins from Firefox"
std::string importedSummary(std::size_t pages, std::size_t pins, const std::string& from);

}  // namespace quillo
