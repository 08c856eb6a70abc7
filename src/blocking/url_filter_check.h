// Checking block rules' url-filters and domains against what WebKit's content blocker accepts.
#pragma once
#include <string_view>

namespace quillo {

// WebKit's content blocker compiles a whole rule list or nothing: one
// url-filter outside the regular-expression subset it supports fails the
// list with a generic error. These checks mirror that subset so a rule list
// is only ever built from rules WebKit takes.

// Why WebKit would refuse this url-filter, or nullptr when it accepts it.
// Accepted: literal ASCII characters, escaped punctuation, ".", character
// classes with ranges (optionally inverted), groups, the quantifiers * + ?,
// "^" as the very first character and "$" as the very last. Refused among
// others: "|", {m,n}, \d \w \s \b, backreferences, (?...), non-ASCII, and
// NUL, which WebKit takes for an end-of-line anchor.
const char* urlFilterRejection(std::string_view filter);

// WebKit wants "if-domain"/"unless-domain" entries non-empty and in
// lower-case ASCII (punycode for international names).
bool isAcceptableDomain(std::string_view domain);

}  // namespace quillo
