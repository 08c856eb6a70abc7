#include "palette/text.h"

#include <glib.h>

#include <algorithm>

#include "stores/history_entry.h"

namespace quillo::palette {
namespace {

bool isBlank(gunichar c) {
  if ((c >= 0x09 && c <= 0x0d) || c == 0x85) return true;
  auto type = g_unichar_type(c);
  return type == G_UNICODE_SPACE_SEPARATOR || type == G_UNICODE_LINE_SEPARATOR ||
         type == G_UNICODE_PARAGRAPH_SEPARATOR;
}

}  // namespace

std::string_view trimSpaces(std::string_view text) {
  auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  auto last = text.find_last_not_of(" \t");
  return text.substr(first, last - first + 1);
}

std::string trimWhitespace(std::string_view text) {
  if (!g_utf8_validate(text.data(), gssize(text.size()), nullptr)) return std::string(trimSpaces(text));
  const char* begin = text.data();
  const char* end = begin + text.size();
  while (begin < end && isBlank(g_utf8_get_char(begin))) begin = g_utf8_next_char(begin);
  while (end > begin) {
    const char* previous = g_utf8_find_prev_char(begin, end);
    if (!previous || !isBlank(g_utf8_get_char(previous))) break;
    end = previous;
  }
  return std::string(begin, end);
}

bool foldedContains(std::string_view text, std::string_view needle) {
  if (needle.empty()) return true;
  auto isASCII = [](std::string_view s) {
    return std::all_of(s.begin(), s.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  };
  if (!isASCII(text)) return foldCase(text).find(needle) != std::string::npos;
  // Most titles and every address are ASCII: compare in place, without
  // building a folded copy on every keystroke. Folding never turns ASCII
  // into anything else, so a needle that is not ASCII cannot occur.
  if (!isASCII(needle) || needle.size() > text.size()) return false;
  auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; };
  for (size_t start = 0; start + needle.size() <= text.size(); ++start) {
    size_t i = 0;
    while (i < needle.size() && lower(text[start + i]) == needle[i]) ++i;
    if (i == needle.size()) return true;
  }
  return false;
}

}  // namespace quillo::palette
