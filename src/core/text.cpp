// Text basics: case folding, lower-casing, trimming, UTF-8 repair.
#include "core/text.h"

#include <glib.h>

#include <memory>

namespace quillo {
namespace {

bool isBlank(gunichar c) {
  if ((c >= 0x09 && c <= 0x0d) || c == 0x85) return true;
  auto type = g_unichar_type(c);
  return type == G_UNICODE_SPACE_SEPARATOR || type == G_UNICODE_LINE_SEPARATOR || type == G_UNICODE_PARAGRAPH_SEPARATOR;
}

// GLib counts a NUL byte as invalid UTF-8: each run between NULs is checked alone.
template <class Piece>
void eachRunBetweenNuls(std::string_view text, Piece piece) {
  for (std::size_t start = 0;;) {
    auto nul = text.find('\0', start);
    piece(text.substr(start, nul == std::string_view::npos ? std::string_view::npos : nul - start));
    if (nul == std::string_view::npos) return;
    start = nul + 1;
  }
}

}  // namespace

bool isAscii(std::string_view text) {
  for (unsigned char c : text)
    if (c >= 0x80) return false;
  return true;
}

bool isValidUtf8(std::string_view text) {
  bool valid = true;
  eachRunBetweenNuls(text, [&](std::string_view run) {
    valid = valid && (run.empty() || g_utf8_validate(run.data(), gssize(run.size()), nullptr));
  });
  return valid;
}

std::string validUtf8(std::string_view text) {
  if (isAscii(text) || isValidUtf8(text)) return std::string(text);
  std::string out;
  bool first = true;
  eachRunBetweenNuls(text, [&](std::string_view run) {
    if (!first) out += '\0';
    first = false;
    if (run.empty()) return;
    std::unique_ptr<char, decltype(&g_free)> fixed(g_utf8_make_valid(run.data(), gssize(run.size())), g_free);
    out += fixed.get();
  });
  return out;
}

std::string asciiLower(std::string_view text) {
  std::string out(text);
  for (auto& c : out) c = asciiLower(c);
  return out;
}

std::string foldCase(std::string_view text) {
  if (isAscii(text)) return asciiLower(text);
  std::string valid = validUtf8(text);
  std::unique_ptr<char, decltype(&g_free)> lowered(g_utf8_strdown(valid.data(), gssize(valid.size())), g_free);
  return std::string(lowered.get());
}

bool foldedContains(std::string_view text, std::string_view needle) {
  if (needle.empty()) return true;
  if (!isAscii(text)) return foldCase(text).find(needle) != std::string::npos;
  // Most titles and every address are ASCII: compare in place, without
  // building a folded copy on every keystroke. Folding never turns ASCII
  // into anything else, so a needle that is not ASCII cannot occur.
  if (!isAscii(needle) || needle.size() > text.size()) return false;
  for (size_t start = 0; start + needle.size() <= text.size(); ++start) {
    size_t i = 0;
    while (i < needle.size() && asciiLower(text[start + i]) == needle[i]) ++i;
    if (i == needle.size()) return true;
  }
  return false;
}

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

}  // namespace quillo
