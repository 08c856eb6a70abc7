// Split view in the model: the divider, links opened beside, the side with the keyboard, restored splits.
#include <cmath>

#include "support/browser_test.h"

namespace quillo {
namespace {

using namespace std::chrono_literals;

// a | b with b current, and c on its own.
class BrowserSplit : public test::BrowserTest {
 protected:
  void SetUp() override {
    a = open("https://a.example/");
    b = open("https://b.example/");
    c = open("https://c.example/");
    browser->select(a);
    browser->showBeside(b);
    ASSERT_EQ(browser->splits.size(), 1u);
  }
  static std::shared_ptr<Split> splitOf(const PagePtr& page) { return page->split.lock(); }

  PagePtr a, b, c;
};
using SplitFromScratch = test::BrowserTest;

TEST(SplitDivider, DraggingKeepsTheRatioBetweenAFifthAndFourFifths) {
  for (auto [x, width, ratio] : std::initializer_list<std::tuple<double, double, double>>{
           {-40, 1000, 0.2}, {201, 1000, 0.201}, {1300, 1000, 0.8}, {100, 0, 0.5}})
    EXPECT_DOUBLE_EQ(Split::ratioForDrag(x, width), ratio) << x << " of " << width;
  // The left pane gets its share of what the 7 px divider leaves.
  EXPECT_EQ(Split::leftWidth(1007, 0.2), 200);
  EXPECT_EQ(Split::leftWidth(5, 0.5), 0);
  for (auto [saved, ratio] :
       std::initializer_list<std::pair<double, double>>{{0.35, 0.35}, {7, 0.8}, {-1, 0.2}, {std::nan(""), 0.5}})
    EXPECT_DOUBLE_EQ(Split::sanitized(saved), ratio) << saved;
}

// Ctrl+Alt+Left/Right and Ctrl+Alt+0 on the current split; the journey presses them.
TEST_F(BrowserSplit, KeysStepTheDividerByTwentiethsAsFarAsDraggingGoesAndSaveIt) {
  for (auto [ratio, steps, moved] : std::initializer_list<std::tuple<double, int, double>>{{0.5, 1, 0.55},
                                                                                           {0.5, -1, 0.45},
                                                                                           {0.537, 1, 0.55},
                                                                                           {0.537, -1, 0.5},
                                                                                           {0.79, 1, 0.8},
                                                                                           {0.8, 1, 0.8},
                                                                                           {0.2, -1, 0.2},
                                                                                           {0.5, 7, 0.8},
                                                                                           {std::nan(""), 1, 0.55}})
    EXPECT_DOUBLE_EQ(Split::ratioForSteps(ratio, steps), moved) << ratio << " by " << steps;

  auto split = splitOf(b);
  browser->moveDivider(1);
  browser->moveDivider(1);
  scheduler.advance(1s);
  auto saved = Session::read();
  ASSERT_EQ(saved.tabs.size(), 3u);
  EXPECT_EQ(saved.tabs[0].splitRatio, std::optional<double>(0.6)) << "exactly, as the file says it";
  browser->centreDivider();
  EXPECT_EQ(split->ratio.get(), 0.5);

  browser->select(c);
  browser->moveDivider(-1);
  EXPECT_EQ(split->ratio.get(), 0.5) << "nothing on a page without a split";
}

// The journeys close the current side; closing the one behind leaves the other alone on screen.
TEST_F(BrowserSplit, ClosingTheBackgroundSideLeavesTheOtherAnOrdinaryTabAndNothingToCycleTo) {
  int changes = 0;
  browser->splitsChanged.connect([&] { ++changes; });
  browser->close(a);
  EXPECT_EQ(browser->current(), b);
  EXPECT_TRUE(b->split.expired());
  EXPECT_EQ(changes, 1);
  browser->showBeside(c);  // b | c
  browser->cycle(false);
  EXPECT_EQ(browser->current(), c) << "one split and nothing else: nothing to cycle to";
}

TEST_F(BrowserSplit, ShiftClickAndCtrlAltClickOpenALinkBesideItsPageInTheSameStore) {
  auto secret = open("https://secret.example/", "", true, true);
  view(secret).emitMessage("quilloHover", "https://secret.example/next");
  const Modifiers shift{true, false, false, false};
  for (auto [what, held, clicked] : std::initializer_list<std::tuple<const char*, Modifiers, Page*>>{
           {"Alt+Shift is not Shift", {true, false, true, false}, secret.get()},
           {"only in the current page's view", shift, a.get()},
           {"nor in no view", shift, nullptr},
       })
    EXPECT_FALSE(browser->openLinkBeside(held, clicked)) << what;
  EXPECT_FALSE(splitOf(secret));
  EXPECT_EQ(browser->pages->size(), 4u);

  ASSERT_TRUE(browser->openLinkBeside(shift, secret.get()));
  auto opened = browser->current();
  ASSERT_NE(opened, secret);
  EXPECT_EQ(opened->url.get(), Url::parse("https://secret.example/next"));
  EXPECT_TRUE(opened->isPrivate());
  EXPECT_EQ(opened->webView().store(), secret->webView().store()) << "in the same private store";
  ASSERT_TRUE(splitOf(opened));
  EXPECT_EQ(splitOf(opened)->left, secret);

  // Ctrl+Alt+click, decided by the navigation policy, opens beside the side clicked in.
  secret->openBeside(*Url::parse("https://secret.example/more"));
  auto more = browser->current();
  ASSERT_TRUE(splitOf(more));
  EXPECT_EQ(splitOf(more)->left, secret) << "beside the page the link was in, not the current side";
  EXPECT_EQ(more->webView().store(), secret->webView().store());
}

TEST_F(BrowserSplit, ZoomAndFindActOnTheCurrentSideAndAClickElsewhereChangesNothing) {
  browser->zoomIn();
  EXPECT_GT(view(b).zoom(), 1.0) << "zoom acts on the current side";
  EXPECT_DOUBLE_EQ(view(a).zoom(), 1.0);

  browser->startFinding();
  browser->find("b");
  EXPECT_TRUE(view(b).findActive);
  browser->focusSideUnderPointer(b.get());
  browser->focusSideUnderPointer(c.get());
  EXPECT_EQ(browser->current(), b) << "a click on the current side, or on a page not beside it, changes nothing";
  EXPECT_TRUE(browser->isFinding.get());

  browser->focusSideUnderPointer(a.get());
  EXPECT_EQ(browser->current(), a);
  EXPECT_FALSE(browser->isFinding.get()) << "finding stays with the side it was started on";
  EXPECT_FALSE(view(b).findActive);
}

TEST_F(SplitFromScratch, ChoosingAPartnerNeedsAPage) {
  Browser empty(engine, scheduler);
  empty.startSplit();
  EXPECT_FALSE(empty.isChoosingSplitPartner.get()) << "nothing to put a page beside";
  EXPECT_FALSE(empty.isComposingNewTab.get());
}

TEST_F(SplitFromScratch, SplitsThatMakeNoSenseAreSkippedAndAKeptOneSavesItsDrag) {
  std::vector<std::string> addresses;
  for (int i = 0; i < 7; ++i) addresses.push_back("https://site" + std::to_string(i) + ".example/");
  auto session = test::sessionOf(addresses);
  auto pair = [&](size_t from, size_t to, bool left, double ratio) {
    session.tabs[from].splitPartner = to;
    session.tabs[from].splitIsLeft = left;
    session.tabs[from].splitRatio = ratio;
  };
  pair(0, 9, true, 0.4);   // a partner past the end
  pair(1, 1, true, 0.4);   // beside itself
  pair(2, 3, true, 5.0);   // a ratio no drag gives
  pair(3, 2, true, 0.3);   // both claim the left side: the first wins
  pair(4, 3, true, 0.6);   // its partner is taken already
  pair(5, 6, false, 0.4);  // both claim the right side: no left entry
  pair(6, 5, false, 0.4);
  session.recent = {0};
  Browser restored(engine, scheduler);
  restored.restoreSession(session);
  ASSERT_EQ(restored.pages->size(), 7u) << "every tab comes back";
  ASSERT_EQ(restored.splits.size(), 1u);
  auto& pages = restored.pages.get();
  EXPECT_EQ(std::make_pair(restored.splits[0]->left, restored.splits[0]->right), std::make_pair(pages[2], pages[3]));
  EXPECT_DOUBLE_EQ(restored.splits[0]->ratio.get(), 0.8) << "kept where the divider can go";
  for (size_t i : {0u, 1u, 4u, 5u, 6u}) EXPECT_TRUE(pages[i]->split.expired()) << i;

  // A restored split saves its ratio when dragged, as a new one does.
  restored.splits[0]->drag(300, 1000);
  scheduler.advance(1s);
  auto saved = Session::read();
  ASSERT_EQ(saved.tabs.size(), 7u);
  EXPECT_EQ(saved.tabs[2].splitRatio, std::optional<double>(0.3));
  EXPECT_EQ(saved.tabs[3].splitPartner, std::optional<size_t>(2));
  EXPECT_FALSE(saved.tabs[4].splitPartner);
}

}  // namespace
}  // namespace quillo
