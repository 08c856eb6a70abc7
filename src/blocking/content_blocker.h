// The built-in tracker list: hosts blocked as third parties even before EasyPrivacy is downloaded.
#pragma once
#include <array>
#include <string>
#include <string_view>

namespace quillo {

// The built-in tracker list: a fixed set of advertising, analytics,
// session-recording and audience-data hosts, blocked as third parties from
// the first page on, whether or not EasyPrivacy was ever downloaded.
namespace ContentBlocker {

inline constexpr const char* identifier = "quillo.trackers";

// Registrable names (some with a service prefix). Part of the program, not
// configuration.
extern const std::array<std::string_view, 42> domains;

// One block rule per domain, in list order, as compact content-blocker JSON.
std::string rulesJSON();

// True when host (lower case) is a listed domain or a subdomain of one.
bool isTracker(std::string_view host);

}  // namespace ContentBlocker
}  // namespace quillo
