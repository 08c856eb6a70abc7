#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <regex>
#include <set>

#include "blocking/content_blocker.h"
#include "blocking/url_filter_check.h"

namespace quillo {
namespace {

using nlohmann::json;

TEST(ContentBlocker, OneThirdPartyBlockRulePerDomainInOrderThatCatchesTheHostAndItsSubdomainsOnly) {
  std::set<std::string_view> unique(ContentBlocker::domains.begin(), ContentBlocker::domains.end());
  EXPECT_EQ(unique.size(), 42u);

  std::string text = ContentBlocker::rulesJSON();
  EXPECT_EQ(text.find('\n'), std::string::npos) << "compact";
  json rules = json::parse(text);
  ASSERT_EQ(rules.size(), ContentBlocker::domains.size());
  std::regex doubleclick;
  for (size_t i = 0; i < rules.size(); ++i) {
    std::string escaped;
    for (char c : ContentBlocker::domains[i]) {
      if (c == '.') escaped += '\\';
      escaped += c;
    }
    const json& trigger = rules[i]["trigger"];
    EXPECT_EQ(trigger["url-filter"], "^https?://([^/]+\\.)?" + escaped + "[:/]");
    EXPECT_EQ(trigger["load-type"], json({"third-party"}));
    EXPECT_EQ(rules[i]["action"], json({{"type", "block"}}));
    const std::string filter = trigger["url-filter"];
    EXPECT_EQ(urlFilterRejection(filter), nullptr);
    if (ContentBlocker::domains[i] == "doubleclick.net") doubleclick = std::regex(filter, std::regex::icase);
  }

  // The host and its subdomains are trackers, nothing else. WebKit matches
  // url-filters case-insensitively against the whole URL.
  for (const char* url : {"https://doubleclick.net/x.js", "http://ad.doubleclick.net:8080/p", "https://a.b.doubleclick.net/",
                          "HTTPS://DoubleClick.net/"}) {
    EXPECT_TRUE(std::regex_search(url, doubleclick)) << url;
  }
  for (const char* url : {"https://doubleclick.network/x", "https://notdoubleclick.net/", "https://doubleclick.net",
                          "ftp://doubleclick.net/", "https://example.com/?u=https://doubleclick.netx/"}) {
    EXPECT_FALSE(std::regex_search(url, doubleclick)) << url;
  }

  for (const char* host : {"doubleclick.net", "stats.g.doubleclick.net", "api.segment.io", "eu.api.segment.io"}) {
    EXPECT_TRUE(ContentBlocker::isTracker(host)) << host;
  }
  // Only the listed service of segment.io; a name ends at a dot.
  for (const char* host : {"segment.io", "notdoubleclick.net", "doubleclick.net.example.com", "example.com", ""}) {
    EXPECT_FALSE(ContentBlocker::isTracker(host)) << host;
  }
}

}  // namespace
}  // namespace quillo
