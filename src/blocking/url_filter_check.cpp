// Checking block rules' url-filters and domains against what WebKit's content blocker accepts.
#include "blocking/url_filter_check.h"

#include <array>
#include <cstddef>

namespace quillo {

namespace {

// Characters that stand for themselves (or "." for any).
constexpr auto kPlain = [] {
  std::array<bool, 256> table{};
  for (int c = 1; c < 0x80; ++c) table[c] = true;
  for (unsigned char c : std::string_view("^$|{}[]()*+?\\")) table[c] = false;
  return table;
}();

bool isAlnum(unsigned char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

const char* escapeRejection(unsigned char c) {
  switch (c) {
    case 'd':
    case 'D':
    case 'w':
    case 'W':
    case 's':
    case 'S': return "character class escapes are not supported";
    case 'b':
    case 'B': return "word boundaries are not supported";
    default: break;
  }
  if (c >= '1' && c <= '9') return "backreferences are not supported";
  if (isAlnum(c)) return "escape sequence is not supported";
  if (c == 0) return "NUL character";
  if (c >= 0x80) return "only ASCII characters are supported";
  return nullptr;
}

// Reads a character class starting just after "[", returns the index after
// its "]" or 0 with *why set.
size_t skipClass(std::string_view f, size_t i, const char** why) {
  if (i < f.size() && f[i] == '^') ++i;
  size_t first = i;
  bool havePrevious = false;  // a single character that may start a range
  while (i < f.size()) {
    unsigned char c = static_cast<unsigned char>(f[i]);
    if (c == ']') {
      if (i == first) {
        *why = "empty character class";
        return 0;
      }
      return i + 1;
    }
    if (c >= 0x80) {
      *why = "only ASCII characters are supported";
      return 0;
    }
    if (c == 0) {
      *why = "NUL character";
      return 0;
    }
    if (c == '[') {
      *why = "nested character class";
      return 0;
    }
    if (c == '\\') {
      if (i + 1 >= f.size()) break;
      if (const char* r = escapeRejection(static_cast<unsigned char>(f[i + 1]))) {
        *why = r;
        return 0;
      }
      i += 2;
      havePrevious = true;
      continue;
    }
    if (c == '-' && havePrevious && i + 1 < f.size() && f[i + 1] != ']') {
      // A range: its end must be a plain character not below its start.
      unsigned char start = static_cast<unsigned char>(f[i - 1]);
      unsigned char end = static_cast<unsigned char>(f[i + 1]);
      if (end == '\\' || end == '[' || end >= 0x80 || end < start) {
        *why = "invalid range in character class";
        return 0;
      }
      i += 2;
      havePrevious = false;
      continue;
    }
    havePrevious = true;
    ++i;
  }
  *why = "unterminated character class";
  return 0;
}

}  // namespace

const char* urlFilterRejection(std::string_view f) {
  if (f.empty()) return "empty pattern";
  size_t i = 0;
  if (f[0] == '^') i = 1;
  int depth = 0;
  bool haveAtom = false;  // something a quantifier may follow
  while (i < f.size()) {
    unsigned char c = static_cast<unsigned char>(f[i]);
    if (c >= 0x80) return "only ASCII characters are supported";
    if (c == 0) return "NUL character";
    switch (c) {
      case '^': return "start-of-line anchor must come first";
      case '$':
        if (i + 1 != f.size()) return "end-of-line anchor must come last";
        if (depth) return "end-of-line anchor inside a group";
        ++i;
        haveAtom = false;
        continue;
      case '|': return "disjunctions are not supported";
      case '{':
      case '}': return "counted repetitions are not supported";
      case ']': return "unbalanced ]";
      case '(':
        if (i + 1 < f.size() && f[i + 1] == '?') return "lookarounds and special groups are not supported";
        ++depth;
        ++i;
        haveAtom = false;
        continue;
      case ')':
        if (!depth) return "unbalanced )";
        --depth;
        ++i;
        haveAtom = true;
        continue;
      case '*':
      case '+':
      case '?':
        if (!haveAtom) return "quantifier without anything to repeat";
        ++i;
        haveAtom = false;
        continue;
      case '[': {
        const char* why = nullptr;
        size_t next = skipClass(f, i + 1, &why);
        if (!next) return why;
        i = next;
        haveAtom = true;
        continue;
      }
      case '\\':
        if (i + 1 >= f.size()) return "trailing backslash";
        if (const char* r = escapeRejection(static_cast<unsigned char>(f[i + 1]))) return r;
        i += 2;
        haveAtom = true;
        continue;
      default:
        // Most of a filter is plain characters: skip them in one go.
        ++i;
        while (i < f.size() && kPlain[static_cast<unsigned char>(f[i])]) ++i;
        haveAtom = true;
        continue;
    }
  }
  if (depth) return "unbalanced (";
  return nullptr;
}

bool isAcceptableDomain(std::string_view domain) {
  if (domain.empty()) return false;
  for (unsigned char c : domain) {
    if (c >= 0x80 || (c >= 'A' && c <= 'Z')) return false;
  }
  return true;
}

}  // namespace quillo
