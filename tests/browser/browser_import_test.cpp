// Importing from other browsers: their real tables in a temporary home, brought into history and pins.
#include <glib.h>
#include <sqlite3.h>

#include <fstream>

#include "support/browser_test.h"

namespace quillo::test {
namespace {
namespace fs = std::filesystem;

constexpr long long kMay1 = 1714521600;  // 2024-05-01 00:00 UTC, in Unix seconds
constexpr long long kDay = 86400;
long long firefoxTime(long long t) { return t * 1000000; }
long long chromeTime(long long t) { return (t + 11644473600LL) * 1000000; }

// Runs SQL on a database, creating it; the connection stays open when asked.
sqlite3* run(const fs::path& file, const std::string& sql, bool keepOpen = false) {
  fs::create_directories(file.parent_path());
  sqlite3* db = nullptr;
  EXPECT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
  char* error = nullptr;
  EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK) << (error ? error : "");
  sqlite3_free(error);
  if (keepOpen) return db;
  sqlite3_close(db);
  return nullptr;
}

void write(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  std::ofstream(file) << text;
}

class ImportTest : public BrowserTest {
 protected:
  void SetUp() override {
    savedHome = g_getenv("HOME");
    g_setenv("HOME", home.root().c_str(), TRUE);
    remember({});
    makeFirefox();
    makeChrome();
    makeEpiphany();
  }
  void TearDown() override {
    if (firefoxWriter) sqlite3_close(firefoxWriter);
    g_setenv("HOME", savedHome.c_str(), TRUE);
  }

  // Current tables, Firefox 115 and later; written through the write-ahead log
  // and still held by an exclusive transaction, as a running Firefox may.
  void makeFirefox() {
    auto root = home.root() / ".mozilla/firefox";
    write(root / "profiles.ini",
          "[Install4F96D1932A9F858E]\nDefault=Profiles/x1.default-release\n\n"
          "[Profile0]\nName=default-release\nIsRelative=1\nPath=Profiles/x1.default-release\n");
    const auto when = std::to_string(firefoxTime(kMay1)), april = std::to_string(firefoxTime(kMay1 - 30 * kDay));
    firefoxWriter = run(
        root / "Profiles/x1.default-release/places.sqlite",
        "PRAGMA journal_mode=WAL;"
        "CREATE TABLE moz_places (   id INTEGER PRIMARY KEY, url LONGVARCHAR, title LONGVARCHAR, rev_host LONGVARCHAR, "
        "visit_count INTEGER DEFAULT 0, hidden INTEGER DEFAULT 0 NOT NULL, typed INTEGER DEFAULT 0 NOT NULL, frecency "
        "INTEGER DEFAULT -1 NOT NULL, last_visit_date INTEGER , guid TEXT, foreign_count INTEGER DEFAULT 0 NOT NULL, "
        "url_hash INTEGER DEFAULT 0 NOT NULL , description TEXT, preview_image_url TEXT, site_name TEXT, origin_id "
        "INTEGER REFERENCES moz_origins(id), recalc_frecency INTEGER NOT NULL DEFAULT 0, alt_frecency INTEGER, "
        "recalc_alt_frecency INTEGER NOT NULL DEFAULT 0);"
        "CREATE TABLE moz_bookmarks (  id INTEGER PRIMARY KEY, type INTEGER, fk INTEGER DEFAULT NULL, parent INTEGER, "
        "position INTEGER, title LONGVARCHAR, keyword_id INTEGER, folder_type TEXT, dateAdded INTEGER, lastModified "
        "INTEGER, guid TEXT, syncStatus INTEGER NOT NULL DEFAULT 0, syncChangeCounter INTEGER NOT NULL DEFAULT 1);"
        "INSERT INTO moz_places (id, url, title, visit_count, last_visit_date) VALUES"
        " (1, 'https://news.example/story', 'Story', 5, " +
            when + "), (2, 'ftp://files.example/', 'Files', 3, " + when +
            "), (3, 'https://bar.example/', 'Bar', 0, NULL), (4, 'https://docs.example/', 'Docs', 0, NULL);"
            "INSERT INTO moz_bookmarks (id, type, fk, parent, position, title, dateAdded, guid) VALUES"
            " (1, 2, NULL, 0, 0, '', 0, 'root________'), (2, 2, NULL, 1, 0, 'toolbar', 0, 'toolbar_____'),"
            " (3, 2, NULL, 1, 1, 'menu', 0, 'menu________'), (4, 2, NULL, 1, 2, 'tags', 0, 'tags________'),"
            " (5, 2, NULL, 4, 0, 'news', 0, 'tagfolder001'), (6, 1, 1, 5, 0, NULL, 0, 'tagged000001'),"
            " (7, 1, 3, 2, 0, 'Bar', " +
            april + ", 'bookmark0001'), (8, 1, 1, 2, 1, 'Story', " + april +
            ", 'bookmark0002'), (9, 1, 4, 3, 0, 'Docs', " + april +
            ", 'bookmark0003');"
            "BEGIN EXCLUSIVE;",
        true);
  }

  void makeChrome() {
    auto root = home.root() / ".config/google-chrome";
    write(root / "Local State", R"({"profile":{"info_cache":{"Default":{"name":"Work"}}}})");
    const std::string schema =
        "CREATE TABLE urls(id INTEGER PRIMARY KEY AUTOINCREMENT,url LONGVARCHAR,title LONGVARCHAR,visit_count INTEGER "
        "DEFAULT 0 NOT NULL,typed_count INTEGER DEFAULT 0 NOT NULL,last_visit_time INTEGER NOT NULL,hidden INTEGER "
        "DEFAULT 0 NOT NULL);";
    run(root / "Default/History",
        schema +
            "INSERT INTO urls (url, title, visit_count, last_visit_time) VALUES ('https://news.example/story', "
            "'Story (Chrome)', 7, " +
            std::to_string(chromeTime(kMay1 + 9 * kDay)) + "), ('https://mail.example/', 'Mail', 2, " +
            std::to_string(chromeTime(kMay1 + kDay)) + "), ('chrome://settings/', 'Settings', 9, 0);");
    const auto added = std::to_string(chromeTime(kMay1 - 60 * kDay));
    write(root / "Default/Bookmarks",
          R"({"roots":{"bookmark_bar":{"type":"folder","children":[
                {"type":"url","name":"Bar again","url":"https://bar.example/","date_added":")" +
              added + R"("},
                {"type":"url","name":"Chat","url":"https://chat.example/","date_added":")" +
              added + R"("}]},
              "other":{"type":"folder","children":[
                {"type":"url","name":"Recipes","url":"https://recipes.example/","date_added":")" +
              added + R"("}]},
              "synced":{"type":"folder","children":[]}}})");
    // A second profile whose database was cut short.
    run(root / "Profile 1/History", schema +
                                        "INSERT INTO urls (url, visit_count, last_visit_time) VALUES ('https://"
                                        "a.example/', 1, 1);");
    auto text = TempHome::read(root / "Profile 1/History");
    write(root / "Profile 1/History", text.substr(0, text.size() / 2));
    run(home.root() / ".config/BraveSoftware/Brave-Browser/Default/History", "CREATE TABLE visits(id INTEGER);");
  }

  void makeEpiphany() {
    run(home.root() / ".local/share/epiphany/ephy-history.db",
        "CREATE TABLE hosts (id INTEGER PRIMARY KEY,url LONGVARCAR,title LONGVARCAR,visit_count INTEGER DEFAULT 0 NOT "
        "NULL,zoom_level REAL DEFAULT 0.0);"
        "CREATE TABLE urls (id INTEGER PRIMARY KEY,host INTEGER NOT NULL REFERENCES hosts(id) ON DELETE CASCADE,url "
        "LONGVARCAR UNIQUE NOT NULL,title LONGVARCAR,sync_id LONGVARCAR,visit_count INTEGER DEFAULT 0 NOT "
        "NULL,last_visit_time INTEGER NOT NULL,thumbnail_update_time INTEGER DEFAULT 0 NOT NULL,hidden_from_overview "
        "INTEGER DEFAULT 0);"
        "INSERT INTO hosts VALUES (1, 'https://gnome.example', 'GNOME', 4, 0.0);"
        "INSERT INTO urls (host, url, title, visit_count, last_visit_time) VALUES (1, 'https://gnome.example/', "
        "'GNOME', 4, " +
            std::to_string(kMay1 + 2 * kDay) + "), (1, 'file:///tmp/notes.html', 'Notes', 2, 0);");
  }

  // Imports the profile listed under this title and waits for the outcome.
  Browser::ImportResult importFrom(const std::string& title) {
    const auto& sources = *browser->importSources.get();
    auto found = std::find_if(sources.begin(), sources.end(), [&](auto& s) { return s.title() == title; });
    EXPECT_NE(found, sources.end()) << title;
    std::optional<Browser::ImportResult> result;
    browser->importFrom(*found, [&](const Browser::ImportResult& r) { result = r; });
    while (!result) scheduler.waitForWorkers(1);
    return *result;
  }
  std::vector<std::tuple<std::string, std::string, int64_t, double>> historyNow() const {
    std::vector<std::tuple<std::string, std::string, int64_t, double>> out;
    for (auto& e : history->recent("", 100)) out.emplace_back(e.url.str(), e.title, e.visits, e.lastVisited);
    return out;
  }
  Strings pinsNow() const {
    Strings out;
    for (auto& pin : browser->pins.get()) out.push_back(pin.title + " " + pin.url.str());
    return out;
  }

  std::string savedHome;
  sqlite3* firefoxWriter = nullptr;
};

double reference(long long t) { return double(t - 978307200); }

TEST_F(ImportTest, EachBrowsersPagesAndBookmarksComeOverOnceAndAFailedReadChangesNothing) {
  type("");
  browser->enter(PaletteCommand::importHistory);
  EXPECT_EQ(browser->results().size(), 0u) << "still looking";
  while (!browser->importSources.get()) scheduler.waitForWorkers(1);
  Strings listed;
  for (auto& row : browser->results()) listed.push_back(describe(row) + " · " + row.importSource()->detail());
  EXPECT_EQ(listed, (Strings{"import:Firefox · default-release · 1 page · 3 bookmarks",
                             "import:Google Chrome · Work · 2 pages · 3 bookmarks",
                             "import:Google Chrome · Profile 1 · 0 pages · 0 bookmarks",
                             "import:Brave · Default · 0 pages · 0 bookmarks",
                             "import:GNOME Web · Default · 1 page · 0 bookmarks"}));

  // Each in turn: non-web addresses stay behind, toolbar bookmarks become pins
  // (an address pinned already is not pinned again), other bookmarks visits.
  const struct {
    const char* title;
    const char* flash;
  } imports[] = {
      {"Firefox · default-release", "Imported 1 page and 2 pins from Firefox"},
      {"Google Chrome · Work", "Imported 2 pages and 1 pin from Google Chrome"},
      {"GNOME Web · Default", "Imported 1 page and 0 pins from GNOME Web"},
  };
  for (auto& step : imports) {
    EXPECT_FALSE(importFrom(step.title).error);
    EXPECT_EQ(browser->flash.get(), step.flash);
    history->recent("", 1);  // indexed now: the next import keeps the search orders in step
  }
  // The larger count and the later visit win; a title already here stays.
  const decltype(historyNow()) expected{
      {"https://news.example/story", "Story", 7, reference(kMay1 + 9 * kDay)},
      {"https://gnome.example/", "GNOME", 4, reference(kMay1 + 2 * kDay)},
      {"https://mail.example/", "Mail", 2, reference(kMay1 + kDay)},
      {"https://docs.example/", "Docs", 1, reference(kMay1 - 30 * kDay)},
      {"https://recipes.example/", "Recipes", 1, reference(kMay1 - 60 * kDay)},
  };
  EXPECT_EQ(historyNow(), expected);
  EXPECT_EQ(pinsNow(),
            (Strings{"Bar https://bar.example/", "Story https://news.example/story", "Chat https://chat.example/"}));
  EXPECT_EQ(browser->quickPinCount.get(), 9);

  // Again, and what can't be read: nothing changes, nothing is written.
  history->saveNow();
  const auto historyFile = TempHome::read(home.data("history.json"));
  const auto pinsFile = TempHome::read(home.data("pins.json"));
  int changes = 0;
  history->changed().connect([&] { ++changes; });
  for (auto* title : {"Firefox · default-release", "Google Chrome · Work"}) EXPECT_FALSE(importFrom(title).error);
  // A database cut short, and one of tables this version does not know.
  const std::pair<const char*, std::string> broken[] = {
      {"Google Chrome · Profile 1", ".config/google-chrome/Profile 1/History: database disk image is malformed"},
      {"Brave · Default",
       ".config/BraveSoftware/Brave-Browser/Default/History: not a history database this version "
       "knows (no such table: urls)"}};
  for (auto& [title, why] : broken) {
    auto result = importFrom(title);
    EXPECT_EQ(result.error, "Couldn't read " + (home.root() / why).string());
    EXPECT_EQ(browser->flash.get(), result.error);
    EXPECT_TRUE(browser->flashIsError.get());
  }
  scheduler.advance(std::chrono::seconds(5));
  EXPECT_EQ(changes, 0);
  EXPECT_EQ(historyNow(), expected);
  EXPECT_EQ(TempHome::read(home.data("history.json")), historyFile);
  EXPECT_EQ(TempHome::read(home.data("pins.json")), pinsFile);

  // From the command line's words, and the originals were only ever read.
  EXPECT_EQ(importSourceNamed("chromium")->title(), "Google Chrome · Work");
  EXPECT_EQ(importSourceNamed((home.root() / ".local/share/epiphany/ephy-history.db").string())->browser, "GNOME Web");
  EXPECT_FALSE(importSourceNamed("/nowhere"));
  EXPECT_TRUE(fs::exists(home.root() / ".mozilla/firefox/Profiles/x1.default-release/places.sqlite-wal"));
  browser->openPin(1);
  EXPECT_EQ(browser->current()->savedURL(), url("https://bar.example/"));
}

}  // namespace
}  // namespace quillo::test
