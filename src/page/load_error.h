// Load errors: the failure shown in place of a page, with its title, message and icon.
#pragma once
#include <optional>
#include <string>

#include "core/url.h"

namespace quillo {

// A failure shown in place of the page, until the next navigation starts.
struct LoadError {
  // The address that failed, when the engine said which.
  std::optional<Url> url;
  // What went wrong, for people: the engine's description or one of ours.
  std::string message;
  // The plain-HTTP address the user may go on to: set only when the failure
  // concerns an address the browser itself upgraded to HTTPS.
  std::optional<Url> insecureURL;

  bool operator==(const LoadError&) const = default;

  // The site as the title names it: the short address, else "the page".
  std::string siteName() const;
  // "Couldn't open NAME", with " securely" when HTTP is on offer.
  std::string title() const;
  // The theme icon standing for the failure.
  std::string iconName() const;

  static constexpr const char* kInsecureWarning =
      "Over plain HTTP, anyone on your network can see and change what you send and receive.";
  static constexpr const char* kSentBack = "The site sent Quillo back to its insecure address.";
  static constexpr const char* kTimedOut = "The request timed out.";
  static constexpr const char* kAbandoned = "The connection ended before the page arrived.";
  static constexpr const char* kRefusedByEngine = "The web engine refused to open this address.";
  // A port kept for other kinds of service, which browsers never use.
  static std::string restrictedPort(int port) {
    return "Port " + std::to_string(port) + " belongs to another kind of service (mail, file transfer, chat…), " +
           "so browsers never connect to it.";
  }
};

}  // namespace quillo
