// Camera, microphone and notification questions: answered from the site permissions, else asked and recorded.
#include "page/site_prompts.h"

#include <gtest/gtest.h>

#include "stores/permissions.h"
#include "support/temp_home.h"

namespace quillo {
namespace {

using namespace siteprompts;
using Kind = SitePermission::Kind;
constexpr auto allow = PermissionDecision::allow;
constexpr auto block = PermissionDecision::block;

class SitePromptsTest : public ::testing::Test {
 protected:
  test::TempHome home;
  Permissions permissions{nullptr, nullptr};
  std::vector<Alert> asked;
  std::function<void(size_t, bool)> pending;
  Ask ask = [this](const Alert& alert, std::function<void(size_t, bool)> answered) {
    asked.push_back(alert);
    pending = std::move(answered);
  };
  std::optional<bool> granted;
  std::function<void(bool)> done = [this](bool grant) { granted = grant; };

  static SitePermission camera(const std::string& host = "cam.test") { return {host, Kind::camera, ""}; }
  static SitePermission microphone() { return {"cam.test", Kind::microphone, ""}; }
};

// Saved answers deciding without a question, and a frame of another site
// asking, are played out on the real engine.
TEST_F(SitePromptsTest, OneUndecidedAsksOnceForBothAndRecordsBoth) {
  const MediaRequest both{"cam.test", true, true, true};
  permissions.set(allow, camera());
  decideMedia(permissions, both, ask, done);
  ASSERT_EQ(asked.size(), 1u);
  EXPECT_EQ(asked[0].message, "cam.test wants to use your camera and microphone");
  EXPECT_EQ(asked[0].buttons, (std::vector<std::string>{"Allow", "Don't Allow"}));
  EXPECT_EQ(asked[0].checkbox, "Remember for cam.test");
  EXPECT_FALSE(granted) << "nothing is granted before the answer";
  pending(1, false);  // Don't Allow, not remembered
  EXPECT_EQ(granted, false);
  EXPECT_EQ(permissions.decision(camera()), allow) << "the saved allow stays";
  EXPECT_EQ(permissions.savedDecision(microphone()), std::nullopt);
  granted.reset();
  decideMedia(permissions, both, ask, done);
  EXPECT_EQ(granted, false) << "the answer for this run decides: a block on either wins";
  EXPECT_EQ(asked.size(), 1u);
}

TEST_F(SitePromptsTest, OnlyANamedSiteOnAPersistentPageMayRememberTheAnswer) {
  decideMedia(permissions, {"cam.test", false, true, true}, ask, done);
  EXPECT_EQ(asked.back().message, "cam.test wants to use your microphone");
  pending(0, true);
  EXPECT_EQ(granted, true);
  EXPECT_EQ(permissions.savedDecision(microphone()), allow);

  decideMedia(permissions, {"private.test", true, false, false}, ask, done);
  EXPECT_EQ(asked.back().message, "private.test wants to use your camera");
  EXPECT_FALSE(asked.back().checkbox.has_value());
  pending(0, true);  // even a tick that somehow arrives is not a save
  EXPECT_EQ(permissions.untilQuit(camera("private.test")), allow);
  EXPECT_EQ(permissions.saved().size(), 1u) << "the microphone of cam.test only";
}

TEST_F(SitePromptsTest, NotificationAnswersAreRememberedOnPersistentPagesOnly) {
  std::vector<PermissionDecision> answers;
  auto record = [&](PermissionDecision d) { answers.push_back(d); };
  askToNotify(permissions, "news.test", true, ask, record);
  ASSERT_EQ(asked.size(), 1u);
  EXPECT_EQ(asked[0].message, "news.test wants to show notifications");
  EXPECT_FALSE(asked[0].checkbox.has_value());
  pending(0, false);
  EXPECT_EQ(permissions.savedDecision({"news.test", Kind::notifications, ""}), allow);

  askToNotify(permissions, "news.test", true, ask, record);  // known now: not asked again
  EXPECT_EQ(asked.size(), 1u);

  askToNotify(permissions, "private.test", false, ask, record);
  pending(1, false);
  EXPECT_EQ(permissions.untilQuit({"private.test", Kind::notifications, ""}), block);
  EXPECT_EQ(permissions.savedDecision({"private.test", Kind::notifications, ""}), std::nullopt);
  EXPECT_EQ(answers, (std::vector<PermissionDecision>{allow, allow, block}));
}

}  // namespace
}  // namespace quillo
