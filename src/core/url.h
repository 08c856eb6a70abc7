// URLs: an absolute address kept as given, with its scheme, host, path, query and fragment parsed once.
#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace quillo {

// An absolute URL as the engine and the stores see it. The text is kept as
// given (so it round-trips through files unchanged); the parts are parsed once.
//
// The parts are kept as places in the text, so a URL costs one string: the
// history holds 100,000 of them. Only a part the parser changed (a decoded
// host, an upper-case scheme, a path with "." segments) is stored apart.
class Url {
 public:
  // nullopt unless the text is an absolute URL with a scheme.
  static std::optional<Url> parse(std::string_view text);

  Url() = default;
  Url(const Url& other);
  Url& operator=(const Url& other);
  Url(Url&&) noexcept = default;
  Url& operator=(Url&&) noexcept = default;

  const std::string& str() const { return text_; }
  std::string scheme() const { return std::string(part(kScheme)); }  // lower case
  std::string host() const { return std::string(part(kHost)); }      // empty when none
  // The same parts without a copy, for code that reads many addresses.
  std::string_view hostView() const { return part(kHost); }
  std::string_view pathView() const { return part(kPath); }
  std::string_view queryView() const { return part(kQuery); }
  bool hasQuery() const { return hasQuery_; }
  int port() const { return port_; }  // -1 when none
  std::string path() const { return std::string(part(kPath)); }
  std::string query() const { return std::string(part(kQuery)); }  // without "?"
  std::string fragment() const { return std::string(part(kFragment)); }
  bool hasHost() const { return parts_[kHost].size != 0; }

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
  enum Part : uint8_t { kScheme, kHost, kPath, kQuery, kFragment, kPartCount };
  // Where a part lies: in the text, or in `changed_` when its bit is set.
  struct Place {
    uint32_t at = 0, size = 0;
  };

  std::string_view part(Part p) const {
    const Place& place = parts_[p];
    const std::string& from = (changedParts_ >> p & 1) ? *changed_ : text_;
    return std::string_view(from).substr(place.at, place.size);
  }
  std::string text_;
  Place parts_[kPartCount];
  int32_t port_ = -1;
  bool hasQuery_ = false, hasFragment_ = false;
  uint8_t changedParts_ = 0;
  std::unique_ptr<const std::string> changed_;  // rarely set
};

}  // namespace quillo
