// Addresses: how typed text becomes a URL or a search, which hosts are local, and the short form shown.
#pragma once
#include <optional>
#include <string>
#include <string_view>

#include "core/url.h"

namespace quillo::Address {

// The search engine typed text goes to when it is not an address.
inline constexpr std::string_view kSearchBase = "https://duckduckgo.com/";
inline constexpr std::string_view kSearchHost = "duckduckgo.com";
inline constexpr std::string_view kSearchKey = "q";

// The URL to load for typed text: an address with a known scheme as typed,
// localhost and IPv4 literals over http, dotted names over https, anything
// else a search. nullopt only for blank text.
std::optional<Url> url(std::string_view text);

// The search engine's URL for text, with the text as its only query item.
Url searchURL(std::string_view text);

// Four decimal numbers 0-255 separated by dots (empty pieces are skipped, so
// a leading or trailing dot still counts; a doubled dot leaves three pieces).
bool isIPv4(std::string_view host);

// Whether an http(s) URL points at this computer or the local network.
bool isLocal(const std::optional<Url>& url);

// The short form shown in rows and the bar: a search's words, else the host
// without "www.", or the whole text of a URL without a host.
std::string display(const std::optional<Url>& url);

}  // namespace quillo::Address
