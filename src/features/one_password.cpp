// 1Password helpers: finding op, its arguments and errors, reading its answers, and telling which sites match.
#include "features/one_password.h"

#include <gio/gio.h>
#include <glib.h>
#include <libpsl.h>
#include <nlohmann/json.hpp>
#include <string.h>

#include <algorithm>

#include "core/text.h"
#include "core/url.h"

namespace quillo::OnePassword {

namespace {

// Lower case, without IPv6 brackets and one leading "www.".
std::string siteForm(std::string_view host) {
  std::string h = asciiLower(host);
  if (h.size() > 2 && h.front() == '[' && h.back() == ']') h = h.substr(1, h.size() - 2);
  if (h.rfind("www.", 0) == 0) h.erase(0, 4);
  return h;
}

bool endsWithLabel(const std::string& host, const std::string& suffix) {
  return host.size() > suffix.size() + 1 && host.compare(host.size() - suffix.size(), suffix.size(), suffix) == 0 &&
         host[host.size() - suffix.size() - 1] == '.';
}

const psl_ctx_t* suffixList() {
  // The system's list when it is newer than the one built into libpsl.
  static const psl_ctx_t* list = [] {
    const psl_ctx_t* latest = psl_latest(nullptr);
    return latest ? latest : psl_builtin();
  }();
  return list;
}

bool isDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// "YYYY/MM/DD" or "YYYY-MM-DD".
bool isDate(std::string_view word) {
  if (word.size() != 10) return false;
  char separator = word[4];
  if ((separator != '/' && separator != '-') || word[7] != separator) return false;
  return isDigits(word.substr(0, 4)) && isDigits(word.substr(5, 2)) && isDigits(word.substr(8, 2));
}

// "HH:MM:SS".
bool isTime(std::string_view word) {
  return word.size() == 8 && word[2] == ':' && word[5] == ':' && isDigits(word.substr(0, 2)) &&
         isDigits(word.substr(3, 2)) && isDigits(word.substr(6, 2));
}

std::string trimmed(std::string_view text) { return trimWhitespace(text); }

void wipeStrings(nlohmann::json& value) {
  if (value.is_string()) {
    wipe(value.get_ref<std::string&>());
  } else if (value.is_structured()) {
    for (auto& child : value) wipeStrings(child);
  }
}

}  // namespace

void wipe(std::string& text) {
  if (!text.empty()) explicit_bzero(text.data(), text.size());
  text.clear();
}

void Credentials::wipe() {
  if (username) OnePassword::wipe(*username);
  if (password) OnePassword::wipe(*password);
  username.reset();
  password.reset();
}

std::string Failure::description() const {
  switch (kind) {
    case Kind::notInstalled:
      return "The 1Password CLI (op) isn't installed. Install the 1password-cli package from 1Password's Linux "
             "repository.";
    case Kind::notConnected:
      return "1Password isn't connected to its CLI. Turn on 1Password > Settings > Developer > Integrate with "
             "1Password CLI.";
    case Kind::op: return message;
  }
  return message;
}

std::string noLoginsFor(std::string_view displayHost) {
  return "No logins in 1Password for " + std::string(displayHost);
}

// ---- The tool ----

std::optional<std::string> findExecutable(std::string_view pathVariable,
                                          const std::function<bool(const std::string&)>& isExecutable) {
  std::vector<std::string> candidates;
  size_t start = 0;
  while (start <= pathVariable.size()) {
    size_t end = pathVariable.find(':', start);
    if (end == std::string_view::npos) end = pathVariable.size();
    auto folder = pathVariable.substr(start, end - start);
    // An empty entry means the current folder; a browser never runs tools from there.
    if (!folder.empty() && folder.front() == '/') candidates.push_back(std::string(folder) + "/op");
    start = end + 1;
  }
  candidates.push_back("/usr/bin/op");
  candidates.push_back("/usr/local/bin/op");
  for (const auto& candidate : candidates)
    if (isExecutable(candidate)) return candidate;
  return std::nullopt;
}

std::optional<std::string> executable() {
  const char* path = g_getenv("PATH");
  return findExecutable(path ? path : "", [](const std::string& file) {
    return g_file_test(file.c_str(), G_FILE_TEST_IS_EXECUTABLE) && !g_file_test(file.c_str(), G_FILE_TEST_IS_DIR);
  });
}

std::vector<std::string> listArguments() { return {"item", "list", "--categories", "Login", "--format", "json"}; }

std::vector<std::string> credentialsArguments(const std::string& id) {
  return {"item", "get", id, "--reveal", "--format", "json"};
}

std::vector<std::string> oneTimeCodeArguments(const std::string& id) { return {"item", "get", id, "--otp"}; }

std::string errorText(std::string_view standardError) {
  std::string text = trimmed(standardError);
  static constexpr std::string_view kHeader = "[ERROR] ";
  if (text.rfind(kHeader, 0) != 0) return text;
  std::string_view rest = std::string_view(text).substr(kHeader.size());
  size_t dateEnd = rest.find(' ');
  if (dateEnd == std::string_view::npos || !isDate(rest.substr(0, dateEnd))) return text;
  std::string_view afterDate = rest.substr(dateEnd + 1);
  size_t timeEnd = afterDate.find(' ');
  if (timeEnd == std::string_view::npos) return isTime(afterDate) ? std::string() : text;  // a header alone
  if (!isTime(afterDate.substr(0, timeEnd))) return text;
  return trimmed(afterDate.substr(timeEnd + 1));
}

Failure failureFromError(std::string_view standardError) {
  std::string text = errorText(standardError);
  if (asciiLower(text).find("no accounts configured") != std::string::npos) return {Failure::Kind::notConnected, {}};
  if (text.empty()) return Failure::op(kNoReach);
  return Failure::op(text);
}

// ---- Answers ----

std::vector<std::string> hostsOf(const std::vector<std::string>& hrefs) {
  std::vector<std::string> hosts;
  for (const auto& href : hrefs) {
    auto url = Url::parse(href);
    if (!url || url->host().empty()) url = Url::parse("https://" + href);
    if (!url || url->host().empty()) continue;
    std::string host = asciiLower(url->host());
    if (std::find(hosts.begin(), hosts.end(), host) == hosts.end()) hosts.push_back(std::move(host));
  }
  return hosts;
}

std::optional<std::vector<Login>> decodeLogins(std::string_view json) {
  auto list = nlohmann::json::parse(json, nullptr, false);
  if (!list.is_array()) return std::nullopt;
  std::vector<Login> logins;
  for (const auto& item : list) {
    if (!item.is_object()) continue;
    auto id = item.find("id");
    auto title = item.find("title");
    if (id == item.end() || !id->is_string() || title == item.end() || !title->is_string()) continue;
    Login login;
    login.id = id->get<std::string>();
    login.title = title->get<std::string>();
    if (auto info = item.find("additional_information"); info != item.end() && info->is_string())
      login.username = info->get<std::string>();
    std::vector<std::string> hrefs;
    if (auto urls = item.find("urls"); urls != item.end() && urls->is_array())
      for (const auto& url : *urls)
        if (url.is_object())
          if (auto href = url.find("href"); href != url.end() && href->is_string())
            hrefs.push_back(href->get<std::string>());
    login.hosts = hostsOf(hrefs);
    logins.push_back(std::move(login));
  }
  return logins;
}

std::vector<Login> forHosts(std::vector<Login> logins, const std::vector<std::string>& hosts) {
  std::vector<Login> kept;
  for (auto& login : logins)
    if (std::any_of(hosts.begin(), hosts.end(), [&](const std::string& host) { return belongs(login, host); }))
      kept.push_back(std::move(login));
  auto key = [](const std::string& title) {
    char* folded = g_utf8_casefold(title.c_str(), gssize(title.size()));
    char* collation = g_utf8_collate_key(folded, -1);
    std::string result(collation);
    g_free(collation);
    g_free(folded);
    return result;
  };
  std::vector<std::pair<std::string, Login>> keyed;
  keyed.reserve(kept.size());
  for (auto& login : kept) keyed.emplace_back(key(login.title), std::move(login));
  std::stable_sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<Login> sorted;
  sorted.reserve(keyed.size());
  for (auto& [k, login] : keyed) sorted.push_back(std::move(login));
  return sorted;
}

std::optional<Credentials> decodeCredentials(std::string& json) {
  auto item = nlohmann::json::parse(json, nullptr, false);
  wipe(json);
  if (!item.is_object()) {
    if (!item.is_discarded()) wipeStrings(item);
    return std::nullopt;
  }
  Credentials credentials;
  if (auto fields = item.find("fields"); fields != item.end() && fields->is_array()) {
    for (const auto& field : *fields) {
      if (!field.is_object()) continue;
      auto text = [&](const char* key) -> std::optional<std::string> {
        auto found = field.find(key);
        if (found == field.end() || !found->is_string()) return std::nullopt;
        return found->get<std::string>();
      };
      auto purpose = text("purpose");
      auto value = text("value");
      if (purpose == "USERNAME" && !credentials.username && value) credentials.username = value;
      if (purpose == "PASSWORD" && !credentials.password && value) credentials.password = value;
      if (text("type") == "OTP") credentials.hasOneTimeCode = true;
      if (value) wipe(*value);
    }
  }
  wipeStrings(item);
  return credentials;
}

Outcome decodeOneTimeCode(std::string_view output) {
  std::string code = trimmed(output);
  if (code.empty()) return Outcome::failed(Failure::op(kNoCodeSaved));
  return Outcome::success(std::move(code));
}

// ---- Sites ----

bool isIPAddress(std::string_view host) {
  std::string h = asciiLower(host);
  if (h.size() > 2 && h.front() == '[' && h.back() == ']') h = h.substr(1, h.size() - 2);
  return !h.empty() && g_hostname_is_ip_address(h.c_str());
}

std::string registrableDomain(std::string_view host) {
  std::string h = asciiLower(host);
  if (isIPAddress(h)) return h;
  const char* domain = psl_registrable_domain(suffixList(), h.c_str());
  return domain ? std::string(domain) : h;
}

bool sameSite(std::string_view first, std::string_view second) {
  std::string a = siteForm(first), b = siteForm(second);
  if (a.empty() || b.empty()) return false;
  if (a == b) return true;
  // 10.1.1.1 and 192.168.1.1 share a tail, never a site.
  if (isIPAddress(a) || isIPAddress(b)) return false;
  if (endsWithLabel(a, b) || endsWithLabel(b, a)) return true;
  return registrableDomain(a) == registrableDomain(b);
}

bool belongs(const Login& login, std::string_view host) {
  return std::any_of(login.hosts.begin(), login.hosts.end(), [&](const std::string& h) { return sameSite(h, host); });
}

}  // namespace quillo::OnePassword
