// Rewriting a filter list's regular-expression rules into url-filters WebKit's content blocker accepts.
#pragma once
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillo {

// A filter list's regular-expression rule (the text between its slashes, in
// JavaScript syntax) rewritten into url-filters WebKit's subset accepts,
// matching exactly the same addresses between them. Rewrites that keep the
// meaning: {m}, {m,} and {m,n} spelt out, \d and \w as classes, lazy
// quantifiers made greedy (only whether an address matches counts), and each
// alternation not under a quantifier split into one filter per alternative.
// Nothing when the expression needs anything else (lookarounds, \b, \s,
// backreferences, a quantified alternation, ...) or would split into more
// than `maxFilters`.
std::optional<std::vector<std::string>> regexUrlFilters(std::string_view regex, size_t maxFilters = 8);

}  // namespace quillo
