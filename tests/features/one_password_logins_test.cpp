// 1Password logins in the browser: the login scope, filling frames and one-time codes, on a fake engine.
#include "features/one_password_logins.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <map>

#include "browser/browser.h"
#include "support/fake_filter_store.h"
#include "support/fake_op.h"
#include "support/fake_web_view.h"
#include "support/temp_home.h"
#include "support/virtual_scheduler.h"

namespace quillo::test {
namespace {

using namespace std::chrono_literals;
using Strings = std::vector<std::string>;

// What one frame of the page shows, and what the browser typed into it.
struct FrameForm {
  std::string host;
  bool login = false;
  bool code = false;
  std::vector<nlohmann::json> filled;  // the arguments of each fill that landed
};

class LoginsTest : public ::testing::Test {
 protected:
  LoginsTest() {
    browser.settleBlockLists();
    browser.attach(logins);
  }

  PagePtr open(const std::string& address, bool isPrivate = false) {
    auto page = browser.makePage(isPrivate);
    page->load(*Url::parse(address));
    browser.add(page, true);
    auto* view = engine.lastView();
    frames[0] = FrameForm{Url::parse(address)->host(), false, false, {}};
    view->evaluator = [this](const FakeWebView::Evaluation& evaluation, FakeWebView::EvaluationDone done) {
      done(answer(evaluation), "");
    };
    return page;
  }

  // A subframe reports what it holds, as the form-detection script does.
  void frameReports(uint64_t id, const std::string& address, bool login, bool code) {
    frames[id] = FrameForm{Url::parse(address)->host(), login, code, {}};
    FrameMessage message{"quilloForms", id, address, false, {{"login", login}, {"code", code}}};
    engine.lastView()->emitMessage(message);
  }

  // Plays the frame's part in a fill or code script, called with the array after "(...".
  nlohmann::json answer(const FakeWebView::Evaluation& evaluation) {
    const std::string& script = evaluation.script;
    auto start = script.rfind(")(..."), end = script.rfind(");");
    auto found = frames.find(evaluation.frameID);
    if (start == std::string::npos || end == std::string::npos || end < start || found == frames.end()) return nullptr;
    auto arguments = nlohmann::json::parse(script.substr(start + 5, end - start - 5), nullptr, false);
    if (!arguments.is_array()) return nullptr;
    FrameForm& frame = found->second;
    const bool isFill = script.find("loginUsername") != std::string::npos;
    const std::string host = arguments.back().get<std::string>();
    if (host != frame.host) return isFill ? nlohmann::json{{"refused", true}} : nlohmann::json(false);
    if (isFill) {
      if (!frame.login) return {{"username", false}, {"password", false}};
      frame.filled.push_back(arguments);
      return {{"username", true}, {"password", true}};
    }
    if (arguments[0].is_null()) return frame.code;
    if (frame.code) frame.filled.push_back(arguments);
    return frame.code;
  }

  // Runs what the tool hands back until nothing more is asked of it.
  void answered() {
    auto deadline = std::chrono::steady_clock::now() + 30s;
    scheduler.runUntilIdle();
    while (logins.isAsking() && std::chrono::steady_clock::now() < deadline) scheduler.waitForWorkers(1, 20ms);
    EXPECT_FALSE(logins.isAsking()) << "the tool answered";
  }

  void enterScope() {
    browser.enter(PaletteCommand::login);
    answered();
  }

  Strings listed() const {
    Strings out;
    for (const auto& row : browser.results())
      if (row.login()) out.push_back(row.login()->title);
    return out;
  }
  std::string flash() const { return browser.flash.get().value_or(""); }

  TempHome home;
  FakeOp op;
  VirtualScheduler scheduler;
  FakeEngine engine;
  Browser browser{engine, scheduler};
  OnePassword::Tool tool{scheduler};
  OnePasswordLogins logins{browser, tool};
  std::map<uint64_t, FrameForm> frames;
};

TEST_F(LoginsTest, TheScopeListsTheSitesLoginsInTitleOrderOrSaysWhyThereAreNone) {
  // No site, or a private tab: the tool is never asked.
  open("about:blank");
  enterScope();
  EXPECT_EQ(logins.notice(), "Open a site first, then use /login there.");
  open("https://www.bank.example/", true);
  enterScope();
  EXPECT_EQ(logins.notice(), "1Password is off in private tabs.");
  logins.fill(Login{"bk3xq7lrq4a2nfd6wgxhmxw5ya", "Bank", std::nullopt, {"bank.example"}});
  EXPECT_EQ(flash(), "1Password is off in private tabs.");
  scheduler.runUntilIdle();
  EXPECT_TRUE(op.calls().empty());

  open("https://www.bank.example/login");
  browser.enter(PaletteCommand::login);
  EXPECT_EQ(logins.notice(), "Asking 1Password…");
  answered();
  EXPECT_EQ(listed(), (Strings{"alpha mail", "Bank", "Work account"})) << "a bare host counts; others' logins don't";
  EXPECT_EQ(op.calls(), std::vector<Strings>{OnePassword::listArguments()});

  // The page has no login form: the list stays for another try.
  browser.choose(browser.results()[2]);  // Work account: no code to look for either
  answered();
  EXPECT_TRUE(browser.flashIsError.get());
  EXPECT_EQ(browser.scope.get(), PaletteCommand::login);

  browser.leaveScope();
  enterScope();
  EXPECT_EQ(op.calls().size(), 2u) << "the same site keeps its list";
  open("https://www.nothing.example/");
  enterScope();
  EXPECT_EQ(logins.notice(), "No logins in 1Password for nothing.example");
  EXPECT_EQ(op.calls().size(), 3u) << "another site asks again";
}

TEST_F(LoginsTest, AToolFailureOrLeavingTheScopeEndsTheWaitAndTheNextOpeningAsksAgain) {
  open("https://www.bank.example/");
  op.fail("[ERROR] account is not signed in\n");  // its notice is the login journey's
  enterScope();
  browser.leaveScope();

  const int failedPid = op.lastPid();
  op.hang();
  browser.enter(PaletteCommand::login);
  for (int i = 0; i < 500 && op.lastPid() == failedPid; ++i) g_usleep(10000);  // the tool has started again
  ASSERT_NE(op.lastPid(), failedPid);
  browser.leaveScope();
  scheduler.waitForWorkers(1);  // the worker says so once the process is reaped
  EXPECT_NE(kill(op.lastPid(), 0), 0) << "the waiting tool was ended";
  EXPECT_FALSE(logins.notice()) << "and never answers";

  op.behave();
  enterScope();
  EXPECT_EQ(listed().size(), 3u) << "asked afresh";
}

TEST_F(LoginsTest, AFrameWithALoginFormAddsItsSitesLoginsAndOnlyFramesOfThatSiteSeeTheirSecrets) {
  auto page = open("https://news.example/");
  frames[0].login = true;  // the news site has a login form of its own
  frameReports(7, "https://login.bank.example/frame", true, false);
  frameReports(9, "https://ads.example/", true, false);
  FrameMessage fromTop{"quilloForms", 1, "https://news.example/", true, {{"login", true}}};
  engine.lastView()->emitMessage(fromTop);
  EXPECT_EQ(page->formFrames.size(), 2u) << "the top frame is asked, never taken at its word";
  enterScope();
  EXPECT_EQ(listed(), (Strings{"alpha mail", "Bank", "Work account"}));

  CapturedLog log;
  browser.choose(browser.results()[2]);  // Work account
  EXPECT_EQ(flash(), "Filling from 1Password…");
  answered();
  EXPECT_EQ(frames[7].filled, std::vector{nlohmann::json::array({"ann.work", "w0rk!", "login.bank.example"})});
  EXPECT_TRUE(frames[0].filled.empty());
  EXPECT_TRUE(frames[9].filled.empty());
  EXPECT_FALSE(logins.isWatchingForCode()) << "the item has no code";
  for (const auto& evaluation : engine.lastView()->evaluations)
    EXPECT_TRUE(evaluation.frameID == 7 || evaluation.script.find("w0rk!") == std::string::npos) << evaluation.frameID;
  for (const auto& line : log.lines) EXPECT_EQ(line.find("w0rk!"), std::string::npos) << line;
  page->load(*Url::parse("https://news.example/next"));
  EXPECT_TRUE(page->formFrames.empty()) << "a new page forgets the old one's frames";
}

TEST_F(LoginsTest, AnotherSitesLoginAToolFailureOrAPageThatChangedSiteMeanwhileEndsTheFillInAFlash) {
  const Login alphaMail{"ml2v6y4kqb7sbz3dhe5c2pjz3q", "alpha mail", std::nullopt, {"mail.bank.example"}};
  auto page = open("https://www.bank.example/login");
  frames[0].login = true;
  logins.fill(Login{"sh8n4c2tjq6v5wpm3xzk7db2ru", "Shop", std::nullopt, {"shop.example.co.uk"}});
  EXPECT_EQ(flash(), "That login is for a different site.");
  scheduler.runUntilIdle();
  EXPECT_TRUE(op.calls().empty()) << "the tool is never asked for another site's secret";
  EXPECT_TRUE(frames[0].filled.empty());

  op.fail("[ERROR] 2026/11/23 10:00:00 connecting to desktop app: timed out\n");
  logins.fill(alphaMail);
  answered();
  EXPECT_EQ(flash(), "connecting to desktop app: timed out");
  op.behave();

  logins.fill(alphaMail);
  page->load(*Url::parse("https://elsewhere.example/"));
  answered();
  EXPECT_EQ(flash(), "The page changed before the login could be filled.");
  EXPECT_TRUE(frames[0].filled.empty());
}

TEST_F(LoginsTest, TheSitesCodeFieldIsFilledWithinThreeMinutesAnotherSitesOrALaterOneIsNot) {
  // Fills Bank (an item with a code) into a login page, which then moves on to the code step.
  auto fillBank = [&] {
    auto page = open("https://www.bank.example/login");
    frames[0].login = true;
    logins.fill(Login{"bk3xq7lrq4a2nfd6wgxhmxw5ya", "Bank", std::nullopt, {"www.bank.example"}});
    answered();
    EXPECT_TRUE(logins.isWatchingForCode());
    frames[0].login = false;
    return page;
  };
  fillBank();
  frameReports(5, "https://ads.example/", false, true);
  scheduler.advance(120s);
  EXPECT_TRUE(logins.isWatchingForCode()) << "another site's code field is not the one";
  frameReports(6, "https://verify.bank.example/", false, true);
  scheduler.advance(1s);
  EXPECT_EQ(flash(), "Getting the code from 1Password…");
  answered();
  EXPECT_EQ(op.calls().back(), OnePassword::oneTimeCodeArguments("bk3xq7lrq4a2nfd6wgxhmxw5ya"));
  EXPECT_EQ(frames[6].filled, std::vector{nlohmann::json::array({"482913", "verify.bank.example"})});
  EXPECT_TRUE(frames[5].filled.empty());
  EXPECT_FALSE(browser.flash.get()) << "no success text";
  EXPECT_FALSE(logins.isWatchingForCode());

  // Going to another site, or three minutes, end the watch quietly.
  fillBank()->load(*Url::parse("https://news.example/"));
  frames[0] = FrameForm{"news.example", false, true, {}};
  scheduler.advance(2s);
  EXPECT_FALSE(logins.isWatchingForCode());
  EXPECT_TRUE(frames[0].filled.empty());
  fillBank();
  scheduler.advance(180s);
  frames[0].code = true;
  scheduler.advance(5s);
  EXPECT_FALSE(logins.isWatchingForCode());
  EXPECT_EQ(frames[0].filled.size(), 1u) << "the login only";
  EXPECT_EQ(op.calls().size(), 4u) << "no code was asked for after the first";
}

}  // namespace
}  // namespace quillo::test
