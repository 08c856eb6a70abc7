// The built-in tracker list, which hosts count as trackers, and which url-filters WebKit's content blocker takes.
#include "blocking/content_blocker.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <regex>
#include <set>

#include "blocking/url_filter_check.h"

namespace quillo {
namespace {

using nlohmann::json;

TEST(ContentBlocker, OneThirdPartyBlockRulePerDomainInOrderThatCatchesTheHostAndItsSubdomainsOnly) {
  const auto& domains = ContentBlocker::domains;
  EXPECT_EQ(std::set<std::string_view>(domains.begin(), domains.end()).size(), 42u);
  std::string text = ContentBlocker::rulesJSON();
  EXPECT_EQ(text.find('\n'), std::string::npos) << "compact";
  json rules = json::parse(text);
  ASSERT_EQ(rules.size(), domains.size());
  std::regex doubleclick;
  for (size_t i = 0; i < rules.size(); ++i) {
    const std::string filter =
        "^https?://([^/]+\\.)?" + std::regex_replace(std::string(domains[i]), std::regex("\\."), "\\.") + "[:/]";
    EXPECT_EQ(rules[i], (json{{"trigger", {{"url-filter", filter}, {"load-type", {"third-party"}}}},
                              {"action", {{"type", "block"}}}}));
    EXPECT_EQ(urlFilterRejection(filter), nullptr);
    if (domains[i] == "doubleclick.net") doubleclick = std::regex(filter, std::regex::icase);
  }

  // The host and its subdomains are trackers, nothing else. WebKit matches url-filters case-insensitively against
  // the whole URL.
  for (const char* url : {"http://ad.doubleclick.net:8080/p", "HTTPS://DoubleClick.net/"})
    EXPECT_TRUE(std::regex_search(url, doubleclick)) << url;
  for (const char* url : {"https://doubleclick.network/x", "https://notdoubleclick.net/", "ftp://doubleclick.net/",
                          "https://example.com/?u=https://doubleclick.netx/"}) {
    EXPECT_FALSE(std::regex_search(url, doubleclick)) << url;
  }

  for (const char* host : {"stats.g.doubleclick.net", "eu.api.segment.io"})
    EXPECT_TRUE(ContentBlocker::isTracker(host));
  // Only the listed service of segment.io; a name ends at a dot.
  for (const char* host : {"segment.io", "notdoubleclick.net", "doubleclick.net.example.com", ""}) {
    EXPECT_FALSE(ContentBlocker::isTracker(host)) << host;
  }
}

TEST(UrlFilterCheck, AcceptsWhatWebKitCompilesOnly) {
  for (const char* filter : {"^[a-z-]+://([^/]*\\.)?tracker\\.test[^a-zA-Z0-9_.%-]", "^https://a\\.test/x$",
                             "\\.\\+\\?\\(\\)\\[\\]\\{\\}\\\\\\$x", "(ab)+c?", "[-a]x"}) {
    EXPECT_EQ(urlFilterRejection(filter), nullptr) << filter;
  }
  // And refuses disjunctions, counted repetitions, class escapes, backreferences, special groups, misplaced anchors,
  // nothing to repeat, unbalanced brackets and non-ASCII.
  for (const char* filter : {"(ads|track)", "a{2,3}", "[\\d]", "(a)\\1", "(?=a)b", "a^b", "(a$)", "^+a", "a**", "(ab",
                             "a]", "\\", "caf\xc3\xa9", ""}) {
    EXPECT_NE(urlFilterRejection(filter), nullptr) << filter;
  }
  EXPECT_NE(urlFilterRejection(std::string("ab\0cd", 5)), nullptr) << "NUL reads as an end-of-line anchor";
  // Domains must be lower-case ASCII.
  for (const char* domain : {"*site.test", "*", "xn--bcher-kva.test"}) EXPECT_TRUE(isAcceptableDomain(domain));
  for (const char* domain : {"", "*Site.test", "*bücher.test"}) EXPECT_FALSE(isAcceptableDomain(domain));
}

}  // namespace
}  // namespace quillo
