// The Safari version token in our user agent.
#include "page/user_agent.h"

#include <gtest/gtest.h>

namespace quillo {
namespace {

TEST(UserAgent, ReplacesTheLastVersionAndSafariPairOrAppendsOne) {
  // WebKit's own agent gets the token in the engine's tests. What follows the pair (an application name) is kept.
  EXPECT_EQ(withSafariToken("Mozilla/5.0 AppleWebKit/605.1.15 Version/18.2 Safari/605.1.15 Quillo/1.0"),
            "Mozilla/5.0 AppleWebKit/605.1.15 Version/26.0 Safari/605.1.15 Quillo/1.0");
  // Only the last pair counts.
  EXPECT_EQ(withSafariToken("A Version/1 Safari/1 B Version/2 Safari/2", "Version/9 Safari/9"),
            "A Version/1 Safari/1 B Version/9 Safari/9");

  EXPECT_EQ(withSafariToken("X ", "T/1"), "X T/1") << "appended after one space";
  // "Version/" inside another product name is not the pair.
  EXPECT_EQ(withSafariToken("X AppVersion/3 Safari/1", "T/1"), "X AppVersion/3 Safari/1 T/1");
}

}  // namespace
}  // namespace quillo
