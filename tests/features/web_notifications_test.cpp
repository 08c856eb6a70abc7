// Web notifications in the model: permission states by site, the page script's messages, clicks back to the tab.
#include "features/web_notifications.h"

#include <gtest/gtest.h>

#include "support/browser_test.h"

namespace quillo::test {
namespace {

using Json = nlohmann::json;

struct FakeCenter final : NotificationCenter {
  bool up = true, accepts = true;
  std::vector<std::pair<std::string, Content>> posted;
  std::vector<std::string> withdrawn;
  bool available() const override { return up; }
  bool post(const std::string& identifier, const Content& content) override {
    if (accepts) posted.emplace_back(identifier, content);
    return accepts;
  }
  void withdraw(const std::string& identifier) override { withdrawn.push_back(identifier); }
};

class WebNotificationsTest : public BrowserTest {
 protected:
  Json send(const PagePtr& page, const Json& message, std::optional<std::string> frameURL = {}) {
    auto asked = view(page).ask("quilloNotify", message, std::move(frameURL));
    EXPECT_EQ(asked->replies, 1) << message.dump();
    return asked->answer;
  }
  Json show(const PagePtr& page, const std::string& id, const std::string& tag = "") {
    return send(page, {{"type", "show"}, {"id", id}, {"title", "T"}, {"body", "B"}, {"tag", tag}, {"silent", true}});
  }
  Json close(const PagePtr& page, const std::string& id) { return send(page, {{"type", "close"}, {"id", id}}); }

  FakeCenter center;
  WebNotifications notifications{*browser, permissions, center};
};

TEST_F(WebNotificationsTest, StatesFollowTheServiceAndTheSendingFramesSite) {
  struct Case {
    bool service;
    std::optional<PermissionDecision> decision;  // for news.test
    std::string frameURL;
    std::string state;
  };
  const std::vector<Case> cases = {
      {true, std::nullopt, "https://news.test/a", "default"},
      {true, PermissionDecision::allow, "https://news.test/a", "granted"},
      {true, PermissionDecision::block, "https://news.test/a", "denied"},
      {false, PermissionDecision::allow, "https://news.test/a", "denied"},
      {true, PermissionDecision::allow, "about:blank", "denied"},
      {true, PermissionDecision::allow, "https://ads.test/frame", "default"},  // the frame's own site (keep last)
  };
  auto page = open("https://news.test/");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.frameURL + " " + c.state);
    center.up = c.service;
    decide("news.test", "notifications", c.decision);
    EXPECT_EQ(send(page, {{"type", "permission"}}, c.frameURL), c.state);
    // A request asks only when the state is "default".
    auto asked = view(page).ask("quilloNotify", {{"type", "request"}}, c.frameURL);
    EXPECT_EQ(answerDialog(*page, 1).message != "none", c.state == "default");
    EXPECT_EQ(asked->answer, c.state == "default" ? "denied" : c.state);
  }
}

TEST_F(WebNotificationsTest, OnePromptPerSiteOverItsTabRememberedOnlyForPersistentPages) {
  auto asking = open("https://news.test/", "", false);
  open("https://other.test/");
  auto first = view(asking).ask("quilloNotify", {{"type", "request"}});
  auto second = view(asking).ask("quilloNotify", {{"type", "request"}});
  EXPECT_EQ(browser->current(), asking) << "the prompt shows over the tab that asked";
  EXPECT_EQ(first->replies + second->replies, 0) << "both wait for the answer";
  EXPECT_EQ(answerDialog(*asking, 0).message, "news.test wants to show notifications");
  EXPECT_FALSE(asking->dialog.get()) << "one prompt for both";
  EXPECT_EQ(first->answer, "granted");
  EXPECT_EQ(second->answer, "granted");
  EXPECT_EQ(permissions.savedDecision({"news.test", SitePermission::Kind::notifications, ""}),
            PermissionDecision::allow);

  auto quietTab = open("https://quiet.test/", "", true, true);
  auto asked = view(quietTab).ask("quilloNotify", {{"type", "request"}});
  answerDialog(*quietTab, 1);
  EXPECT_EQ(asked->answer, "denied");
  const SitePermission quiet{"quiet.test", SitePermission::Kind::notifications, ""};
  EXPECT_EQ(permissions.untilQuit(quiet), PermissionDecision::block) << "a private tab's answer is not saved";
  EXPECT_EQ(permissions.savedDecision(quiet), std::nullopt);
}

TEST_F(WebNotificationsTest, ShowPostsOnlyWellFormedGrantedOnesAndCloseWithdrawsTheSendersOwnOnce) {
  auto page = open("https://www.news.test/");
  auto other = open("https://www.news.test/b");
  EXPECT_EQ(show(page, "1"), false) << "not allowed yet";
  decide("www.news.test", "notifications", PermissionDecision::allow);
  for (const auto& [message, answer] : std::vector<std::pair<Json, Json>>{
           {{{"type", "dance"}}, nullptr}, {"show", nullptr}, {{{"type", "show"}}, false} /* no id */})
    EXPECT_EQ(send(page, message), answer) << message;
  EXPECT_TRUE(view(page).ask("quilloOther", Json::object())->answer.is_null()) << "an ask nobody takes: null";
  center.accepts = false;
  EXPECT_EQ(show(page, "1"), false) << "the desktop refused it";
  center.accepts = true;
  ASSERT_EQ(show(page, "1"), true);
  ASSERT_EQ(show(other, "1"), true);
  ASSERT_EQ(center.posted.size(), 2u);
  const auto [mine, content] = center.posted[0];
  EXPECT_EQ(content.title + "|" + content.site + "|" + content.body, "T|news.test|B");
  EXPECT_TRUE(content.silent);

  EXPECT_TRUE(close(page, "1").is_null());
  close(page, "1");
  EXPECT_EQ(center.withdrawn, std::vector<std::string>{mine}) << "once, and not the other tab's";

  // One tag of a site is one notification: closing the replaced one leaves its successor.
  ASSERT_EQ(show(page, "2", "chat"), true);
  ASSERT_EQ(show(page, "3", "chat"), true);
  EXPECT_EQ(center.posted[2].second.group, center.posted[3].second.group);
  close(page, "2");
  EXPECT_EQ(center.withdrawn.size(), 1u);
  close(page, "3");
  EXPECT_EQ(center.withdrawn.back(), center.posted[3].first);
}

TEST_F(WebNotificationsTest, AClickBringsItsTabForwardAndFiresClickOnceAndNothingForAClosedTab) {
  decide("news.test", "notifications", PermissionDecision::allow);
  auto page = open("https://news.test/");
  auto gone = open("https://news.test/gone");
  ASSERT_EQ(show(page, "id \"1\""), true);
  ASSERT_EQ(show(gone, "2"), true);
  open("https://other.test/");
  int forward = 0;
  browser->bringForwardRequested.connect([&] { ++forward; });

  center.onClick(center.posted[0].first);
  EXPECT_EQ(browser->current(), page);
  EXPECT_EQ(forward, 1);
  ASSERT_FALSE(view(page).evaluations.empty());
  const auto run = view(page).evaluations.back();
  EXPECT_EQ(run.script, R"(window.__quilloNotificationClicked?.("id \"1\""))");
  EXPECT_FALSE(run.isolated || run.frameID) << "in the main frame's page world, where its notification lives";
  const size_t runs = view(page).evaluations.size();
  center.onClick(center.posted[0].first);
  EXPECT_EQ(view(page).evaluations.size(), runs) << "a notification is clicked once";

  browser->close(gone);
  center.onClick(center.posted[1].first);
  EXPECT_EQ(forward, 1) << "nothing for a closed tab";
  EXPECT_EQ(browser->current(), page);
}

}  // namespace
}  // namespace quillo::test
