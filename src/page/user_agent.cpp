// The user agent string: putting the Safari token sites expect at its end.
#include "page/user_agent.h"

namespace quillo {

namespace {

bool isSpace(char c) { return c == ' ' || c == '\t'; }

// End of the product token starting at `from` (the first space or the end).
size_t tokenEnd(std::string_view text, size_t from) {
  while (from < text.size() && !isSpace(text[from])) ++from;
  return from;
}

}  // namespace

std::string withSafariToken(std::string_view userAgent, std::string_view token) {
  // Look for the last "Version/x" directly followed by "Safari/y".
  size_t at = userAgent.rfind("Version/");
  while (at != std::string_view::npos) {
    bool startsToken = at == 0 || isSpace(userAgent[at - 1]);
    size_t versionEnd = tokenEnd(userAgent, at);
    size_t next = versionEnd;
    while (next < userAgent.size() && isSpace(userAgent[next])) ++next;
    if (startsToken && next > versionEnd && userAgent.substr(next).starts_with("Safari/")) {
      size_t safariEnd = tokenEnd(userAgent, next);
      std::string result(userAgent.substr(0, at));
      result += token;
      result += userAgent.substr(safariEnd);
      return result;
    }
    if (at == 0) break;
    at = userAgent.rfind("Version/", at - 1);
  }
  std::string result(userAgent);
  while (!result.empty() && isSpace(result.back())) result.pop_back();
  if (!result.empty()) result += ' ';
  result += token;
  return result;
}

}  // namespace quillo
