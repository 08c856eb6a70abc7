#include <gtest/gtest.h>

#include <string>

#include "blocking/url_filter_check.h"

namespace quillo {
namespace {

TEST(UrlFilterCheck, AcceptsWhatWebKitCompilesOnly) {
  for (const char* filter : {"abc", "^https?://([^/]+\\.)?doubleclick\\.net[:/]",
                             "^[a-z-]+://([^/]*\\.)?tracker\\.test[^a-zA-Z0-9_.%-]", "^https://a\\.test/x$",
                             "\\.\\+\\?\\(\\)\\[\\]\\{\\}\\\\\\$x", ".*\\.js", "(ab)+c?", "[-a]x", "a\tb"}) {
    EXPECT_EQ(urlFilterRejection(filter), nullptr) << filter;
  }
  // And refuses what it rejects.
  for (const char* filter : {
           "(ads|track)",  // disjunction
           "a{2,3}",       // counted repetition
           "\\d+", "\\w", "\\s", "[\\d]",  // class escapes
           "\\bword",                    // word boundary
           "(a)\\1",                     // backreference
           "(?i)foo", "(?=a)b",          // special groups
           "a^b",                        // start anchor not first
           "a$b", "(a$)",                // end anchor not last
           "*a", "^+a", "a**",           // nothing to repeat
           "(ab", "ab)", "[ab", "[]", "a]",
           "\\", "caf\xc3\xa9", "",
       }) {
    EXPECT_NE(urlFilterRejection(filter), nullptr) << filter;
  }
  EXPECT_NE(urlFilterRejection(std::string("ab\0cd", 5)), nullptr) << "NUL reads as an end-of-line anchor";
  // Domains must be lower-case ASCII.
  for (const char* domain : {"*site.test", "*", "xn--bcher-kva.test"}) {
    EXPECT_TRUE(isAcceptableDomain(domain)) << domain;
  }
  for (const char* domain : {"", "*Site.test", "*b\xc3\xbc" "cher.test"}) {
    EXPECT_FALSE(isAcceptableDomain(domain)) << domain;
  }
}

}  // namespace
}  // namespace quillo
