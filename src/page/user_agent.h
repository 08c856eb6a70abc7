// The user agent string: putting the Safari token sites expect at its end.
#pragma once
#include <string>
#include <string_view>

namespace quillo {

// The Safari token sites expect at the end of a WebKit user agent.
inline constexpr std::string_view kSafariToken = "Version/26.0 Safari/605.1.15";

// Replaces the engine's own trailing "Version/<v> Safari/<v>" in a user agent
// with `token`, keeping anything before and after it. When the agent has no
// such pair the token is appended.
std::string withSafariToken(std::string_view userAgent, std::string_view token = kSafariToken);

}  // namespace quillo
