// The slash commands, Ctrl+E, and what choosing each kind of row does.
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
  ASSERT_EQ(all.size(), 21u);
  EXPECT_TRUE(std::equal(all.begin(), all.end(), commands::all().begin())) << "table order";
  EXPECT_EQ(names(commands::matching("pi")), "pictureInPicture pins");
  EXPECT_EQ(names(commands::matching("default browser")), "makeDefault");
  EXPECT_EQ(names(commands::matching("video")), "") << "inside \"float video\", not at its start";
  EXPECT_EQ(names(commands::matching("camera")), "permissions");
  // Only scopes are entered by name, and by a whole one.
  for (auto [name, scope] : std::initializer_list<std::pair<const char*, std::optional<PaletteCommand>>>{
           {"camera", PaletteCommand::permissions}, {"bookmarks", PaletteCommand::pins}, {"split", {}}, {"hist", {}}})
    EXPECT_EQ(commands::scopeNamed(name), scope) << name;
}

// Ctrl+E opens the palette afresh, or closes it while it is being edited.
TEST_F(Commands, CtrlEOpensTheBarAgainOrClosesIt) {
  open("https://a.example/", "A");
  browser->enter(PaletteCommand::pins);
  browser->toggleBar();
  EXPECT_EQ(browser->scope.get(), std::nullopt);
  browser->chrome.isHeldOpen = true;
  type("half typed");
  browser->toggleBar();
  EXPECT_EQ(browser->query.get(), "");
  browser->newTab();
  browser->toggleBar();
  EXPECT_FALSE(browser->isComposingNewTab.get()) << "composing is cancelled";
}

// Return with no active row: what the text says (the journeys press it on rows).
TEST_F(Commands, ReturnWithoutAnActiveRowSubmitsTheText) {
  open("https://alpha.example/", "Alpha");
  auto beta = open("https://beta.example/", "Beta");
  type("/nothing");
  EXPECT_FALSE(browser->submit("/nothing")) << "the palette closes";
  EXPECT_EQ(beta->url.get()->queryItem("q"), "/nothing") << "an unknown command is searched for";

  type("/hist");
  EXPECT_TRUE(browser->submit("/hist")) << "a command's first letters run it; a scope keeps the keyboard";
  EXPECT_EQ(browser->scope.get(), PaletteCommand::history);

  // Composing with nothing typed: Return keeps composing.
  browser->newTab();
  EXPECT_TRUE(browser->submit(""));
  EXPECT_TRUE(browser->isComposingNewTab.get());
  type("delta.example");
  EXPECT_FALSE(browser->submit("delta.example"));
  EXPECT_EQ(browser->current()->url.get(), url("https://delta.example")) << "a new tab loads it";
  EXPECT_EQ(browser->pages->size(), 3u);
}

TEST_F(Commands, MuteTogglesAndAMissingDownloadIsNotShown) {
  auto a = open("https://a.example/", "A");
  browser->run(PaletteCommand::mute);
  EXPECT_TRUE(a->isMuted.get());
  browser->run(PaletteCommand::mute);
  EXPECT_FALSE(a->isMuted.get()) << "until run again";

  auto missing = std::make_shared<TestDownload>("gone.zip", std::nullopt, true);
  auto present = std::make_shared<TestDownload>("here.zip", std::nullopt);
  browser->open(PaletteItem(DownloadItemPtr(missing)));
  browser->open(PaletteItem(DownloadItemPtr(present)));
  EXPECT_EQ(downloads.revealed, std::vector<DownloadItemPtr>{present}) << "a missing file is not shown";
}

// The window's journeys choose a partner by keys and cancel; these are the
// partners that need more than an open tab.
TEST_F(Commands, SplitPartnersChosenFromThePalette) {
  auto pin = pinned("https://pinned.example/", "Pinned");
  open("https://a.example/", "A");
  auto b = open("https://b.example/", "B");
  auto splitOf = [](const PagePtr& page) { return page->split.lock(); };

  browser->run(PaletteCommand::split);
  // The current page itself is no partner: the choice stays open.
  browser->selectedResult = 2;
  ASSERT_EQ(*browser->restingItems()[2].tab(), b);
  EXPECT_TRUE(browser->submit(""));
  EXPECT_TRUE(browser->isChoosingSplitPartner.get());

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

  browser->run(PaletteCommand::unsplit);
  EXPECT_TRUE(browser->splits.empty());
  EXPECT_EQ(browser->pages->size(), tabs + 1) << "both stay open";

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
