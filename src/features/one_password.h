// 1Password helpers: finding op, its arguments and errors, reading its answers, site matching and messages.
#pragma once
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/sources.h"

namespace quillo::OnePassword {

// Why the tool gave no answer; description() is what the user is shown.
struct Failure {
  enum class Kind { op, notInstalled, notConnected };
  Kind kind = Kind::op;
  std::string message;  // for Kind::op

  static Failure op(std::string message) { return {Kind::op, std::move(message)}; }
  std::string description() const;
  bool operator==(const Failure&) const = default;
};

// What a call of the tool ended with: its standard output, or a failure.
struct Outcome {
  std::optional<std::string> output;
  std::optional<Failure> failure;
  static Outcome success(std::string text) { return {std::move(text), std::nullopt}; }
  static Outcome failed(Failure failure) { return {std::nullopt, std::move(failure)}; }
};

// The username, the password and whether the item holds a one-time code.
// Holds secrets: wipe() it as soon as it has been used.
struct Credentials {
  std::optional<std::string> username;
  std::optional<std::string> password;
  bool hasOneTimeCode = false;
  void wipe();
};

// ---- Finding and running the tool ----

// The first executable "op" in the PATH's folders, then /usr/bin/op and
// /usr/local/bin/op. isExecutable tells an executable file from anything else.
std::optional<std::string> findExecutable(std::string_view pathVariable,
                                          const std::function<bool(const std::string&)>& isExecutable);
// The same on this machine's PATH and files.
std::optional<std::string> executable();

// The argument vectors (after the executable) of the three commands.
std::vector<std::string> listArguments();
std::vector<std::string> credentialsArguments(const std::string& id);
std::vector<std::string> oneTimeCodeArguments(const std::string& id);

// The failure a non-zero exit with this standard error means.
Failure failureFromError(std::string_view standardError);
// The error text without the tool's dated header ("[ERROR] 2024/05/01
// 10:11:12 "), trimmed. An undated "[ERROR] …" is kept whole.
std::string errorText(std::string_view standardError);

// ---- Reading its answers ----

// The list command's output as logins, in the tool's order; nullopt when it
// is not a JSON array.
std::optional<std::vector<Login>> decodeLogins(std::string_view json);
// The hosts of an item's addresses: each href as a URL, else "https://" +
// href; lower case, without duplicates; hrefs with no host are dropped.
std::vector<std::string> hostsOf(const std::vector<std::string>& hrefs);
// Keeps the logins with a host of the same site as one of hosts, sorted by
// title (case-insensitive, locale-aware).
std::vector<Login> forHosts(std::vector<Login> logins, const std::vector<std::string>& hosts);
// The full item's fields; nullopt when the output is not a JSON object.
// Wipes the text it was given.
std::optional<Credentials> decodeCredentials(std::string& json);
// The code from the one-time-code command's output, trimmed.
Outcome decodeOneTimeCode(std::string_view output);

// ---- Sites ----

// Two hosts are the same site when equal (after dropping one leading
// "www."), when one is a subdomain of the other, or when they share a
// registrable domain. IP addresses are the same site only as themselves.
bool sameSite(std::string_view a, std::string_view b);
// The host's registrable domain by the Public Suffix List ("example.co.uk"
// for "mail.example.co.uk", "alice.github.io" for itself); a host that is a
// public suffix, an IP address or a single label is its own.
std::string registrableDomain(std::string_view host);
bool isIPAddress(std::string_view host);
// Some host of the login is the same site as host.
bool belongs(const Login& login, std::string_view host);

// ---- Messages ----
inline constexpr const char* kAsking = "Asking 1Password…";
inline constexpr const char* kOpenASite = "Open a site first, then use /login there.";
inline constexpr const char* kPrivate = "1Password is off in private tabs.";
inline constexpr const char* kNoReach = "1Password couldn't be reached.";
inline constexpr const char* kUnreadable = "1Password's answer couldn't be read.";
inline constexpr const char* kTimedOut = "1Password didn't answer within 30 seconds. Unlock it and try again.";
inline constexpr const char* kDifferentSite = "That login is for a different site.";
inline constexpr const char* kFilling = "Filling from 1Password…";
inline constexpr const char* kPageChanged = "The page changed before the login could be filled.";
inline constexpr const char* kNoLoginForm = "No login form found on this page.";
inline constexpr const char* kGettingCode = "Getting the code from 1Password…";
inline constexpr const char* kNoCodeSaved = "That login has no one-time code saved.";
inline constexpr const char* kPageChangedCode = "The page changed before the code could be filled.";
inline constexpr const char* kNoCodeField = "No one-time code field found on this page.";
std::string noLoginsFor(std::string_view displayHost);

// Overwrites a string's characters before it is dropped.
void wipe(std::string& text);

}  // namespace quillo::OnePassword
