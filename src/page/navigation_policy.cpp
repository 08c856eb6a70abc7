// Navigation rules: which schemes the browser loads, upgrading HTTP to HTTPS, and which responses are saved.
#include "page/navigation_policy.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <system_error>

#include "core/address.h"
#include "core/text.h"

namespace quillo::navigation {

bool isWebScheme(std::string_view scheme) {
  static constexpr std::array<std::string_view, 7> schemes = {"http", "https", "file",      "about",
                                                              "data", "blob",  "javascript"};
  auto folded = asciiLower(scheme);
  return std::find(schemes.begin(), schemes.end(), folded) != schemes.end();
}

std::string schemeOf(std::string_view address) {
  auto colon = address.find(':');
  if (colon == std::string_view::npos || colon == 0) return {};
  auto scheme = address.substr(0, colon);
  if (!g_ascii_isalpha(scheme[0])) return {};
  for (char c : scheme)
    if (!g_ascii_isalnum(c) && c != '+' && c != '-' && c != '.') return {};
  return asciiLower(scheme);
}

std::optional<Url> upgrade(const Url& url, const std::set<std::string>& insecureHosts) {
  if (url.scheme() != "http" || !url.hasHost()) return std::nullopt;
  if (Address::isLocal(url)) return std::nullopt;
  if (insecureHosts.count(asciiLower(url.host()))) return std::nullopt;
  // Work on the text so that the path, query and anything escaped in them
  // stay exactly as they were.
  const std::string& text = url.str();
  auto afterScheme = text.find(':');
  if (afterScheme == std::string::npos || text.compare(afterScheme, 3, "://") != 0) return std::nullopt;
  size_t authorityStart = afterScheme + 3;
  size_t authorityEnd = text.find_first_of("/?#", authorityStart);
  if (authorityEnd == std::string::npos) authorityEnd = text.size();
  std::string authority = text.substr(authorityStart, authorityEnd - authorityStart);
  // The port follows the last colon after any user information and outside an IPv6 literal.
  size_t hostStart = authority.rfind('@');
  hostStart = hostStart == std::string::npos ? 0 : hostStart + 1;
  size_t colon = authority.rfind(':');
  size_t bracket = authority.rfind(']');
  if (colon != std::string::npos && colon >= hostStart && (bracket == std::string::npos || colon > bracket) &&
      authority.substr(colon + 1) == "80")
    authority.erase(colon);
  return Url::parse("https://" + authority + text.substr(authorityEnd));
}

NavigationPolicy responsePolicy(const NavigationResponse& response) {
  if (!response.canShowMIMEType) return NavigationPolicy::download;
  return asciiLower(response.contentDisposition).rfind("attachment", 0) == 0 ? NavigationPolicy::download
                                                                             : NavigationPolicy::allow;
}

bool sameHost(const std::optional<Url>& a, const std::optional<Url>& b) {
  return a && b && a->hasHost() && asciiLower(a->host()) == asciiLower(b->host());
}

bool isRestrictedPort(int port) {
  static constexpr int kPorts[] = {0,    1,    7,    9,    11,   13,   15,   17,   19,   20,   21,   22,   23,   25,
                                   37,   42,   43,   53,   69,   77,   79,   87,   95,   101,  102,  103,  104,  109,
                                   110,  111,  113,  115,  117,  119,  123,  135,  137,  139,  143,  161,  179,  389,
                                   427,  465,  512,  513,  514,  515,  526,  530,  531,  532,  540,  548,  554,  556,
                                   563,  587,  601,  636,  989,  990,  993,  995,  1719, 1720, 1723, 2049, 3659, 4045,
                                   4190, 5060, 5061, 6000, 6566, 6665, 6666, 6667, 6668, 6669, 6679, 6697, 10080};
  return std::find(std::begin(kPorts), std::end(kPorts), port) != std::end(kPorts);
}

}  // namespace quillo::navigation
