// What the palette lists for the typed text, at rest and in each scope.
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
  type("   \t");
  EXPECT_FALSE(browser->isSearching()) << "spaces only are no search";
  EXPECT_TRUE(results().empty());
  type("a/b");
  EXPECT_FALSE(browser->isChoosingCommand()) << "only a leading slash chooses commands";
}

TEST_F(Results, ScopesListTheirOwnRows) {
  decide("zoom.example", "camera", PermissionDecision::allow);
  decide("alpha.example", "notifications", PermissionDecision::block);
  decide("meet.example", "app:zoommtg", PermissionDecision::allow);
  decide("meet.example", "microphone", PermissionDecision::allow);
  open("https://meet.example/room", "Room");
  logins.list = {{"1", "Mail", std::string("ann@mail.example"), {"mail.example"}},
                 {"2", "Bank", std::nullopt, {"bank.example"}}};

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
