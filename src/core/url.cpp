// URL parsing: splitting an address into its parts the way the web engine reads it.
#include "core/url.h"

#include <glib.h>

#include <algorithm>
#include <iterator>
#include <memory>

#include "core/text.h"

namespace quillo {
Url::Url(const Url& other)
    : text_(other.text_),
      port_(other.port_),
      hasQuery_(other.hasQuery_),
      hasFragment_(other.hasFragment_),
      changedParts_(other.changedParts_),
      changed_(other.changed_ ? std::make_unique<const std::string>(*other.changed_) : nullptr) {
  std::copy(std::begin(other.parts_), std::end(other.parts_), std::begin(parts_));
}

Url& Url::operator=(const Url& other) {
  if (this != &other) *this = Url(other);
  return *this;
}

namespace {
bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHex(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
// Schemes whose addresses have a host, as the web's URL rules define them.
bool isSpecial(std::string_view scheme) {
  return scheme == "http" || scheme == "https" || scheme == "ws" || scheme == "wss" || scheme == "ftp" ||
         scheme == "file";
}
// Characters a host may never hold (the URL rules' forbidden host code points).
bool forbiddenInHost(char c) {
  switch (c) {
    case '#':
    case '/':
    case ':':
    case '<':
    case '>':
    case '?':
    case '@':
    case '[':
    case '\\':
    case ']':
    case '^':
    case '|': return true;
    default: return false;
  }
}
}  // namespace

// Splits the text the way the engine reads addresses (the web's URL rules),
// not the way a strict RFC 3986 parser would: a stray "%" in a path or query,
// non-ASCII text and characters such as "|" stay as typed, because the engine
// reports such addresses as they are and they must survive a round trip
// through every file. Only what cannot be an address at all is refused.
std::optional<Url> Url::parse(std::string_view text) {
  if (text.empty() || text.size() > UINT32_MAX) return std::nullopt;
  for (unsigned char c : text)
    if (c <= 0x20 || c == 0x7f) return std::nullopt;  // no spaces or controls in a URL

  // scheme ":" with the scheme a letter then letters, digits, "+", "-", ".".
  if (!isAlpha(text[0])) return std::nullopt;
  size_t colon = 1;
  while (colon < text.size() && (isAlpha(text[colon]) || isDigit(text[colon]) || text[colon] == '+' ||
                                 text[colon] == '-' || text[colon] == '.'))
    ++colon;
  if (colon >= text.size() || text[colon] != ':') return std::nullopt;
  const std::string scheme = asciiLower(text.substr(0, colon));
  const bool special = isSpecial(scheme);
  auto isEndOfAuthority = [&](char c) { return c == '/' || c == '?' || c == '#' || (special && c == '\\'); };

  Url url;
  url.text_ = std::string(text);
  std::string changed;
  auto place = [&](Part p, size_t at, size_t size) { url.parts_[p] = Place{uint32_t(at), uint32_t(size)}; };
  auto placeChanged = [&](Part p, const std::string& value) {
    url.parts_[p] = Place{uint32_t(changed.size()), uint32_t(value.size())};
    changed += value;
    url.changedParts_ |= uint8_t(1u << p);
  };
  if (scheme == text.substr(0, colon))
    place(kScheme, 0, colon);
  else
    placeChanged(kScheme, scheme);

  size_t at = colon + 1;
  const bool hasAuthority = text.substr(at, 2) == "//" || (special && text.substr(at, 2) == "\\\\");
  if (special && scheme != "file" && !hasAuthority) return std::nullopt;  // "http:x" is too odd to take
  if (hasAuthority) {
    at += 2;
    size_t end = at;
    while (end < text.size() && !isEndOfAuthority(text[end])) ++end;
    std::string_view authority = text.substr(at, end - at);
    size_t hostAt = at;
    if (auto user = authority.rfind('@'); user != std::string_view::npos) {
      hostAt += user + 1;
      authority.remove_prefix(user + 1);
    }
    std::string_view host = authority, port;
    if (!authority.empty() && authority.front() == '[') {
      auto close = authority.find(']');
      if (close == std::string_view::npos) return std::nullopt;
      host = authority.substr(1, close - 1);
      ++hostAt;
      std::string_view rest = authority.substr(close + 1);
      if (!rest.empty()) {
        if (rest.front() != ':') return std::nullopt;
        port = rest.substr(1);
      }
      for (char c : host)
        if (!isHex(c) && c != ':' && c != '.') return std::nullopt;
      if (host.empty()) return std::nullopt;
    } else {
      if (auto portColon = authority.find(':'); portColon != std::string_view::npos) {
        host = authority.substr(0, portColon);
        port = authority.substr(portColon + 1);
      }
      for (size_t i = 0; i < host.size(); ++i) {
        if (forbiddenInHost(host[i])) return std::nullopt;
        if (host[i] == '%' && !(i + 2 < host.size() && isHex(host[i + 1]) && isHex(host[i + 2]))) return std::nullopt;
      }
    }
    if (special && scheme != "file" && host.empty()) return std::nullopt;
    if (!port.empty()) {
      if (port.size() > 5) return std::nullopt;
      int value = 0;
      for (char c : port) {
        if (!isDigit(c)) return std::nullopt;
        value = value * 10 + (c - '0');
      }
      if (value > 65535) return std::nullopt;
      url.port_ = value;
    }
    // Hosts compare in lower case; an encoded non-ASCII name reads as itself.
    // Most hosts are already both, and stand as they are in the text.
    const bool asTyped =
        std::none_of(host.begin(), host.end(), [](char c) { return c == '%' || (c >= 'A' && c <= 'Z'); });
    if (asTyped) {
      place(kHost, hostAt, host.size());
    } else {
      std::string readable(host);
      if (readable.find('%') != std::string::npos) {
        std::unique_ptr<char, decltype(&g_free)> decoded(g_uri_unescape_string(readable.c_str(), nullptr), g_free);
        if (decoded && g_utf8_validate(decoded.get(), -1, nullptr)) readable = decoded.get();
      }
      readable = asciiLower(readable);
      if (readable == host)
        place(kHost, hostAt, host.size());
      else
        placeChanged(kHost, readable);
    }
    at = end;
  }
  // Path, then "?" query, then "#" fragment.
  size_t hash = text.find('#', at);
  size_t question = text.find('?', at);
  if (question != std::string_view::npos && hash != std::string_view::npos && question > hash)
    question = std::string_view::npos;
  const size_t pathEnd = question != std::string_view::npos ? question
                         : hash != std::string_view::npos   ? hash
                                                            : text.size();
  place(kPath, at, pathEnd - at);
  if (question != std::string_view::npos) {
    url.hasQuery_ = true;
    const size_t queryEnd = hash != std::string_view::npos ? hash : text.size();
    place(kQuery, question + 1, queryEnd - question - 1);
  }
  if (hash != std::string_view::npos) {
    url.hasFragment_ = true;
    place(kFragment, hash + 1, text.size() - hash - 1);
  }
  if (!changed.empty()) url.changed_ = std::make_unique<const std::string>(std::move(changed));
  return url;
}

std::optional<std::string> Url::queryItem(std::string_view name) const {
  if (!hasQuery_) return std::nullopt;
  // Walked in order (a hash table would keep the last of repeated names);
  // items before a malformed one still count.
  const std::string_view query = part(kQuery);
  GUriParamsIter iter;
  g_uri_params_iter_init(&iter, query.data(), gssize(query.size()), "&", G_URI_PARAMS_WWW_FORM);
  char *key = nullptr, *value = nullptr;
  std::optional<std::string> result;
  while (g_uri_params_iter_next(&iter, &key, &value, nullptr)) {
    bool match = key && name == key;
    if (match && value) result = value;
    g_free(key);
    g_free(value);
    if (match) break;
  }
  return result;
}

Url Url::withQueryItem(std::string_view name, std::string_view value) const {
  auto escape = [](std::string_view v) {
    std::unique_ptr<char, decltype(&g_free)> e(g_uri_escape_string(std::string(v).c_str(), nullptr, FALSE), g_free);
    return std::string(e.get());
  };
  const Place& path = parts_[kPath];
  std::string text = text_.substr(0, path.at + path.size);
  text += "?" + escape(name) + "=" + escape(value);
  if (hasFragment_) text += "#" + fragment();
  return *parse(text);
}

Url Url::deletingLastPathComponent() const {
  std::string p = path();
  while (p.size() > 1 && p.back() == '/') p.pop_back();
  auto slash = p.rfind('/');
  p = slash == std::string::npos ? "/" : p.substr(0, slash + 1);
  auto result = parse(text_.substr(0, parts_[kPath].at) + p);
  return result ? *result : *this;
}

std::string Url::filePath() const {
  if (part(kScheme) != "file") return {};
  std::unique_ptr<char, decltype(&g_free)> path(g_filename_from_uri(text_.c_str(), nullptr, nullptr), g_free);
  return path ? std::string(path.get()) : std::string();
}

std::optional<Url> Url::fromFilePath(std::string_view absolutePath) {
  std::unique_ptr<char, decltype(&g_free)> uri(g_filename_to_uri(std::string(absolutePath).c_str(), nullptr, nullptr),
                                               g_free);
  if (!uri) return std::nullopt;
  return parse(uri.get());
}

}  // namespace quillo
