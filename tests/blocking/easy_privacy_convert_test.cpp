#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

#include "blocking/easy_privacy.h"
#include "blocking/url_filter_check.h"

namespace quillo {
namespace {

using nlohmann::json;

const std::string kAnyHost = R"(^[a-z-]+://([^/]*\.)?)";
const std::string kSeparator = "[^a-zA-Z0-9_.%-]";

json rules(std::string_view text) { return json::parse(EasyPrivacy::convert(text).json); }

// The one rule a single line gives; fails the test when there is none.
json ruleFor(std::string_view line) {
  auto converted = EasyPrivacy::convert(line);
  json all = json::parse(converted.json);
  EXPECT_EQ(all.size(), 1u) << line;
  return all.empty() ? json() : all[0];
}

std::string filterFor(std::string_view line) {
  json rule = ruleFor(line);
  return rule.is_null() ? std::string() : rule["trigger"]["url-filter"].get<std::string>();
}

bool isSkipped(std::string_view line) {
  auto converted = EasyPrivacy::convert(line);
  return converted.skipped == 1 && converted.json == "[]";
}

TEST(EasyPrivacyAnchors, DomainAnchorAndSeparator) {
  json rule = ruleFor("||tracker.test^");
  EXPECT_EQ(rule["trigger"]["url-filter"], kAnyHost + R"(tracker\.test)" + kSeparator);
  EXPECT_EQ(rule["action"]["type"], "block");
  EXPECT_EQ(rule["trigger"].size(), 1u) << "no options, no other trigger keys";
}

TEST(EasyPrivacyAnchors, StartAndEndAnchors) {
  EXPECT_EQ(filterFor("|https://a.test/x|"), R"(^https://a\.test/x$)");
  EXPECT_EQ(filterFor("|https://a.test/x"), R"(^https://a\.test/x)");
  EXPECT_EQ(filterFor("/pixel.gif|"), R"(/pixel\.gif$)");
  EXPECT_EQ(filterFor("||a.test/x|"), kAnyHost + R"(a\.test/x$)");
}

TEST(EasyPrivacyAnchors, BarElsewhereOrNothingLeftSkips) {
  EXPECT_TRUE(isSkipped("abc|def"));
  EXPECT_TRUE(isSkipped("||a.test|b"));
  EXPECT_TRUE(isSkipped("|||abc"));
  EXPECT_TRUE(isSkipped("||"));
  EXPECT_TRUE(isSkipped("|"));
  EXPECT_TRUE(isSkipped("|||"));
}

TEST(EasyPrivacyPatterns, SpecialCharactersAreEscaped) {
  EXPECT_EQ(filterFor(R"(/a$b/c)"), R"(/a\$b/c)") << "a $ followed by a / belongs to the pattern";
  EXPECT_EQ(filterFor(R"(x.y+z?(a)[b]{c}\d)"), R"(x\.y\+z\?\(a\)\[b\]\{c\}\\d)");
  EXPECT_EQ(filterFor("/track^id="), "/track" + kSeparator + "id=");
  EXPECT_EQ(filterFor("&ev=PageView&"), "&ev=PageView&");
}

TEST(EasyPrivacyPatterns, WildcardsAndTheMinimumLength) {
  EXPECT_TRUE(isSkipped("ab"));
  EXPECT_TRUE(isSkipped("*ab*"));
  EXPECT_TRUE(isSkipped("*"));
  EXPECT_TRUE(isSkipped("||*"));
  EXPECT_EQ(filterFor("abc"), "abc");
  EXPECT_EQ(filterFor("*.js"), R"(.*\.js)") << "the body \\.js counts 4 characters";
  EXPECT_EQ(filterFor("a*b*c"), "a.*b.*c");
  EXPECT_EQ(filterFor("^a"), kSeparator + "a") << "a class counts by its characters";
}

TEST(EasyPrivacyPatterns, RegularExpressionRulesAndNonAsciiSkip) {
  EXPECT_TRUE(isSkipped(R"(/track\d+/)"));
  EXPECT_TRUE(isSkipped("//"));
  EXPECT_TRUE(isSkipped("/tracker/$script")) << "the pattern before the options decides";
  EXPECT_FALSE(isSkipped("/tracker/x$script"));
  EXPECT_TRUE(isSkipped("/zähler.js"));
  EXPECT_TRUE(isSkipped(std::string_view("ab\0cd", 5))) << "WebKit reads NUL as an end-of-line anchor";
}

TEST(EasyPrivacyLines, ElementHidingCommentsAndHeader) {
  auto converted = EasyPrivacy::convert(
      "[Adblock Plus 2.0]\n"
      "! Title: test\n"
      "example.com##.ad\n"
      "example.com#@#.ad\n"
      "example.com#?#div:has(.ad)\n"
      "example.com#$#abort-on-property-read x\n"
      "   \t \n"
      "\n"
      "  ||tracker.test^  \n");
  EXPECT_EQ(converted.skipped, 4) << "element hiding counts; comments, header and blank lines do not";
  EXPECT_EQ(converted.blocking, 1);
  EXPECT_EQ(converted.exceptions, 0);
  EXPECT_EQ(json::parse(converted.json)[0]["trigger"]["url-filter"], kAnyHost + R"(tracker\.test)" + kSeparator)
      << "spaces and tabs are trimmed";
}

TEST(EasyPrivacyLines, AnyLineBreakSeparatesLines) {
  auto converted = EasyPrivacy::convert("/one.js\r\n/two.js\r/three.js\n/four.js");
  ASSERT_EQ(converted.blocking, 4);
  json all = json::parse(converted.json);
  EXPECT_EQ(all[0]["trigger"]["url-filter"], R"(/one\.js)") << "no carriage return is left in a pattern";
  EXPECT_EQ(all[3]["trigger"]["url-filter"], R"(/four\.js)");
}

TEST(EasyPrivacyOptions, LoadTypeLastOneWins) {
  EXPECT_EQ(ruleFor("/t.js$third-party")["trigger"]["load-type"], json({"third-party"}));
  EXPECT_EQ(ruleFor("/t.js$3p")["trigger"]["load-type"], json({"third-party"}));
  EXPECT_EQ(ruleFor("/t.js$~third-party")["trigger"]["load-type"], json({"first-party"}));
  EXPECT_EQ(ruleFor("/t.js$1p")["trigger"]["load-type"], json({"first-party"}));
  EXPECT_EQ(ruleFor("/t.js$third-party,first-party")["trigger"]["load-type"], json({"first-party"}));
  EXPECT_EQ(ruleFor("/t.js$first-party,3p")["trigger"]["load-type"], json({"third-party"}));
}

TEST(EasyPrivacyOptions, ResourceTypesMappedSortedAndDeduplicated) {
  EXPECT_EQ(ruleFor("/t.js$image,ping,xmlhttprequest")["trigger"]["resource-type"], json({"image", "raw"}));
  EXPECT_EQ(ruleFor("/t.js$websocket,other,subdocument,stylesheet,script,media,font")["trigger"]["resource-type"],
            json({"document", "font", "media", "raw", "script", "style-sheet"}));
  json rule = ruleFor("||t.test^$script,third-party");
  EXPECT_EQ(rule["trigger"]["resource-type"], json({"script"}));
  EXPECT_EQ(rule["trigger"]["load-type"], json({"third-party"}));
}

TEST(EasyPrivacyOptions, AnyOtherOptionSkipsTheRule) {
  for (const char* line : {"/t.js$important", "/t.js$popup", "/t.js$match-case", "/t.js$csp=script-src 'none'",
                           "/t.js$redirect=noop.js", "/t.js$~script", "/t.js$xhr", "/t.js$script,badfilter",
                           "/t.js$SCRIPT"}) {
    EXPECT_TRUE(isSkipped(line)) << line;
  }
}

TEST(EasyPrivacyDomains, IncludedExcludedAndMixed) {
  json rule = ruleFor("/t.js$domain=A.test|b.TEST");
  EXPECT_EQ(rule["trigger"]["if-domain"], json({"*a.test", "*b.test"}));
  EXPECT_FALSE(rule["trigger"].contains("unless-domain"));

  rule = ruleFor("/t.js$domain=~a.test||~b.test|");
  EXPECT_EQ(rule["trigger"]["unless-domain"], json({"*a.test", "*b.test"})) << "empty pieces are dropped";
  EXPECT_FALSE(rule["trigger"].contains("if-domain"));

  EXPECT_TRUE(isSkipped("||a.test^$domain=x.test|~y.x.test"));
  EXPECT_TRUE(isSkipped("/t.js$domain=bücher.test")) << "WebKit wants ASCII domains";
}

TEST(EasyPrivacyExceptions, ExceptionRuleShape) {
  json all = rules("@@||cdn.test^$script,domain=site.test\n||tracker.test^\n/pixel.");
  ASSERT_EQ(all.size(), 3u);
  const json& exception = all[2];
  EXPECT_EQ(exception["action"]["type"], "ignore-previous-rules");
  EXPECT_EQ(exception["trigger"]["resource-type"], json({"script"}));
  EXPECT_EQ(exception["trigger"]["if-domain"], json({"*site.test"}));
  EXPECT_EQ(exception["trigger"]["url-filter"], kAnyHost + R"(cdn\.test)" + kSeparator);
}

TEST(EasyPrivacyExceptions, EveryExceptionFollowsEveryBlockInListOrder) {
  auto converted = EasyPrivacy::convert("@@/e1.\n/b1.\n@@/e2.\n/b2.\n/b3.\n@@/e3.\n");
  EXPECT_EQ(converted.blocking, 3);
  EXPECT_EQ(converted.exceptions, 3);
  std::vector<std::string> order;
  for (const auto& rule : json::parse(converted.json)) order.push_back(rule["trigger"]["url-filter"]);
  EXPECT_EQ(order, (std::vector<std::string>{R"(/b1\.)", R"(/b2\.)", R"(/b3\.)", R"(/e1\.)", R"(/e2\.)", R"(/e3\.)"}));
}

TEST(EasyPrivacyCounts, CountsAndEmptyInput) {
  auto converted = EasyPrivacy::convert("! only a comment\n##.ad\n/x.js$important\n@@/ok.js\n/t.js\n");
  EXPECT_EQ(converted.blocking, 1);
  EXPECT_EQ(converted.exceptions, 1);
  EXPECT_EQ(converted.skipped, 2);

  auto empty = EasyPrivacy::convert("");
  EXPECT_EQ(empty.json, "[]");
  EXPECT_EQ(empty.blocking + empty.exceptions + empty.skipped, 0);
}

TEST(EasyPrivacyCounts, RuleLimitDropsTrailingBlocksAndKeepsExceptions) {
  auto converted = EasyPrivacy::convert("/b1.\n/b2.\n/b3.\n@@/e1.\n@@/e2.\n", 3);
  EXPECT_EQ(converted.blocking, 1);
  EXPECT_EQ(converted.exceptions, 2);
  EXPECT_EQ(converted.skipped, 2);
  json all = json::parse(converted.json);
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0]["trigger"]["url-filter"], R"(/b1\.)");
  EXPECT_EQ(all[1]["trigger"]["url-filter"], R"(/e1\.)");

  auto exceptionsOnly = EasyPrivacy::convert("/b1.\n@@/e1.\n@@/e2.\n", 1);
  EXPECT_EQ(json::parse(exceptionsOnly.json).size(), 1u);
  EXPECT_EQ(exceptionsOnly.blocking, 0);
}

TEST(EasyPrivacyCounts, QuotesAndControlCharactersStayValidJson) {
  json all = rules("/a\"b.js\n/t\tab.js$domain=q\"x.test");
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0]["trigger"]["url-filter"], R"(/a"b\.js)");
  EXPECT_EQ(all[1]["trigger"]["url-filter"], "/t\tab\\.js");
  EXPECT_EQ(all[1]["trigger"]["if-domain"], json({"*q\"x.test"}));
}

// The real list, when this checkout has it.
TEST(EasyPrivacyRealList, ConvertsToRulesWebKitAccepts) {
  std::ifstream file(std::string(QUILLO_TEST_DATA_DIR) + "/easyprivacy.txt", std::ios::binary);
  if (!file) GTEST_SKIP() << "easyprivacy.txt is not available";
  std::stringstream text;
  text << file.rdbuf();
  std::string list = text.str();
  size_t lines = std::count(list.begin(), list.end(), '\n');

  auto converted = EasyPrivacy::convert(list);
  EXPECT_GT(converted.blocking, int(lines / 2));
  EXPECT_GT(converted.exceptions, 100);
  EXPECT_LT(converted.skipped, int(lines / 20));
  EXPECT_LE(converted.blocking + converted.exceptions, EasyPrivacy::maxRules);

  json all = json::parse(converted.json);
  ASSERT_TRUE(all.is_array());
  ASSERT_EQ(all.size(), size_t(converted.blocking + converted.exceptions));
  const std::set<std::string> types{"document", "font", "image", "media", "raw", "script", "style-sheet"};
  for (size_t i = 0; i < all.size(); ++i) {
    const json& rule = all[i];
    ASSERT_EQ(rule["action"]["type"], i < size_t(converted.blocking) ? "block" : "ignore-previous-rules") << i;
    const json& trigger = rule["trigger"];
    std::string filter = trigger["url-filter"];
    ASSERT_EQ(urlFilterRejection(filter), nullptr) << filter;
    ASSERT_FALSE(trigger.contains("if-domain") && trigger.contains("unless-domain")) << filter;
    for (const char* key : {"if-domain", "unless-domain"}) {
      if (!trigger.contains(key)) continue;
      ASSERT_FALSE(trigger[key].empty());
      for (const auto& domain : trigger[key]) ASSERT_TRUE(isAcceptableDomain(domain.get<std::string>())) << domain;
    }
    if (trigger.contains("resource-type")) {
      std::vector<std::string> list = trigger["resource-type"];
      ASSERT_TRUE(std::is_sorted(list.begin(), list.end()));
      ASSERT_EQ(std::adjacent_find(list.begin(), list.end()), list.end());
      for (const auto& type : list) ASSERT_TRUE(types.count(type)) << type;
    }
    if (trigger.contains("load-type")) {
      ASSERT_EQ(trigger["load-type"].size(), 1u);
    }
  }
}

}  // namespace
}  // namespace quillo
