// Converting Adblock filter syntax into WebKit content-blocker JSON, and EasyPrivacy's last-update date.
#include "blocking/easy_privacy.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "blocking/filter_regex.h"
#include "blocking/url_filter_check.h"
#include "core/date.h"
#include "core/settings.h"
#include "core/text.h"

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
// A regular expression with alternatives gives one rule for each.
constexpr size_t kMaxFiltersPerLine = 8;
constexpr unsigned kAllTypes = (1u << std::size(kTypeNames)) - 1;

struct TypeRow {
  std::string_view option;
  unsigned bit;
};
constexpr TypeRow kResourceTypes[] = {
    {"script", kScript},      {"image", kImage}, {"stylesheet", kStyleSheet},
    {"font", kFont},          {"media", kMedia}, {"subdocument", kDocument},
    {"xmlhttprequest", kRaw}, {"ping", kRaw},    {"websocket", kRaw},
    {"other", kRaw},
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

// Rules of one kind in output order, as comma-separated JSON objects.
struct Group {
  explicit Group(size_t base = 0) : base(base) {}
  size_t base;  // where the first rule starts
  std::string text;
  std::vector<size_t> ends;  // where each rule ends

  int count() const { return int(ends.size()); }
  void keep(int n) {
    text.resize(n ? ends[n - 1] : base);
    ends.resize(n);
  }
};

class Converter {
 public:
  Converter(size_t textSize, int maxRules) : maxRules_(maxRules), blocks_(1) {
    // The JSON is four to five times the size of the list; growing a
    // buffer that large again and again would cost more than converting.
    blocks_.text.reserve(textSize * 5);
    blocks_.text += '[';
  }

  void line(std::string_view line) {
    while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) line.remove_prefix(1);
    while (!line.empty() && (line.back() == ' ' || line.back() == '\t')) line.remove_suffix(1);
    if (line.empty() || line.front() == '!' || line.front() == '[') return;
    bool exception = line.size() >= 2 && line[0] == '@' && line[1] == '@';
    Skip why = Skip::pattern;
    if (!rule(line, why)) {
      ++result_.skipped;
      ++result_.skippedBy[size_t(why)];
      return;
    }
    Group& group = exception ? exceptions_ : important_ ? importants_ : blocks_;
    for (size_t i = 0; i < filterCount_; ++i) {
      std::string& out = group.text;
      if (!group.ends.empty()) out += ',';
      out += R"({"trigger":{"url-filter":")";
      appendEscaped(out, filters_[i]);
      out += '"';
      out += tail_;
      group.ends.push_back(out.size());
    }
  }

  Converted finish() {
    int blocks = blocks_.count(), exceptions = exceptions_.count(), important = importants_.count();
    if (blocks + exceptions + important > maxRules_) {
      // WebKit refuses a longer list whole. Dropping the last block rules
      // only blocks less; exceptions are kept first so nothing is blocked
      // that the list allows.
      int keepExceptions = std::min(exceptions, maxRules_);
      int keepImportant = std::min(important, maxRules_ - keepExceptions);
      int keepBlocks = maxRules_ - keepExceptions - keepImportant;
      int dropped = blocks + exceptions + important - maxRules_;
      result_.skipped += dropped;
      result_.skippedBy[size_t(Skip::ruleLimit)] += dropped;
      blocks_.keep(keepBlocks);
      exceptions_.keep(keepExceptions);
      importants_.keep(keepImportant);
    }
    result_.blocking = blocks_.count() + importants_.count();
    result_.exceptions = exceptions_.count();
    // Blocks first: an exception only cancels the rules before it; the
    // important ones after it, so that none cancels them.
    std::string json = std::move(blocks_.text);
    for (const Group* group : {&exceptions_, &importants_}) {
      if (group->text.empty()) continue;
      if (json.size() > 1) json += ',';
      json += group->text;
    }
    json += ']';
    result_.json = std::move(json);
    return std::move(result_);
  }

 private:
  // One filter line to the filters of its rules (filters_) and the rest of
  // their JSON (tail_); false with the reason when it cannot be expressed.
  bool rule(std::string_view line, Skip& why) {
    if (isElementHiding(line)) {
      why = Skip::elementHiding;
      return false;
    }
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
    unsigned types = 0, negated = 0;
    bool important = false;
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
        if (!parseDomains(option.substr(7), excludeDomains, why)) return false;
      } else if (option == "important" && !exception) {
        important = true;
      } else if (option.front() == '~') {
        // Leaving out the top-level page as well as frames is never
        // broader, so "~document" is taken although "document" is not.
        unsigned bit = option == "~document" ? kDocument : typeBit(option.substr(1));
        if (!bit) return skip(why, Skip::option);
        negated |= bit;
      } else {
        // Ignoring an option we cannot express would block more than the
        // list means, so the whole rule goes.
        unsigned bit = typeBit(option);
        if (!bit) return skip(why, Skip::option);
        types |= bit;
      }
    }
    if (negated) {
      // "~xmlhttprequest" takes away all of "raw", which pings and sockets
      // share with it: narrower than the line, never broader.
      types = (types ? types : kAllTypes) & ~negated;
      if (!types) return skip(why, Skip::typesCancelOut);
    }

    if (!urlFilters(pattern, why)) return false;

    important_ = important;
    tail_.clear();
    if (loadType == LoadType::thirdParty) tail_ += R"(,"load-type":["third-party"])";
    if (loadType == LoadType::firstParty) tail_ += R"(,"load-type":["first-party"])";
    if (types) {
      tail_ += R"(,"resource-type":[)";
      bool firstType = true;
      for (unsigned i = 0; i < std::size(kTypeNames); ++i) {
        if (!(types & (1u << i))) continue;
        if (!firstType) tail_ += ',';
        firstType = false;
        tail_ += '"';
        tail_ += kTypeNames[i];
        tail_ += '"';
      }
      tail_ += ']';
    }
    if (!domains_.empty()) {
      tail_ += excludeDomains ? R"(,"unless-domain":[)" : R"(,"if-domain":[)";
      for (size_t i = 0; i < domains_.size(); ++i) {
        if (i) tail_ += ',';
        tail_ += "\"*";
        appendEscaped(tail_, lowered(domains_[i]));
        tail_ += '"';
      }
      tail_ += ']';
    }
    tail_ += exception ? R"(},"action":{"type":"ignore-previous-rules"}})" : R"(},"action":{"type":"block"}})";
    return true;
  }

  static bool skip(Skip& why, Skip reason) {
    why = reason;
    return false;
  }

  static unsigned typeBit(std::string_view option) {
    for (const auto& row : kResourceTypes) {
      if (row.option == option) return row.bit;
    }
    return 0;
  }

  // "a.test|~b.test": included or excluded names, never both. A later
  // domain= option replaces an earlier one.
  bool parseDomains(std::string_view list, bool& exclude, Skip& why) {
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
        if (static_cast<unsigned char>(c) >= 0x80) return skip(why, Skip::domainName);
      }
      domains_.push_back(name);
    }
    // One trigger takes "if-domain" or "unless-domain", not both; an
    // exception to carve out the excluded names would cancel other rules too.
    if (included && excluded) return skip(why, Skip::mixedDomains);
    exclude = excluded;
    return true;
  }

  // The name in lower case (it is ASCII by now).
  std::string_view lowered(std::string_view name) {
    scratch_.assign(name);
    for (char& c : scratch_) c = asciiLower(c);
    return scratch_;
  }

  std::string& nextFilter() {
    std::string& filter = filters_[filterCount_++];
    filter.clear();
    return filter;
  }

  // A filter with its wildcards removed this short matches almost every
  // address and is never emitted.
  static bool isTooBroad(std::string_view filter) {
    size_t length = filter.size();
    for (size_t at = filter.find(".*"); at != std::string_view::npos; at = filter.find(".*", at + 2)) length -= 2;
    return length <= 2;
  }

  // The pattern as url-filter regular expressions in filters_ (one, or two
  // for a trailing separator, or one per alternative of a regular
  // expression); false with the reason when it cannot or should not be
  // expressed.
  bool urlFilters(std::string_view pattern, Skip& why) {
    filterCount_ = 0;
    if (pattern.size() >= 2 && pattern.front() == '/' && pattern.back() == '/') {
      auto rewritten = regexUrlFilters(pattern.substr(1, pattern.size() - 2), kMaxFiltersPerLine);
      if (!rewritten) return skip(why, Skip::regularExpression);
      for (auto& filter : *rewritten) {
        if (isTooBroad(filter)) return skip(why, Skip::tooBroad);
        nextFilter() = std::move(filter);
      }
      return true;
    }
    // Written in place: this is the path almost every line takes.
    std::string& filter = nextFilter();
    bool anyHost = false;
    if (pattern.substr(0, 2) == "||") {
      pattern.remove_prefix(2);
      filter += kAnyHostPrefix;
      anyHost = true;
    } else if (pattern.substr(0, 1) == "|") {
      pattern.remove_prefix(1);
      filter += '^';
    }
    bool anchoredEnd = false;
    if (!pattern.empty() && pattern.back() == '|') {
      pattern.remove_suffix(1);
      anchoredEnd = true;
    }
    if (pattern.empty()) return skip(why, Skip::pattern);

    // A "^" at the very end also matches the end of the address, which a
    // character class cannot: such a rule is written twice, once with the
    // class and once ending in "$". After a bare host name the address
    // always goes on ("/" or ":"), so one rule does there.
    bool trailingSeparator = pattern.back() == '^';
    if (trailingSeparator) pattern.remove_suffix(1);
    bool afterHost = anyHost && trailingSeparator && !pattern.empty() && isHostName(pattern);

    size_t bodyStart = filter.size();
    size_t stars = 0;
    size_t run = 0;  // start of the pending run of characters copied as they are
    for (size_t i = 0; i < pattern.size(); ++i) {
      unsigned char c = static_cast<unsigned char>(pattern[i]);
      if (c >= 0x80) return skip(why, Skip::pattern);
      if (!kTranslated[c]) continue;
      filter.append(pattern.data() + run, i - run);
      run = i + 1;
      switch (c) {
        case '*':
          filter += ".*";
          ++stars;
          break;
        case '^': filter += kSeparator; break;
        case '|': return skip(why, Skip::pattern);
        default:  // . + ? ( ) [ ] { } \ $
          filter += '\\';
          filter += char(c);
      }
    }
    filter.append(pattern.data() + run, pattern.size() - run);
    // Every "*" became ".*" and no other ".*" can arise, so this is the
    // length of the body without its wildcards.
    size_t bodyLength = filter.size() - bodyStart - 2 * stars;
    if (trailingSeparator && !afterHost) {
      // The "$" twin counts without the separator.
      if (bodyLength <= 2) return skip(why, Skip::tooBroad);
      std::string& atEnd = nextFilter();  // filters_ has room, so filter stays valid
      atEnd = filter;
      atEnd += '$';
      filter += kSeparator;
      if (anchoredEnd) filter += '$';
    } else {
      if (trailingSeparator) {
        filter += kSeparator;
        bodyLength += kSeparator.size();
      }
      if (bodyLength <= 2) return skip(why, Skip::tooBroad);
      if (anchoredEnd) filter += '$';
    }
    for (size_t i = 0; i < filterCount_; ++i) {
      if (urlFilterRejection(filters_[i])) return skip(why, Skip::pattern);
    }
    return true;
  }

  // Letters, digits and the other characters of a host name or address
  // with its port, so that nothing but "/" or ":" can follow it.
  static bool isHostName(std::string_view text) {
    for (char c : text) {
      bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '-' ||
                c == '_' || c == ':' || c == '[' || c == ']';
      if (!ok) return false;
    }
    return true;
  }

  const int maxRules_;
  Converted result_;
  Group blocks_, exceptions_, importants_;
  bool important_ = false;  // the last rule is marked "important"
  // Room for every filter one line can give, so that a reference to one
  // stays valid while the next is added.
  std::vector<std::string> filters_ = std::vector<std::string>(kMaxFiltersPerLine);
  size_t filterCount_ = 0;
  std::string tail_;
  std::string scratch_;
  std::vector<std::string_view> domains_;
};

}  // namespace

const char* describe(Skip why) {
  switch (why) {
    case Skip::elementHiding: return "element hiding";
    case Skip::option: return "unsupported option";
    case Skip::typesCancelOut: return "no resource type left";
    case Skip::mixedDomains: return "included and excluded domains";
    case Skip::domainName: return "non-ASCII domain";
    case Skip::regularExpression: return "regular expression";
    case Skip::tooBroad: return "too broad";
    case Skip::pattern: return "inexpressible pattern";
    case Skip::ruleLimit: return "rule limit";
  }
  return "?";
}

Converted convert(std::string_view text) { return convert(text, maxRules); }

Converted convert(std::string_view text, int maxRules) {
  Converter converter(text.size(), maxRules);
  size_t start = 0;
  const size_t size = text.size();
  for (size_t i = 0; i <= size; ++i) {
    // Line breaks: \n, \v, \f and \r, so CR LF and lone CR end a line too.
    if (i<size&& static_cast<unsigned char>(text[i] - '\n')> 3) continue;
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
