#include "core/url.h"

#include <glib.h>

#include <algorithm>
#include <iterator>
#include <memory>

namespace quillo {
namespace {
std::string cstr(const char* s) { return s ? std::string(s) : std::string(); }
std::string lower(std::string s) {
  for (auto& c : s) c = g_ascii_tolower(c);
  return s;
}
}  // namespace

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

std::optional<Url> Url::parse(std::string_view text) {
  std::string s(text);
  if (s.empty() || s.size() > UINT32_MAX) return std::nullopt;
  for (unsigned char c : s)
    if (c <= 0x20 || c == 0x7f) return std::nullopt;  // no spaces or controls in a URL
  GError* error = nullptr;
  GUri* uri = g_uri_parse(s.c_str(), GUriFlags(G_URI_FLAGS_ENCODED | G_URI_FLAGS_NON_DNS), &error);
  if (!uri) {
    g_clear_error(&error);
    return std::nullopt;
  }
  std::string scheme = lower(cstr(g_uri_get_scheme(uri)));
  std::string host = cstr(g_uri_get_host(uri));
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  // GLib percent-encodes a typed non-ASCII host ("bücher.de"); keep it readable.
  if (host.find('%') != std::string::npos) {
    std::unique_ptr<char, decltype(&g_free)> decoded(g_uri_unescape_string(host.c_str(), nullptr), g_free);
    if (decoded && g_utf8_validate(decoded.get(), -1, nullptr)) host = decoded.get();
  }
  Url url;
  url.text_ = std::move(s);
  url.port_ = g_uri_get_port(uri);
  url.hasQuery_ = g_uri_get_query(uri) != nullptr;
  url.hasFragment_ = g_uri_get_fragment(uri) != nullptr;
  const std::string parts[kPartCount] = {scheme, host, cstr(g_uri_get_path(uri)), cstr(g_uri_get_query(uri)),
                                         cstr(g_uri_get_fragment(uri))};
  g_uri_unref(uri);
  if (scheme.empty()) return std::nullopt;

  // Each part is looked for in the text after the one before it; any place
  // with the same bytes will do. What the parser changed is kept apart.
  std::string changed;
  std::size_t from = 0;
  for (int p = 0; p < kPartCount; ++p) {
    const std::string& value = parts[p];
    Place& place = url.parts_[p];
    place.size = uint32_t(value.size());
    if (value.empty()) continue;
    auto at = url.text_.find(value, from);
    if (at == std::string::npos) at = url.text_.find(value);
    if (at != std::string::npos) {
      place.at = uint32_t(at);
      from = at + value.size();
    } else {
      place.at = uint32_t(changed.size());
      changed += value;
      url.changedParts_ |= uint8_t(1u << p);
    }
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
  std::string text = scheme() + "://";
  GUri* uri = g_uri_parse(text_.c_str(), G_URI_FLAGS_ENCODED, nullptr);
  if (uri) {
    std::unique_ptr<char, decltype(&g_free)> base(
        g_uri_join(G_URI_FLAGS_ENCODED, g_uri_get_scheme(uri), g_uri_get_userinfo(uri), g_uri_get_host(uri),
                   g_uri_get_port(uri), g_uri_get_path(uri), nullptr, nullptr),
        g_free);
    text = base.get();
    g_uri_unref(uri);
  }
  text += "?" + escape(name) + "=" + escape(value);
  if (hasFragment_) text += "#" + fragment();
  return *parse(text);
}

Url Url::deletingLastPathComponent() const {
  std::string p = path();
  const std::string scheme = this->scheme(), host = this->host();
  while (p.size() > 1 && p.back() == '/') p.pop_back();
  auto slash = p.rfind('/');
  p = slash == std::string::npos ? "/" : p.substr(0, slash + 1);
  std::unique_ptr<char, decltype(&g_free)> joined(
      g_uri_join(G_URI_FLAGS_ENCODED, scheme.c_str(), nullptr,
                 host.empty() ? (scheme == "file" ? "" : nullptr) : host.c_str(), port_, p.c_str(), nullptr, nullptr),
      g_free);
  auto result = parse(joined.get());
  return result ? *result : *this;
}

std::string Url::filePath() const {
  if (part(kScheme) != "file") return {};
  std::unique_ptr<char, decltype(&g_free)> path(g_filename_from_uri(text_.c_str(), nullptr, nullptr), g_free);
  return path ? std::string(path.get()) : std::string();
}

std::optional<Url> Url::fromFilePath(std::string_view absolutePath) {
  std::unique_ptr<char, decltype(&g_free)> uri(g_filename_to_uri(std::string(absolutePath).c_str(), nullptr, nullptr), g_free);
  if (!uri) return std::nullopt;
  return parse(uri.get());
}

}  // namespace quillo
