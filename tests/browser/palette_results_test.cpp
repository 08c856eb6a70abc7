// What the palette lists for the typed text, at rest and in each scope, and which row is highlighted.
#include "support/browser_test.h"

namespace quillo::test {
namespace {

using Results = BrowserTest;

TEST_F(Results, PinsThenTabsThenAtMostEightHistoryRowsNeverRepeatingAnAddressOnScreen) {
  pinned("https://news.example/", "News front page");
  open("https://news.example/world", "World news");
  open("https://docs.example/news", "Release notes");
  std::vector<HistoryEntry> entries;
  // Thirteen matches: the two addresses already open or pinned must not show
  // again, and no more than eight of the rest.
  entries.push_back(entry("https://news.example/", "News front page", 50));
  entries.push_back(entry("https://news.example/world", "World news", 40));
  for (int i = 0; i < 11; ++i)
    entries.push_back(entry("https://news.example/story/" + std::to_string(i), "Story", 30 - i));
  remember(entries);

  type("NEWS");
  // Tabs match on their address too.
  Strings expected{"pin:News front page", "tab:World news", "tab:Release notes"};
  for (int i = 0; i < 8; ++i) expected.push_back("history:https://news.example/story/" + std::to_string(i));
  EXPECT_EQ(results(), expected);
}

TEST_F(Results, MatchingIgnoresCaseAndSurroundingSpacesAndUsesCustomNames) {
  auto page = open("https://mail.example/inbox", "inbox (3)");
  page->customName = "Work mail";
  open("https://calendar.example/", "calendar");
  type("  WORK ");
  EXPECT_EQ(results(), Strings{"tab:inbox (3)"}) << "the custom name is what matches";
  type("inbox");
  EXPECT_EQ(results(), Strings{"tab:inbox (3)"}) << "and the address, whatever the name";
  type("CALENDAR.EXAMPLE");
  EXPECT_EQ(results(), Strings{"tab:calendar"});
  type("nothing like it");
  EXPECT_TRUE(results().empty());
}

// The journeys see the current tab lit at rest, Down lighting a search's
// first row and "/" lighting the first command.
TEST_F(Results, WhichRowIsHighlightedAtRestInASearchAndWhileChoosingACommand) {
  auto pin = pinned("https://pinned.example/", "Pinned");
  open("https://a.example/", "A");
  open("https://b.example/", "B");
  type("   \t");
  EXPECT_FALSE(browser->isSearching()) << "spaces only are no search";
  EXPECT_TRUE(browser->results().empty());
  EXPECT_EQ(resting(), (Strings{"pin:Pinned", "tab:A", "tab:B"}));
  EXPECT_EQ(browser->activeResult(), std::nullopt);

  browser->openPin(1);
  EXPECT_EQ(browser->restingHighlightID(), PaletteItemID(pin.id)) << "a page opened from a pin lights its row";
  EXPECT_EQ(browser->highlightIndex(), 0);
  browser->isComposingNewTab = true;
  EXPECT_EQ(browser->restingHighlightID(), std::nullopt) << "composing a new tab highlights nothing";
  browser->isComposingNewTab = false;
  browser->selectedResult = 1;
  EXPECT_EQ(browser->restingHighlightID(), browser->restingItems()[1].id());

  browser->selectedResult = std::nullopt;
  type("a.ex");
  EXPECT_TRUE(browser->isSearching());
  EXPECT_EQ(browser->activeResult(), std::nullopt) << "a plain search has no active row, so Return submits the text";
  type("/zzz");
  EXPECT_TRUE(browser->isChoosingCommand());
  EXPECT_EQ(browser->activeResult(), std::nullopt);
  type("a/b");
  EXPECT_FALSE(browser->isChoosingCommand()) << "only a leading slash chooses commands";
}

TEST_F(Results, ScopesListTheirOwnRows) {
  pinned("https://git.example/", "Code");
  pinned("https://wiki.example/", "Wiki");
  decide("zoom.example", "camera", PermissionDecision::allow);
  decide("alpha.example", "notifications", PermissionDecision::block);
  decide("meet.example", "app:zoommtg", PermissionDecision::allow);
  decide("meet.example", "microphone", PermissionDecision::allow);
  open("https://meet.example/room", "Room");
  remember({entry("https://Case.example/Path", "Case kept", 1, 1), entry("https://old.example/", "Old", 9, 30)});
  downloads.list = {std::make_shared<TestDownload>("Report.pdf", url("https://files.example/report.pdf")),
                    std::make_shared<TestDownload>("photo.jpg", std::nullopt)};
  logins.list = {{"1", "Mail", std::string("ann@mail.example"), {"mail.example"}},
                 {"2", "Bank", std::nullopt, {"bank.example"}}};

  browser->enter(PaletteCommand::pins);
  EXPECT_EQ(results(), (Strings{"pin:Code", "pin:Wiki"}));
  type("WIKI");
  EXPECT_EQ(results(), Strings{"pin:Wiki"});

  browser->enter(PaletteCommand::history);  // the history store's tests order its rows
  type(" Path ");
  EXPECT_EQ(results(), Strings{"history:https://Case.example/Path"});

  browser->enter(PaletteCommand::downloads);
  type("report");
  EXPECT_EQ(results(), Strings{"download:Report.pdf"});

  browser->enter(PaletteCommand::login);
  EXPECT_EQ(logins.loads, 1) << "entering the login scope loads the site's logins";
  type("ANN@");
  EXPECT_EQ(results(), Strings{"login:Mail"}) << "usernames match too";
  type("");
  EXPECT_EQ(results(), (Strings{"login:Mail", "login:Bank"}));
  EXPECT_TRUE(browser->isChoosingLogin());
  EXPECT_EQ(browser->activeResult(), 0) << "in a scope the first row is active";

  // The current site's permissions come first.
  browser->enter(PaletteCommand::permissions);
  EXPECT_EQ(browser->permissionsHost(), "meet.example");
  EXPECT_EQ(results(), (Strings{"permission:meet.example/camera", "permission:meet.example/microphone",
                                "permission:meet.example/notifications", "permission:meet.example/app:zoommtg",
                                "permission:alpha.example/notifications", "permission:zoom.example/camera"}));
  type("CAMERA");
  EXPECT_EQ(results(), (Strings{"permission:meet.example/camera", "permission:zoom.example/camera"}));
  // A page on a scheme that is not the web's has no site of its own.
  open("mailto:someone@example.com", "Mail");
  type("");
  EXPECT_EQ(browser->permissionsHost(), std::nullopt);
  EXPECT_EQ(results().size(), 4u) << "every site's permissions, no current-site block";
}

TEST_F(Results, CompletionComesFromHistoryButNeverForCommands) {
  remember({entry("https://www.github.com/quillo", "Quillo", 5)});
  EXPECT_EQ(browser->completion("git"), "github.com");
  EXPECT_EQ(browser->completion("/git"), std::nullopt);
  type("/");
  EXPECT_EQ(browser->completion("git"), std::nullopt) << "nothing while choosing a command";
}

}  // namespace
}  // namespace quillo::test
