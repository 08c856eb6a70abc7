// Site permissions: saved and run-only answers, their order, the file, and the old app-link list.
#include "stores/permissions.h"

#include <gtest/gtest.h>

#include "core/app_support.h"
#include "core/settings.h"
#include "support/temp_home.h"

namespace quillo {
namespace {

using Kind = SitePermission::Kind;
constexpr auto allow = PermissionDecision::allow;
constexpr auto block = PermissionDecision::block;

SitePermission camera(const std::string& host) { return {host, Kind::camera, ""}; }
SitePermission microphone(const std::string& host) { return {host, Kind::microphone, ""}; }
SitePermission app(const std::string& host, const std::string& scheme) { return {host, Kind::app, scheme}; }

std::optional<std::string> mailOnly(const std::string& scheme) {
  return scheme == "mailto" ? std::optional<std::string>("Mail") : std::nullopt;
}

nlohmann::json fileJSON() { return AppSupport::read(std::string_view(Permissions::kFileName)).value; }

void writeFile(const std::string& text) {
  ASSERT_TRUE(AppSupport::writeAtomically(AppSupport::file(Permissions::kFileName), text, Permissions::kFileName));
}

struct PermissionsTest : ::testing::Test {
  test::TempHome home;
};

TEST_F(PermissionsTest, SavedWinsOverRunOnlyAndSettingClearsTheRunOnlyAnswer) {
  Permissions permissions(nullptr, mailOnly);
  int changes = 0;
  permissions.changed.connect([&] { ++changes; });
  permissions.answer(allow, camera("a.test"), false);
  EXPECT_EQ(permissions.decision(camera("a.test")), allow);
  EXPECT_FALSE(std::filesystem::exists(AppSupport::file(Permissions::kFileName)))
      << "an answer for this run never touches the file";

  permissions.set(block, camera("a.test"));
  EXPECT_EQ(permissions.decision(camera("a.test")), block);
  EXPECT_EQ(permissions.untilQuit(camera("a.test")), std::nullopt) << "only the saved block is left";
  EXPECT_EQ(fileJSON(), nlohmann::json::parse(R"({"a.test":{"camera":"block"}})"));
  permissions.set(std::nullopt, camera("a.test"));
  EXPECT_EQ(permissions.decision(camera("a.test")), std::nullopt);
  EXPECT_EQ(changes, 3) << "every change is announced";
}

// The order by host and kind, never-asked kinds included, is shown by the palette's tests.
TEST_F(PermissionsTest, AppsAreOrderedBySchemeAndASavedAnswerIsListedOnce) {
  Permissions permissions(nullptr, mailOnly);
  permissions.set(allow, app("b.test", "zoommtg"));
  permissions.set(allow, app("b.test", "mailto"));
  permissions.set(allow, camera("a.test"));
  permissions.answer(block, camera("a.test"), false);
  EXPECT_EQ(permissions.all(),
            (std::vector<SitePermission>{camera("a.test"), app("b.test", "mailto"), app("b.test", "zoommtg")}));
}

TEST_F(PermissionsTest, TheFileKeepsWhatItCannotListLosesEmptyHostsAndIsKeptAsideWhenUnreadable) {
  writeFile(R"({"a.test":{"app:":"allow","speaker":"block","camera":"allow"},"":{"microphone":"block"}})");
  {
    Permissions permissions(nullptr, mailOnly);
    EXPECT_EQ(permissions.all(), std::vector<SitePermission>{camera("a.test")}) << "unknown keys and no site";
    permissions.set(block, microphone("a.test"));
    permissions.answer(allow, app("b.test", "mailto"), true);
    EXPECT_EQ(fileJSON(), nlohmann::json::parse(R"({"a.test":{"app:":"allow","speaker":"block","camera":"allow",)"
                                                R"("microphone":"block"},"b.test":{"app:mailto":"allow"},)"
                                                R"("":{"microphone":"block"}})"));
    permissions.set(std::nullopt, app("b.test", "mailto"));
    EXPECT_FALSE(fileJSON().contains("b.test")) << "a host whose last key went is removed";
  }
  EXPECT_EQ(Permissions(nullptr, mailOnly).savedDecision(microphone("a.test")), block);

  // An unreadable file gives an empty store and is kept aside.
  writeFile(R"({"a.test":{"camera":"maybe"}})");
  Permissions damaged(nullptr, mailOnly);
  EXPECT_TRUE(damaged.all().empty());
  damaged.set(allow, camera("b.test"));
  auto aside = AppSupport::file(std::string(Permissions::kFileName) + ".unreadable");
  EXPECT_EQ(AppSupport::read(aside).value, nlohmann::json::parse(R"({"a.test":{"camera":"maybe"}})"));
  EXPECT_EQ(fileJSON(), nlohmann::json::parse(R"({"b.test":{"camera":"allow"}})"));
}

TEST_F(PermissionsTest, TheOldAppLinkListIsImportedOnceAndOnlySavedAppAnswersCount) {
  Settings settings(Settings::defaultFile());
  settings.set(Permissions::kLegacyAppLinksKey, nlohmann::json::array({"mail.test MAILTO", "chat.test slack", "bad"}));
  {
    Permissions permissions(&settings, mailOnly);
    EXPECT_EQ(permissions.savedAppDecision("mail.test", "mailto"), allow);
    EXPECT_EQ(permissions.all().size(), 2u);
  }
  EXPECT_EQ(Settings(Settings::defaultFile()).value(Permissions::kLegacyAppLinksKey), std::nullopt);
  EXPECT_EQ(fileJSON()["mail.test"]["app:mailto"], "allow");

  // Afterwards the file is the only source: a removal sticks.
  Permissions again(&settings, mailOnly);
  again.set(std::nullopt, app("chat.test", "slack"));
  Permissions third(&settings, mailOnly);
  EXPECT_EQ(third.savedAppDecision("chat.test", "slack"), std::nullopt);

  // Only saved answers count, and links are titled by their program.
  third.answer(allow, app("a.test", "mailto"), false);
  EXPECT_EQ(third.savedAppDecision("a.test", "mailto"), std::nullopt);
  third.saveAppAllowed("a.test", "MailTo");
  EXPECT_EQ(third.savedAppDecision("a.test", "mailto"), allow);
  EXPECT_EQ(third.title(app("a.test", "mailto")), "Open Mail");
  EXPECT_EQ(third.title(app("a.test", "zoommtg")), "Open zoommtg: links");
}

}  // namespace
}  // namespace quillo
