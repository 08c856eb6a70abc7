// Addresses: how typed text becomes a URL or a search, and which hosts are local.
#include "core/address.h"

#include <glib.h>

#include <array>
#include <vector>

#include "core/text.h"

namespace quillo::Address {
namespace {

constexpr std::array<std::string_view, 4> kTypedSchemes = {"http", "https", "file", "about"};
constexpr std::array<std::string_view, 3> kLocalNames = {"localhost", "::1", "0.0.0.0"};
constexpr std::array<std::string_view, 3> kLocalSuffixes = {".localhost", ".local", ".test"};

// White space and line breaks as a text field may hand them over, including
// no-break and other Unicode spaces pasted from pages.
bool isBlank(gunichar c) {
  if ((c >= 0x09 && c <= 0x0d) || c == 0x85) return true;
  switch (g_unichar_type(c)) {
    case G_UNICODE_SPACE_SEPARATOR:
    case G_UNICODE_LINE_SEPARATOR:
    case G_UNICODE_PARAGRAPH_SEPARATOR: return true;
    default: return false;
  }
}

std::string_view trim(std::string_view text) {
  size_t first = std::string_view::npos, last = 0;
  size_t i = 0;
  while (i < text.size()) {
    gunichar c = g_utf8_get_char_validated(text.data() + i, gssize(text.size() - i));
    // An invalid byte is not blank; step over it alone.
    size_t length = 1;
    bool blank = false;
    if (c != gunichar(-1) && c != gunichar(-2)) {
      length = size_t(g_utf8_next_char(text.data() + i) - (text.data() + i));
      blank = isBlank(c);
    }
    if (!blank) {
      if (first == std::string_view::npos) first = i;
      last = i + length;
    }
    i += length;
  }
  if (first == std::string_view::npos) return {};
  return text.substr(first, last - first);
}

// Pieces between separators, empty ones left out.
std::vector<std::string_view> pieces(std::string_view text, char separator) {
  std::vector<std::string_view> result;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find(separator, start);
    if (end == std::string_view::npos) end = text.size();
    if (end > start) result.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return result;
}

std::string_view firstPiece(std::string_view text, char separator) {
  auto all = pieces(text, separator);
  return all.empty() ? std::string_view() : all.front();
}

std::optional<int> octet(std::string_view piece) {
  if (piece.empty()) return std::nullopt;
  int value = 0;
  for (char c : piece) {
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + (c - '0');
    if (value > 255) return std::nullopt;
  }
  return value;
}

bool endsWith(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

template <size_t N>
bool contains(const std::array<std::string_view, N>& list, std::string_view value) {
  for (auto item : list)
    if (item == value) return true;
  return false;
}

// The scheme goes in front of the whole text, so a typed port, path and
// query stay. Text that still makes no URL (a stray "%", a tab) is searched.
Url prefixed(std::string_view scheme, std::string_view text) {
  std::string full(scheme);
  full += "://";
  full += text;
  if (auto result = Url::parse(full)) return *result;
  return searchURL(text);
}

}  // namespace

std::optional<Url> url(std::string_view text) {
  auto trimmed = trim(text);
  if (trimmed.empty()) return std::nullopt;

  if (auto parsed = Url::parse(trimmed); parsed && contains(kTypedSchemes, parsed->scheme())) return parsed;

  if (trimmed.find(' ') != std::string_view::npos) return searchURL(trimmed);

  auto host = firstPiece(firstPiece(trimmed, '/'), ':');
  // Case-sensitive on purpose: "LOCALHOST" is searched.
  if (host == "localhost") return prefixed("http", trimmed);
  if (isIPv4(host)) return prefixed("http", trimmed);

  if (host.find('.') == std::string_view::npos || host.front() == '.' || host.back() == '.') return searchURL(trimmed);
  return prefixed("https", trimmed);
}

Url searchURL(std::string_view text) {
  static const Url base = [] {
    auto parsed = Url::parse(kSearchBase);
    g_assert(parsed);
    return *parsed;
  }();
  return base.withQueryItem(kSearchKey, text);
}

bool isIPv4(std::string_view host) {
  auto parts = pieces(host, '.');
  if (parts.size() != 4) return false;
  for (auto part : parts)
    if (!octet(part)) return false;
  return true;
}

bool isLocal(const std::optional<Url>& url) {
  if (!url || !url->hasHost()) return false;
  auto host = asciiLower(url->host());
  if (url->scheme() != "http" && url->scheme() != "https") return false;
  if (contains(kLocalNames, host)) return true;
  for (auto suffix : kLocalSuffixes)
    if (endsWith(host, suffix)) return true;
  if (!isIPv4(host)) return false;
  auto parts = pieces(host, '.');
  int a = *octet(parts[0]), b = *octet(parts[1]);
  switch (a) {
    case 10:
    case 127: return true;
    case 169: return b == 254;           // link-local
    case 172: return (b & ~0x0f) == 16;  // 172.16.0.0/12
    case 192: return b == 168;
    default: return false;
  }
}

std::string display(const std::optional<Url>& url) {
  if (!url) return {};
  if (url->host() == kSearchHost)
    if (auto words = url->queryItem(kSearchKey)) return *words;
  if (!url->hasHost()) return url->str();
  const auto& host = url->host();
  if (host.rfind("www.", 0) == 0) return host.substr(4);
  return host;
}

}  // namespace quillo::Address
