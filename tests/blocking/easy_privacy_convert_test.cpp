// EasyPrivacy's Adblock syntax turned into WebKit content-blocker rules, and the command converting a list file.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "blocking/convert_command.h"
#include "blocking/easy_privacy.h"

namespace quillo {
namespace {

using nlohmann::json;

const std::string kAnyHost = R"(^[a-z-]+://([^/]*\.)?)";
const std::string kSeparator = "[^a-zA-Z0-9_.%-]";

// A whole rule: `trigger` with the url-filter added.
json rule(const std::string& filter, const char* action, json trigger = json::object()) {
  trigger["url-filter"] = filter;
  return {{"trigger", trigger}, {"action", {{"type", action}}}};
}

json rules(std::string_view text) { return json::parse(EasyPrivacy::convert(text).json); }

// The one rule a single line gives; fails the test when there is none.
json ruleFor(std::string_view line) {
  json all = rules(line);
  EXPECT_EQ(all.size(), 1u) << line;
  return all.empty() ? json() : all[0];
}

// Why a single line was skipped; fails the test when it was not.
std::string skipReason(std::string_view line) {
  auto converted = EasyPrivacy::convert(line);
  EXPECT_EQ(converted.json, "[]") << line;
  EXPECT_EQ(converted.skipped, 1) << line;
  for (size_t i = 0; i < EasyPrivacy::skipKinds; ++i) {
    if (converted.skippedBy[i]) return EasyPrivacy::describe(EasyPrivacy::Skip(i));
  }
  return "not skipped";
}

// The url-filters of all rules, in output order.
std::vector<std::string> filtersOf(const json& all) {
  std::vector<std::string> out;
  for (const auto& rule : all) out.push_back(rule["trigger"]["url-filter"]);
  return out;
}
std::vector<std::string> filters(std::string_view text) { return filtersOf(rules(text)); }

// Every resource type a rule can name, sorted, without the given ones.
json allTypesBut(const std::set<std::string>& left) {
  json out = json::array();
  for (const char* type : {"document", "font", "image", "media", "raw", "script", "style-sheet"}) {
    if (!left.count(type)) out.push_back(type);
  }
  return out;
}

TEST(EasyPrivacyPatterns, ABareRuleBlocksItsEscapedAndAnchoredPattern) {
  EXPECT_EQ(ruleFor("||tracker.test^"), rule(kAnyHost + R"(tracker\.test)" + kSeparator, "block"));
  const std::pair<const char*, std::string> cases[] = {
      {"|https://a.test/x|", R"(^https://a\.test/x$)"},
      {"||a.test/x|", kAnyHost + R"(a\.test/x$)"},
      {R"(/a$b/c)", R"(/a\$b/c)"},  // a $ followed by a / belongs to the pattern
      {R"(x.y+z?(a)[b]{c}\d)", R"(x\.y\+z\?\(a\)\[b\]\{c\}\\d)"},
      {"/track^id=", "/track" + kSeparator + "id="},
      {"*.js", R"(.*\.js)"},     // the body \.js counts 4 characters
      {"^a", kSeparator + "a"},  // a class counts by its characters
      // Regular expressions: the pattern before the options decides; counted repetitions and class
      // escapes are spelt out.
      {"/tracker/$script", "tracker"},
      {R"(/\/pixel\.gif$/)", R"(/pixel\.gif$)"},  // a $ followed by / belongs to the expression
      {R"(/\/[a-z0-9]{3,5}\.js/)", R"(/[a-z0-9][a-z0-9][a-z0-9][a-z0-9]?[a-z0-9]?\.js)"},
      {R"(/content\/{3,}x/)", "content////*x"},
      {"/(ab){2}x/", "(ab)(ab)x"},
      {R"(/id=\w\W\D/)", "id=[A-Za-z0-9_][^A-Za-z0-9_][^0-9]"},
      {R"(/id=[\d.]+x/)", R"(id=[0-9.]+x)"},
      {R"(/a.*?b\.js/)", R"(a.*b\.js)"},  // lazy or greedy, the same addresses match
      {"/(?:ab)+cd/", "(ab)+cd"},
  };
  for (const auto& [line, filter] : cases) EXPECT_EQ(filters(line), std::vector<std::string>{filter}) << line;
}

TEST(EasyPrivacySkips, WhatWebKitCannotExpressIsSkippedWithItsReason) {
  const std::pair<std::string, std::vector<std::string_view>> cases[] = {
      {"element hiding", {"example.com##.ad", "example.com#$#abort-on-property-read x"}},
      // A | anywhere but at the ends; non-ASCII; NUL, which WebKit reads as an end-of-line anchor.
      {"inexpressible pattern", {"abc|def", "|||abc", "/zähler.js", std::string_view("ab\0cd", 5)}},
      // "ab^" too: its twin ab$ would match almost anything; "/a|bcd/": all alternatives or none.
      {"too broad", {"*ab*", "||^", "ab^", "/.*/", "/a|bcd/"}},
      // A positive document type means something else; important exceptions and redirects are not taken.
      {"unsupported option",
       {"/t.js$popup", "/t.js$csp=script-src 'none'", "/t.js$SCRIPT", "/t.js$document", "/t.js$~",
        "@@||a.test/x$important", "||a.test/x.js$script,redirect=noop.js,important"}},
      {"no resource type left",
       {"/t.js$xmlhttprequest,~websocket", "/t.js$~script,~image,~stylesheet,~font,~media,~subdocument,~other"}},
      {"included and excluded domains", {"||a.test^$domain=x.test|~y.x.test"}},
      {"non-ASCII domain", {"/t.js$domain=bücher.test"}},
      {"regular expression",
       {R"(/track\s+/)", "/track(?=er)/", R"(/(ab)x\1/)", "/(ab|cd)+x/", "/ab{2,1}c/", "/a{100}bc/", "/abc$d/",
        "/(abc/", R"(/[\s]abc/)", "/(a|b)(c|d)(e|f)(g|h)xyz/", "//"}},
  };
  for (const auto& [reason, lines] : cases) {
    for (std::string_view line : lines) EXPECT_EQ(skipReason(line), reason) << line;
  }
}

TEST(EasyPrivacyOptions, LastLoadTypeWinsResourceTypesMappedSortedAndNegatedOnesTakenFromTheRest) {
  for (auto [line, load] : {std::pair{"/t.js$~third-party", "first-party"},
                            {"/t.js$1p", "first-party"},
                            {"/t.js$first-party,3p", "third-party"}}) {
    EXPECT_EQ(ruleFor(line)["trigger"]["load-type"], json({load})) << line;
  }

  const std::pair<const char*, json> cases[] = {
      {"/t.js$image,ping,xmlhttprequest", {"image", "raw"}},
      {"/t.js$websocket,other,subdocument,stylesheet,script,media,font", allTypesBut({"image"})},
      {"/t.js$~document", allTypesBut({"document"})},  // a document type only ever negated
      {"/t.js$~script,~image,~font", allTypesBut({"script", "image", "font"})},
      // xmlhttprequest, ping, websocket and other share "raw": keeping it would block the negated one too.
      {"/t.js$~ping", allTypesBut({"raw"})},
      {"/t.js$script,image,~image", {"script"}},
      {"/t.js$image,xmlhttprequest,~ping", {"image"}},
  };
  for (const auto& [line, types] : cases) EXPECT_EQ(ruleFor(line)["trigger"]["resource-type"], types) << line;

  EXPECT_EQ(ruleFor("||eloqua.com^$~stylesheet,third-party"),
            rule(kAnyHost + R"(eloqua\.com)" + kSeparator, "block",
                 {{"resource-type", allTypesBut({"style-sheet"})}, {"load-type", {"third-party"}}}));
}

TEST(EasyPrivacyOrder, BlocksThenExceptionsThenImportantBlocksWithSeparatorTwinsAndAlternatives) {
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      // A separator ending a path may also be the end of the address: two rules.
      {"/pixel^|", {"/pixel" + kSeparator + "$", "/pixel$"}},
      // Each alternative of an expression is a rule of its own.
      {"/(a|b)x(c|d)yz/", {"axcyz", "axdyz", "bxcyz", "bxdyz"}},
      {"/a(b(c|d)|e)fg/", {"abcfg", "abdfg", "aefg"}},
      // Every exception follows every block in list order, so that it can cancel any of them.
      {"@@/e1.\n/b1.\n@@/e2.\n/b2.\n/b3.\n@@/e3.\n",
       {R"(/b1\.)", R"(/b2\.)", R"(/b3\.)", R"(/e1\.)", R"(/e2\.)", R"(/e3\.)"}},
      {"@@||cdn.test/ok^\n||cdn.test^\n",
       {kAnyHost + R"(cdn\.test)" + kSeparator, kAnyHost + R"(cdn\.test/ok)" + kSeparator,
        kAnyHost + R"(cdn\.test/ok$)"}},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(filters(text), expected) << text;

  // A wildcard can reach into the path; after a bare host one rule does: the address always goes on with "/" or ":".
  const std::pair<const char*, size_t> counts[] = {{"||geotargetly-api-*.com^", 2},
                                                   {"|http://a.test/x^", 2},
                                                   {"||fb_servpub-a.akamaihd.net^", 1},
                                                   {"||t.test:8080^", 1},
                                                   {"||tracker.test^|", 1}};
  for (const auto& [line, count] : counts) EXPECT_EQ(filters(line).size(), count) << line;
  json all = rules("/frontend-metrics^$image,third-party,domain=a.test");
  ASSERT_EQ(all.size(), 2u);
  all[0]["trigger"].erase("url-filter");
  all[1]["trigger"].erase("url-filter");
  EXPECT_EQ(all[0], all[1]) << "both twins carry the same options";
  EXPECT_EQ(all[0]["trigger"]["if-domain"], json({"*a.test"}));
}

TEST(EasyPrivacyOptions, EveryRuleALineBecomesKeepsItsOptionsAndDomainsAreLowerCase) {
  // An important block goes after the exceptions, so that none can cancel it; an exception keeps its domains.
  json all = rules("||clarity.ms/tag/$script,domain=phileweb.com,important\n@@||cdn.test^$script,domain=site.test\n");
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0], rule(kAnyHost + R"(cdn\.test)" + kSeparator, "ignore-previous-rules",
                         {{"resource-type", {"script"}}, {"if-domain", {"*site.test"}}}));
  EXPECT_EQ(all[1], rule(kAnyHost + R"(clarity\.ms/tag/)", "block",
                         {{"resource-type", {"script"}}, {"if-domain", {"*phileweb.com"}}}));

  EXPECT_EQ(ruleFor("/t.js$domain=A.test|b.TEST"), rule(R"(/t\.js)", "block", {{"if-domain", {"*a.test", "*b.test"}}}));
  EXPECT_EQ(ruleFor("/t.js$domain=~a.test||~b.test|"),
            rule(R"(/t\.js)", "block", {{"unless-domain", {"*a.test", "*b.test"}}}))
      << "empty pieces are dropped";
  // Quotes and control characters stay valid JSON.
  all = rules("/a\"b.js\n/t\tab.js$domain=q\"x.test");
  EXPECT_EQ(filtersOf(all), (std::vector<std::string>{R"(/a"b\.js)", "/t\tab\\.js"}));
  EXPECT_EQ(all[1]["trigger"]["if-domain"], json({"*q\"x.test"}));
}

TEST(EasyPrivacyCounts, LinesAndRulesAreCountedAndTheRuleLimitDropsTrailingBlocksFirst) {
  // Counts are blocking, exceptions, skipped, and of those skipped over the limit.
  struct Case {
    std::string text;
    std::array<int, 4> counts;
    std::vector<std::string> filters;
    int limit = EasyPrivacy::maxRules;
  };
  const Case cases[] = {
      // Element hiding counts as skipped; comments, the header and blank lines do not; spaces and tabs are trimmed.
      {"[Adblock Plus 2.0]\n! Title: test\nexample.com##.ad\n   \t \n\n  ||tracker.test^  \n",
       {1, 0, 1, 0},
       {kAnyHost + R"(tracker\.test)" + kSeparator}},
      // Any line break ends a line, and none is left in a pattern.
      {"/one.js\r\n/two.js\r/three.js", {3, 0, 0, 0}, {R"(/one\.js)", R"(/two\.js)", R"(/three\.js)"}},
      // Separator twins count as the two rules they are.
      {"/event^\n@@/okay^\n", {2, 2, 0, 0}, {"/event" + kSeparator, "/event$", "/okay" + kSeparator, "/okay$"}},
      // Past the limit, exceptions are kept first, then important blocks, then the first ordinary ones.
      {"/b1.\n/b2.\n/b3.\n@@/e1.\n@@/e2.\n", {1, 2, 2, 2}, {R"(/b1\.)", R"(/e1\.)", R"(/e2\.)"}, 3},
      {"/b1.\n/i1.$important\n@@/e1.\n/i2.$important\n", {1, 1, 2, 2}, {R"(/e1\.)", R"(/i1\.)"}, 2},
  };
  for (const auto& c : cases) {
    auto converted = EasyPrivacy::convert(c.text, c.limit);
    std::array<int, 4> counts{converted.blocking, converted.exceptions, converted.skipped,
                              converted.skippedBy[size_t(EasyPrivacy::Skip::ruleLimit)]};
    EXPECT_EQ(counts, c.counts) << c.text;
    EXPECT_EQ(filtersOf(json::parse(converted.json)), c.filters) << c.text;
  }
}

TEST(ConvertCommand, WritesJsonAndOneCountsLineEvenForBrokenUtf8OrFailsWithAMessage) {
  const auto folder = std::filesystem::temp_directory_path() / ("quillo-convert-" + std::to_string(::getpid()));
  std::filesystem::create_directories(folder);
  std::ofstream(folder / "list.txt", std::ios::binary)
      << "[Adblock Plus 2.0]\n||a.test^\n@@||a.test/ok\n/x.js$popup\n/z\xe4hler.js\n";
  std::ostringstream out, err;
  EXPECT_EQ(convertFilterListCommand((folder / "list.txt").string(), out, err), 0);
  EXPECT_EQ(nlohmann::json::parse(out.str()).size(), 2u);
  EXPECT_EQ(err.str(), "blocking 1, exceptions 1, skipped 2\n");

  std::ostringstream none, message;
  EXPECT_EQ(convertFilterListCommand((folder / "missing.txt").string(), none, message), 1);
  EXPECT_NE(message.str().find("couldn't read the filter list"), std::string::npos) << message.str();
  EXPECT_NE(message.str().find("missing.txt"), std::string::npos) << message.str();
  EXPECT_TRUE(none.str().empty());
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace quillo
