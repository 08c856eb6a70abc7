// Navigation rules: which schemes the browser loads, upgrading HTTP to HTTPS, and which responses are saved.
#pragma once
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "core/url.h"
#include "page/web_view_port.h"

namespace quillo::navigation {

// The schemes the browser loads itself; any other belongs to another program.
bool isWebScheme(std::string_view scheme);

// The scheme of an address as typed, lower-cased; empty when it has none.
std::string schemeOf(std::string_view address);

// The HTTPS address to load instead of a plain-HTTP one: none for other
// schemes, local and private-network hosts, and hosts in `insecureHosts`
// (lower case). Only the scheme changes; an explicit port 80 is dropped.
std::optional<Url> upgrade(const Url& url, const std::set<std::string>& insecureHosts);

// Whether a response is saved rather than shown: an attachment, or a type
// the engine cannot show.
NavigationPolicy responsePolicy(const NavigationResponse& response);

bool sameHost(const std::optional<Url>& a, const std::optional<Url>& b);

// Ports of other services (mail, FTP, IRC…) that browsers never connect to;
// the engine answers them with an empty page, not an error.
bool isRestrictedPort(int port);

}  // namespace quillo::navigation
