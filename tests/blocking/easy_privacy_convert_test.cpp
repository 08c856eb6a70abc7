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

// Why a single line was skipped; fails the test when it was not.
std::string skipReason(std::string_view line) {
  auto converted = EasyPrivacy::convert(line);
  EXPECT_EQ(converted.json, "[]") << line;
  for (size_t i = 0; i < EasyPrivacy::skipKinds; ++i) {
    if (converted.skippedBy[i]) return EasyPrivacy::describe(EasyPrivacy::Skip(i));
  }
  return "not skipped";
}
const std::string kNoTypeLeft = EasyPrivacy::describe(EasyPrivacy::Skip::typesCancelOut);
const std::string kBadRegex = EasyPrivacy::describe(EasyPrivacy::Skip::regularExpression);

// The url-filters of all rules, in output order.
std::vector<std::string> filters(std::string_view text) {
  std::vector<std::string> out;
  for (const auto& rule : rules(text)) out.push_back(rule["trigger"]["url-filter"]);
  return out;
}

json typesFor(std::string_view line) { return ruleFor(line)["trigger"]["resource-type"]; }

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

TEST(EasyPrivacyPatterns, NonAsciiAndNulSkip) {
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
  for (const char* line : {"/t.js$popup", "/t.js$match-case", "/t.js$csp=script-src 'none'", "/t.js$redirect=noop.js",
                           "/t.js$xhr", "/t.js$script,badfilter", "/t.js$SCRIPT", "/t.js$important,redirect=noop.js",
                           "/t.js$method=post", "/t.js$document"}) {
    EXPECT_TRUE(isSkipped(line)) << line;
  }
}

TEST(EasyPrivacyNegatedTypes, EveryTypeOfTheTableButTheNegated) {
  json rule = ruleFor("||eloqua.com^$~stylesheet,third-party");
  EXPECT_EQ(rule["trigger"]["resource-type"], json({"document", "font", "image", "media", "raw", "script"}));
  EXPECT_EQ(rule["trigger"]["load-type"], json({"third-party"}));
  EXPECT_EQ(typesFor("||export.newscube.de^$~subdocument"),
            json({"font", "image", "media", "raw", "script", "style-sheet"}));
  EXPECT_EQ(typesFor("/t.js$~script"), json({"document", "font", "image", "media", "raw", "style-sheet"}));
  EXPECT_EQ(typesFor("/t.js$~script,~image,~font"), json({"document", "media", "raw", "style-sheet"}));
}

TEST(EasyPrivacyNegatedTypes, RawGoesWhenAnyOfItsOptionsIsNegated) {
  // xmlhttprequest, ping, websocket and other share "raw": keeping it would
  // block the negated one too.
  for (const char* line : {"/t.js$~xmlhttprequest", "/t.js$~ping", "/t.js$~websocket", "||yandex.*/clck/$~other"}) {
    EXPECT_EQ(typesFor(line), json({"document", "font", "image", "media", "script", "style-sheet"})) << line;
  }
}

TEST(EasyPrivacyNegatedTypes, PositiveTypesMinusTheNegated) {
  EXPECT_EQ(typesFor("/t.js$script,image,~image"), json({"script"}));
  EXPECT_EQ(typesFor("/t.js$~script,image"), json({"image"})) << "order does not matter";
  EXPECT_EQ(typesFor("/t.js$image,xmlhttprequest,~ping"), json({"image"}));
}

TEST(EasyPrivacyNegatedTypes, TypesThatCancelOutSkipTheRule) {
  EXPECT_EQ(skipReason("/t.js$script,~script"), kNoTypeLeft);
  EXPECT_EQ(skipReason("/t.js$xmlhttprequest,~websocket"), kNoTypeLeft) << "one raw minus another";
  EXPECT_EQ(skipReason("/t.js$~script,~image,~stylesheet,~font,~media,~subdocument,~other"), kNoTypeLeft);
  auto converted = EasyPrivacy::convert("/a.js$image,~image\n/b.js$~image\n");
  EXPECT_EQ(converted.blocking, 1);
  EXPECT_EQ(converted.skipped, 1);
}

TEST(EasyPrivacyNegatedTypes, DocumentOnlyWhenNegatedAndUnknownNegationsSkip) {
  json rule = ruleFor("/webtracking/*$~document,~subdocument,domain=~wwwapps.ups.com");
  EXPECT_EQ(rule["trigger"]["resource-type"], json({"font", "image", "media", "raw", "script", "style-sheet"}));
  EXPECT_EQ(rule["trigger"]["unless-domain"], json({"*wwwapps.ups.com"}));
  EXPECT_EQ(typesFor("/t.js$~document"), json({"font", "image", "media", "raw", "script", "style-sheet"}));
  EXPECT_TRUE(isSkipped("/t.js$document")) << "a positive document type means something else";
  EXPECT_TRUE(isSkipped("/t.js$~popup"));
  EXPECT_TRUE(isSkipped("/t.js$~Script"));
  EXPECT_TRUE(isSkipped("/t.js$~"));
}

TEST(EasyPrivacyTrailingSeparator, AfterAPathTheRuleIsDoubled) {
  auto converted = EasyPrivacy::convert("||apester.com/event^");
  EXPECT_EQ(converted.blocking, 2) << "counted as the two rules it is";
  EXPECT_EQ(converted.skipped, 0);
  EXPECT_EQ(filters("||apester.com/event^"), (std::vector<std::string>{kAnyHost + R"(apester\.com/event)" + kSeparator,
                                                                      kAnyHost + R"(apester\.com/event$)"}));
  EXPECT_EQ(filters("/pixel^|"), (std::vector<std::string>{"/pixel" + kSeparator + "$", "/pixel$"}));
  EXPECT_EQ(filters("abc^"), (std::vector<std::string>{"abc" + kSeparator, "abc$"}));
  EXPECT_EQ(filters("||geotargetly-api-*.com^").size(), 2u) << "a wildcard can reach into the path";
  EXPECT_EQ(filters("|http://a.test/x^").size(), 2u);

  json twins = rules("/frontend-metrics^$image,third-party,domain=a.test");
  ASSERT_EQ(twins.size(), 2u);
  twins[0]["trigger"].erase("url-filter");
  twins[1]["trigger"].erase("url-filter");
  EXPECT_EQ(twins[0], twins[1]) << "both carry the same options";
  EXPECT_EQ(twins[0]["trigger"]["if-domain"], json({"*a.test"}));
}

TEST(EasyPrivacyTrailingSeparator, AfterABareHostOneRuleDoes) {
  // The address always goes on after its host, with "/" or ":".
  for (const char* line : {"||tracker.test^", "||fb_servpub-a.akamaihd.net^", "||t.test:8080^", "||[::]^$third-party",
                           "||tracker.test^|"}) {
    EXPECT_EQ(EasyPrivacy::convert(line).blocking, 1) << line;
  }
  EXPECT_EQ(filters("/track^id="), std::vector<std::string>{"/track" + kSeparator + "id="}) << "not at the end";
}

TEST(EasyPrivacyTrailingSeparator, ExceptionsAreDoubledAfterEveryBlock) {
  auto converted = EasyPrivacy::convert("@@||cdn.test/ok^$script\n||cdn.test^\n");
  EXPECT_EQ(converted.blocking, 1);
  EXPECT_EQ(converted.exceptions, 2);
  json all = json::parse(converted.json);
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0]["action"]["type"], "block");
  EXPECT_EQ(all[1]["trigger"]["url-filter"], kAnyHost + R"(cdn\.test/ok)" + kSeparator);
  EXPECT_EQ(all[2]["trigger"]["url-filter"], kAnyHost + R"(cdn\.test/ok$)");
  EXPECT_EQ(all[2]["action"]["type"], "ignore-previous-rules");
  EXPECT_EQ(all[2]["trigger"]["resource-type"], json({"script"}));
}

TEST(EasyPrivacyTrailingSeparator, TooShortBeforeTheSeparatorSkips) {
  EXPECT_EQ(skipReason("ab^"), "too broad") << "its twin ab$ would match almost anything";
  EXPECT_EQ(skipReason("*^"), "too broad");
  EXPECT_EQ(skipReason("||^"), "too broad");
}

TEST(EasyPrivacyRegularExpressions, WithinWebKitsSubsetTakenAsTheyAre) {
  json rule = ruleFor(R"(/^https?:\/\/t\.test\/[a-z_-]+\.js/$script,third-party)");
  EXPECT_EQ(rule["trigger"]["url-filter"], R"(^https?://t\.test/[a-z_-]+\.js)") << "\\/ is just /";
  EXPECT_EQ(rule["trigger"]["resource-type"], json({"script"}));
  EXPECT_EQ(rule["trigger"]["load-type"], json({"third-party"}));
  EXPECT_EQ(filterFor("/tracker/$script"), "tracker") << "the pattern before the options decides";
  EXPECT_EQ(filterFor(R"(/\/pixel\.gif$/)"), R"(/pixel\.gif$)") << "a $ followed by / belongs to the expression";
}

TEST(EasyPrivacyRegularExpressions, CountedRepetitionsAndClassEscapesSpeltOut) {
  EXPECT_EQ(filterFor(R"(/\/[a-z0-9]{3,5}\.js/)"), R"(/[a-z0-9][a-z0-9][a-z0-9][a-z0-9]?[a-z0-9]?\.js)");
  EXPECT_EQ(filterFor(R"(/content\/{3,}x/)"), "content////*x");
  EXPECT_EQ(filterFor("/trab{2}ck/"), "trabbck");
  EXPECT_EQ(filterFor("/(ab){2}x/"), "(ab)(ab)x");
  EXPECT_EQ(filterFor(R"(/track\d+/)"), "track[0-9]+");
  EXPECT_EQ(filterFor(R"(/id=\w\W\D/)"), "id=[A-Za-z0-9_][^A-Za-z0-9_][^0-9]");
  EXPECT_EQ(filterFor(R"(/id=[\d.]+x/)"), R"(id=[0-9.]+x)");
  EXPECT_EQ(filterFor(R"(/a.*?b\.js/)"), R"(a.*b\.js)") << "lazy or greedy, the same addresses match";
  EXPECT_EQ(filterFor("/(?:ab)+cd/"), "(ab)+cd");
}

TEST(EasyPrivacyRegularExpressions, EachAlternativeBecomesARule) {
  auto converted = EasyPrivacy::convert(
      R"(/^https?:\/\/tmx\.(td|tdbank)\.com\/[a-z0-9]{2,3}\.js.*/$script,domain=mbna.ca|td.com|tdbank.com)");
  EXPECT_EQ(converted.blocking, 2);
  json all = json::parse(converted.json);
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0]["trigger"]["url-filter"], R"(^https?://tmx\.td\.com/[a-z0-9][a-z0-9][a-z0-9]?\.js.*)");
  EXPECT_EQ(all[1]["trigger"]["url-filter"], R"(^https?://tmx\.tdbank\.com/[a-z0-9][a-z0-9][a-z0-9]?\.js.*)");
  EXPECT_EQ(all[1]["trigger"]["if-domain"], json({"*mbna.ca", "*td.com", "*tdbank.com"}));

  EXPECT_EQ(filters(R"(/track\.js|^https:\/\/px\./)"), (std::vector<std::string>{R"(track\.js)", R"(^https://px\.)"}));
  EXPECT_EQ(filters("/(a|b)x(c|d)yz/"), (std::vector<std::string>{"axcyz", "axdyz", "bxcyz", "bxdyz"}));
  EXPECT_EQ(filters("/a(b(c|d)|e)fg/"), (std::vector<std::string>{"abcfg", "abdfg", "aefg"}));
}

TEST(EasyPrivacyRegularExpressions, BeyondTheSubsetSkipped) {
  for (const char* line : {R"(/track\s+/)", "/track(?=er)/", R"(/(ab)x\1/)", R"(/\btrack/)", "/(ab|cd)+x/",
                           "/(ab|cd)?x/", "/ab{2,1}c/", "/abc{/", "/ab{x}/", "/a{100}bc/", "/abc^d/", "/abc$d/",
                           "/(abc/", "/abc)/", R"(/[\s]abc/)", "/abc|/", "/(a|b)(c|d)(e|f)(g|h)xyz/", "//",
                           R"(/\u0041bc/)", "/*abc/"}) {
    EXPECT_EQ(skipReason(line), kBadRegex) << line;
  }
  EXPECT_EQ(skipReason("/.*/"), "too broad");
  EXPECT_EQ(skipReason("/a|bcd/"), "too broad") << "all alternatives or none";
}

TEST(EasyPrivacyImportant, ImportantBlocksComeAfterEveryException) {
  auto converted = EasyPrivacy::convert(
      "||clarity.ms/tag/$script,domain=phileweb.com,important\n"
      "@@||clarity.ms^\n"
      "||b.test^\n");
  EXPECT_EQ(converted.blocking, 2);
  EXPECT_EQ(converted.exceptions, 1);
  json all = json::parse(converted.json);
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0]["trigger"]["url-filter"], kAnyHost + R"(b\.test)" + kSeparator);
  EXPECT_EQ(all[1]["action"]["type"], "ignore-previous-rules");
  EXPECT_EQ(all[2]["action"]["type"], "block") << "no exception before it can cancel it";
  EXPECT_EQ(all[2]["trigger"]["url-filter"], kAnyHost + R"(clarity\.ms/tag/)");
  EXPECT_EQ(all[2]["trigger"]["resource-type"], json({"script"}));
  EXPECT_EQ(all[2]["trigger"]["if-domain"], json({"*phileweb.com"}));

  EXPECT_EQ(skipReason("@@||a.test/x$important"), "unsupported option");
  EXPECT_EQ(skipReason("||a.test/x.js$script,redirect=noop.js,important"), "unsupported option");
  EXPECT_EQ(filters("/i.js$important"), std::vector<std::string>{R"(/i\.js)"}) << "alone, it is the last rule";
}

TEST(EasyPrivacyCounts, SkippedLinesCountedByReason) {
  auto converted = EasyPrivacy::convert(
      "##.ad\n"
      "/x.js$popup\n"
      "/x.js$script,~script\n"
      "||a.test^$domain=x.test|~y.x.test\n"
      "/x.js$domain=b\xc3\xbc" "cher.test\n"
      "/track\\s/\n"
      "ab\n"
      "a|bc\n");
  using Skip = EasyPrivacy::Skip;
  EXPECT_EQ(converted.skipped, 8);
  for (Skip why : {Skip::elementHiding, Skip::option, Skip::typesCancelOut, Skip::mixedDomains, Skip::domainName,
                   Skip::regularExpression, Skip::tooBroad, Skip::pattern}) {
    EXPECT_EQ(converted.skippedBy[size_t(why)], 1) << EasyPrivacy::describe(why);
  }
  EXPECT_EQ(converted.skippedBy[size_t(Skip::ruleLimit)], 0);
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
  auto converted = EasyPrivacy::convert("! only a comment\n##.ad\n/x.js$popup\n@@/ok.js\n/t.js\n");
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

  // Important blocks are kept before ordinary ones, exceptions before both.
  auto withImportant = EasyPrivacy::convert("/b1.\n/i1.$important\n@@/e1.\n/i2.$important\n", 2);
  EXPECT_EQ(withImportant.blocking, 1);
  EXPECT_EQ(withImportant.exceptions, 1);
  EXPECT_EQ(withImportant.skipped, 2);
  EXPECT_EQ(withImportant.skippedBy[size_t(EasyPrivacy::Skip::ruleLimit)], 2);
  EXPECT_EQ(json::parse(withImportant.json).size(), 2u);
  EXPECT_EQ(filters("/b1.\n/i1.$important\n@@/e1.\n/i2.$important\n"),
            (std::vector<std::string>{R"(/b1\.)", R"(/e1\.)", R"(/i1\.)", R"(/i2\.)"}));
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
  int byReason = 0;
  for (int n : converted.skippedBy) byReason += n;
  EXPECT_EQ(byReason, converted.skipped);
  EXPECT_LE(converted.blocking + converted.exceptions, EasyPrivacy::maxRules);

  json all = json::parse(converted.json);
  ASSERT_TRUE(all.is_array());
  ASSERT_EQ(all.size(), size_t(converted.blocking + converted.exceptions));
  const std::set<std::string> types{"document", "font", "image", "media", "raw", "script", "style-sheet"};
  // Blocks, then every exception, then the important blocks.
  size_t firstException = 0;
  while (firstException < all.size() && all[firstException]["action"]["type"] == "block") ++firstException;
  for (size_t i = 0; i < all.size(); ++i) {
    const json& rule = all[i];
    bool exception = i >= firstException && i < firstException + size_t(converted.exceptions);
    ASSERT_EQ(rule["action"]["type"], exception ? "ignore-previous-rules" : "block") << i;
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
