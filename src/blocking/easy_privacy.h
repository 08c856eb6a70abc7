// EasyPrivacy: an Adblock-syntax filter list turned into WebKit content-blocker rules, and when to refresh it.
#pragma once
#include <array>
#include <string>
#include <string_view>

#include "core/scheduler.h"

namespace quillo {

class Settings;

// The EasyPrivacy filter list (Adblock filter syntax) turned into a WebKit
// content-blocker rule list, refreshed at most once a week.
namespace EasyPrivacy {

inline constexpr const char* identifier = "quillo.easyprivacy";
inline constexpr const char* defaultSource = "https://easylist.to/easylist/easyprivacy.txt";
// Settings key holding the moment of the last successful compile, in
// seconds since 2001.
inline constexpr const char* updatedKey = "EasyPrivacyUpdated";
inline constexpr double maxAgeSeconds = 604800;  // 7 days

// Why a line gave no rule.
enum class Skip {
  elementHiding,      // ##, #@#, #?#, #$# rules: not about requests
  option,             // an option WebKit cannot express (redirect=, csp=, ...)
  typesCancelOut,     // negated resource types leave no type to match
  mixedDomains,       // domain= both includes and excludes
  domainName,         // a domain name WebKit refuses
  regularExpression,  // /.../ using more than WebKit's subset
  tooBroad,           // would match almost every address
  pattern,            // a pattern that cannot be written as a url-filter
  ruleLimit,          // past the number of rules WebKit takes
};
inline constexpr size_t skipKinds = size_t(Skip::ruleLimit) + 1;
const char* describe(Skip why);

struct Converted {
  std::string json;                        // the whole rule array, compact
  int blocking = 0;                        // block rules emitted (a line may give two)
  int exceptions = 0;                      // exception rules emitted
  int skipped = 0;                         // rule lines that could not be expressed
  std::array<int, skipKinds> skippedBy{};  // the same, by reason
};

// Pure and thread-safe: converts the text of a filter list in a single pass.
// Blocking rules come first, then every exception, because an exception's
// "ignore-previous-rules" only cancels rules before it; block rules marked
// "important" come last, so that no exception cancels them. Only rules
// WebKit's content blocker accepts are emitted; the rest count as skipped.
Converted convert(std::string_view text);
// WebKit refuses lists of more rules than this; the last block rules past
// it are dropped (and counted as skipped).
inline constexpr int maxRules = 150000;
Converted convert(std::string_view text, int maxRules);

// True when the last successful update is unknown, unreadable, or more than
// 7 days before `now` (exactly 7 days is still fresh).
bool isStale(const Settings& settings, WallTime now);
void markUpdated(Settings& settings, WallTime now);

}  // namespace EasyPrivacy
}  // namespace quillo
