// Journeys through the palette and the browser's keys, in the real window.
#include <sqlite3.h>

#include <cmath>
#include <fstream>

#include "app/gtk/desktop_services.h"
#include "core/app_support.h"
#include "engine/support/journey.h"
#include "page/site_zoom.h"

namespace quillo::test {
namespace {

using namespace std::chrono_literals;

class PaletteJourney : public Journey {
 protected:
  // Three tabs, Gamma on screen, Beta behind it, Alpha last.
  void SetUp() override {
    Journey::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    alpha = openPage("/alpha.html");
    beta = openPage("/beta.html");
    gamma = openPage("/gamma.html");
  }
  // The page shown is the one at `path` (its document: the address changes before the page does), with the keyboard.
  bool onPage(const std::string& path) {
    return waitFor([&] {
      return address() == url(path) && pageHasFocus() && !listShown() &&
             pageScript(browser->current(), "location.href") == url(path);
    });
  }
  // Ctrl+E, the text typed, Down onto the first row: the one titled so.
  void highlight(const std::string& typed, const std::string& title) {
    openPalette();
    type(typed);
    ASSERT_TRUE(waitFor([&] { return rowShown(row(title)); })) << fieldText();
    key("Down");
    ASSERT_TRUE(waitFor([&] { return highlightIs(row(title)); }));
  }

  PagePtr alpha, beta, gamma;
  SiteZoom zoom;  // outlives the browser, which Journey's TearDown ends
};

TEST_F(PaletteJourney, ReturnOpensTheHighlightedTabOrSearchesForPlainWords) {
  openPalette();
  EXPECT_TRUE(highlightIs(row("Gamma page"))) << "the current tab is lit at rest";
  type("alpha");
  ASSERT_TRUE(waitFor([&] { return rowShown(row("Alpha page")); })) << fieldText();
  key("Down");
  ASSERT_TRUE(waitFor([&] { return highlightIs(row("Alpha page")); }));
  key("Return");
  EXPECT_TRUE(onPage("/alpha.html")) << "the tab row, not a search for its title: " << address();
  EXPECT_EQ(browser->pages->size(), 3u);
  EXPECT_EQ(fieldText(), "127.0.0.1") << "the idle field shows the short address";

  enter("zebra crossing");
  EXPECT_TRUE(waitFor([&] { return address().find("q=zebra") != std::string::npos; })) << address();
}

TEST_F(PaletteJourney, CommandsRunAndScopesKeepTheKeyboard) {
  key("ctrl+w");
  ASSERT_TRUE(waitFor([&] { return browser->pages->size() == 2 && address() == url("/beta.html"); }));

  openPalette();
  type("/reopen");
  EXPECT_EQ(caption(), "Commands · Tab or Return to open");
  ASSERT_TRUE(waitFor([&] { return highlightIs("Reopen closed tab"); }));
  key("Tab");
  EXPECT_TRUE(onPage("/gamma.html")) << "the closed tab is back";
  EXPECT_EQ(browser->pages.get()[2]->savedURL()->str(), url("/gamma.html")) << "at its old place";

  openPalette();
  key("slash");
  ASSERT_TRUE(waitFor([&] { return fieldText() == "/" && highlightIs("Fill a login from 1Password"); }));
  key("Return");
  ASSERT_TRUE(waitFor([&] { return browser->scope.get() == PaletteCommand::login; }));
  EXPECT_TRUE(fieldHasFocus()) << "the scope takes the keyboard";
  EXPECT_EQ(fieldText(), "");
  EXPECT_EQ(window->addressBar().entry().get_placeholder_text(), "Find a login");
  key("Escape");
  EXPECT_TRUE(onPage("/gamma.html")) << "Escape closes the scope and gives the page the keyboard";

  openPalette();
  type("/pins");
  key("Tab");
  ASSERT_TRUE(waitFor([&] { return browser->scope.get() == PaletteCommand::pins && fieldHasFocus(); }));
  key("Escape");
  EXPECT_TRUE(onPage("/gamma.html"));
}

TEST_F(PaletteJourney, AScopeIsTypedIntoAndLeftWithBackspaceAndEscape) {
  // Alpha holds a text field: typed letters must not land in it.
  highlight("alpha", "Alpha page");
  key("Return");
  ASSERT_TRUE(onPage("/alpha.html"));
  ASSERT_EQ(pageScript(alpha, "document.getElementById('field').focus(); document.activeElement.id"), "field");

  auto chip = [&] {
    auto& button = window->addressBar().chip();
    return button.get_mapped() ? std::string(button.get_label()) : std::string();
  };
  EXPECT_EQ(chip(), "");
  enter("/history");
  ASSERT_TRUE(waitFor([&] { return browser->scope.get() == PaletteCommand::history && fieldHasFocus(); }));
  EXPECT_EQ(caption(), "History · newest first · Shift+Delete remove · Ctrl+C copy address");
  EXPECT_EQ(chip(), "History") << "the scope's chip stands before the field";
  type("gam");
  ASSERT_TRUE(waitFor([&] { return fieldText() == "gam" && rowShown(row("Gamma page")); })) << fieldText();
  EXPECT_EQ(pageScript(alpha, "document.getElementById('field').value"), "") << "nothing typed into the page";

  key("Down");
  ASSERT_TRUE(waitFor([&] { return browser->selectedResult.get().has_value(); }));
  key("Escape");
  ASSERT_TRUE(waitFor([&] { return !browser->selectedResult.get(); }));
  EXPECT_EQ(browser->scope.get(), PaletteCommand::history) << "the first Escape only drops the highlight";

  key("BackSpace BackSpace BackSpace");
  ASSERT_TRUE(waitFor([&] { return fieldText().empty(); }));
  EXPECT_EQ(browser->scope.get(), PaletteCommand::history) << "emptying the field stays in the scope";
  key("BackSpace");
  ASSERT_TRUE(waitFor([&] { return !browser->scope.get() && fieldText() == "/history" && fieldHasFocus(); }))
      << "back on the command line, the command still typed: " << fieldText();
  EXPECT_EQ(chip(), "");
  key("Return");
  ASSERT_TRUE(waitFor([&] { return browser->scope.get() == PaletteCommand::history; })) << "Return re-enters it";

  key("Escape");
  EXPECT_TRUE(onPage("/alpha.html"));
}

TEST_F(PaletteJourney, ReturnOnHistoryAndPinRowsAndThePinKeys) {
  key("ctrl+w");
  ASSERT_TRUE(waitFor([&] { return browser->pages->size() == 2; }));
  highlight("gamma", "Gamma page");
  key("Return");
  EXPECT_TRUE(onPage("/gamma.html")) << "the history row loads in the current tab";

  key("ctrl+d");
  ASSERT_TRUE(waitFor([&] { return browser->pins->size() == 1; })) << "Ctrl+D pins the page";
  highlight("alpha", "Alpha page");
  key("Return");
  ASSERT_TRUE(onPage("/alpha.html"));

  highlight("gamma", "Gamma page");
  key("Return");
  ASSERT_TRUE(onPage("/gamma.html")) << "the pin row opens the pin";
  ASSERT_TRUE(browser->current()->pinID);

  highlight("alpha", "Alpha page");
  key("Return");
  ASSERT_TRUE(onPage("/alpha.html"));
  key("ctrl+1");
  EXPECT_TRUE(onPage("/gamma.html")) << "Ctrl+1 opens the first pin";
}

TEST_F(PaletteJourney, ClickingIntoTheIdleFieldEditsTheFullAddress) {
  auto page = openPage("/alpha.html?x=1");
  ASSERT_TRUE(waitFor([&] { return fieldText() == "127.0.0.1"; })) << fieldText();
  auto& entry = window->addressBar().entry();
  click(entry, 40, entry.get_height() / 2.0);
  ASSERT_TRUE(waitFor([&] { return fieldHasFocus(); }));
  EXPECT_EQ(fieldText(), url("/alpha.html?x=1")) << "the full address, not the short host";
  int start = 0, end = 0;
  const bool selected = entry.get_selection_bounds(start, end) && start != end;
  EXPECT_FALSE(selected) << "nothing selected: " << start << "-" << end;
  EXPECT_GT(entry.get_position(), 0) << "the caret where the click was";
  EXPECT_LT(entry.get_position(), int(fieldText().size()));

  key("End");
  type("&y=2");
  ASSERT_TRUE(waitFor([&] { return fieldText() == url("/alpha.html?x=1&y=2"); })) << fieldText();
  key("Return");
  EXPECT_TRUE(onPage("/alpha.html?x=1&y=2")) << address();
  EXPECT_EQ(browser->current(), page) << "edited in place";
}

TEST_F(PaletteJourney, TheFirstKeyAfterCtrlECompletesFromHistory) {
  openPalette();
  auto& entry = window->addressBar().entry();
  ASSERT_TRUE(waitFor([&] {
    int start = 0, end = 0;
    return entry.get_selection_bounds(start, end) && start == 0 && end == int(fieldText().size());
  })) << "the address is selected, ready to be typed over";
  EXPECT_EQ(fieldText(), url("/gamma.html"));
  type("127");
  ASSERT_TRUE(waitFor([&] {
    int start = 0, end = 0;
    return fieldText() == "127.0.0.1" && entry.get_selection_bounds(start, end) && start == 3 && end == 9;
  })) << "completed inline with the tail selected: "
      << fieldText();
  EXPECT_EQ(browser->query.get(), "127") << "the list searches what was typed";
}

TEST_F(PaletteJourney, FindKeysStepThroughMatchesAndFindingEndsWhenThePaletteOpensForSomethingElse) {
  // The matches, whatever their case, in turn and round from the last to the first.
  ASSERT_EQ(pageScript(gamma, "document.body.innerHTML += '<p>GAMMA again</p><p>Gamma thrice</p>'; 'ok'"), "ok");
  key("ctrl+f");
  ASSERT_TRUE(waitFor([&] { return browser->isFinding.get() && fieldHasFocus(); }));
  EXPECT_EQ(caption(), "Find in page · Return for next, Shift+Return for previous");
  type("gamma");
  ASSERT_TRUE(waitFor([&] { return caption() == "1 of 3"; })) << caption();
  EXPECT_FALSE(listShown()) << "no tab rows over the page while finding";
  std::string seen = pageScript(gamma, "getSelection().toString()");
  for (auto keys : {"Return", "shift+Return", "ctrl+g", "F3", "F3", "shift+F3", "ctrl+shift+g", "shift+F3"}) {
    browser->findMatched = std::nullopt;
    key(keys);
    EXPECT_TRUE(waitFor([&] { return browser->findMatched.get() == std::optional<bool>(true); })) << keys;
    seen += std::string(" ") + keys + ":" + pageScript(gamma, "getSelection().toString()") + " " + caption();
  }
  EXPECT_EQ(seen,
            "gamma Return:GAMMA 2 of 3 shift+Return:gamma 1 of 3 ctrl+g:GAMMA 2 of 3 F3:Gamma 3 of 3 F3:gamma 1 of 3 "
            "shift+F3:Gamma 3 of 3 ctrl+shift+g:GAMMA 2 of 3 shift+F3:gamma 1 of 3");
  type("zz");
  ASSERT_TRUE(waitFor([&] { return browser->findMatched.get() == std::optional<bool>(false); }));
  EXPECT_TRUE(waitFor([&] { return caption() == "No matches · Esc to stop"; })) << "once the flash is gone";
  key("Escape");
  EXPECT_TRUE(onPage("/gamma.html"));

  // Finding ends when Ctrl+T opens the palette from the page, or Escape is pressed there.
  key("ctrl+f");
  ASSERT_TRUE(waitFor([&] { return browser->isFinding.get() && fieldHasFocus(); }));
  click(window->pageOverlay(), 300, 400);
  ASSERT_TRUE(waitFor([&] { return pageHasFocus(); }));
  key("ctrl+t");
  ASSERT_TRUE(waitFor([&] { return browser->isComposingNewTab.get() && fieldHasFocus(); }));
  EXPECT_FALSE(browser->isFinding.get());
  EXPECT_EQ(caption(), "New tab · Esc to cancel") << "a new-tab field, not a find field";
  EXPECT_EQ(fieldText(), "");
  key("Escape");
  EXPECT_TRUE(onPage("/gamma.html"));

  key("ctrl+f");
  ASSERT_TRUE(waitFor([&] { return browser->isFinding.get(); }));
  click(window->pageOverlay(), 300, 400);
  ASSERT_TRUE(waitFor([&] { return pageHasFocus(); }));
  key("Escape");
  EXPECT_TRUE(waitFor([&] { return !browser->isFinding.get(); }));
}

TEST_F(PaletteJourney, CtrlTabCyclesTheRecentTabsAndTheSessionFileFollows) {
  ASSERT_TRUE(xdotool("keydown ctrl"));
  key("Tab");
  ASSERT_TRUE(waitFor([&] { return listShown() && highlightIs(row("Beta page")); }));
  key("Tab");
  ASSERT_TRUE(waitFor([&] { return highlightIs(row("Alpha page")); }));
  EXPECT_EQ(address(), url("/gamma.html")) << "nothing chosen while Ctrl is held";
  ASSERT_TRUE(xdotool("keyup ctrl"));
  EXPECT_TRUE(onPage("/alpha.html"));

  const auto session = AppSupport::file("session.json");
  ASSERT_TRUE(waitFor(
      [&] {
        auto text = readFile(session);
        return text.find(url("/alpha.html")) < text.find(url("/beta.html")) &&
               text.find(url("/beta.html")) < text.find(url("/gamma.html")) &&
               text.find(url("/gamma.html")) != std::string::npos;
      },
      5s))
      << readFile(session);
}

TEST_F(PaletteJourney, BackForwardReloadRenameAndZoomKeys) {
  browser->attach(zoom);
  enter(url("/alpha.html"));
  ASSERT_TRUE(onPage("/alpha.html"));
  EXPECT_EQ(browser->current(), gamma) << "typed into the current tab";
  key("ctrl+bracketleft");
  EXPECT_TRUE(onPage("/gamma.html")) << "Ctrl+[ goes back";
  key("ctrl+bracketright");
  EXPECT_TRUE(onPage("/alpha.html")) << "Ctrl+] goes forward";
  waitLoaded(gamma);
  const int before = server.count("/alpha.html");
  key("F5");
  EXPECT_TRUE(waitFor([&] { return server.count("/alpha.html") == before + 1; })) << "F5 reloads";
  key("ctrl+i");
  ASSERT_TRUE(waitFor([&] { return browser->renamingID.get().has_value(); }));
  type("Reading");
  key("Return");
  EXPECT_TRUE(waitFor([&] { return gamma->customName.get() == std::optional<std::string>("Reading"); }))
      << "Ctrl+I renames the tab";

  // Ctrl+0 is actual size, not a pin.
  auto zoomBecomes = [&](double level) {
    return waitFor([&] { return std::abs(gamma->webView().zoom() - level) < 1e-9; }, 5s);
  };
  key("ctrl+equal");
  EXPECT_TRUE(zoomBecomes(1.1));
  key("ctrl+plus");
  EXPECT_TRUE(zoomBecomes(1.2));
  key("ctrl+minus");
  EXPECT_TRUE(zoomBecomes(1.1));
  key("ctrl+0");
  EXPECT_TRUE(zoomBecomes(1.0));
  EXPECT_TRUE(zoom.saved().empty());
  EXPECT_EQ(browser->current(), gamma);
}

TEST_F(PaletteJourney, AnAddressWithAStrayPercentIsKeptEverywhere) {
  const std::string odd = url("/alpha.html?q=50%off");
  enter(odd.substr(std::string("http://").size()));
  ASSERT_TRUE(waitFor([&] { return address() == odd && !browser->current()->isLoading.get(); })) << address();
  EXPECT_TRUE(waitFor([&] { return history->find(*Url::parse(odd)) != nullptr; })) << "in history";

  key("ctrl+w");
  ASSERT_TRUE(waitFor([&] { return browser->pages->size() == 2; }));
  key("ctrl+shift+t");
  EXPECT_TRUE(waitFor([&] { return address() == odd; })) << "and in the reopen memory: " << address();
}

// The desktop clipboard's text, read as a paste would.
std::string clipboardText() {
  struct Read {
    bool done = false;
    std::string text;
  } read;
  gdk_clipboard_read_text_async(
      gdk_display_get_clipboard(gdk_display_get_default()), nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        auto* read = static_cast<Read*>(data);
        char* text = gdk_clipboard_read_text_finish(GDK_CLIPBOARD(source), result, nullptr);
        read->text = text ? text : "";
        g_free(text);
        read->done = true;
      },
      &read);
  runUntil([&] { return read.done; }, 5s);
  return read.text;
}

// The text of the notice the list shows in place of rows, "" without one.
std::string noticeIn(GtkWidget* root) {
  for (GtkWidget* child = gtk_widget_get_first_child(root); child; child = gtk_widget_get_next_sibling(child)) {
    if (!gtk_widget_get_mapped(child)) continue;
    if (GTK_IS_LABEL(child) && gtk_widget_has_css_class(child, "quillo-palette-notice"))
      return gtk_label_get_text(GTK_LABEL(child));
    if (auto text = noticeIn(child); !text.empty()) return text;
  }
  return "";
}

TEST_F(Journey, AFirstRunsEmptyListDrawsNothingAndTextMatchingNothingSaysSo) {
  key("ctrl+t");
  ASSERT_TRUE(waitFor([&] { return browser->isComposingNewTab.get() && fieldHasFocus(); }));
  ASSERT_TRUE(nextFrames(3));
  EXPECT_FALSE(listShown()) << "no tabs, pins or downloads: no empty card over the page";
  type("qqzzxq");
  EXPECT_TRUE(waitFor([&] { return listShown() && noticeIn(GTK_WIDGET(list->gobj())) == "No matches"; }));
  key("ctrl+a BackSpace");
  EXPECT_TRUE(waitFor([&] { return fieldText().empty() && !listShown(); }));
}

TEST_F(PaletteJourney, PrivateTabsCopyAndRemoveKeys) {
  DesktopClipboard clipboard;
  browser->attach(clipboard);

  key("ctrl+shift+n");
  ASSERT_TRUE(waitFor([&] { return browser->isComposingPrivateTab.get() && fieldHasFocus(); }));
  auto tinted = [&] { return window->get_titlebar()->has_css_class("quillo-private"); };
  EXPECT_EQ(caption(), AddressBar::kPrivateLine);
  EXPECT_TRUE(tinted()) << "the bar is marked while the private tab is composed";
  EXPECT_EQ(window->addressBar().entry().get_placeholder_text(), "Private · search or enter an address");
  type(url("/beta.html?private=1"));
  key("Return");
  ASSERT_TRUE(onPage("/beta.html?private=1"));
  EXPECT_TRUE(browser->current()->isPrivate());
  EXPECT_TRUE(tinted() && caption() == AddressBar::kPrivateLine) << "and while it is current: " << caption();
  key("ctrl+t");
  ASSERT_TRUE(waitFor([&] { return fieldHasFocus() && caption() == "New tab · Esc to cancel" && !tinted(); }));
  key("Escape");
  ASSERT_TRUE(onPage("/beta.html?private=1"));
  key("ctrl+w");
  ASSERT_TRUE(onPage("/gamma.html"));
  EXPECT_FALSE(tinted());
  EXPECT_EQ(history->find(*Url::parse(url("/beta.html?private=1"))), nullptr) << "a private visit leaves no history";

  key("ctrl+slash");
  ASSERT_TRUE(waitFor([&] { return fieldText() == "/" && fieldHasFocus(); }));
  key("Escape");
  highlight("beta", "Beta page");
  key("ctrl+c");
  EXPECT_TRUE(waitFor([&] { return clipboardText() == url("/beta.html"); })) << "the row's address is copied";
  EXPECT_EQ(browser->flash.get(), std::optional<std::string>("Copied 127.0.0.1"));

  key("Escape Escape");
  key("ctrl+w");
  ASSERT_TRUE(waitFor([&] { return browser->pages->size() == 2; }));
  highlight("gamma", "Gamma page");
  key("shift+Delete");
  EXPECT_TRUE(waitFor([&] { return history->find(*Url::parse(url("/gamma.html"))) == nullptr; }))
      << "removed from history";
  EXPECT_TRUE(waitFor([&] { return !rowShown(row("Gamma page")); }));

  key("Escape Escape");
  key("ctrl+shift+Tab");
  EXPECT_TRUE(waitFor([&] { return address() == url("/alpha.html"); })) << "Ctrl+Shift+Tab goes the other way round";
}

// Pins by keys alone: Alt moves the lit pin, Alt+Shift how many are numbered, Ctrl+Shift+E edits its address.
TEST_F(PaletteJourney, PinRowKeysReorderAndNumberPinsAndEditTheirAddresses) {
  for (auto& page : {alpha, beta, gamma}) browser->pin(page);
  auto saved = [&] {  // the pins' paths, in the file's order
    std::string paths;
    if (auto pins = decodePins(AppSupport::read(std::string_view("pins.json")).value))
      for (auto& pin : *pins) paths += pin.url.str().substr(url("").size()) + " ";
    return paths;
  };
  openPalette();
  ASSERT_TRUE(highlightIs("Ctrl+3: Gamma page, 127.0.0.1")) << "the current page's pin";
  key("Up");
  ASSERT_TRUE(waitFor([&] { return highlightIs("Ctrl+2: Beta page, 127.0.0.1"); }));
  EXPECT_EQ(caption(), "Alt+↑/↓ move · Alt+Shift+↑/↓ numbered pins · Ctrl+Shift+E edit address") << "its keys";
  key("alt+Up");
  EXPECT_TRUE(waitFor([&] { return saved() == "/beta.html /alpha.html /gamma.html "; })) << saved();
  EXPECT_TRUE(waitFor([&] { return highlightIs("Ctrl+1: Beta page, 127.0.0.1"); })) << "the highlight follows";
  key("alt+shift+Up");
  EXPECT_TRUE(waitFor([&] { return rowShown(row("Gamma page")) && !rowShown("Ctrl+3: Gamma page, 127.0.0.1"); }))
      << "the third pin is numbered no more";
  EXPECT_EQ(browser->quickPinCount.get(), 2);
  key("Escape Escape");
  ASSERT_TRUE(onPage("/gamma.html"));
  key("ctrl+1");
  ASSERT_TRUE(onPage("/beta.html")) << "Ctrl+1 follows the new order";

  // The address editor in the lit pin's place, with the keyboard.
  auto editing = [&] {
    auto* focus = window->get_focus();
    auto* entry = focus ? dynamic_cast<Gtk::Entry*>(focus->get_parent()) : nullptr;
    return entry && entry != &window->addressBar().entry() && std::string(entry->get_text()) == url("/beta.html");
  };
  auto edit = [&](const std::string& typed) {
    openPalette();
    ASSERT_TRUE(highlightIs("Ctrl+1: Beta page, 127.0.0.1"));
    key("ctrl+shift+e");
    ASSERT_TRUE(waitFor(editing)) << typed;
    type(typed);
    key("Return");
    ASSERT_TRUE(waitFor([&] { return !browser->editingURLPinID.get() && !listShown(); })) << typed;
  };
  edit("not an address");
  EXPECT_EQ(caption(), "That isn't a web address");
  EXPECT_EQ(saved(), "/beta.html /alpha.html /gamma.html ") << "the pin is left as it was";
  edit(url("/beta.html?edited"));
  EXPECT_EQ(saved(), "/beta.html?edited /alpha.html /gamma.html ");
}

}  // namespace
}  // namespace quillo::test

namespace quillo::test {
namespace {

// A Firefox profile in the home folder: "/import", its row, Return; its page
// is found by a word of its title, and Ctrl+1 opens its toolbar bookmark.
TEST_F(PaletteJourney, AnotherBrowsersHistoryAndToolbarComeOverFromThePalette) {
  // Other browsers are looked for in the test's home, whatever happens below.
  struct Home {
    std::string saved = g_getenv("HOME");
    explicit Home(const std::string& home) { g_setenv("HOME", home.c_str(), TRUE); }
    ~Home() { g_setenv("HOME", saved.c_str(), TRUE); }
  } inHome(home.root());
  auto profile = home.root() / ".mozilla/firefox";
  std::filesystem::create_directories(profile / "p");
  std::ofstream(profile / "profiles.ini") << "[Profile0]\nName=default-release\nIsRelative=1\nPath=p\n";
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open((profile / "p/places.sqlite").c_str(), &db), SQLITE_OK);
  const std::string sql =
      "CREATE TABLE moz_places (id INTEGER PRIMARY KEY, url LONGVARCHAR, title LONGVARCHAR, rev_host LONGVARCHAR, "
      "visit_count INTEGER DEFAULT 0, hidden INTEGER DEFAULT 0 NOT NULL, typed INTEGER DEFAULT 0 NOT NULL, frecency "
      "INTEGER DEFAULT -1 NOT NULL, last_visit_date INTEGER , guid TEXT, foreign_count INTEGER DEFAULT 0 NOT NULL, "
      "url_hash INTEGER DEFAULT 0 NOT NULL);"
      "CREATE TABLE moz_bookmarks (id INTEGER PRIMARY KEY, type INTEGER, fk INTEGER DEFAULT NULL, parent INTEGER, "
      "position INTEGER, title LONGVARCHAR, keyword_id INTEGER, folder_type TEXT, dateAdded INTEGER, lastModified "
      "INTEGER, guid TEXT, syncStatus INTEGER NOT NULL DEFAULT 0, syncChangeCounter INTEGER NOT NULL DEFAULT 1);"
      "INSERT INTO moz_places (id, url, title, visit_count, last_visit_date) VALUES (1, '" +
      url("/beta.html?walrus") + "', 'Walrus migration notes', 3, 1714521600000000), (2, '" +
      url("/gamma.html?toolbar") +
      "', 'Toolbar', 0, NULL);"
      "INSERT INTO moz_bookmarks (id, type, fk, parent, position, title, dateAdded, guid) VALUES "
      "(1, 2, NULL, 0, 0, '', 0, 'root________'), (2, 2, NULL, 1, 0, 'toolbar', 0, 'toolbar_____'), "
      "(3, 1, 2, 2, 0, 'On the toolbar', 1714521600000000, 'bookmark0001');";
  ASSERT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
  sqlite3_close(db);

  openPalette();
  type("/import");
  ASSERT_TRUE(waitFor([&] { return highlightIs("Import history and bookmarks…"); }));
  key("Return");
  ASSERT_TRUE(waitFor([&] { return highlightIs("Firefox · default-release, 1 page · 1 bookmark"); })) << caption();
  key("Return");
  EXPECT_TRUE(waitFor([&] { return caption() == "Imported 1 page and 1 pin from Firefox"; })) << caption();

  openPalette();
  type("walrus");
  EXPECT_TRUE(waitFor([&] { return rowShown(row("Walrus migration notes")); })) << fieldText();
  key("Escape");
  key("ctrl+1");
  EXPECT_TRUE(waitFor([&] { return address() == url("/gamma.html?toolbar") && browser->current()->pinID; }))
      << address();
}

}  // namespace
}  // namespace quillo::test
