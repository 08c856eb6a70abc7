// Pages without views: restored tabs answer from what they kept, and hidden
// pages idle for more than an hour give their view back.
#include <gtest/gtest.h>

#include "core/browser.h"
#include "support/fake_web_view.h"
#include "support/temp_home.h"
#include "support/virtual_scheduler.h"

namespace quillo {
namespace {

using namespace std::chrono_literals;
using test::FakeDataStore;
using test::FakeEngine;
using test::FakeWebView;

class IdleUnloading : public ::testing::Test {
 protected:
  IdleUnloading() : browser(engine, scheduler) { browser.settleBlockLists(); }

  PagePtr open(const std::string& address, bool showing = true, bool isPrivate = false) {
    auto page = browser.makePage(isPrivate);
    page->load(*Url::parse(address));
    browser.add(page, showing);
    return page;
  }
  FakeWebView* view(const PagePtr& page) { return static_cast<FakeWebView*>(page->liveView()); }
  // A page in the background, last shown at the present time.
  PagePtr hidden(const std::string& address, bool isPrivate = false) {
    auto current = browser.current();
    auto page = open(address, true, isPrivate);
    if (current) browser.select(current);
    return page;
  }

  test::TempHome home;
  test::VirtualScheduler scheduler;
  FakeEngine engine;
  Browser browser;
};

TEST_F(IdleUnloading, RestoredTabsMakeNoViewUntilShownAndAnswerFromWhatTheyKept) {
  FakeWebView source(nullptr, {});
  source.load(*Url::parse("https://a.example/1"));
  source.load(*Url::parse("https://a.example/2"));
  Session session;
  session.tabs.push_back({*Url::parse("https://a.example/2"), "Two", std::nullopt, std::nullopt, std::nullopt,
                          std::nullopt, std::nullopt, source.sessionState()});
  for (int i = 0; i < 50; ++i) {
    Session::Tab tab;
    tab.url = *Url::parse("https://t" + std::to_string(i) + ".example/");
    tab.title = "Tab " + std::to_string(i);
    session.tabs.push_back(tab);
  }
  for (size_t i = 0; i < session.tabs.size(); ++i) session.recent.push_back(i);

  Browser restored(engine, scheduler);
  restored.isDeferringViews = true;  // as at start-up, until the window is up
  restored.installBlockLists({std::make_shared<test::FakeContentFilter>("early")});
  restored.restoreSession(session);
  EXPECT_TRUE(engine.views().empty()) << "no tab makes a view before one is shown";
  EXPECT_EQ(restored.buildSession(), session) << "what is saved comes from what the pages kept";
  auto second = restored.pages.get()[1];
  EXPECT_EQ(second->displayTitle(), "Tab 0");
  EXPECT_FALSE(second->isPrivate());
  EXPECT_TRUE(second->isUnloaded());

  // Lists installed later reach the view made at the first show, which
  // waits for the window even once the lists are settled.
  restored.installBlockLists({std::make_shared<test::FakeContentFilter>("late")});
  restored.settleBlockLists();
  scheduler.runUntilIdle();
  EXPECT_TRUE(engine.views().empty()) << "the window comes up first";
  restored.stopDeferringViews();
  scheduler.runUntilIdle();
  ASSERT_EQ(engine.views().size(), 1u) << "only the current page";
  auto* shown = static_cast<FakeWebView*>(restored.current()->liveView());
  ASSERT_NE(shown, nullptr);
  ASSERT_EQ(shown->configuration().filters.size(), 1u);
  EXPECT_EQ(shown->configuration().filters[0]->identifier(), "late");
  EXPECT_EQ(shown->entries().size(), 2u) << "the back/forward list came back";
  EXPECT_EQ(shown->loads, (std::vector<Url>{*Url::parse("https://a.example/2")}));
  EXPECT_TRUE(restored.current()->canGoBack.get());
  EXPECT_EQ(shown->focusCount, 1) << "the shown page takes the keyboard";

  restored.select(second);
  EXPECT_EQ(engine.views().size(), 2u);
  EXPECT_EQ(view(second)->loads, (std::vector<Url>{*Url::parse("https://t0.example/")}));
}

// Someone who typed into the bar before the first page was shown keeps
// the keyboard; the page still loads behind the palette.
TEST_F(IdleUnloading, TypingBeforeTheFirstPageIsShownKeepsTheKeyboard) {
  Session session;
  session.tabs.push_back({*Url::parse("https://a.example/"), "A", std::nullopt, std::nullopt, std::nullopt,
                          std::nullopt, std::nullopt, std::nullopt});
  session.recent = {0};
  Browser restored(engine, scheduler);
  restored.isDeferringViews = true;
  restored.settleBlockLists();
  restored.restoreSession(session);
  restored.query = std::string("osl");
  restored.stopDeferringViews();
  scheduler.runUntilIdle();
  auto* shown = static_cast<FakeWebView*>(restored.current()->liveView());
  ASSERT_NE(shown, nullptr);
  EXPECT_EQ(shown->loads, (std::vector<Url>{*Url::parse("https://a.example/")}));
  EXPECT_EQ(shown->focusCount, 0);
}

TEST_F(IdleUnloading, AHiddenPageIsUnloadedOnlyAfterMoreThanAnHour) {
  auto a = open("https://a.example/");
  auto b = hidden("https://b.example/");
  scheduler.advance(59min);
  EXPECT_NE(view(b), nullptr) << "59 minutes: kept";
  scheduler.advance(1min);
  EXPECT_NE(view(b), nullptr) << "exactly an hour is not more than an hour";
  scheduler.advance(5min);
  EXPECT_EQ(view(b), nullptr) << "unloaded at the first check after the hour";
  EXPECT_TRUE(b->isUnloaded());
  EXPECT_NE(view(a), nullptr) << "the page on screen never";
  EXPECT_EQ(b->savedURL()->str(), "https://b.example/");
  EXPECT_EQ(engine.views().size(), 1u);

  // One shown 61 minutes ago goes at the check after, at most 5 minutes later.
  auto c = hidden("https://c.example/");
  scheduler.advance(61min);
  EXPECT_NE(view(c), nullptr);
  scheduler.advance(4min);
  EXPECT_EQ(view(c), nullptr);
}

TEST_F(IdleUnloading, OnlyPagesPastTheHourAreAskedAndShowingRestartsTheClock) {
  auto a = open("https://a.example/");
  auto b = hidden("https://b.example/");
  scheduler.advance(50min);
  EXPECT_TRUE(view(b)->evaluations.empty()) << "the script runs only for pages past the threshold";
  browser.select(b);
  browser.select(a);
  scheduler.advance(30min);
  EXPECT_NE(view(b), nullptr) << "shown 30 minutes ago";
  scheduler.advance(35min);
  EXPECT_EQ(view(b), nullptr);
}

TEST_F(IdleUnloading, BothSidesOfASplitOnScreenAreKept) {
  auto left = open("https://left.example/");
  auto right = hidden("https://right.example/");
  auto other = hidden("https://other.example/");
  auto split = std::make_shared<Split>(left, right, 0.5);
  left->split = split;
  right->split = split;
  browser.splits.push_back(split);
  EXPECT_EQ(browser.showingPages(), (std::vector<PagePtr>{left, right}));
  scheduler.advance(3h);
  EXPECT_NE(view(right), nullptr) << "not the current page for hours, but on screen";
  EXPECT_NE(view(left), nullptr);
  EXPECT_EQ(view(other), nullptr);
}

TEST_F(IdleUnloading, TypedInputAudioAndUnanswerableFramesKeepAPageLive) {
  open("https://a.example/");
  auto typed = hidden("https://typed.example/");
  view(typed)->frameAnswers = {false, false, true};  // typed into the third frame
  auto defaults = hidden("https://defaults.example/");
  view(defaults)->frameAnswers = {false, false};
  auto audio = hidden("https://audio.example/");
  view(audio)->setPlayingAudio(true);
  auto unanswered = hidden("https://crashed.example/");
  view(unanswered)->everyFrameEvaluator = [](const FakeWebView::Evaluation&, FakeWebView::EveryFrameDone done) {
    done({}, "the page did not answer");
  };

  scheduler.advance(3h);
  EXPECT_NE(view(typed), nullptr) << "typed input is never thrown away";
  EXPECT_EQ(view(defaults), nullptr) << "a form holding only its defaults is unloaded";
  EXPECT_NE(view(audio), nullptr);
  EXPECT_NE(view(unanswered), nullptr);
  ASSERT_FALSE(view(typed)->evaluations.empty());
  EXPECT_TRUE(view(typed)->evaluations.back().isolated) << "asked in our own world, out of the page's reach";
  EXPECT_NE(view(typed)->evaluations.back().script.find("defaultValue"), std::string::npos);

  // Once the text is gone (submitted, cleared), the page goes at the next check.
  view(typed)->frameAnswers = {false, false, false};
  scheduler.advance(5min);
  EXPECT_EQ(view(typed), nullptr);
}

TEST_F(IdleUnloading, APageShownWhileTheQuestionIsOutIsKept) {
  auto a = open("https://a.example/");
  auto b = hidden("https://b.example/");
  auto c = hidden("https://c.example/");
  std::vector<FakeWebView::EveryFrameDone> answers;
  auto slow = [&](const FakeWebView::Evaluation&, FakeWebView::EveryFrameDone done) {
    answers.push_back(std::move(done));
  };
  view(b)->everyFrameEvaluator = slow;
  view(c)->everyFrameEvaluator = slow;
  scheduler.advance(65min);
  ASSERT_EQ(answers.size(), 2u);
  browser.select(b);  // the user switches to it before the answer is in
  browser.close(c);   // and closes the other
  answers[0]({false}, "");
  answers[1]({false}, "");
  EXPECT_NE(view(b), nullptr);
  EXPECT_EQ(browser.current(), b);
  EXPECT_EQ(c.use_count(), 1) << "nothing holds on to a closed page";
}

TEST_F(IdleUnloading, AnUnloadedPageComesBackWithItsHistoryZoomAndTitle) {
  open("https://a.example/");
  auto b = hidden("https://b.example/1");
  engine.titles["https://b.example/2"] = "Second";
  b->load(*Url::parse("https://b.example/2"));
  b->setZoom(1.5);
  b->isMuted = true;
  scheduler.advance(2h);
  ASSERT_TRUE(b->isUnloaded());
  EXPECT_EQ(b->displayTitle(), "Second");
  EXPECT_TRUE(b->canGoBack.get()) << "back/forward availability is kept";
  EXPECT_DOUBLE_EQ(b->zoom(), 1.5);
  ASSERT_TRUE(b->navigationState());
  auto saved = browser.buildSession();
  ASSERT_EQ(saved.tabs.size(), 2u);
  EXPECT_EQ(saved.tabs[1].url.str(), "https://b.example/2");
  EXPECT_EQ(saved.tabs[1].navigation, b->navigationState()) << "an unloaded page keeps its history across restarts";

  browser.select(b);
  auto* again = view(b);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->entries().size(), 2u);
  EXPECT_EQ(again->currentIndex(), 1);
  EXPECT_EQ(again->loads, (std::vector<Url>{*Url::parse("https://b.example/2")})) << "only the current entry loads";
  EXPECT_DOUBLE_EQ(again->zoom(), 1.5);
  EXPECT_TRUE(again->muted());
  EXPECT_FALSE(b->isUnloaded());
  EXPECT_EQ(b->url.get()->str(), "https://b.example/2");
}

TEST_F(IdleUnloading, APrivatePageStaysInItsPrivateStore) {
  open("https://a.example/");
  auto secret = hidden("https://secret.example/", true);
  auto* before = static_cast<FakeDataStore*>(view(secret)->store().get());
  ASSERT_FALSE(before->isPersistent());
  scheduler.advance(2h);
  ASSERT_TRUE(secret->isUnloaded());
  EXPECT_TRUE(secret->isPrivate());
  EXPECT_EQ(engine.livePrivateStores(), 1) << "its cookies live on while it is unloaded";
  EXPECT_TRUE(browser.hasPrivateDataStore());
  EXPECT_EQ(browser.buildSession().tabs.size(), 1u) << "still never saved";

  browser.select(secret);
  auto* after = static_cast<FakeDataStore*>(view(secret)->store().get());
  EXPECT_EQ(after->serial(), before->serial()) << "the same private store, not a new one";
  EXPECT_EQ(engine.privateStoresMade(), 1);
}

TEST_F(IdleUnloading, PinnedPagesAndBackgroundTabsFollowTheSameRules) {
  open("https://a.example/");
  auto background = browser.makePage(false);
  browser.add(background, false);
  background->load(*Url::parse("https://background.example/"));
  ASSERT_NE(view(background), nullptr) << "a tab opened in the background loads at once";
  Pin pin{Pin::newID(), *Url::parse("https://pinned.example/"), "Pinned", std::nullopt, std::nullopt};
  browser.pins = {pin};
  auto pinned = browser.livePage(pin);
  browser.select(pinned);
  browser.select(browser.pages->front());
  scheduler.advance(2h);
  EXPECT_TRUE(background->isUnloaded());
  EXPECT_TRUE(pinned->isUnloaded());
  EXPECT_EQ(engine.views().size(), 1u);
}

}  // namespace
}  // namespace quillo
