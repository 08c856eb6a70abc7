#include "blocking/easy_privacy.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "blocking/url_filter_check.h"
#include "core/date.h"
#include "core/settings.h"

namespace quillo::EasyPrivacy {

namespace {

// Content-blocker resource types as bits, in ascending string order so that
// writing the set bits in bit order gives a sorted, de-duplicated list.
constexpr const char* kTypeNames[] = {"document", "font", "image", "media", "raw", "script", "style-sheet"};
enum TypeBit : unsigned {
  kDocument = 1u << 0,
  kFont = 1u << 1,
  kImage = 1u << 2,
  kMedia = 1u << 3,
  kRaw = 1u << 4,
  kScript = 1u << 5,
  kStyleSheet = 1u << 6,
};

struct TypeRow {
  std::string_view option;
  unsigned bit;
};
constexpr TypeRow kResourceTypes[] = {
    {"script", kScript},     {"image", kImage},          {"stylesheet", kStyleSheet}, {"font", kFont},
    {"media", kMedia},       {"subdocument", kDocument}, {"xmlhttprequest", kRaw},    {"ping", kRaw},
    {"websocket", kRaw},     {"other", kRaw},
};

constexpr std::string_view kAnyHostPrefix = "^[a-z-]+://([^/]*\\.)?";
// The filter syntax's "^": one character that cannot be part of a host,
// path word or number.
constexpr std::string_view kSeparator = "[^a-zA-Z0-9_.%-]";

// Pattern characters that are not copied as they are.
constexpr auto kTranslated = [] {
  std::array<bool, 256> table{};
  for (unsigned char c : std::string_view("*^|.+?()[]{}\\$")) table[c] = true;
  return table;
}();

enum class LoadType { any, thirdParty, firstParty };

char lower(char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; }

// Characters JSON strings must escape.
constexpr bool needsJsonEscape(unsigned char c) { return c == '"' || c == '\\' || c < 0x20; }

void appendEscaped(std::string& out, std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  size_t run = 0;  // start of the pending run of plain characters
  for (size_t i = 0; i < text.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    if (!needsJsonEscape(c)) continue;
    out.append(text.data() + run, i - run);
    run = i + 1;
    if (c == '"' || c == '\\') {
      out += '\\';
      out += char(c);
    } else {
      out += "\\u00";
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  out.append(text.data() + run, text.size() - run);
}

bool isElementHiding(std::string_view line) {
  for (size_t i = 0; i + 1 < line.size(); ++i) {
    if (line[i] != '#') continue;
    char next = line[i + 1];
    if (next == '#') return true;
    if ((next == '@' || next == '?' || next == '$') && i + 2 < line.size() && line[i + 2] == '#') return true;
  }
  return false;
}

class Converter {
 public:
  Converter(size_t textSize, int maxRules) : maxRules_(maxRules) {
    // The JSON is four to five times the size of the list; growing a
    // buffer that large again and again would cost more than converting.
    blocks_.reserve(textSize * 5);
    blocks_ += '[';
  }

  void line(std::string_view line) {
    while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) line.remove_prefix(1);
    while (!line.empty() && (line.back() == ' ' || line.back() == '\t')) line.remove_suffix(1);
    if (line.empty() || line.front() == '!' || line.front() == '[') return;
    bool exception = line.size() >= 2 && line[0] == '@' && line[1] == '@';
    if (!rule(line, exception ? exceptions_ : blocks_, exception ? exceptionEnds_.empty() : blockEnds_.empty())) {
      ++result_.skipped;
    } else if (exception) {
      ++result_.exceptions;
      exceptionEnds_.push_back(exceptions_.size());
    } else {
      ++result_.blocking;
      blockEnds_.push_back(blocks_.size());
    }
  }

  Converted finish() {
    if (result_.blocking + result_.exceptions > maxRules_) {
      // WebKit refuses a longer list whole. Dropping the last block rules
      // only blocks less; exceptions are kept so nothing is blocked that the
      // list allows.
      int keepExceptions = std::min(result_.exceptions, maxRules_);
      int keepBlocks = maxRules_ - keepExceptions;
      blocks_.resize(keepBlocks ? blockEnds_[keepBlocks - 1] : 1);
      exceptions_.resize(keepExceptions ? exceptionEnds_[keepExceptions - 1] : 0);
      result_.skipped += (result_.blocking - keepBlocks) + (result_.exceptions - keepExceptions);
      result_.blocking = keepBlocks;
      result_.exceptions = keepExceptions;
    }
    // Blocks first: an exception only cancels the rules before it.
    if (result_.blocking && result_.exceptions) blocks_ += ',';
    blocks_ += exceptions_;
    blocks_ += ']';
    result_.json = std::move(blocks_);
    return std::move(result_);
  }

 private:
  // One filter line to one rule appended to `out`; false when the line
  // cannot be expressed (nothing is appended then).
  bool rule(std::string_view line, std::string& out, bool first) {
    if (isElementHiding(line)) return false;
    bool exception = false;
    if (line.size() >= 2 && line[0] == '@' && line[1] == '@') {
      exception = true;
      line.remove_prefix(2);
    }

    std::string_view pattern = line, options;
    size_t dollar = line.rfind('$');
    if (dollar != std::string_view::npos && line.find('/', dollar + 1) == std::string_view::npos) {
      pattern = line.substr(0, dollar);
      options = line.substr(dollar + 1);
    }

    LoadType loadType = LoadType::any;
    unsigned types = 0;
    domains_.clear();
    bool excludeDomains = false;
    while (!options.empty()) {
      size_t comma = options.find(',');
      std::string_view option = options.substr(0, comma);
      options = comma == std::string_view::npos ? std::string_view() : options.substr(comma + 1);
      if (option.empty()) continue;
      if (option == "third-party" || option == "3p") {
        loadType = LoadType::thirdParty;
      } else if (option == "~third-party" || option == "first-party" || option == "1p") {
        loadType = LoadType::firstParty;
      } else if (option.substr(0, 7) == "domain=") {
        if (!parseDomains(option.substr(7), excludeDomains)) return false;
      } else {
        unsigned bit = 0;
        for (const auto& row : kResourceTypes) {
          if (row.option == option) {
            bit = row.bit;
            break;
          }
        }
        // Ignoring an option we cannot express would block more than the
        // list means, so the whole rule goes.
        if (!bit) return false;
        types |= bit;
      }
    }

    if (!urlFilter(pattern)) return false;

    if (!first) out += ',';
    out += R"({"trigger":{"url-filter":")";
    appendEscaped(out, filter_);
    out += '"';
    if (loadType == LoadType::thirdParty) out += R"(,"load-type":["third-party"])";
    if (loadType == LoadType::firstParty) out += R"(,"load-type":["first-party"])";
    if (types) {
      out += R"(,"resource-type":[)";
      bool firstType = true;
      for (unsigned i = 0; i < std::size(kTypeNames); ++i) {
        if (!(types & (1u << i))) continue;
        if (!firstType) out += ',';
        firstType = false;
        out += '"';
        out += kTypeNames[i];
        out += '"';
      }
      out += ']';
    }
    if (!domains_.empty()) {
      out += excludeDomains ? R"(,"unless-domain":[)" : R"(,"if-domain":[)";
      for (size_t i = 0; i < domains_.size(); ++i) {
        if (i) out += ',';
        out += "\"*";
        appendEscaped(out, lowered(domains_[i]));
        out += '"';
      }
      out += ']';
    }
    out += exception ? R"(},"action":{"type":"ignore-previous-rules"}})" : R"(},"action":{"type":"block"}})";
    return true;
  }

  // "a.test|~b.test": included or excluded names, never both. A later
  // domain= option replaces an earlier one.
  bool parseDomains(std::string_view list, bool& exclude) {
    domains_.clear();
    bool included = false, excluded = false;
    while (!list.empty()) {
      size_t bar = list.find('|');
      std::string_view name = list.substr(0, bar);
      list = bar == std::string_view::npos ? std::string_view() : list.substr(bar + 1);
      if (name.empty()) continue;
      if (name.front() == '~') {
        excluded = true;
        name.remove_prefix(1);
      } else {
        included = true;
      }
      // WebKit refuses the whole rule list over one name that is not
      // lower-case ASCII, so such a rule is dropped here.
      for (char c : name) {
        if (static_cast<unsigned char>(c) >= 0x80) return false;
      }
      domains_.push_back(name);
    }
    if (included && excluded) return false;
    exclude = excluded;
    return true;
  }

  // The name in lower case (it is ASCII by now).
  std::string_view lowered(std::string_view name) {
    scratch_.assign(name);
    for (char& c : scratch_) c = lower(c);
    return scratch_;
  }

  // The pattern as a url-filter regular expression in filter_; false when
  // it cannot or should not be expressed.
  bool urlFilter(std::string_view pattern) {
    if (pattern.size() >= 2 && pattern.front() == '/' && pattern.back() == '/') return false;
    filter_.clear();
    if (pattern.substr(0, 2) == "||") {
      pattern.remove_prefix(2);
      filter_ += kAnyHostPrefix;
    } else if (pattern.substr(0, 1) == "|") {
      pattern.remove_prefix(1);
      filter_ += '^';
    }
    bool anchoredEnd = false;
    if (!pattern.empty() && pattern.back() == '|') {
      pattern.remove_suffix(1);
      anchoredEnd = true;
    }
    if (pattern.empty()) return false;

    size_t bodyStart = filter_.size();
    size_t stars = 0;
    size_t run = 0;  // start of the pending run of characters copied as they are
    for (size_t i = 0; i < pattern.size(); ++i) {
      unsigned char c = static_cast<unsigned char>(pattern[i]);
      if (c >= 0x80) return false;
      if (!kTranslated[c]) continue;
      filter_.append(pattern.data() + run, i - run);
      run = i + 1;
      switch (c) {
        case '*':
          filter_ += ".*";
          ++stars;
          break;
        case '^':
          filter_ += kSeparator;
          break;
        case '|':
          return false;
        default:  // . + ? ( ) [ ] { } \ $
          filter_ += '\\';
          filter_ += char(c);
      }
    }
    filter_.append(pattern.data() + run, pattern.size() - run);
    // Every "*" became ".*" and no other ".*" can arise, so this is the body
    // with its wildcards removed. A filter that short matches almost every
    // address and is never emitted.
    if (filter_.size() - bodyStart - 2 * stars <= 2) return false;
    if (anchoredEnd) filter_ += '$';
    return urlFilterRejection(filter_) == nullptr;
  }

  const int maxRules_;
  Converted result_;
  std::string blocks_, exceptions_;
  std::vector<size_t> blockEnds_, exceptionEnds_;  // where each rule ends
  std::string filter_, scratch_;
  std::vector<std::string_view> domains_;
};

}  // namespace

Converted convert(std::string_view text) { return convert(text, maxRules); }

Converted convert(std::string_view text, int maxRules) {
  Converter converter(text.size(), maxRules);
  size_t start = 0;
  const size_t size = text.size();
  for (size_t i = 0; i <= size; ++i) {
    // Line breaks: \n, \v, \f and \r, so CR LF and lone CR end a line too.
    if (i < size && static_cast<unsigned char>(text[i] - '\n') > 3) continue;
    if (i > start) converter.line(text.substr(start, i - start));
    start = i + 1;
  }
  return converter.finish();
}

bool isStale(const Settings& settings, WallTime now) {
  auto updated = settings.number(updatedKey);
  if (!updated) return true;
  // Whole milliseconds, so that exactly 7 days is not tipped over by
  // floating-point rounding of dates around 8e8 seconds.
  long long ageMs = std::llround((toReferenceSeconds(now) - *updated) * 1000.0);
  return ageMs > std::llround(maxAgeSeconds * 1000.0);
}

void markUpdated(Settings& settings, WallTime now) { settings.set(updatedKey, toReferenceSeconds(now)); }

}  // namespace quillo::EasyPrivacy
