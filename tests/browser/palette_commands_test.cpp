// The slash commands, entering and leaving scopes, and what choosing each kind of row does.
#include "browser/split.h"
#include "support/browser_test.h"

namespace quillo::test {
namespace {

using Commands = BrowserTest;

// The commands' names, space-separated.
std::string names(const std::vector<PaletteCommand>& list) {
  std::string out;
  for (auto command : list) out += (out.empty() ? "" : " ") + std::string(commands::info(command).rawValue);
  return out;
}

TEST(PaletteCommandTable, MatchingIsByPrefixOfAWholeName) {
  auto all = commands::matching("");
  ASSERT_EQ(all.size(), 15u);
  EXPECT_TRUE(std::equal(all.begin(), all.end(), commands::all().begin())) << "table order";
  EXPECT_EQ(names(commands::matching("pi")), "pictureInPicture pins");
  EXPECT_EQ(names(commands::matching("pic")), "pictureInPicture");
  EXPECT_EQ(names(commands::matching("default browser")), "makeDefault");
  EXPECT_EQ(names(commands::matching("browser")), "");
  EXPECT_EQ(names(commands::matching("video")), "") << "inside \"float video\", not at its start";
  EXPECT_EQ(names(commands::matching("hist")), "history");
  EXPECT_EQ(names(commands::matching("camera")), "permissions");
  // Only scopes are entered by name, and by a whole one.
  for (auto [name, scope] : std::initializer_list<std::pair<const char*, std::optional<PaletteCommand>>>{
           {"camera", PaletteCommand::permissions}, {"bookmarks", PaletteCommand::pins}, {"split", {}}, {"hist", {}}})
    EXPECT_EQ(commands::scopeNamed(name), scope) << name;
  EXPECT_EQ(commands::scopeHint(PaletteCommand::downloads),
            "Downloads · Return shows in folder · Shift+Delete remove · Ctrl+C copy address")
      << "keys and places in the desktop's words";
}

// The journeys enter and leave scopes by keys; these are the calls they do not reach.
TEST_F(Commands, ScopesLeftAndTheBarOpenedAgainOrClosed) {
  open("https://a.example/", "A");
  type("/history");
  browser->search("/history");
  EXPECT_EQ(browser->scope.get(), PaletteCommand::history) << "a scope's name submitted enters it";
  EXPECT_EQ(engine.lastView()->loads.size(), 1u) << "nothing was loaded";
  browser->enter(PaletteCommand::pins);
  browser->leaveScope();
  EXPECT_EQ(browser->addressBarPrefill.get(), "/pins") << "the command line, ready to enter it again";
  browser->leaveScope();
  EXPECT_EQ(browser->addressBarPrefill.get(), "/pins") << "no scope: nothing to leave";

  browser->selectedResult = 3;
  browser->enter(PaletteCommand::pins);
  browser->summon();
  EXPECT_EQ(browser->scope.get(), std::nullopt);
  EXPECT_EQ(browser->selectedResult.get(), std::nullopt);

  // Ctrl+E opens the palette afresh, or closes it while it is being edited.
  browser->enter(PaletteCommand::pins);
  int focus = browser->addressBarFocusRequests.get();
  browser->toggleBar();
  EXPECT_EQ(browser->scope.get(), std::nullopt);
  EXPECT_EQ(browser->addressBarFocusRequests.get(), focus + 1);
  browser->chrome.isHeldOpen = true;
  type("half typed");
  browser->toggleBar();
  EXPECT_EQ(browser->query.get(), "");
  browser->newTab();
  browser->toggleBar();
  EXPECT_FALSE(browser->isComposingNewTab.get()) << "composing is cancelled";
}

// Return in the field: the active row when there is one, else the text.
TEST_F(Commands, ReturnChoosesTheActiveRowElseSubmitsTheText) {
  auto alpha = open("https://alpha.example/", "Alpha");
  auto beta = open("https://beta.example/", "Beta");
  type("/nothing");
  EXPECT_FALSE(browser->submit("/nothing")) << "the palette closes";
  EXPECT_EQ(beta->url.get()->queryItem("q"), "/nothing") << "an unknown command is searched for";

  // The resting list: Down moves onto a row, Return opens it.
  type("");
  browser->selectedResult = 0;
  ASSERT_EQ(*browser->restingItems()[0].tab(), alpha);
  browser->submit("beta.example");
  EXPECT_EQ(browser->current(), alpha);
  EXPECT_EQ(browser->selectedResult.get(), std::nullopt);

  // In a scope the first row is active: Return on a history row loads it.
  remember({entry("https://gamma.example/page", "Gamma")});
  type("/hist");
  EXPECT_TRUE(browser->submit("/hist")) << "a command's first letters run it; a scope keeps the keyboard";
  type("gamma");
  EXPECT_FALSE(browser->submit("gamma"));
  EXPECT_EQ(browser->scope.get(), std::nullopt) << "leaving the list for the page";
  EXPECT_EQ(alpha->url.get(), url("https://gamma.example/page"));

  // Composing with nothing typed: Return keeps composing.
  browser->newTab();
  EXPECT_TRUE(browser->submit(""));
  EXPECT_TRUE(browser->isComposingNewTab.get());
  type("delta.example");
  EXPECT_FALSE(browser->submit("delta.example"));
  EXPECT_EQ(browser->current()->url.get(), url("https://delta.example")) << "a new tab loads it";
  EXPECT_EQ(browser->pages->size(), 3u);
}

TEST_F(Commands, ChoosingATabEndsCyclingMuteTogglesAMissingDownloadIsNotShownAndAPermissionWalks) {
  auto a = open("https://a.example/", "A");
  open("https://b.example/", "B");
  browser->cycleIndex = 1;
  browser->open(PaletteItem(a));
  EXPECT_EQ(browser->current(), a);
  EXPECT_EQ(browser->cycleIndex.get(), std::nullopt) << "choosing a tab ends cycling";
  auto& view = static_cast<FakeWebView&>(a->webView());
  browser->run(PaletteCommand::mute);
  EXPECT_TRUE(a->isMuted.get() && view.muted());
  browser->run(PaletteCommand::mute);
  EXPECT_FALSE(view.muted()) << "until run again";

  auto missing = std::make_shared<TestDownload>("gone.zip", std::nullopt, true);
  auto present = std::make_shared<TestDownload>("here.zip", std::nullopt);
  browser->open(PaletteItem(DownloadItemPtr(missing)));
  browser->open(PaletteItem(DownloadItemPtr(present)));
  EXPECT_EQ(downloads.revealed, std::vector<DownloadItemPtr>{present}) << "a missing file is not shown";

  browser->enter(PaletteCommand::permissions);
  auto camera = browser->results()[0];
  ASSERT_EQ(describe(camera), "permission:a.example/camera");
  std::vector<std::optional<PermissionDecision>> seen;
  for (int press = 0; press < 3; ++press) {
    browser->choose(camera);
    seen.push_back(permissions.savedDecision(*camera.permission()));
  }
  EXPECT_EQ(seen, (std::vector<std::optional<PermissionDecision>>{PermissionDecision::allow, PermissionDecision::block,
                                                                  std::nullopt}))
      << "Return walks Allow, Block, Ask";
  EXPECT_EQ(browser->scope.get(), PaletteCommand::permissions) << "the list stays";
}

// The window's journeys choose a partner by keys and cancel; these are the
// partners that need more than an open tab.
TEST_F(Commands, SplitPartnersChosenFromThePalette) {
  auto pin = pinned("https://pinned.example/", "Pinned");
  open("https://a.example/", "A");
  auto b = open("https://b.example/", "B");
  auto splitOf = [](const PagePtr& page) { return page->split.lock(); };

  browser->run(PaletteCommand::split);
  EXPECT_TRUE(browser->isChoosingSplitPartner.get());
  // The current page itself is no partner: the choice stays open.
  browser->selectedResult = 2;
  ASSERT_EQ(*browser->restingItems()[2].tab(), b);
  EXPECT_TRUE(browser->submit(""));
  EXPECT_TRUE(browser->isChoosingSplitPartner.get());
  EXPECT_TRUE(browser->splits.empty());

  browser->selectedResult = 0;
  EXPECT_FALSE(browser->submit("")) << "a pin's row puts its live page beside";
  auto live = browser->pinnedPages.at(pin.id);
  ASSERT_TRUE(splitOf(live));
  EXPECT_EQ(splitOf(live)->left, b);

  // A history row or a typed address becomes a new page beside.
  size_t tabs = browser->pages->size();
  browser->run(PaletteCommand::split);
  browser->choose(PaletteItem(entry("https://history.example/", "")));
  EXPECT_EQ(browser->pages->size(), tabs + 1);
  EXPECT_EQ(browser->current()->url.get(), url("https://history.example/"));
  EXPECT_EQ(splitOf(browser->current())->left, live);
  EXPECT_FALSE(browser->isChoosingSplitPartner.get());
  EXPECT_FALSE(browser->isComposingNewTab.get());
  auto history = browser->current();
  browser->run(PaletteCommand::split);
  EXPECT_FALSE(browser->submit("c.example"));
  EXPECT_EQ(browser->current()->url.get(), url("https://c.example"));
  EXPECT_EQ(splitOf(browser->current())->left, history) << "beside the page that was current";
  ASSERT_EQ(browser->splits.size(), 1u) << "a page is in one split at most";
  browser->run(PaletteCommand::split);
  browser->cancelNewTab();
  EXPECT_EQ(browser->splits.size(), 1u) << "Escape while choosing keeps the split on screen";

  browser->run(PaletteCommand::unsplit);
  EXPECT_TRUE(browser->splits.empty());
  EXPECT_EQ(browser->pages->size(), tabs + 2) << "both stay open";

  open("https://secret.example/", "Secret", true, true);
  browser->choose(PaletteItem(entry("https://history.example/2", "")), true);
  EXPECT_TRUE(browser->current()->isPrivate()) << "beside a private page, private";
  EXPECT_EQ(browser->current()->url.get(), url("https://history.example/2"));
}

TEST_F(Commands, ClearingHistoryAsksFirst) {
  auto& store = remember({entry("https://a.example/", "A"), entry("https://b.example/", "B")});
  auto pin = pinned("https://pinned.example/", "Pinned");
  browser->run(PaletteCommand::clearHistory);
  ASSERT_EQ(alerts.asked.size(), 1u);
  EXPECT_EQ(alerts.asked[0].message, "Clear all history?");
  EXPECT_EQ(alerts.asked[0].detail, "Every page visited is forgotten. Pins and open tabs stay.");
  EXPECT_EQ(alerts.asked[0].buttons, (Strings{"Clear History", "Cancel"}));
  alerts.answer(1);
  EXPECT_EQ(store.size(), 3u) << "Cancel keeps everything (the pinned visit included)";

  browser->run(PaletteCommand::clearHistory);
  alerts.answer(0);
  EXPECT_EQ(store.size(), 0u);
  EXPECT_EQ(browser->pins->size(), 1u) << "pins stay";
  EXPECT_EQ(browser->pinnedPages.size(), 1u) << "open pages stay";
}

}  // namespace
}  // namespace quillo::test
