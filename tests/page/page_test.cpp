// One page on the fake engine: what it reports, HTTPS upgrades, downloads, app links, load errors and time-outs.
#include "page/page.h"

#include <gtest/gtest.h>

#include "browser/browser.h"
#include "page/app_links.h"
#include "page/navigation_policy.h"
#include "support/fake_web_view.h"
#include "support/service_doubles.h"
#include "support/temp_home.h"
#include "support/virtual_scheduler.h"

namespace quillo {
namespace {

using test::FakeWebView;
using Kind = LoadFailure::Kind;
using std::chrono::seconds;

Url u(const std::string& text) { return *Url::parse(text); }

std::string upgraded(const std::string& text, const std::set<std::string>& insecure = {}) {
  auto result = navigation::upgrade(u(text), insecure);
  return result ? result->str() : "none";
}

TEST(HttpsUpgrade, OnlyTheSchemeChangesAndAnExplicitPort80IsDroppedButLocalAndExemptedHostsAreLeftAlone) {
  EXPECT_EQ(upgraded("HTTP://Example.com:80/a/b%20c?q=1&r=two#top"), "https://Example.com/a/b%20c?q=1&r=two#top");
  EXPECT_EQ(upgraded("http://user:pw@example.com:8080/"), "https://user:pw@example.com:8080/");
  for (auto* address : {"http://localhost:8080/", "http://127.0.0.1/", "http://192.168.1.10/", "http://printer.local/",
                        "file:///tmp/a.html"})
    EXPECT_EQ(upgraded(address), "none") << address;
  EXPECT_EQ(upgraded("http://Example.com/", {"example.com"}), "none");
}

class PagePolicy : public ::testing::Test {
 protected:
  PagePolicy() { Page::insecureHosts.clear(); }
  ~PagePolicy() override { Page::insecureHosts.clear(); }

  std::shared_ptr<Page> makePage(bool isPrivate = false) {
    auto store = isPrivate ? engine.makePrivateStore() : engine.persistentStore();
    auto page = std::make_shared<Page>(engine.makeView(ViewConfiguration{store, {}, {}}), scheduler);
    page->appLinks = &apps;
    return page;
  }
  static FakeWebView& view(Page& page) { return static_cast<FakeWebView&>(page.webView()); }
  // A plain left click on a link of the main frame, with `change` applied.
  static NavigationAction click(const std::string& address, const std::function<void(NavigationAction&)>& change = {}) {
    NavigationAction action;
    action.target = address;
    action.url = Url::parse(address);
    action.isMainFrame = action.isLinkClick = action.isUserGesture = true;
    action.button = 1;
    if (change) change(action);
    return action;
  }
  static LoadFailure failure(const char* address, Kind kind = Kind::other) {
    return {kind, address ? Url::parse(address) : std::nullopt, "Could not connect: Connection refused"};
  }

  test::VirtualScheduler scheduler;
  test::FakeEngine engine;
  test::TestAppLinks apps;
};
using PageReports = PagePolicy;

TEST_F(PageReports, ARestoredPageSavesItsListUntouchedAndLoadsOnceWhenAsked) {
  auto source = makePage();
  source->load(u("https://a.example/1"));
  auto blob = source->navigationState();
  ASSERT_TRUE(blob);
  auto page = makePage();
  page->restore(u("https://a.example/1"), "One", blob);
  EXPECT_TRUE(view(*page).loads.empty());
  EXPECT_EQ(page->navigationState(), blob) << "an unloaded page saves what it holds";
  page->loadIfPending();
  page->loadIfPending();
  EXPECT_EQ(view(*page).loads.size(), 1u);
}

TEST_F(PageReports, TypedTextTitleChangesHoveredLinksAndACrash) {
  auto page = makePage();
  auto& v = view(*page);
  EXPECT_FALSE(page->load(std::string("  "))) << "text that resolves to nothing is not loaded";
  EXPECT_TRUE(page->load(std::string("example.com/path?q=1")));
  EXPECT_EQ(v.loads.back().str(), "https://example.com/path?q=1");

  // A title change alone is reported and saved too.
  std::string title;
  int saves = 0;
  page->onTitle = [&](const std::string& t, const Url& url) { title = t + " " + url.str(); };
  page->onSessionChange = [&] { ++saves; };
  v.setPageTitle("Renamed");
  EXPECT_EQ(title, "Renamed https://example.com/path?q=1");
  EXPECT_EQ(saves, 1);

  v.emitMessage("quilloHover", "https://example.com/x");
  v.emitMessage("quilloHover", 42);
  EXPECT_FALSE(page->hoveredLink) << "a payload that is not text clears it";

  v.crash();
  scheduler.runUntilIdle();
  EXPECT_EQ(v.loads.size(), 2u) << "a crashed page reloads";
  EXPECT_EQ(v.loads.back().str(), "https://example.com/path?q=1");
}

TEST_F(PagePolicy, APublicPlainAddressIsLoadedOverHttpsAndItsFailureOffersHttp) {
  auto page = makePage();
  engine.holdCommits = true;
  auto& v = view(*page);
  v.navigate(click("http://www.Public.example:80/path?q=1", [](auto& a) { a.isLinkClick = false; }));
  EXPECT_EQ(v.decisions.back().policy, NavigationPolicy::cancel);
  EXPECT_EQ(v.loads.back().str(), "https://www.Public.example/path?q=1");

  v.failLoad(failure("https://www.public.example/path?q=1"));
  ASSERT_TRUE(page->loadError.get());
  EXPECT_EQ(page->loadError.get()->insecureURL, u("http://www.Public.example:80/path?q=1"));
  EXPECT_EQ(page->loadError.get()->title(), "Couldn't open public.example securely") << "named without www";
  page->continueInsecurely();
  EXPECT_EQ(v.loads.back().str(), "http://www.Public.example:80/path?q=1");
}

// Which clicks open tabs is driven by real clicks in the engine tests; here,
// what is never upgraded, and a Ctrl+click nothing can take a tab for.
TEST_F(PagePolicy, SubframesNewWindowsAndUnknownFramesAreNeverUpgraded) {
  auto page = makePage();
  page->load(u("https://a.test/"));
  auto& v = view(*page);
  page->openInBackground = nullptr;
  v.navigate(click("https://a.test/one", [](auto& a) { a.ctrl = true; }));
  EXPECT_EQ(v.decisions.back().policy, NavigationPolicy::cancel) << "cancelled, not followed";
  EXPECT_EQ(page->url.get(), u("https://a.test/"));

  auto frame = click("http://ads.example/frame", [](auto& a) { a.isMainFrame = a.isLinkClick = false; });
  for (const auto& action : {frame, click("http://b.example/", [](auto& a) { a.opensWindow = true; })}) {
    v.navigate(action);
    EXPECT_EQ(v.decisions.back().policy, NavigationPolicy::allow) << action.target;
  }
  EXPECT_FALSE(page->upgradedFrom);

  // A click on a link the pointer found in a subframe stays in that frame.
  v.emitMessage({.name = "quilloHover", .frameURL = {}, .isMainFrame = false, .payload = "http://c.example/in-frame"});
  v.navigate(click("http://c.example/in-frame", [](auto& a) { a.isMainFrame.reset(); }));
  EXPECT_EQ(v.decisions.back().policy, NavigationPolicy::allow);
}

TEST_F(PagePolicy, CancellationsAreNeverShownFailuresWithoutAnAddressNameThePageReloadTriesAgain) {
  auto page = makePage();
  page->load(u("https://a.test/"));
  engine.holdCommits = true;
  auto& v = view(*page);
  auto fail = [&](const char* address, Kind kind) {
    v.failLoad(failure(address, kind));
    scheduler.advance(seconds(1));
  };
  page->load(u("https://a.test/next"));
  fail("https://a.test/next", Kind::handledElsewhere);
  EXPECT_FALSE(page->loadError.get());
  // A cancelled load that a newer one replaced is nothing to show.
  page->load(u("https://a.test/first"));
  page->load(u("https://a.test/next"));
  fail("https://a.test/first", Kind::cancelled);
  EXPECT_FALSE(page->loadError.get());

  // One the engine gave up on by itself is tried once more, then shown rather than left blank until the time-out.
  page->load(u("https://a.test/next"));
  const auto loads = v.loads.size();
  fail("https://a.test/next", Kind::cancelled);
  EXPECT_FALSE(page->loadError.get());
  ASSERT_EQ(v.loads.size(), loads + 1);
  fail("https://a.test/next", Kind::cancelled);
  ASSERT_TRUE(page->loadError.get());
  EXPECT_EQ(page->loadError.get()->message, LoadError::kAbandoned);

  page->load(u("https://a.test/next"));
  v.failLoad(failure(nullptr));
  ASSERT_TRUE(page->loadError.get());
  EXPECT_EQ(page->loadError.get()->title(), "Couldn't open the page");
  page->retryAfterError();
  EXPECT_EQ(v.loads.back().str(), "https://a.test/") << "Try Again without a failing address loads the page's own";

  page->load(u("https://a.test/gone"));
  v.failLoad(failure("https://a.test/gone"));
  ASSERT_TRUE(page->loadError.get());
  page->reload();
  EXPECT_EQ(v.loads.back().str(), "https://a.test/gone") << "reload tries the failed address again";
}

TEST_F(PagePolicy, EveryLoadTheBrowserStartsIsStoppedWhenItHasNotCommittedInTime) {
  test::TempHome home;
  Browser browser(engine, scheduler);
  browser.loadTimeout = seconds(5);
  browser.settleBlockLists();
  auto timedOut = [&](const PagePtr& page) {
    return page->loadError.get() && page->loadError.get()->message == LoadError::kTimedOut;
  };
  engine.holdCommits = true;
  ASSERT_TRUE(browser.loadTyped("https://typed.test/"));
  auto typed = browser.current();
  scheduler.advance(seconds(4));
  EXPECT_FALSE(typed->loadError.get());
  scheduler.advance(seconds(2));
  ASSERT_TRUE(timedOut(typed)) << "typed";
  EXPECT_FALSE(view(*typed).isLoading()) << "stopped";
  // A load that commits in time is left alone, however long it then takes.
  typed->retryAfterError();
  view(*typed).commitLoad();
  scheduler.advance(seconds(60));
  EXPECT_FALSE(typed->loadError.get());

  // Links from other programs, and a closed tab coming back, are timed too.
  browser.openIncoming({u("https://incoming.test/")});
  scheduler.advance(seconds(6));
  EXPECT_TRUE(timedOut(browser.current())) << "incoming";
  browser.close(typed);
  browser.reopenClosedTab();
  ASSERT_EQ(browser.current()->savedURL(), u("https://typed.test/"));
  scheduler.advance(seconds(6));
  EXPECT_TRUE(timedOut(browser.current())) << "reopened";
}

// Attachments, and the tab made only for one closing, are downloaded for real by the engine tests.
TEST_F(PagePolicy, TypesTheViewCannotShowAreDownloadedInlineOnesShown) {
  auto page = makePage();
  engine.holdCommits = true;
  page->load(u("https://files.test/a.zip"));
  NavigationResponse response;
  response.canShowMIMEType = false;
  EXPECT_EQ(view(*page).respond(response), NavigationPolicy::download) << "a type the view cannot show";
  response.canShowMIMEType = true;
  response.contentDisposition = "inline; filename=\"b.zip\"";
  EXPECT_EQ(view(*page).respond(response), NavigationPolicy::allow);
}

TEST_F(PagePolicy, OtherSchemesAskBeforeOpeningTheirProgramAndOnlyPersistentTabsRememberIt) {
  apps.apps["mailto"] = "Mail";
  auto page = makePage();
  page->load(u("https://shop.test/"));
  auto& v = view(*page);
  v.navigate(click("mailto:someone@shop.test"));
  EXPECT_EQ(v.decisions.back().policy, NavigationPolicy::cancel);
  auto asked = test::answerDialog(*page, 0, true);
  EXPECT_EQ(asked.detail, "shop.test wants to open Mail.");
  EXPECT_EQ(asked.buttons, (std::vector<std::string>{"Open Mail", "Cancel"}));
  EXPECT_EQ(asked.checkbox, std::optional<std::string>("Always allow shop.test to open Mail"));

  v.navigate(click("mailto:other@shop.test"));
  EXPECT_FALSE(page->dialog.get()) << "allowed always: no question the second time";
  EXPECT_EQ(apps.opened.size(), 2u);

  v.navigate(click("zoommtg://join"));
  EXPECT_EQ(test::answerDialog(*page, 0).message, "No app on this computer opens \u201czoommtg:\u201d links");

  // A private tab never offers to remember a program.
  apps.saved.clear();
  auto incognito = makePage(true);
  incognito->load(u("https://shop.test/"));
  view(*incognito).navigate(click("mailto:someone@shop.test"));
  EXPECT_FALSE(test::answerDialog(*incognito, 0, true).checkbox);
  EXPECT_TRUE(apps.saved.empty());
  EXPECT_EQ(apps.opened.size(), 3u);
}

TEST_F(PageReports, QuestionsShowOneAtATimeInOrderAndGoCancelledWithTheirDocumentOrPage) {
  int attention = 0;
  auto ask = [&](const std::shared_ptr<Page>& page) {
    page->onNeedsAttention = [&] { ++attention; };
    page->load(u("https://a.example/"));
    auto& v = view(*page);
    return std::pair{v.askUser({"One", "", {"OK"}}), v.askUser({"Two", "", {"OK", "Cancel"}, std::nullopt, "dflt"})};
  };
  auto page = makePage();
  auto [first, second] = ask(page);
  EXPECT_EQ(attention, 1) << "the second waits behind the first";
  EXPECT_EQ(test::answerDialog(*page, 0).message, "One");
  EXPECT_EQ(*first, AlertAnswer{0});
  EXPECT_EQ(attention, 2) << "the tab comes forward again for the next";
  ASSERT_TRUE(page->dialog.get());
  page->answerDialog(std::make_shared<const Alert>(*page->dialog.get()), {0});
  EXPECT_FALSE(*second) << "an answer to a question no longer in front is ignored";

  // Unanswered questions are cancelled (the last button, no text) however their page ends.
  const std::vector<std::pair<const char*, std::function<void(std::shared_ptr<Page>&)>>> ends = {
      {"a commit", [](auto& p) { p->load(u("https://b.example/")); }},
      {"closing", [](auto& p) { p->dismissDialogs(); }},
      {"the page going", [](auto& p) { p.reset(); }},
  };
  for (auto& [how, end] : ends) {
    SCOPED_TRACE(how);
    auto ending = makePage();
    auto [one, two] = ask(ending);
    end(ending);
    EXPECT_EQ(*one, AlertAnswer{0});
    EXPECT_EQ(*two, AlertAnswer{1});
    if (ending) {
      EXPECT_FALSE(ending->dialog.get());
    }
  }
}

TEST_F(PageReports, FloatingAsksTheMainFrameThenEachReportingFrameOnceAndACommitEndsIt) {
  auto page = makePage();
  auto& v = view(*page);
  page->load(u("https://a.example/"));
  for (auto [frame, address] : {std::pair{7, "https://player.example/1"},
                                {8, "https://b.example/"},
                                {9, "https://player.example/1"}})  // reloaded: replaces frame 7
    v.emitMessage(FrameMessage{"quilloVideo", uint64_t(frame), address, false, "playing"});
  v.emitMessage(
      FrameMessage{"quilloVideo", 0, "https://a.example/", true, "playing"});  // the top frame is asked anyway

  std::vector<uint64_t> asked;
  v.evaluator = [&](const FakeWebView::Evaluation& evaluation, FakeWebView::EvaluationDone done) {
    asked.push_back(evaluation.frameID);
    done(evaluation.frameID == 9 ? nlohmann::json("floated") : nlohmann::json(false), "");
  };
  std::optional<bool> found;
  page->togglePictureInPicture([&](bool f) { found = f; });
  EXPECT_EQ(asked, (std::vector<uint64_t>{0, 8, 9, 0})) << "then the main frame lifts the player's iframe";
  EXPECT_EQ(found, true);
  EXPECT_TRUE(page->videoFloats.get());

  asked.clear();
  page->togglePictureInPicture([&](bool f) { found = f; });
  EXPECT_EQ(asked, (std::vector<uint64_t>{9, 0})) << "again: brought back from where it floated, nothing else floats";
  EXPECT_FALSE(page->videoFloats.get());

  page->togglePictureInPicture([](bool) {});
  ASSERT_TRUE(page->videoFloats.get());
  page->load(u("https://c.example/"));
  EXPECT_FALSE(page->videoFloats.get()) << "the video went with its document";
  EXPECT_TRUE(page->videoFrames.empty());
  page->togglePictureInPicture([&](bool f) { found = f; });
  EXPECT_EQ(found, false);
}

}  // namespace
}  // namespace quillo
