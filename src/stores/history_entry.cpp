// The history store's on-disk format: encoding and decoding "history.json".
#include "stores/history_entry.h"

#include <glib.h>
#include <nlohmann/json.hpp>
#include <simdjson.h>

#include <atomic>
#include <charconv>
#include <cmath>
#include <cstring>
#include <memory>
#include <span>
#include <thread>

#include "core/parallel.h"
#include "core/text.h"

namespace quillo {
namespace {

void appendJsonString(std::string& out, std::string_view raw) {
  static constexpr char hex[] = "0123456789abcdef";
  std::string owned;
  std::string_view text = raw;
  if (!isAscii(raw) && !isValidUtf8(raw)) {
    owned = validUtf8(raw);
    text = owned;
  }
  out += '"';
  // Runs that need no escaping are copied whole; most text is one run.
  size_t run = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    auto c = static_cast<unsigned char>(text[i]);
    if (c >= 0x20 && c != '"' && c != '\\') continue;
    out.append(text.data() + run, i - run);
    run = i + 1;
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      case '\b': out += "\\b"; break;
      case '\f': out += "\\f"; break;
      default:
        out += "\\u00";
        out += hex[c >> 4];
        out += hex[c & 0xf];
    }
  }
  out.append(text.data() + run, text.size() - run);
  out += '"';
}

template <class T>
void appendNumber(std::string& out, T value) {
  char buffer[32];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out.append(buffer, result.ptr);
}

}  // namespace

namespace {
void appendEntry(std::string& out, const HistoryEntry& e) {
  out += "{\"url\":";
  appendJsonString(out, e.url.str());
  out += ",\"title\":";
  appendJsonString(out, e.title);
  out += ",\"visits\":";
  appendNumber(out, e.visits);
  out += ",\"lastVisited\":";
  appendNumber(out, std::isfinite(e.lastVisited) ? e.lastVisited : 0.0);
  out += '}';
}

// Written by hand rather than through a JSON tree: at 100,000 entries the
// tree costs several times the writing itself.
template <class List, class Get>
std::string encode(const List& entries, Get get) {
  std::string out;
  out.reserve(entries.size() * 160 + 2);
  out += '[';
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (i) out += ',';
    appendEntry(out, get(entries[i]));
  }
  out += ']';
  return out;
}
}  // namespace

std::string encodeHistory(const std::vector<HistoryEntry>& entries) {
  return encode(entries, [](const HistoryEntry& e) -> const HistoryEntry& { return e; });
}

std::string encodeHistory(const std::vector<std::shared_ptr<const HistoryEntry>>& entries) {
  return encode(entries, [](const auto& e) -> const HistoryEntry& { return *e; });
}

std::string encodeHistory(const std::vector<const HistoryEntry*>& entries) {
  return encode(entries, [](const HistoryEntry* e) -> const HistoryEntry& { return *e; });
}

namespace {

// Reads the entries straight from the parser's events: a full JSON tree of
// 100,000 objects would cost more to build and free than the entries do.
// Any element that is not a well-formed entry fails the whole file.
class EntriesReader {
 public:
  using json = nlohmann::json;
  std::vector<HistoryEntry> entries;
  bool finished = false;

  bool null() { return scalar(); }
  bool boolean(bool) { return scalar(); }
  bool number_integer(json::number_integer_t v) { return number(double(v), v); }
  bool number_unsigned(json::number_unsigned_t v) {
    return number(double(v), v <= uint64_t(INT64_MAX) ? std::optional<int64_t>(int64_t(v)) : std::nullopt);
  }
  bool number_float(json::number_float_t v, const json::string_t&) {
    // A count written as 3.0 by another writer still means 3.
    std::optional<int64_t> whole;
    if (std::isfinite(v) && v == std::floor(v) && std::fabs(v) < 9.2e18) whole = int64_t(v);
    return number(v, whole);
  }
  bool string(json::string_t& v) {
    if (depth_ != 2) return scalar();
    if (field_ == Field::url) {
      url_ = Url::parse(v);
      return url_.has_value();
    }
    if (field_ == Field::title) {
      title_ = v;  // a copy leaves the parser its buffer to reuse
      return true;
    }
    return field_ == Field::other;
  }
  bool binary(json::binary_t&) { return scalar(); }
  bool key(json::string_t& name) {
    if (depth_ == 2) {
      field_ = name == "url"           ? Field::url
               : name == "title"       ? Field::title
               : name == "visits"      ? Field::visits
               : name == "lastVisited" ? Field::lastVisited
                                       : Field::other;
    }
    return true;
  }
  bool start_object(std::size_t) {
    if (depth_ == 1) {
      url_.reset();
      title_.reset();
      visits_.reset();
      lastVisited_.reset();
    } else if (!nestedAllowed()) {
      return false;
    }
    ++depth_;
    return true;
  }
  bool end_object() {
    if (--depth_ != 1) return true;
    if (!url_ || !title_ || !visits_ || !lastVisited_) return false;
    entries.push_back(HistoryEntry{std::move(*url_), std::move(*title_), *visits_, *lastVisited_});
    return true;
  }
  bool start_array(std::size_t) {
    if (depth_ != 0 && !nestedAllowed()) return false;
    ++depth_;
    return true;
  }
  bool end_array() {
    if (--depth_ == 0) finished = true;
    return true;
  }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) { return false; }

 private:
  enum class Field { other, url, title, visits, lastVisited };

  // Containers may only appear as the array, its entries, and as values of
  // keys this program does not know.
  bool nestedAllowed() const { return depth_ > 2 || (depth_ == 2 && field_ == Field::other); }
  bool scalar() const { return depth_ > 2 || (depth_ == 2 && field_ == Field::other); }
  bool number(double value, std::optional<int64_t> whole) {
    if (depth_ != 2) return scalar();
    if (field_ == Field::visits) {
      visits_ = whole;
      return whole.has_value();
    }
    if (field_ == Field::lastVisited) {
      lastVisited_ = value;
      return true;
    }
    return field_ == Field::other;
  }

  int depth_ = 0;  // 1 inside the array, 2 inside an entry, more inside an unknown value
  Field field_ = Field::other;
  std::optional<Url> url_;
  std::optional<std::string> title_;
  std::optional<int64_t> visits_;
  std::optional<double> lastVisited_;
};

}  // namespace

namespace {

// The file as this program writes it, read at SIMD speed: an array of
// objects holding exactly the four keys, with a string address and title,
// a whole visit count and a number for the date. Anything else (other
// keys, a count written as 3.0, a damaged file) is left to the careful
// reader below, which decides; so both read every file alike.
std::optional<HistoryEntry> decodeCommonEntry(simdjson::dom::element element) {
  using namespace simdjson;
  dom::object object;
  if (element.get_object().get(object)) return std::nullopt;
  std::optional<Url> url;
  std::optional<std::string_view> title;
  std::optional<int64_t> visits;
  std::optional<double> lastVisited;
  for (dom::key_value_pair field : object) {
    if (field.key == "url") {
      std::string_view address;
      if (field.value.get_string().get(address)) return std::nullopt;
      url = Url::parse(address);
      if (!url) return std::nullopt;
    } else if (field.key == "title") {
      std::string_view name;
      if (field.value.get_string().get(name)) return std::nullopt;
      title = name;
    } else if (field.key == "visits") {
      int64_t count = 0;
      if (field.value.get_int64().get(count)) return std::nullopt;
      visits = count;
    } else if (field.key == "lastVisited") {
      double seconds = 0;
      if (field.value.get_double().get(seconds)) return std::nullopt;
      lastVisited = seconds;
    } else {
      return std::nullopt;
    }
  }
  if (!url || !title || !visits || !lastVisited) return std::nullopt;
  return HistoryEntry{std::move(*url), std::string(*title), *visits, *lastVisited};
}

}  // namespace

namespace {

// Below this size one thread parses the file faster than several.
constexpr std::size_t kCutFrom = 1 << 20;

using Take = std::function<void(std::size_t, HistoryEntry&&)>;

// Hands the entries of parsed elements to take(chunk, ...), until one is not
// an entry or another thread found one that is not.
template <class Elements>
void takeEntries(const Elements& elements, std::size_t chunk, const Take& take, std::atomic<bool>& failed) {
  for (simdjson::dom::element element : elements) {
    auto entry = failed.load(std::memory_order_relaxed) ? std::nullopt : decodeCommonEntry(element);
    if (!entry) {
      failed = true;
      return;
    }
    take(chunk, std::move(*entry));
  }
}

// The whole text parsed at once, its entries then read on several threads.
std::optional<std::size_t> decodeWhole(std::string_view json, const Take& take) {
  using namespace simdjson;
  // The library picks the widest vector unit of this processor at run time.
  dom::parser parser;
  dom::element root;
  if (parser.parse(padded_string(json.data(), json.size())).get(root)) return std::nullopt;
  dom::array array;
  if (root.get_array().get(array)) return std::nullopt;
  // The parsed document is only read from here on, so its elements are
  // turned into entries on several threads at once.
  std::vector<dom::element> elements;
  elements.reserve(array.size());
  for (dom::element element : array) elements.push_back(element);
  std::atomic<bool> failed{false};
  const std::size_t chunks =
      inChunks(elements.size(), 10000, [&](std::size_t chunk, std::size_t begin, std::size_t end) {
        takeEntries(std::span(elements).subspan(begin, end - begin), chunk, take, failed);
      });
  if (failed) return std::nullopt;
  return chunks;
}

// The text cut between entries into arrays of about half a megabyte, and
// each thread parses and reads its own run of them, one after the other,
// reusing its parser and buffer: fresh memory is what costs most here, and
// small pieces keep what the parser touches small. A cut is made at the ","
// of a "},{"; should that be inside a string, the piece before it ends
// inside that string, does not parse, and the whole read fails.
std::optional<std::size_t> decodeInPieces(std::string_view json, const Take& take) {
  using namespace simdjson;
  constexpr std::size_t kPieceBytes = 512 * 1024;
  const std::size_t threads = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, kMaxChunks);
  const std::size_t wanted = std::max(threads, json.size() / kPieceBytes);
  std::vector<std::size_t> starts{0};  // where each piece's entries begin
  for (std::size_t c = 1; c < wanted; ++c) {
    auto at = json.find("},{", json.size() * c / wanted);
    if (at == std::string_view::npos) break;
    if (at + 2 > starts.back()) starts.push_back(at + 2);
  }
  const std::size_t pieces = starts.size();
  std::size_t longest = 0;
  for (std::size_t c = 0; c < pieces; ++c)
    longest = std::max(longest, (c + 1 < pieces ? starts[c + 1] : json.size()) - starts[c]);
  std::atomic<bool> failed{false};
  const std::size_t chunks = inChunks(pieces, 1, [&](std::size_t chunk, std::size_t first, std::size_t last) {
    dom::parser parser;
    std::vector<char> buffer(longest + 2 + SIMDJSON_PADDING);
    for (std::size_t c = first; c < last && !failed.load(std::memory_order_relaxed); ++c) {
      // Piece c runs from its first entry to just before the next piece's
      // ",", inside brackets of its own.
      const std::size_t from = starts[c], to = c + 1 < pieces ? starts[c + 1] - 1 : json.size();
      std::size_t length = 0;
      if (c > 0) buffer[length++] = '[';
      std::memcpy(buffer.data() + length, json.data() + from, to - from);
      length += to - from;
      if (c + 1 < pieces) buffer[length++] = ']';
      dom::element root;
      dom::array array;
      if (parser.parse(buffer.data(), length, false).get(root) || root.get_array().get(array)) {
        failed = true;
        return;
      }
      takeEntries(array, chunk, take, failed);
    }
  });
  if (failed) return std::nullopt;
  return chunks;
}

}  // namespace

std::optional<std::size_t> decodeHistoryChunks(std::string_view json,
                                               const std::function<void(std::size_t, HistoryEntry&&)>& take) {
  if (json.size() >= kCutFrom) return decodeInPieces(json, take);
  return decodeWhole(json, take);
}

namespace {

std::optional<std::vector<HistoryEntry>> decodeCommonForm(std::string_view text) {
  std::vector<std::vector<HistoryEntry>> chunks(kMaxChunks);
  auto count =
      decodeWhole(text, [&](std::size_t chunk, HistoryEntry&& entry) { chunks[chunk].push_back(std::move(entry)); });
  if (!count) return std::nullopt;
  std::vector<HistoryEntry> entries = std::move(chunks[0]);
  for (std::size_t c = 1; c < *count; ++c)
    entries.insert(entries.end(), std::make_move_iterator(chunks[c].begin()), std::make_move_iterator(chunks[c].end()));
  return entries;
}

}  // namespace

std::optional<std::vector<HistoryEntry>> decodeHistory(std::string_view text) {
  if (auto entries = decodeCommonForm(text)) return entries;
  EntriesReader reader;
  bool ok = false;
  try {
    ok = nlohmann::json::sax_parse(text.begin(), text.end(), &reader);
  } catch (const std::exception&) {
    ok = false;
  }
  if (!ok || !reader.finished) return std::nullopt;
  return std::move(reader.entries);
}

}  // namespace quillo
