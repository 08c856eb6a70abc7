// Other browsers' history and bookmarks: finding their profiles on disk and reading them safely.
#include "stores/history_import.h"

#include <glib.h>
#include <nlohmann/json.hpp>
#include <sqlite3.h>
#include <stdlib.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <sstream>

#include "core/date.h"

namespace quillo {
namespace fs = std::filesystem;
namespace {

using Kind = ImportSource::Kind;

// Seconds between the epochs other browsers count from and 1 January 2001.
constexpr double kUnixToReference = double(kReferenceDateOffset.count());
constexpr double kWindowsToUnix = 11644473600;  // 1601-01-01 to 1970-01-01

fs::path homeFolder(fs::path home) {
  if (!home.empty()) return home;
  // Read every time rather than GLib's cached answer, so tests can move it.
  const char* env = g_getenv("HOME");
  return env && *env ? fs::path(env) : fs::path(g_get_home_dir());
}

std::string fileText(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::optional<Url> webAddress(const char* text) {
  if (!text) return std::nullopt;
  auto url = Url::parse(text);
  if (!url || (url->scheme() != "http" && url->scheme() != "https")) return std::nullopt;
  return url;
}

const char* column(sqlite3_stmt* row, int i) { return reinterpret_cast<const char*>(sqlite3_column_text(row, i)); }

// The databases are copied (with their write-ahead log, which holds the
// newest visits while the browser runs) into a folder only this user can
// read, and the copy is opened read-only: the original is never opened, so
// its browser's locks neither stop the import nor see it.
class PrivateCopy {
 public:
  explicit PrivateCopy(const fs::path& original) : original_(original) {
    std::string pattern = (fs::path(g_get_tmp_dir()) / "quillo-import-XXXXXX").string();
    if (!mkdtemp(pattern.data())) {  // made 0700
      error_ = "Couldn't make a private folder to read " + original.string() + " in";
      return;
    }
    folder_ = pattern;
    std::error_code ec;
    copy_ = folder_ / original.filename();
    if (!fs::copy_file(original, copy_, ec)) {
      error_ = "Couldn't read " + original.string() + ": " + ec.message();
      return;
    }
    for (const char* suffix : {"-wal", "-shm"}) {
      fs::path side = original.string() + suffix;
      if (fs::exists(side, ec)) fs::copy_file(side, copy_.string() + suffix, ec);
    }
    if (sqlite3_open_v2(copy_.c_str(), &db_, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) fail();
  }
  ~PrivateCopy() {
    sqlite3_close(db_);
    std::error_code ec;
    if (!folder_.empty()) fs::remove_all(folder_, ec);
  }
  PrivateCopy(const PrivateCopy&) = delete;
  PrivateCopy& operator=(const PrivateCopy&) = delete;

  const std::optional<std::string>& error() const { return error_; }

  // Runs a query, calling `row` for each result; false (with error() set)
  // when the file is damaged or has not the tables this browser keeps.
  bool each(const char* sql, const std::function<void(sqlite3_stmt*)>& row) {
    if (error_) return false;
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db_, sql, -1, &statement, nullptr) != SQLITE_OK) return fail();
    int status;
    while ((status = sqlite3_step(statement)) == SQLITE_ROW) row(statement);
    sqlite3_finalize(statement);
    return status == SQLITE_DONE || fail();
  }
  std::size_t count(const char* sql) {
    std::size_t n = 0;
    each(sql, [&](sqlite3_stmt* row) { n = std::size_t(sqlite3_column_int64(row, 0)); });
    return n;
  }

 private:
  bool fail() {
    std::string why = db_ ? sqlite3_errmsg(db_) : "out of memory";
    if (why.starts_with("no such")) why = "not a history database this version knows (" + why + ")";
    error_ = "Couldn't read " + original_.string() + ": " + why;
    return false;
  }

  fs::path original_, folder_, copy_;
  sqlite3* db_ = nullptr;
  std::optional<std::string> error_;
};

// Rows read so far against the rows there are, told every few thousand.
struct Progress {
  const ImportProgress& report;
  std::size_t total = 0, done = 0;
  void step() {
    if (report && total && ++done % 4096 == 0) report(double(done) / double(total));
  }
};

// History rows are (url, title, visit_count, last visit); `toReference`
// turns the browser's time into ours.
bool readPages(PrivateCopy& db, const char* count, const char* sql, double (*toReference)(sqlite3_int64),
               ImportedData& out, const ImportProgress& report) {
  Progress progress{report, db.count(count)};
  out.pages.reserve(progress.total);
  return db.each(sql, [&](sqlite3_stmt* row) {
    progress.step();
    if (auto url = webAddress(column(row, 0)))
      out.pages.push_back(HistoryEntry{std::move(*url), column(row, 1) ? column(row, 1) : "",
                                       std::max<sqlite3_int64>(1, sqlite3_column_int64(row, 2)),
                                       toReference(sqlite3_column_int64(row, 3))});
  });
}

// --- Firefox: places.sqlite ---------------------------------------------
// moz_places(url, title, visit_count, hidden, last_visit_date µs since 1970);
// moz_bookmarks(type 1 = address, fk → moz_places, parent, position, title,
// dateAdded µs since 1970); the toolbar folder has guid 'toolbar_____', tag
// folders (copies of real bookmarks) sit under 'tags________'.

double fromUnixMicroseconds(sqlite3_int64 t) { return double(t) / 1e6 - kUnixToReference; }

constexpr const char* kFirefoxPagesWhere =
    " FROM moz_places WHERE visit_count > 0 AND hidden = 0 AND (url LIKE 'http://%' OR url LIKE 'https://%')";
constexpr const char* kFirefoxBookmarksFrom =
    " FROM moz_bookmarks b JOIN moz_places p ON p.id = b.fk JOIN moz_bookmarks f ON f.id = b.parent"
    " WHERE b.type = 1 AND (p.url LIKE 'http://%' OR p.url LIKE 'https://%')"
    " AND f.parent NOT IN (SELECT id FROM moz_bookmarks WHERE guid = 'tags________')";

std::optional<std::string> readFirefox(ImportSource& source, ImportedData* out, const ImportProgress& report) {
  PrivateCopy db(source.folder / "places.sqlite");
  if (!out) {
    std::string pages = std::string("SELECT COUNT(*)") + kFirefoxPagesWhere;
    std::string marks = std::string("SELECT COUNT(*)") + kFirefoxBookmarksFrom;
    source.pages = db.count(pages.c_str());
    source.bookmarks = db.count(marks.c_str());
    return db.error();
  }
  std::string count = std::string("SELECT COUNT(*)") + kFirefoxPagesWhere;
  std::string pages = std::string("SELECT url, title, visit_count, last_visit_date") + kFirefoxPagesWhere;
  if (!readPages(db, count.c_str(), pages.c_str(), fromUnixMicroseconds, *out, report)) return db.error();
  std::string marks = std::string("SELECT p.url, b.title, b.dateAdded, f.guid = 'toolbar_____'") +
                      kFirefoxBookmarksFrom + " ORDER BY f.guid = 'toolbar_____' DESC, b.parent, b.position";
  db.each(marks.c_str(), [&](sqlite3_stmt* row) {
    if (auto url = webAddress(column(row, 0)))
      out->bookmarks.push_back({std::move(*url), column(row, 1) ? column(row, 1) : "",
                                fromUnixMicroseconds(sqlite3_column_int64(row, 2)), sqlite3_column_int(row, 3) != 0});
  });
  return db.error();
}

// --- Chromium and its family: History and Bookmarks ----------------------
// urls(url, title, visit_count, hidden, last_visit_time µs since 1601);
// "Bookmarks" is JSON: roots.bookmark_bar / other / synced, nodes with
// type "url" or "folder", date_added a string of µs since 1601.

double fromWindowsMicroseconds(sqlite3_int64 t) { return double(t) / 1e6 - kWindowsToUnix - kUnixToReference; }

constexpr const char* kChromiumPagesWhere =
    " FROM urls WHERE visit_count > 0 AND hidden = 0 AND (url LIKE 'http://%' OR url LIKE 'https://%')";

// Nothing when the file is missing; a message when it is not bookmarks.
std::optional<std::string> readChromiumBookmarks(const fs::path& file, std::vector<ImportedBookmark>& out) {
  std::error_code ec;
  if (!fs::exists(file, ec)) return std::nullopt;
  auto json = nlohmann::json::parse(fileText(file), nullptr, false);
  if (json.is_discarded() || !json.contains("roots") || !json["roots"].is_object())
    return "Couldn't read " + file.string() + ": not a bookmarks file";
  std::function<void(const nlohmann::json&, bool)> walk = [&](const nlohmann::json& node, bool toolbar) {
    if (!node.is_object()) return;
    if (node.value("type", "") == "url") {
      if (auto url = webAddress(node.value("url", "").c_str())) {
        auto added = std::strtoll(node.value("date_added", "0").c_str(), nullptr, 10);
        out.push_back({std::move(*url), node.value("name", ""), fromWindowsMicroseconds(added), toolbar});
      }
      return;
    }
    // Only the bar's own addresses are on it; its folders' are not.
    if (auto children = node.find("children"); children != node.end() && children->is_array())
      for (const auto& child : *children) walk(child, false);
  };
  const auto& roots = json["roots"];
  try {
    if (auto bar = roots.find("bookmark_bar"); bar != roots.end() && bar->contains("children"))
      for (const auto& child : (*bar)["children"]) walk(child, child.is_object() && child.value("type", "") == "url");
    for (const char* root : {"other", "synced"})
      if (auto found = roots.find(root); found != roots.end()) walk(*found, false);
  } catch (const nlohmann::json::exception&) {  // a field of the wrong type
    return "Couldn't read " + file.string() + ": not a bookmarks file";
  }
  std::stable_partition(out.begin(), out.end(), [](const ImportedBookmark& b) { return b.onToolbar; });
  return std::nullopt;
}

std::optional<std::string> readChromium(ImportSource& source, ImportedData* out, const ImportProgress& report) {
  PrivateCopy db(source.folder / "History");
  std::string count = std::string("SELECT COUNT(*)") + kChromiumPagesWhere;
  ImportedData counted;
  ImportedData& data = out ? *out : counted;
  if (auto error = readChromiumBookmarks(source.folder / "Bookmarks", data.bookmarks)) return error;
  if (!out) {
    source.pages = db.count(count.c_str());
    source.bookmarks = data.bookmarks.size();
    return db.error();
  }
  std::string pages = std::string("SELECT url, title, visit_count, last_visit_time") + kChromiumPagesWhere;
  readPages(db, count.c_str(), pages.c_str(), fromWindowsMicroseconds, data, report);
  return db.error();
}

// --- GNOME Web: ephy-history.db -------------------------------------------
// urls(id, host, url, title, sync_id, visit_count, last_visit_time,
// thumbnail_update_time, hidden_from_overview): last_visit_time is seconds
// since 1970 (Epiphany records visits with time()); a value in µs is taken
// as µs, in case a version ever changes it. Its bookmarks live in a GVDB
// file (bookmarks.gvdb), which is not read.

double fromUnixSeconds(sqlite3_int64 t) {
  return t > sqlite3_int64(1e12) ? fromUnixMicroseconds(t) : double(t) - kUnixToReference;
}

constexpr const char* kEpiphanyPagesWhere =
    " FROM urls WHERE visit_count > 0 AND (url LIKE 'http://%' OR url LIKE 'https://%')";

std::optional<std::string> readEpiphany(ImportSource& source, ImportedData* out, const ImportProgress& report) {
  PrivateCopy db(source.folder / "ephy-history.db");
  std::string count = std::string("SELECT COUNT(*)") + kEpiphanyPagesWhere;
  if (!out) {
    source.pages = db.count(count.c_str());
    return db.error();
  }
  std::string pages = std::string("SELECT url, title, visit_count, last_visit_time") + kEpiphanyPagesWhere;
  readPages(db, count.c_str(), pages.c_str(), fromUnixSeconds, *out, report);
  return db.error();
}

std::optional<std::string> read(ImportSource& source, ImportedData* out, const ImportProgress& report) {
  switch (source.kind) {
    case Kind::firefox: return readFirefox(source, out, report);
    case Kind::chromium: return readChromium(source, out, report);
    case Kind::epiphany: return readEpiphany(source, out, report);
  }
  return std::nullopt;
}

// --- Finding profiles -----------------------------------------------------

void findFirefox(const fs::path& root, std::vector<ImportSource>& out) {
  GKeyFile* ini = g_key_file_new();
  std::unique_ptr<GKeyFile, decltype(&g_key_file_free)> owner(ini, g_key_file_free);
  if (!g_key_file_load_from_file(ini, (root / "profiles.ini").c_str(), G_KEY_FILE_NONE, nullptr)) return;
  auto text = [&](const char* group, const char* key) {
    gchar* value = g_key_file_get_string(ini, group, key, nullptr);
    std::string result = value ? value : "";
    g_free(value);
    return result;
  };
  // The profile the installed Firefox opens comes first.
  std::vector<std::string> preferred;
  gchar** groups = g_key_file_get_groups(ini, nullptr);
  for (gchar** g = groups; *g; ++g)
    if (g_str_has_prefix(*g, "Install")) preferred.push_back(text(*g, "Default"));
  std::vector<std::pair<int, ImportSource>> found;
  for (gchar** g = groups; *g; ++g) {
    if (!g_str_has_prefix(*g, "Profile")) continue;
    std::string path = text(*g, "Path");
    if (path.empty()) continue;
    fs::path folder = text(*g, "IsRelative") == "0" ? fs::path(path) : root / path;
    std::error_code ec;
    if (!fs::exists(folder / "places.sqlite", ec)) continue;
    int rank = std::find(preferred.begin(), preferred.end(), path) != preferred.end() ? 0
               : text(*g, "Default") == "1"                                           ? 1
                                                                                      : 2;
    std::string name = text(*g, "Name");
    found.emplace_back(rank, ImportSource{Kind::firefox, "Firefox", name.empty() ? path : name, folder});
  }
  g_strfreev(groups);
  std::stable_sort(found.begin(), found.end(), [](auto& a, auto& b) { return a.first < b.first; });
  for (auto& [rank, source] : found) out.push_back(std::move(source));
}

void findChromium(const fs::path& root, const std::string& browser, std::vector<ImportSource>& out) {
  std::error_code ec;
  if (!fs::is_directory(root, ec)) return;
  auto state = nlohmann::json::parse(fileText(root / "Local State"), nullptr, false);
  const nlohmann::json* names = nullptr;
  if (state.is_object() && state.contains("profile") && state["profile"].is_object() &&
      state["profile"].contains("info_cache") && state["profile"]["info_cache"].is_object())
    names = &state["profile"]["info_cache"];
  std::vector<ImportSource> found;
  for (const auto& entry : fs::directory_iterator(root, ec)) {
    const std::string dir = entry.path().filename().string();
    if (dir == "System Profile" || dir == "Guest Profile" || !fs::exists(entry.path() / "History", ec)) continue;
    std::string name = dir;
    if (names && names->contains(dir) && (*names)[dir].is_object() &&
        (*names)[dir].value("name", nlohmann::json()).is_string())
      name = (*names)[dir]["name"].get<std::string>();
    found.push_back(ImportSource{Kind::chromium, browser, name, entry.path()});
  }
  // "Default" first, then "Profile 1", "Profile 2", … as the folders go.
  std::sort(found.begin(), found.end(), [](const ImportSource& a, const ImportSource& b) {
    auto da = a.folder.filename().string(), db = b.folder.filename().string();
    if ((da == "Default") != (db == "Default")) return da == "Default";
    return da.size() != db.size() ? da.size() < db.size() : da < db;
  });
  for (auto& source : found) out.push_back(std::move(source));
}

}  // namespace

std::string groupedNumber(std::size_t n) {
  const std::string digits = std::to_string(n);
  std::string out;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && (digits.size() - i) % 3 == 0) out += ',';
    out += digits[i];
  }
  return out;
}

std::string importedSummary(std::size_t pages, std::size_t pins, const std::string& from) {
  return "Imported " + groupedNumber(pages) + (pages == 1 ? " page" : " pages") + " and " + groupedNumber(pins) +
         (pins == 1 ? " pin" : " pins") + " from " + from;
}

std::string ImportSource::detail() const {
  auto counted = [](std::size_t n, const char* one, const char* many) {
    return groupedNumber(n) + " " + (n == 1 ? one : many);
  };
  return counted(pages, "page", "pages") + " · " + counted(bookmarks, "bookmark", "bookmarks");
}

std::vector<ImportSource> findImportSources(fs::path home) {
  home = homeFolder(std::move(home));
  std::vector<ImportSource> found;
  for (const char* root :
       {".mozilla/firefox", "snap/firefox/common/.mozilla/firefox", ".var/app/org.mozilla.firefox/.mozilla/firefox"})
    findFirefox(home / root, found);
  findChromium(home / ".config/chromium", "Chromium", found);
  findChromium(home / ".config/google-chrome", "Google Chrome", found);
  findChromium(home / ".config/BraveSoftware/Brave-Browser", "Brave", found);
  std::error_code ec;
  if (fs::exists(home / ".local/share/epiphany/ephy-history.db", ec))
    found.push_back(ImportSource{Kind::epiphany, "GNOME Web", "Default", home / ".local/share/epiphany"});
  return found;
}

std::optional<ImportSource> importSourceNamed(const std::string& nameOrPath, fs::path home) {
  std::string name = nameOrPath;
  std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  auto sources = findImportSources(std::move(home));
  auto first = [&](auto&& wanted) -> std::optional<ImportSource> {
    for (auto& source : sources)
      if (wanted(source)) return source;
    return std::nullopt;
  };
  if (name == "firefox") return first([](auto& s) { return s.kind == Kind::firefox; });
  if (name == "chromium" || name == "chrome") return first([](auto& s) { return s.kind == Kind::chromium; });
  if (name == "brave") return first([](auto& s) { return s.browser == "Brave"; });
  if (name == "epiphany" || name == "gnome web") return first([](auto& s) { return s.kind == Kind::epiphany; });
  std::error_code ec;
  fs::path folder = fs::absolute(nameOrPath, ec);
  if (fs::is_regular_file(folder, ec)) folder = folder.parent_path();
  const std::pair<const char*, Kind> files[] = {
      {"places.sqlite", Kind::firefox}, {"History", Kind::chromium}, {"ephy-history.db", Kind::epiphany}};
  for (auto [file, kind] : files)
    if (fs::exists(folder / file, ec)) {
      const char* browser = kind == Kind::firefox ? "Firefox" : kind == Kind::chromium ? "Chromium" : "GNOME Web";
      return ImportSource{kind, browser, folder.filename().string(), folder};
    }
  return std::nullopt;
}

std::vector<HistoryEntry> importedHistory(ImportedData&& data) {
  std::vector<HistoryEntry> entries = std::move(data.pages);
  for (auto& bookmark : data.bookmarks)
    if (!bookmark.onToolbar)
      entries.push_back(HistoryEntry{std::move(bookmark.url), std::move(bookmark.title), 1, bookmark.added});
  return entries;
}

std::variant<ImportedData, std::string> readImportSource(const ImportSource& source, const ImportProgress& progress) {
  ImportedData data;
  ImportSource copy = source;
  if (auto error = read(copy, &data, progress)) return *error;
  if (progress) progress(1.0);
  return data;
}

std::optional<std::string> countImportSource(ImportSource& source) { return read(source, nullptr, {}); }

}  // namespace quillo
