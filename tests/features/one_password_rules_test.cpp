// 1Password rules needing no tool or page: sites, the tool's error texts, its answers, finding it.
#include <gtest/gtest.h>

#include <set>
#include <tuple>

#include "features/one_password.h"

namespace quillo::OnePassword {
namespace {

using Strings = std::vector<std::string>;

TEST(OnePasswordSites, OneSiteIsOneRegistrableDomainOfThePublicSuffixListOrOneIPAddress) {
  const std::tuple<const char*, const char*, bool> cases[] = {
      {"www.bank.example", "bank.example", true},
      {"BANK.example", "www.bank.EXAMPLE", true},
      {"mail.bank.example", "sso.bank.example", true},  // one registrable domain
      {"bank.example", "notbank.example", false},       // a subdomain ends at a dot
      {"bank.example", "bank.example.evil", false},
      {"", "bank.example", false},
      {"shop.example.co.uk", "www.example.co.uk", true},
      {"example.co.uk", "other.co.uk", false},      // three labels under co.uk
      {"alice.github.io", "bob.github.io", false},  // one user's pages are not another's
      {"10.1.1.1", "192.168.1.1", false},           // a shared tail is no site
      {"1.1", "10.1.1.1", false},
      {"127.0.0.1", "127.0.0.1", true},
      {"[::1]", "::1", true},
  };
  for (const auto& [a, b, same] : cases) EXPECT_EQ(sameSite(a, b), same) << a << " and " << b;

  for (auto [host, domain] : {std::pair{"mail.example.co.uk", "example.co.uk"},
                              {"alice.github.io", "alice.github.io"},
                              {"co.uk", "co.uk"},
                              {"localhost", "localhost"}})
    EXPECT_EQ(registrableDomain(host), domain) << host;
  EXPECT_TRUE(isIPAddress("10.1.1.1"));
  EXPECT_TRUE(isIPAddress("[::1]"));
  EXPECT_FALSE(isIPAddress("1.example"));
}

TEST(OnePasswordErrors, OnlyARealDateAndTimeAreTakenOffTheHeaderAndFailuresNameWhatTheUserCanDo) {
  EXPECT_EQ(errorText("[ERROR] 2024/05/01 10:11:12 \"x\" isn't an item.\n"), "\"x\" isn't an item.");
  EXPECT_EQ(errorText("[ERROR] 2024-05-01 10:11:12 connecting to desktop app: timeout"),
            "connecting to desktop app: timeout");
  EXPECT_EQ(errorText("[ERROR] account is not signed in"), "[ERROR] account is not signed in")
      << "an undated message reaches the user whole";
  EXPECT_EQ(errorText("[ERROR] 24/5/1 10:11:12 short date"), "[ERROR] 24/5/1 10:11:12 short date");

  // The tool's own tests read what it says into failures; a dated header with nothing after it says nothing.
  EXPECT_EQ(failureFromError("[ERROR] 2024/05/01 10:11:12 \n").description(), "1Password couldn't be reached.");
  EXPECT_EQ((Failure{Failure::Kind::notInstalled, {}}.description()),
            "The 1Password CLI (op) isn't installed. Install the 1password-cli package from 1Password's Linux "
            "repository.");
  EXPECT_EQ((Failure{Failure::Kind::notConnected, {}}.description()),
            "1Password isn't connected to its CLI. Turn on 1Password > Settings > Developer > Integrate with "
            "1Password CLI.");
}

TEST(OnePasswordAnswers, ListedItemsGiveTheirHostsBareOnesIncluded) {
  auto logins = decodeLogins(R"([
    {"id": "a", "title": "Bank", "additional_information": "ann", "category": "LOGIN",
     "urls": [{"primary": true, "href": "https://WWW.Bank.example/login"}, {"href": "mail.bank.example"},
              {"href": "https://www.bank.example/other"}, {"href": ""}]},
    {"id": "b", "title": "No addresses"},
    {"title": "no id"},
    "not an item",
    {"id": "c", "title": "Odd", "additional_information": 7, "urls": [{"label": "no href"}, "text"]}
  ])");
  ASSERT_TRUE(logins);
  ASSERT_EQ(logins->size(), 3u);
  EXPECT_EQ((*logins)[0].hosts, (Strings{"www.bank.example", "mail.bank.example"}));
  EXPECT_EQ((*logins)[0].username, "ann");
  EXPECT_TRUE((*logins)[1].hosts.empty());
  EXPECT_FALSE((*logins)[2].username) << "a summary that is not text is none";
  EXPECT_FALSE(decodeLogins("{\"id\": \"a\"}"));
}

TEST(OnePasswordAnswers, CredentialsAreTheFirstUsernameAndPasswordFieldsACodeTheTrimmedOutput) {
  std::string item = R"({"id": "a", "fields": [
    {"id": "notesPlain", "purpose": "NOTES", "value": "notes"},
    {"id": "username", "type": "STRING", "purpose": "USERNAME", "value": "ann"},
    {"id": "password", "type": "CONCEALED", "purpose": "PASSWORD", "value": "s3cret"},
    {"id": "second", "type": "CONCEALED", "purpose": "PASSWORD", "value": "other"},
    {"id": "TOTP_1", "type": "OTP", "label": "one-time password", "totp": "123456"}]})";
  auto credentials = decodeCredentials(item);
  ASSERT_TRUE(credentials);
  EXPECT_EQ(credentials->username, "ann");
  EXPECT_EQ(credentials->password, "s3cret");
  EXPECT_TRUE(credentials->hasOneTimeCode);
  EXPECT_TRUE(item.empty()) << "the tool's answer is wiped once read";
  credentials->wipe();
  EXPECT_FALSE(credentials->username);
  EXPECT_FALSE(credentials->password);

  std::string bare = R"({"id": "b", "fields": [{"purpose": "USERNAME"}]})";
  auto none = decodeCredentials(bare);
  ASSERT_TRUE(none);
  EXPECT_FALSE(none->username) << "a field without a value sets nothing";
  EXPECT_FALSE(none->hasOneTimeCode);

  EXPECT_EQ(decodeOneTimeCode(" 123456\n").output, "123456");
  EXPECT_EQ(decodeOneTimeCode("\n").failure->description(), "That login has no one-time code saved.");
}

TEST(OnePasswordTool, FoundOnThePathFirstThenInTheUsualPlaces) {
  std::set<std::string> executables;
  auto exists = [&](const std::string& file) { return executables.count(file) > 0; };
  EXPECT_FALSE(findExecutable("/home/ann/bin:/usr/bin", exists)) << "nowhere: not installed";
  executables = {"/usr/local/bin/op"};
  EXPECT_EQ(findExecutable("/home/ann/bin", exists), "/usr/local/bin/op");
  executables.insert("/usr/bin/op");
  EXPECT_EQ(findExecutable("", exists), "/usr/bin/op");
  executables.insert("/opt/1password/op");
  EXPECT_EQ(findExecutable("/home/ann/bin::/opt/1password", exists), "/opt/1password/op");
  executables.insert("./op");
  executables.insert("bin/op");
  EXPECT_EQ(findExecutable(".:bin:/opt/1password", exists), "/opt/1password/op")
      << "relative folders of PATH are never used";
}

}  // namespace
}  // namespace quillo::OnePassword
