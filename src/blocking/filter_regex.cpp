// Rewriting a filter list's regular-expression rules into url-filters WebKit's content blocker accepts.
#include "blocking/filter_regex.h"

#include "blocking/url_filter_check.h"

namespace quillo {

namespace {

// Spelling out {m,n} grows the expression; lists use small counts.
constexpr int kMaxRepeat = 64;
constexpr size_t kMaxFilterLength = 2048;

bool isAlnum(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
// Characters that mean something to WebKit's parser outside a class.
bool isSpecial(char c) {
  for (char s : std::string_view("^$|{}[]()*+?.\\"))
    if (c == s) return true;
  return false;
}

using Filters = std::vector<std::string>;

// A recursive-descent reading of the expression that writes out the
// alternatives as it goes. Any construct it does not know fails the whole.
class Rewriter {
 public:
  Rewriter(std::string_view regex, size_t maxFilters) : s_(regex), max_(maxFilters) {}

  std::optional<Filters> run() {
    Filters all = disjunction();
    if (failed_ || i_ != s_.size() || all.empty()) return std::nullopt;
    for (const auto& filter : all) {
      if (filter.size() > kMaxFilterLength || urlFilterRejection(filter)) return std::nullopt;
    }
    return all;
  }

 private:
  bool atEnd() const { return i_ >= s_.size(); }
  Filters fail() {
    failed_ = true;
    return {};
  }

  Filters disjunction() {
    Filters all = alternative();
    while (!failed_ && !atEnd() && s_[i_] == '|') {
      ++i_;
      Filters more = alternative();
      all.insert(all.end(), more.begin(), more.end());
      if (all.size() > max_) return fail();
    }
    return all;
  }

  Filters alternative() {
    Filters sequence{std::string()};
    while (!failed_ && !atEnd() && s_[i_] != '|' && s_[i_] != ')') {
      bool anchor = false;
      Filters piece = atom(anchor);
      if (failed_) return {};
      if (!quantify(piece, anchor)) return fail();
      if (sequence.size() * piece.size() > max_) return fail();
      Filters next;
      next.reserve(sequence.size() * piece.size());
      for (const auto& head : sequence)
        for (const auto& tail : piece) next.push_back(head + tail);
      sequence = std::move(next);
    }
    return sequence;
  }

  // A quantifier after the atom, if any, applied to it. A group holding
  // alternatives cannot be repeated without "|", nor can an anchor.
  bool quantify(Filters& piece, bool anchor) {
    if (atEnd()) return true;
    char c = s_[i_];
    int min = 0, max = -1;  // max -1: unbounded
    std::string_view plain;
    if (c == '*' || c == '+' || c == '?') {
      plain = s_.substr(i_, 1);
      ++i_;
    } else if (c == '{') {
      if (!counted(min, max)) return false;
    } else {
      return true;
    }
    if (!atEnd() && s_[i_] == '?') ++i_;  // lazy: matches the same addresses
    if (anchor || piece.size() != 1) return false;
    const std::string one = piece[0];
    if (!plain.empty()) {
      piece[0] = one + std::string(plain);
      return true;
    }
    std::string out;
    for (int k = 0; k < min; ++k) out += one;
    if (max < 0) {
      out += one + "*";
    } else {
      for (int k = min; k < max; ++k) out += one + "?";
    }
    piece[0] = std::move(out);
    return true;
  }

  // {m}, {m,} or {m,n} at i_.
  bool counted(int& min, int& max) {
    size_t j = i_ + 1;
    auto number = [&](int& value) {
      size_t start = j;
      value = 0;
      while (j < s_.size() && isDigit(s_[j]) && value <= kMaxRepeat) value = value * 10 + (s_[j++] - '0');
      return j > start && value <= kMaxRepeat;
    };
    if (!number(min)) return false;
    max = min;
    if (j < s_.size() && s_[j] == ',') {
      ++j;
      if (j < s_.size() && s_[j] == '}') {
        max = -1;
      } else if (!number(max) || max < min) {
        return false;
      }
    }
    if (j >= s_.size() || s_[j] != '}') return false;
    i_ = j + 1;
    return true;
  }

  Filters atom(bool& anchor) {
    char c = s_[i_++];
    switch (c) {
      case '(': {
        if (!atEnd() && s_[i_] == '?') {
          if (i_ + 1 < s_.size() && s_[i_ + 1] == ':') {
            i_ += 2;
          } else {
            return fail();  // lookarounds and named groups
          }
        }
        Filters inner = disjunction();
        if (failed_ || atEnd() || s_[i_] != ')') return fail();
        ++i_;
        // Alternatives are spliced into the sequence; a group that stays
        // whole keeps its parentheses for a quantifier.
        if (inner.size() == 1) inner[0] = "(" + inner[0] + ")";
        return inner;
      }
      case '[': return characterClass();
      case '\\': return escape();
      case '^':
      case '$': anchor = true; return {std::string(1, c)};
      case '*':
      case '+':
      case '?':
      case '{':
      case '}': return fail();
      case ']': return {"\\]"};
      default: return {std::string(1, c)};
    }
  }

  Filters escape() {
    if (atEnd()) return fail();
    char c = s_[i_++];
    switch (c) {
      case 'd': return {"[0-9]"};
      case 'D': return {"[^0-9]"};
      case 'w': return {"[A-Za-z0-9_]"};
      case 'W': return {"[^A-Za-z0-9_]"};
      default: break;
    }
    // \b, \s, \1, \x41, \u0041, \n and the like have no equivalent here.
    if (isAlnum(c)) return fail();
    // "\/" and "\-" are just the character; WebKit's own specials stay escaped.
    if (isSpecial(c)) return {std::string{'\\', c}};
    return {std::string(1, c)};
  }

  Filters characterClass() {
    std::string out = "[";
    if (!atEnd() && s_[i_] == '^') {
      out += '^';
      ++i_;
    }
    while (!atEnd()) {
      char c = s_[i_++];
      if (c == ']') {
        out += ']';
        return {out};
      }
      if (c != '\\') {
        out += c;
        continue;
      }
      if (atEnd()) break;
      char e = s_[i_++];
      if (e == 'd') {
        out += "0-9";
      } else if (e == 'w') {
        out += "A-Za-z0-9_";
      } else if (isAlnum(e)) {
        return fail();  // \D, \s, \b (a backspace here) and the like
      } else {
        out += '\\';
        out += e;
      }
    }
    return fail();
  }

  std::string_view s_;
  size_t i_ = 0;
  size_t max_;
  bool failed_ = false;
};

}  // namespace

std::optional<std::vector<std::string>> regexUrlFilters(std::string_view regex, size_t maxFilters) {
  return Rewriter(regex, maxFilters).run();
}

}  // namespace quillo
