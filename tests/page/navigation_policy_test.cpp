// The navigation policy and load errors of a page, on the fake engine:
// which clicks open tabs, what is upgraded to HTTPS and what happens when
// that fails, what becomes a download, links to other programs, time-outs.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "core/browser.h"
#include "page/app_links.h"
#include "page/navigation_policy.h"
#include "page/page.h"
#include "palette/sources.h"
#include "support/fake_web_view.h"
#include "support/temp_home.h"
#include "support/virtual_scheduler.h"

namespace quillo {
namespace {

using test::FakeWebView;

Url u(const std::string& text) { return *Url::parse(text); }

std::string upgraded(const std::string& text, const std::set<std::string>& insecure = {}) {
  auto result = navigation::upgrade(u(text), insecure);
  return result ? result->str() : "none";
}

TEST(HttpsUpgrade, OnlyTheSchemeChangesAndAnExplicitPort80IsDroppedButLocalAndExemptedHostsAreLeftAlone) {
  EXPECT_EQ(upgraded("HTTP://Example.com:80/a/b%20c?q=1&r=two#top"), "https://Example.com/a/b%20c?q=1&r=two#top");
  EXPECT_EQ(upgraded("http://example.com:8080/x?y"), "https://example.com:8080/x?y");
  EXPECT_EQ(upgraded("http://user:pw@example.com:80/"), "https://user:pw@example.com/");
  EXPECT_EQ(upgraded("http://example.com"), "https://example.com");
  for (auto* address : {"http://localhost:8080/", "http://127.0.0.1/", "http://192.168.1.10/", "http://10.1.2.3/",
                        "http://printer.local/", "https://example.com/", "file:///tmp/a.html"})
    EXPECT_EQ(upgraded(address), "none") << address;
  EXPECT_EQ(upgraded("http://Example.com/", {"example.com"}), "none");
}

struct TestAppLinks final : AppLinks {
  std::map<std::string, std::string> apps;  // scheme -> program
  std::map<std::pair<std::string, std::string>, bool> saved;
  std::vector<std::string> opened;
  std::optional<std::string> appName(const Url& url) override {
    auto found = apps.find(url.scheme());
    return found == apps.end() ? std::nullopt : std::optional<std::string>(found->second);
  }
  void open(const Url& url) override { opened.push_back(url.str()); }
  std::optional<bool> savedDecision(const std::string& site, const std::string& scheme) override {
    auto found = saved.find({site, scheme});
    return found == saved.end() ? std::nullopt : std::optional<bool>(found->second);
  }
  void saveAllowed(const std::string& site, const std::string& scheme) override { saved[{site, scheme}] = true; }
};

struct TestAlerts final : Alerts {
  std::vector<Alert> asked;
  size_t button = 0;
  bool checked = false;
  void ask(const Alert& alert, std::function<void(size_t)> answered) override {
    asked.push_back(alert);
    if (answered) answered(button);
  }
  void askWithCheckbox(const Alert& alert, std::function<void(size_t, bool)> answered) override {
    asked.push_back(alert);
    if (answered) answered(button, checked);
  }
};

class PagePolicy : public ::testing::Test {
 protected:
  PagePolicy() { Page::insecureHosts.clear(); }
  ~PagePolicy() override { Page::insecureHosts.clear(); }

  std::shared_ptr<Page> makePage(bool isPrivate = false) {
    auto store = isPrivate ? engine.makePrivateStore() : engine.persistentStore();
    auto page = std::make_shared<Page>(engine.makeView(ViewConfiguration{store, {}, {}}), scheduler);
    page->onVisit = [this](const Url& url) { visits.push_back(url.str()); };
    page->onClose = [this] { ++closes; };
    page->appLinks = &apps;
    page->alerts = &alerts;
    return page;
  }
  FakeWebView& view(Page& page) { return static_cast<FakeWebView&>(page.webView()); }
  // A plain left click on a link of the main frame, with `change` applied.
  static NavigationAction click(const std::string& address,
                                const std::function<void(NavigationAction&)>& change = {}) {
    NavigationAction action;
    action.target = address;
    action.url = Url::parse(address);
    action.isLinkClick = true;
    action.isUserGesture = true;
    action.button = 1;
    action.isMainFrame = true;
    if (change) change(action);
    return action;
  }
  static LoadFailure failure(const std::optional<std::string>& address, LoadFailure::Kind kind = LoadFailure::Kind::other) {
    LoadFailure f;
    f.kind = kind;
    if (address) f.failingURL = Url::parse(*address);
    f.message = "Could not connect: Connection refused";
    return f;
  }

  test::VirtualScheduler scheduler;
  test::FakeEngine engine;
  TestAppLinks apps;
  TestAlerts alerts;
  std::vector<std::string> visits;
  int closes = 0;
};

TEST_F(PagePolicy, APublicPlainAddressIsLoadedOverHttpsAndItsFailureOffersHttp) {
  auto page = makePage();
  engine.holdCommits = true;
  auto& v = view(*page);
  v.navigate(click("http://www.Public.example:80/path?q=1", [](auto& a) { a.isLinkClick = false; }));
  EXPECT_EQ(v.decisions.back().policy, NavigationPolicy::cancel);
  ASSERT_FALSE(v.loads.empty());
  EXPECT_EQ(v.loads.back().str(), "https://www.Public.example/path?q=1");
  EXPECT_EQ(page->upgradedFrom, u("http://www.Public.example:80/path?q=1"));

  v.failLoad(failure("https://www.public.example/path?q=1"));
  ASSERT_TRUE(page->loadError.get());
  EXPECT_EQ(page->loadError.get()->insecureURL, u("http://www.Public.example:80/path?q=1"));
  EXPECT_EQ(page->loadError.get()->title(), "Couldn't open public.example securely") << "named without www";
  EXPECT_FALSE(page->upgradedFrom);
  EXPECT_TRUE(visits.empty());

  page->continueInsecurely();
  EXPECT_FALSE(page->loadError.get());
  EXPECT_EQ(v.loads.back().str(), "http://www.Public.example:80/path?q=1");
  EXPECT_TRUE(Page::insecureHosts.count("www.public.example"));
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
  auto unknown = frame;
  unknown.isMainFrame.reset();
  for (const auto& action : {frame, unknown, click("http://b.example/", [](auto& a) { a.opensWindow = true; })}) {
    v.navigate(action);
    EXPECT_EQ(v.decisions.back().policy, NavigationPolicy::allow) << action.target;
  }
  EXPECT_FALSE(page->upgradedFrom);

  // A click on a link the pointer found in a subframe stays in that frame.
  FrameMessage hover;
  hover.name = "quilloHover";
  hover.isMainFrame = false;
  hover.payload = "http://c.example/in-frame";
  v.emitMessage(hover);
  v.navigate(click("http://c.example/in-frame", [](auto& a) { a.isMainFrame.reset(); }));
  EXPECT_EQ(v.decisions.back().policy, NavigationPolicy::allow);
}

TEST_F(PagePolicy, CancellationsAreNeverShownFailuresWithoutAnAddressNameThePageReloadTriesAgain) {
  auto page = makePage();
  page->load(u("https://a.test/"));
  engine.holdCommits = true;
  auto& v = view(*page);
  for (auto kind : {LoadFailure::Kind::interrupted, LoadFailure::Kind::handledElsewhere}) {
    page->load(u("https://a.test/next"));
    v.failLoad(failure("https://a.test/next", kind));
    scheduler.advance(std::chrono::seconds(1));
    EXPECT_FALSE(page->loadError.get());
  }
  // A cancelled load that a newer one replaced is nothing to show.
  page->load(u("https://a.test/first"));
  page->load(u("https://a.test/next"));
  v.failLoad(failure("https://a.test/first", LoadFailure::Kind::cancelled));
  scheduler.advance(std::chrono::seconds(1));
  EXPECT_FALSE(page->loadError.get());

  // One the engine gave up on by itself is tried once more, then shown
  // rather than left blank until the time-out.
  page->load(u("https://a.test/next"));
  const auto loads = v.loads.size();
  v.failLoad(failure("https://a.test/next", LoadFailure::Kind::cancelled));
  scheduler.advance(std::chrono::seconds(1));
  EXPECT_FALSE(page->loadError.get());
  ASSERT_EQ(v.loads.size(), loads + 1);
  EXPECT_EQ(v.loads.back().str(), "https://a.test/next");
  v.failLoad(failure("https://a.test/next", LoadFailure::Kind::cancelled));
  scheduler.advance(std::chrono::seconds(1));
  ASSERT_TRUE(page->loadError.get());
  EXPECT_EQ(page->loadError.get()->message, LoadError::kAbandoned);
  page->load(u("https://a.test/next"));
  v.failLoad(failure(std::nullopt));
  ASSERT_TRUE(page->loadError.get());
  EXPECT_EQ(page->loadError.get()->title(), "Couldn't open the page");
  EXPECT_FALSE(page->loadError.get()->insecureURL) << "typed as https";

  // "Try Again" without a failing address loads the page's own.
  page->retryAfterError();
  EXPECT_FALSE(page->loadError.get());
  EXPECT_EQ(v.loads.back().str(), "https://a.test/");

  // Reload tries the failed address again.
  page->load(u("https://a.test/gone"));
  v.failLoad(failure("https://a.test/gone"));
  ASSERT_TRUE(page->loadError.get());
  page->reload();
  EXPECT_FALSE(page->loadError.get());
  EXPECT_EQ(v.loads.back().str(), "https://a.test/gone");
}

TEST_F(PagePolicy, EveryLoadTheBrowserStartsIsStoppedWhenItHasNotCommittedInTime) {
  test::TempHome home;
  Browser browser(engine, scheduler);
  browser.loadTimeout = std::chrono::seconds(5);
  browser.settleBlockLists();
  auto timedOut = [&](const PagePtr& page) {
    return page->loadError.get() && page->loadError.get()->message == LoadError::kTimedOut;
  };
  engine.holdCommits = true;
  ASSERT_TRUE(browser.loadTyped("https://typed.test/"));
  auto typed = browser.current();
  scheduler.advance(std::chrono::seconds(4));
  EXPECT_FALSE(typed->loadError.get());
  scheduler.advance(std::chrono::seconds(2));
  ASSERT_TRUE(timedOut(typed)) << "typed";
  EXPECT_EQ(typed->loadError.get()->url, u("https://typed.test/"));
  EXPECT_FALSE(static_cast<FakeWebView&>(typed->webView()).isLoading()) << "stopped";
  // A load that commits in time is left alone, however long it then takes.
  typed->retryAfterError();
  static_cast<FakeWebView&>(typed->webView()).commitLoad();
  scheduler.advance(std::chrono::seconds(60));
  EXPECT_FALSE(typed->loadError.get());

  browser.openIncoming({u("https://incoming.test/")});
  auto incoming = browser.current();
  ASSERT_NE(incoming, typed);
  scheduler.advance(std::chrono::seconds(6));
  EXPECT_TRUE(timedOut(incoming)) << "incoming";

  // A closed tab comes back with its list; its reload is timed too.
  engine.holdCommits = false;
  incoming->load(u("https://incoming.test/page"));
  browser.close(incoming);
  engine.holdCommits = true;
  browser.reopenClosedTab();
  EXPECT_EQ(browser.current()->savedURL(), u("https://incoming.test/page"));
  scheduler.advance(std::chrono::seconds(6));
  EXPECT_TRUE(timedOut(browser.current())) << "reopened";
}

// An attachment in capitals, and the tab made only for it closing, are
// downloaded for real by the engine tests.
TEST_F(PagePolicy, TypesTheViewCannotShowAndAttachmentsAreDownloadedInlineOnesShown) {
  auto page = makePage();
  page->load(u("https://files.test/"));
  engine.holdCommits = true;
  page->load(u("https://files.test/a.zip"));
  NavigationResponse response;
  response.canShowMIMEType = false;
  EXPECT_EQ(view(*page).respond(response), NavigationPolicy::download);
  NavigationResponse attachment;
  attachment.contentDisposition = "attachment; filename=\"b.zip\"";
  EXPECT_EQ(view(*page).respond(attachment), NavigationPolicy::download);
  attachment.contentDisposition = "inline; filename=\"b.zip\"";
  EXPECT_EQ(view(*page).respond(attachment), NavigationPolicy::allow);
  scheduler.runUntilIdle();
  EXPECT_EQ(closes, 0);
  EXPECT_FALSE(page->loadError.get());
}

TEST_F(PagePolicy, OtherSchemesAskBeforeOpeningTheirProgramAndOnlyPersistentTabsRememberIt) {
  apps.apps["mailto"] = "Mail";
  auto page = makePage();
  page->load(u("https://shop.test/"));
  auto& v = view(*page);
  alerts.checked = true;
  v.navigate(click("mailto:someone@shop.test"));
  EXPECT_EQ(v.decisions.back().policy, NavigationPolicy::cancel);
  ASSERT_EQ(alerts.asked.size(), 1u);
  EXPECT_EQ(alerts.asked[0].message, "Open Mail?");
  EXPECT_EQ(alerts.asked[0].detail, "shop.test wants to open Mail.");
  EXPECT_EQ(alerts.asked[0].buttons, (std::vector<std::string>{"Open Mail", "Cancel"}));
  EXPECT_EQ(alerts.asked[0].checkbox, std::optional<std::string>("Always allow shop.test to open Mail"));
  EXPECT_EQ(apps.opened, std::vector<std::string>{"mailto:someone@shop.test"});

  // Allowed always: no question the second time.
  v.navigate(click("mailto:other@shop.test"));
  EXPECT_EQ(alerts.asked.size(), 1u);
  EXPECT_EQ(apps.opened.size(), 2u);

  // No program for the scheme: say so.
  v.navigate(click("zoommtg://join"));
  ASSERT_EQ(alerts.asked.size(), 2u);
  EXPECT_EQ(alerts.asked[1].message, "No app on this computer opens \u201czoommtg:\u201d links");

  // A private tab never offers to remember a program.
  apps.saved.clear();
  auto incognito = makePage(true);
  incognito->load(u("https://shop.test/"));
  view(*incognito).navigate(click("mailto:someone@shop.test"));
  ASSERT_EQ(alerts.asked.size(), 3u);
  EXPECT_FALSE(alerts.asked[2].checkbox);
  EXPECT_TRUE(apps.saved.empty());
  EXPECT_EQ(apps.opened.size(), 3u);
}

}  // namespace
}  // namespace quillo
