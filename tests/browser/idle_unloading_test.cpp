// Pages without views: restored tabs answering from what they kept, hidden pages idle for an hour unloaded.
#include "support/browser_test.h"

namespace quillo {
namespace {

using namespace std::chrono_literals;
using test::FakeDataStore;
using test::FakeWebView;

class IdleUnloading : public test::BrowserTest {
 protected:
  static FakeWebView* live(const PagePtr& page) { return static_cast<FakeWebView*>(page->liveView()); }
  // A page in the background, last shown at the present time.
  PagePtr hidden(const std::string& address, bool isPrivate = false) {
    auto current = browser->current();
    auto page = open(address, "", true, isPrivate);
    if (current) browser->select(current);
    return page;
  }
};

TEST_F(IdleUnloading, RestoredTabsMakeNoViewUntilShownAndAnswerFromWhatTheyKept) {
  FakeWebView source(nullptr, {});
  source.load(*Url::parse("https://a.example/1"));
  source.load(*Url::parse("https://a.example/2"));
  std::vector<std::string> addresses = {"https://a.example/2"};
  for (int i = 1; i <= 50; ++i) addresses.push_back("https://t" + std::to_string(i) + ".example/");
  auto session = test::sessionOf(addresses);
  session.tabs[0].navigation = source.sessionState();
  for (size_t i = 0; i < session.tabs.size(); ++i) session.tabs[i].title = "Tab " + std::to_string(i);

  Browser restored(engine, scheduler);
  restored.isDeferringViews = true;  // as at start-up, until the window is up
  restored.installBlockLists({std::make_shared<test::FakeContentFilter>("early")});
  restored.restoreSession(session);
  EXPECT_TRUE(engine.views().empty()) << "no tab makes a view before one is shown";
  EXPECT_EQ(restored.buildSession(), session) << "what is saved comes from what the pages kept";

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
}

TEST_F(IdleUnloading, AHiddenPageIsAskedAndUnloadedOnlyAfterMoreThanAnHourSinceItWasShown) {
  auto a = open("https://a.example/");
  auto b = hidden("https://b.example/");
  scheduler.advance(50min);
  EXPECT_TRUE(live(b)->evaluations.empty()) << "the script runs only for pages past the threshold";
  scheduler.advance(10min);
  EXPECT_NE(live(b), nullptr) << "exactly an hour is not more than an hour";
  scheduler.advance(5min);
  EXPECT_TRUE(b->isUnloaded()) << "unloaded at the first check after the hour";
  EXPECT_NE(live(a), nullptr) << "the page on screen never";

  // Showing a page starts its hour again.
  auto d = hidden("https://d.example/");
  scheduler.advance(50min);
  browser->select(d);
  browser->select(a);
  scheduler.advance(30min);
  EXPECT_NE(live(d), nullptr) << "shown 30 minutes ago";
  scheduler.advance(35min);
  EXPECT_EQ(live(d), nullptr);
}

TEST_F(IdleUnloading, SplitSidesOnScreenTypedInputAudioAndUnanswerableFramesKeepAPageLive) {
  auto left = open("https://left.example/");
  auto right = hidden("https://right.example/");
  browser->showBeside(right);
  browser->select(left);
  auto typed = hidden("https://typed.example/");
  live(typed)->frameAnswers = {false, false, true};  // typed into the third frame
  auto audio = hidden("https://audio.example/");
  live(audio)->setPlayingAudio(true);
  auto unanswered = hidden("https://crashed.example/");
  live(unanswered)->everyFrameEvaluator = [](const FakeWebView::Evaluation&, FakeWebView::EveryFrameDone done) {
    done({}, "the page did not answer");
  };
  // A pinned page follows the same rules.
  Pin pin{Pin::newID(), *Url::parse("https://pinned.example/"), "Pinned", std::nullopt, std::nullopt};
  browser->pins = {pin};
  auto pinned = browser->livePage(pin);
  browser->select(pinned);
  browser->select(left);

  scheduler.advance(3h);
  EXPECT_NE(live(right), nullptr) << "not the current page for hours, but on screen";
  EXPECT_NE(live(left), nullptr);
  EXPECT_NE(live(typed), nullptr) << "typed input is never thrown away";
  EXPECT_NE(live(audio), nullptr);
  EXPECT_NE(live(unanswered), nullptr);
  EXPECT_TRUE(pinned->isUnloaded());
  EXPECT_EQ(engine.views().size(), 5u) << "the others gave their views back";
  ASSERT_FALSE(live(typed)->evaluations.empty());
  EXPECT_TRUE(live(typed)->evaluations.back().isolated) << "asked in our own world, out of the page's reach";
  EXPECT_NE(live(typed)->evaluations.back().script.find("defaultValue"), std::string::npos);

  // Once the text is gone (submitted, cleared), the page goes at the next check.
  live(typed)->frameAnswers = {false, false, false};
  scheduler.advance(5min);
  EXPECT_EQ(live(typed), nullptr);
}

TEST_F(IdleUnloading, APageShownWhileTheQuestionIsOutIsKept) {
  auto a = open("https://a.example/");
  auto b = hidden("https://b.example/");
  auto c = hidden("https://c.example/");
  std::vector<FakeWebView::EveryFrameDone> answers;
  auto slow = [&](const FakeWebView::Evaluation&, FakeWebView::EveryFrameDone done) {
    answers.push_back(std::move(done));
  };
  live(b)->everyFrameEvaluator = slow;
  live(c)->everyFrameEvaluator = slow;
  scheduler.advance(65min);
  ASSERT_EQ(answers.size(), 2u);
  browser->select(b);  // the user switches to it before the answer is in
  browser->close(c);   // and closes the other
  answers[0]({false}, "");
  answers[1]({false}, "");
  EXPECT_NE(live(b), nullptr);
  EXPECT_EQ(browser->current(), b);
  EXPECT_EQ(c.use_count(), 1) << "nothing holds on to a closed page";
}

TEST_F(IdleUnloading, AnUnloadedPageComesBackWithItsHistoryZoomTitleAndPrivateStore) {
  open("https://a.example/");
  auto b = hidden("https://b.example/1");
  engine.titles["https://b.example/2"] = "Second";
  b->load(*Url::parse("https://b.example/2"));
  b->setZoom(1.5);
  b->isMuted = true;
  auto secret = hidden("https://secret.example/", true);
  auto* store = static_cast<FakeDataStore*>(live(secret)->store().get());
  ASSERT_FALSE(store->isPersistent());
  const int serial = store->serial();
  scheduler.advance(2h);
  ASSERT_TRUE(b->isUnloaded());
  ASSERT_TRUE(b->navigationState());
  ASSERT_TRUE(secret->isUnloaded());
  EXPECT_EQ(engine.livePrivateStores(), 1) << "its cookies live on while it is unloaded";
  EXPECT_TRUE(browser->hasPrivateDataStore());
  auto saved = browser->buildSession();
  ASSERT_EQ(saved.tabs.size(), 2u) << "the private page is still never saved";
  EXPECT_EQ(saved.tabs[1].url.str(), "https://b.example/2");
  EXPECT_EQ(saved.tabs[1].navigation, b->navigationState()) << "an unloaded page keeps its history across restarts";

  // The engine journey goes back through the history of a page shown again.
  browser->select(b);
  auto* again = live(b);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->loads, (std::vector<Url>{*Url::parse("https://b.example/2")})) << "only the current entry loads";
  EXPECT_DOUBLE_EQ(again->zoom(), 1.5);
  EXPECT_TRUE(again->muted());

  browser->select(secret);
  EXPECT_EQ(static_cast<FakeDataStore*>(live(secret)->store().get())->serial(), serial)
      << "the same private store, not a new one";
  EXPECT_EQ(engine.privateStoresMade(), 1);
}

}  // namespace
}  // namespace quillo
