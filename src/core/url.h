#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace quillo {

// An absolute URL as the engine and the stores see it. The text is kept as
// given (so it round-trips through files unchanged); the parts are parsed once.
class Url {
 public:
  // nullopt unless the text is an absolute URL with a scheme.
  static std::optional<Url> parse(std::string_view text);

  const std::string& str() const { return text_; }
  const std::string& scheme() const { return scheme_; }  // lower case
  const std::string& host() const { return host_; }      // empty when none
  int port() const { return port_; }                     // -1 when none
  const std::string& path() const { return path_; }
  const std::string& query() const { return query_; }    // without "?"
  const std::string& fragment() const { return fragment_; }
  bool hasHost() const { return !host_.empty(); }

  // The decoded value of the first query item with this name.
  std::optional<std::string> queryItem(std::string_view name) const;
  // This URL with its query replaced by exactly one item, name=value.
  Url withQueryItem(std::string_view name, std::string_view value) const;
  // This URL with the last path component removed (the containing folder).
  Url deletingLastPathComponent() const;
  // For file URLs: the local path; empty otherwise.
  std::string filePath() const;
  static std::optional<Url> fromFilePath(std::string_view absolutePath);

  bool operator==(const Url& other) const { return text_ == other.text_; }
  bool operator!=(const Url& other) const { return text_ != other.text_; }

 private:
  std::string text_, scheme_, host_, path_, query_, fragment_;
  int port_ = -1;
  bool hasQuery_ = false, hasFragment_ = false;
};

}  // namespace quillo
