// The history in memory: records, bitmaps and indexes that keep a search on every keystroke fast.
#include "stores/history_records.h"

#include <functional>
#include <limits>
#include <numeric>
#include <thread>

#include "core/parallel.h"
#include "core/text.h"

namespace quillo {
namespace {

constexpr double kHalfLife = 14 * 86400.0;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
// How far below the proven bound a score must lie, in powers of two, before
// the frecency walk stops: far more than rounding ever moves a score.
constexpr double kBoundSlack = 1e-6;
// With fewer candidates than 1 in this many records, reading just those in
// position order costs less than walking the whole rank order.
constexpr std::size_t kScanShare = 128;
// Below this many records, a second thread costs more than it saves.
constexpr std::size_t kParallelFrom = 20000;

bool hasQuery(const Url& url) {
  const auto& text = url.str();
  auto question = text.find('?');
  return question != std::string::npos && question < text.find('#');
}

// Where the path and query, as the parser gave them, stand in the URL text
// (at, size); nothing when the parser changed them. Usually they stand as
// they are.
std::optional<std::pair<uint32_t, uint32_t>> pathAndQueryInText(const Url& address) {
  const std::string& text = address.str();
  const std::string_view pathPart = address.pathView();
  const bool query = hasQuery(address);
  if (pathPart.empty() && !query) return std::pair<uint32_t, uint32_t>{0, 0};
  // Mostly the parts are views of the text itself, path then "?query":
  // found without building or searching for anything.
  const auto start = reinterpret_cast<std::uintptr_t>(text.data());
  const auto offset = reinterpret_cast<std::uintptr_t>(pathPart.data()) - start;
  if (reinterpret_cast<std::uintptr_t>(pathPart.data()) >= start && offset + pathPart.size() <= text.size()) {
    if (!query) return std::pair<uint32_t, uint32_t>{uint32_t(offset), uint32_t(pathPart.size())};
    const std::string_view queryPart = address.queryView();
    const std::size_t mark = offset + pathPart.size();
    if (mark < text.size() && text[mark] == '?' && queryPart.data() == text.data() + mark + 1)
      return std::pair<uint32_t, uint32_t>{uint32_t(offset), uint32_t(pathPart.size() + 1 + queryPart.size())};
  }
  std::string path = address.path();
  if (hasQuery(address)) path += "?" + address.query();
  if (path.empty()) return std::pair<uint32_t, uint32_t>{0, 0};
  auto at = address.str().find(path);
  if (at == std::string::npos) return std::nullopt;
  return std::pair<uint32_t, uint32_t>{uint32_t(at), uint32_t(path.size())};
}

// Appends the lower-cased "title url" a search matches against.
void appendHaystack(std::string& out, const HistoryEntry& e) {
  const std::size_t start = out.size();
  out += e.title;
  out += ' ';
  out += e.url.str();
  // One pass with no early exit, which the compiler turns into vector code;
  // text with non-ASCII letters is folded again by the Unicode rules.
  unsigned char seen = 0;
  for (std::size_t i = start; i < out.size(); ++i) {
    const auto c = static_cast<unsigned char>(out[i]);
    seen |= c;
    out[i] = char(c + (static_cast<unsigned char>(c - 'A') < 26 ? 'a' - 'A' : 0));
  }
  if (seen < 0x80) return;
  out.resize(start);
  out += foldCase(e.title + ' ' + e.url.str());
}

uint32_t hashOf(std::string_view url) {
  auto h = uint64_t(std::hash<std::string_view>()(url));
  return uint32_t(h ^ (h >> 32));
}

// Keys that order like the scores they stand for; a NaN (never written by
// this program) sorts last so the order stays a strict one.
double orderKey(double key) { return std::isnan(key) ? -kInfinity : key; }

double boundKeyOf(int64_t visits, double lastVisited) {
  if (visits <= 0 || std::isnan(lastVisited)) return -kInfinity;  // scores at most 0
  return std::log2(double(visits)) + lastVisited / kHalfLife;
}

// A top list of (score, position), best first, ties by position: the
// order a walk over every record in position order produces.
using Top = std::vector<std::pair<double, uint32_t>>;

bool better(const std::pair<double, uint32_t>& a, const std::pair<double, uint32_t>& b) {
  return a.first > b.first || (a.first == b.first && a.second < b.second);
}

void offer(Top& top, std::size_t limit, double score, uint32_t position) {
  std::pair<double, uint32_t> pair{score, position};
  if (top.size() == limit && !better(pair, top.back())) return;
  top.insert(std::lower_bound(top.begin(), top.end(), pair, better), pair);
  if (top.size() > limit) top.pop_back();
}

std::vector<uint32_t> positionsOf(const Top& top) {
  std::vector<uint32_t> out;
  out.reserve(top.size());
  for (const auto& [score, position] : top) out.push_back(position);
  return out;
}

}  // namespace

struct HistoryRecords::Query {
  const std::vector<std::string>& words;
  PairSet need;
};

void HistoryRecords::PairSet::add(std::string_view text) {
  for (std::size_t i = 1; i < text.size(); ++i) {
    uint32_t pair = uint32_t(static_cast<unsigned char>(text[i - 1])) << 8 | static_cast<unsigned char>(text[i]);
    uint32_t slot = (pair * 0x9E3779B1u) >> 24;
    bits[slot >> 6] |= uint64_t(1) << (slot & 63);
  }
}

// --- Pair bitmaps ------------------------------------------------------------

void HistoryRecords::PairBits::reserve(std::size_t positions, bool exactly) {
  // A cache line of padding after each bitmap: with a power-of-two stride,
  // one position's 256 words would all fall into the same cache sets.
  constexpr std::size_t kPadding = 8;
  const std::size_t needed = (positions + 63) / 64;
  const std::size_t capacity = stride_ == 0 ? 0 : stride_ - kPadding;
  if (needed <= capacity) return;
  std::size_t grown = std::max<std::size_t>(16, capacity * 2);
  while (grown < needed) grown *= 2;
  const std::size_t stride = (exactly ? needed : grown) + kPadding;
  std::vector<uint64_t> words(256 * stride, 0);
  for (std::size_t b = 0; b < 256 && stride_ > 0; ++b)
    std::copy_n(words_.begin() + std::ptrdiff_t(b * stride_), capacity, words.begin() + std::ptrdiff_t(b * stride));
  words_ = std::move(words);
  stride_ = stride;
}

void HistoryRecords::PairBits::set(uint32_t position, const PairSet& pairs) {
  reserve(std::size_t(position) + 1, false);
  const uint64_t bit = uint64_t(1) << (position & 63);
  uint64_t* column = words_.data() + (position >> 6);
  for (std::size_t part = 0; part < 4; ++part) {
    for (uint64_t rest = pairs.bits[part]; rest != 0; rest &= rest - 1) {
      std::size_t b = part * 64 + std::size_t(__builtin_ctzll(rest));
      column[b * stride_] |= bit;
    }
  }
}

namespace {

// Transposes a 64x64 bit matrix in place: bit j of rows[i] moves to bit i of
// rows[j], in six rounds of swapping ever smaller blocks.
void transpose64(uint64_t rows[64]) {
  uint64_t mask = 0x00000000FFFFFFFFull;
  for (unsigned width = 32; width != 0; width >>= 1, mask ^= mask << width) {
    for (unsigned k = 0; k < 64; k = ((k | width) + 1) & ~width) {
      const uint64_t swapped = ((rows[k] >> width) ^ rows[k | width]) & mask;
      rows[k | width] ^= swapped;
      rows[k] ^= swapped << width;
    }
  }
}

}  // namespace

void HistoryRecords::PairBits::setAll(const std::vector<const PairSet*>& byPosition) {
  reserve(byPosition.size(), false);
  // 64 positions at a time: their pair sets, as four 64x64 bit matrices
  // turned on their side, give one word of each bitmap. Threads take
  // different words.
  const std::size_t blocks = (byPosition.size() + 63) / 64;
  inChunks(blocks, 256, [&](std::size_t, std::size_t first, std::size_t last) {
    uint64_t rows[64];
    for (std::size_t block = first; block < last; ++block) {
      const std::size_t base = block * 64, count = std::min<std::size_t>(64, byPosition.size() - base);
      for (std::size_t part = 0; part < 4; ++part) {
        for (std::size_t i = 0; i < 64; ++i)
          rows[i] = i < count && byPosition[base + i] ? byPosition[base + i]->bits[part] : 0;
        transpose64(rows);
        for (std::size_t j = 0; j < 64; ++j) words_[(part * 64 + j) * stride_ + block] |= rows[j];
      }
    }
  });
}

void HistoryRecords::PairBits::clear(uint32_t position) {
  if ((position >> 6) >= stride_) return;
  const uint64_t keep = ~(uint64_t(1) << (position & 63));
  uint64_t* column = words_.data() + (position >> 6);
  for (std::size_t b = 0; b < 256; ++b) column[b * stride_] &= keep;
}

void HistoryRecords::PairBits::move(uint32_t from, uint32_t to) {
  const unsigned fromShift = from & 63, toShift = to & 63;
  const uint64_t* source = words_.data() + (from >> 6);
  uint64_t* target = words_.data() + (to >> 6);
  for (std::size_t b = 0; b < 256; ++b) {
    uint64_t value = source[b * stride_] >> fromShift & 1;
    target[b * stride_] = (target[b * stride_] & ~(uint64_t(1) << toShift)) | value << toShift;
  }
  clear(from);
}

namespace {

// `count` bits (at most 64) of `words` from bit `at`.
uint64_t readBits(const uint64_t* words, std::size_t at, std::size_t count) {
  const std::size_t shift = at & 63;
  uint64_t value = words[at >> 6] >> shift;
  if (shift + count > 64) value |= words[(at >> 6) + 1] << (64 - shift);
  return count == 64 ? value : value & ((uint64_t(1) << count) - 1);
}

// Writes `count` bits that stay within one word.
void writeBits(uint64_t* words, std::size_t at, std::size_t count, uint64_t value) {
  const std::size_t shift = at & 63;
  const uint64_t mask = (count == 64 ? ~uint64_t(0) : (uint64_t(1) << count) - 1) << shift;
  uint64_t& word = words[at >> 6];
  word = (word & ~mask) | ((value << shift) & mask);
}

}  // namespace

void HistoryRecords::PairBits::compact(const std::vector<std::array<uint32_t, 3>>& runs, std::size_t oldSize,
                                       std::size_t newSize) {
  if (stride_ == 0) return;
  for (std::size_t b = 0; b < 256; ++b) {
    uint64_t* bitmap = words_.data() + b * stride_;
    // Runs only move down, in order, so every bit is read before it is
    // written over.
    for (const auto& [from, to, count] : runs) {
      std::size_t source = from, target = to, left = count;
      while (left > 0) {
        std::size_t n = std::min(left, 64 - (target & 63));
        writeBits(bitmap, target, n, readBits(bitmap, source, n));
        source += n, target += n, left -= n;
      }
    }
    // Nothing may stay set past the end.
    if (newSize & 63) bitmap[newSize >> 6] &= (uint64_t(1) << (newSize & 63)) - 1;
    for (std::size_t w = (newSize + 63) / 64; w < (oldSize + 63) / 64; ++w) bitmap[w] = 0;
  }
}

std::size_t HistoryRecords::PairBits::candidates(const PairSet& need, std::size_t size,
                                                 std::vector<uint64_t>& mask) const {
  const std::size_t count = (size + 63) / 64;
  mask.assign(count, ~uint64_t(0));
  if (size & 63) mask.back() = (uint64_t(1) << (size & 63)) - 1;
  if (size == 0) return 0;
  for (std::size_t part = 0; part < 4; ++part) {
    for (uint64_t rest = need.bits[part]; rest != 0; rest &= rest - 1) {
      const uint64_t* bitmap = words_.data() + (part * 64 + std::size_t(__builtin_ctzll(rest))) * stride_;
      for (std::size_t w = 0; w < count; ++w) mask[w] &= bitmap[w];
    }
  }
  std::size_t found = 0;
  for (uint64_t w : mask) found += std::size_t(__builtin_popcountll(w));
  return found;
}

HistoryRecords::HistoryRecords() = default;
HistoryRecords::~HistoryRecords() = default;
HistoryRecords::HistoryRecords(HistoryRecords&&) noexcept = default;
HistoryRecords& HistoryRecords::operator=(HistoryRecords&&) noexcept = default;

// --- Orders ----------------------------------------------------------------

template <class Key>
void HistoryRecords::Order::insert(uint32_t position, Key key) {
  const double k = key(position);
  auto at = std::lower_bound(list.begin(), list.end(), position, [&](uint32_t e, uint32_t) {
    double ke = key(e);
    return ke > k || (ke == k && e < position);
  });
  list.insert(at, position);
}

template <class Key>
void HistoryRecords::Order::remove(uint32_t position, Key key) {
  const double k = key(position);
  auto at = std::lower_bound(list.begin(), list.end(), position, [&](uint32_t e, uint32_t) {
    double ke = key(e);
    return ke > k || (ke == k && e < position);
  });
  if (at == list.end() || *at != position) at = std::find(list.begin(), list.end(), position);
  if (at != list.end()) list.erase(at);
}

// Takes `position` out of both orders, with the keys it was filed under.
void HistoryRecords::unindex(uint32_t position) {
  byRecency_.remove(position, [this](uint32_t p) { return orderKey(stats_[p].lastVisited); });
  byBound_.remove(position, [this](uint32_t p) { return stats_[p].boundKey; });
}

void HistoryRecords::reindex(uint32_t position) {
  byRecency_.insert(position, [this](uint32_t p) { return orderKey(stats_[p].lastVisited); });
  byBound_.insert(position, [this](uint32_t p) { return stats_[p].boundKey; });
}

void HistoryRecords::prepare() const {
  if (indexed_) return;
  // The keys sit beside their positions while sorting: reading them through
  // the positions would miss the cache on nearly every comparison.
  auto sorted = [this](auto key) {
    std::vector<std::pair<double, uint32_t>> keyed(size());
    for (uint32_t p = 0; p < size(); ++p) keyed[p] = {key(p), p};
    std::sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) {
      return a.first > b.first || (a.first == b.first && a.second < b.second);
    });
    std::vector<uint32_t> list(size());
    for (std::size_t i = 0; i < keyed.size(); ++i) list[i] = keyed[i].second;
    return list;
  };
  auto orders = [&] {
    byRecency_.list = sorted([this](uint32_t p) { return orderKey(stats_[p].lastVisited); });
    byBound_.list = sorted([this](uint32_t p) { return stats_[p].boundKey; });
  };
  // A big history sorts its orders while another thread walks the records
  // for the host index.
  if (size() >= kParallelFrom) {
    hosts_.build(*this, orders);
  } else {
    orders();
    hosts_.build(*this);
  }
  indexed_ = true;
}

void HistoryRecords::endBatch() {
  batching_ = false;
  if (batched_.empty()) return;
  std::sort(batched_.begin(), batched_.end());
  batched_.erase(std::unique(batched_.begin(), batched_.end()), batched_.end());
  std::vector<bool> redone(size());
  for (uint32_t p : batched_) redone[p] = true;
  // Out with their old places, then the newcomers sorted and merged in:
  // the same order a put at a time gives.
  auto redo = [&](Order& order, auto key) {
    auto& list = order.list;
    list.erase(std::remove_if(list.begin(), list.end(), [&](uint32_t p) { return redone[p]; }), list.end());
    std::vector<std::pair<double, uint32_t>> fresh;
    fresh.reserve(batched_.size());
    for (uint32_t p : batched_) fresh.emplace_back(key(p), p);
    auto before = [](const std::pair<double, uint32_t>& a, const std::pair<double, uint32_t>& b) {
      return a.first > b.first || (a.first == b.first && a.second < b.second);
    };
    std::sort(fresh.begin(), fresh.end(), before);
    std::vector<uint32_t> merged;
    merged.reserve(list.size() + fresh.size());
    std::size_t i = 0;
    for (uint32_t p : list) {
      const std::pair<double, uint32_t> here{key(p), p};
      for (; i < fresh.size() && before(fresh[i], here); ++i) merged.push_back(fresh[i].second);
      merged.push_back(p);
    }
    for (; i < fresh.size(); ++i) merged.push_back(fresh[i].second);
    list = std::move(merged);
  };
  redo(byRecency_, [this](uint32_t p) { return orderKey(stats_[p].lastVisited); });
  redo(byBound_, [this](uint32_t p) { return stats_[p].boundKey; });
  batched_.clear();
}

// --- URL lookup ------------------------------------------------------------

uint32_t HistoryRecords::lookup(std::string_view url, uint32_t hash) const {
  if (slots_.empty()) return kNone;
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = hash & mask; slots_[i] != 0; i = (i + 1) & mask) {
    uint32_t p = slots_[i] - 1;
    if (cold_[p].hash == hash && cold_[p].entry->url.str() == url) return p;
  }
  return kNone;
}

std::size_t HistoryRecords::slotOf(uint32_t position) const {
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = cold_[position].hash & mask;
  while (slots_[i] != position + 1) i = (i + 1) & mask;
  return i;
}

void HistoryRecords::tableInsert(uint32_t position) {
  // At most half full, so probes stay short.
  if (size() * 2 > slots_.size()) {
    tableRebuild();
    return;
  }
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = cold_[position].hash & mask;
  while (slots_[i] != 0) i = (i + 1) & mask;
  slots_[i] = position + 1;
}

void HistoryRecords::tableErase(uint32_t position) {
  // Later slots of the same probe run move back into the gap.
  const std::size_t mask = slots_.size() - 1;
  std::size_t gap = slotOf(position);
  for (std::size_t j = (gap + 1) & mask; slots_[j] != 0; j = (j + 1) & mask) {
    std::size_t home = cold_[slots_[j] - 1].hash & mask;
    bool staysPut = gap <= j ? (gap < home && home <= j) : (gap < home || home <= j);
    if (staysPut) continue;
    slots_[gap] = slots_[j];
    gap = j;
  }
  slots_[gap] = 0;
}

void HistoryRecords::tableMove(uint32_t from, uint32_t to) { slots_[slotOf(from)] = to + 1; }

void HistoryRecords::tableRebuild() {
  std::size_t capacity = 16;
  while (capacity < size() * 2 + 2) capacity *= 2;
  slots_.assign(capacity, 0);
  const std::size_t mask = capacity - 1;
  for (uint32_t p = 0; p < size(); ++p) {
    std::size_t i = cold_[p].hash & mask;
    while (slots_[i] != 0) i = (i + 1) & mask;
    slots_[i] = p + 1;
  }
}

// --- Changes ---------------------------------------------------------------

const HistoryEntry* HistoryRecords::find(std::string_view url) const {
  uint32_t p = lookup(url, hashOf(url));
  return p == kNone ? nullptr : cold_[p].entry.get();
}

std::string_view HistoryRecords::pathAndQuery(std::size_t position) const {
  const Cold& c = cold_[position];
  const std::string& from = c.ownPath ? haystacks_ : c.entry->url.str();
  return std::string_view(from).substr(c.pathAndQuery.at, c.pathAndQuery.size);
}

void HistoryRecords::setStats(uint32_t position, const HistoryEntry& entry) {
  Stats& s = stats_[position];
  bool wasUnusual = !std::isfinite(s.lastVisited);
  s.visits = entry.visits;
  s.lastVisited = entry.lastVisited;
  s.boundKey = boundKeyOf(entry.visits, entry.lastVisited);
  bool isUnusual = !std::isfinite(s.lastVisited);
  unusualTimes_ = unusualTimes_ + isUnusual - wasUnusual;
}

// Appends the record's haystack (and its path, if stored here) to the buffer.
void HistoryRecords::storeText(uint32_t position, bool fresh) {
  Cold& c = cold_[position];
  std::string path;
  if (c.ownPath) path = std::string(pathAndQuery(position));
  const auto at = uint32_t(haystacks_.size());
  appendHaystack(haystacks_, *c.entry);
  c.haystack = {at, uint32_t(haystacks_.size() - at)};
  if (c.ownPath) {
    c.pathAndQuery.at = uint32_t(haystacks_.size());
    haystacks_ += path;
  }
  PairSet pairs;
  pairs.add(haystack(position));
  if (!fresh) pairs_.clear(position);
  pairs_.set(position, pairs);
}

void HistoryRecords::put(EntryPtr entry) {
  const std::string& url = entry->url.str();
  const uint32_t hash = hashOf(url);
  uint32_t p = lookup(url, hash);
  if (p != kNone) {
    Cold& c = cold_[p];
    bool retitled = c.entry->title != entry->title;
    bool moved = stats_[p].visits != entry->visits || !(stats_[p].lastVisited == entry->lastVisited);
    if (indexed_ && moved && !batching_) unindex(p);
    retire(c.entry);
    c.entry = std::move(entry);
    setStats(p, *c.entry);
    if (indexed_ && moved) {
      batching_ ? batched_.push_back(p) : reindex(p);
      hosts_.touch(p);
    }
    if (retitled) {
      wasted_ += storedSize(c);
      storeText(p);
      compactIfWasteful();
    }
    return;
  }

  p = uint32_t(size());
  stats_.emplace_back();
  cold_.emplace_back();
  Cold& c = cold_.back();
  c.entry = std::move(entry);
  c.hash = hash;
  setStats(p, *c.entry);
  const Url& address = c.entry->url;
  if (auto inText = pathAndQueryInText(address)) {
    c.pathAndQuery = {inText->first, inText->second};
  } else {
    std::string path = address.path();
    if (hasQuery(address)) path += "?" + address.query();
    // storeText copies it from here to its place after the haystack.
    c.ownPath = true;
    c.pathAndQuery = {uint32_t(haystacks_.size()), uint32_t(path.size())};
    haystacks_ += path;
    wasted_ += path.size();
  }
  storeText(p, true);
  tableInsert(p);
  if (indexed_) {
    batching_ ? batched_.push_back(p) : reindex(p);
    hosts_.add(*this, p);
  }
}

void HistoryRecords::Chunk::add(EntryPtr entry) {
  const HistoryEntry& e = *entry;
  Worked w;
  w.hash = hashOf(e.url.str());
  const auto at = uint32_t(text_.size());
  appendHaystack(text_, e);
  w.haystackAt = at;
  w.haystackSize = uint32_t(text_.size() - at);
  w.pairs.add(std::string_view(text_).substr(at));
  if (auto inText = pathAndQueryInText(e.url)) w.path = *inText, w.inText = true;
  worked_.push_back(w);
  entries_.push_back(std::move(entry));
}

void HistoryRecords::Chunk::reserve(std::size_t entries, std::size_t textBytes) {
  entries_.reserve(entries);
  worked_.reserve(entries);
  text_.reserve(textBytes);
}

void HistoryRecords::putAll(std::vector<Chunk> chunks) {
  std::size_t count = 0, text = 0;
  for (const auto& chunk : chunks) count += chunk.entries_.size(), text += chunk.text_.size();
  if (!empty() || indexed_ || chunks.empty()) {
    for (auto& chunk : chunks)
      for (auto& entry : chunk.entries_) put(std::move(entry));
    return;
  }
  // Each chunk's haystacks move into the buffer as they are; the records
  // are then laid down in order as put() would lay them.
  // The first chunk's text becomes the buffer, the others follow it.
  std::vector<std::size_t> base(chunks.size(), 0);
  haystacks_ = std::move(chunks[0].text_);
  haystacks_.reserve(text + text / 8);
  for (std::size_t c = 1; c < chunks.size(); ++c) {
    base[c] = haystacks_.size();
    haystacks_ += chunks[c].text_;
    std::string().swap(chunks[c].text_);
  }
  stats_.reserve(count);
  cold_.reserve(count);
  pairs_.reserve(count, true);
  std::size_t capacity = 16;
  while (capacity < count * 2 + 2) capacity *= 2;
  slots_.assign(capacity, 0);
  // Pair bits are set afterwards, many bitmaps at once; a record that goes
  // through put() (a duplicate, or a path the parser changed) sets its own.
  std::vector<const PairSet*> pending;
  pending.reserve(count);
  // The buffer must not be repacked while later records still point into it.
  holdCompaction_ = true;
  for (std::size_t c = 0; c < chunks.size(); ++c) {
    Chunk& chunk = chunks[c];
    for (std::size_t i = 0; i < chunk.entries_.size(); ++i) {
      const Chunk::Worked& w = chunk.worked_[i];
      if (!w.inText || lookup(chunk.entries_[i]->url.str(), w.hash) != kNone) {
        wasted_ += w.haystackSize;
        // A record about to be replaced gets its pairs now: put() redoes
        // them only when the title changes.
        const uint32_t replaced = lookup(chunk.entries_[i]->url.str(), w.hash);
        if (replaced != kNone && pending[replaced]) {
          pairs_.set(replaced, *pending[replaced]);
          pending[replaced] = nullptr;
        }
        put(std::move(chunk.entries_[i]));
        pending.resize(size(), nullptr);
        continue;
      }
      const auto p = uint32_t(size());
      stats_.emplace_back();
      cold_.emplace_back();
      Cold& record = cold_.back();
      record.entry = std::move(chunk.entries_[i]);
      record.hash = w.hash;
      record.pathAndQuery = {w.path.first, w.path.second};
      record.haystack = {uint32_t(base[c] + w.haystackAt), w.haystackSize};
      setStats(p, *record.entry);
      tableInsert(p);
      pending.push_back(&w.pairs);
    }
  }
  holdCompaction_ = false;
  pairs_.setAll(pending);
  compactIfWasteful();
}

void HistoryRecords::retire(EntryPtr& entry) {
  if (holdReleased_ && entry) released_.push_back(std::move(entry));
}

void HistoryRecords::holdReleased(bool hold) {
  holdReleased_ = hold;
  if (!hold) released_.clear();
}

std::vector<const HistoryEntry*> HistoryRecords::entries() const {
  std::vector<const HistoryEntry*> list(cold_.size());
  for (std::size_t p = 0; p < cold_.size(); ++p) list[p] = cold_[p].entry.get();
  return list;
}

void HistoryRecords::erase(std::string_view url) {
  const uint32_t p = lookup(url, hashOf(url));
  if (p == kNone) return;
  const uint32_t last = uint32_t(size() - 1);
  if (indexed_) {
    unindex(p);
    if (p != last) unindex(last);
    hosts_.erase(*this, p);
  }
  tableErase(p);
  if (p != last) tableMove(last, p);
  wasted_ += storedSize(cold_[p]);
  unusualTimes_ -= !std::isfinite(stats_[p].lastVisited);
  retire(cold_[p].entry);
  if (p != last) {
    pairs_.move(last, p);
    stats_[p] = stats_[last];
    cold_[p] = std::move(cold_[last]);
  } else {
    pairs_.clear(p);
  }
  stats_.pop_back();
  cold_.pop_back();
  if (indexed_ && p != last) reindex(p);
  compactIfWasteful();
}

void HistoryRecords::clear() {
  for (auto& c : cold_) retire(c.entry);
  pairs_.reset();
  stats_.clear();
  cold_.clear();
  slots_.clear();
  haystacks_.clear();
  wasted_ = 0;
  unusualTimes_ = 0;
  byRecency_.list.clear();
  byBound_.list.clear();
  hosts_.clear();
}

bool HistoryRecords::keepMostRecent(std::size_t limit) {
  const std::size_t n = size();
  if (n <= limit) return false;
  if (limit == 0) {
    clear();
    return true;
  }
  // The time of the limit-th most recent visit, found without sorting: the
  // same records a stable sort, newest first, would keep.
  std::vector<double> times;
  times.reserve(n);
  for (const auto& s : stats_) times.push_back(s.lastVisited);
  std::nth_element(times.begin(), times.begin() + std::ptrdiff_t(limit - 1), times.end(), std::greater<>());
  const double cutoff = times[limit - 1];
  std::size_t newer =
      std::size_t(std::count_if(stats_.begin(), stats_.end(), [&](const Stats& s) { return s.lastVisited > cutoff; }));
  std::size_t tiesKept = limit - newer;

  std::vector<uint32_t> newPosition(n, HistoryHosts::kDropped);
  std::vector<std::array<uint32_t, 3>> runs;  // (from, to, count) of survivors side by side
  uint32_t kept = 0;
  for (std::size_t p = 0; p < n; ++p) {
    double t = stats_[p].lastVisited;
    if (!(t > cutoff || (t == cutoff && tiesKept > 0 && tiesKept--))) continue;
    if (runs.empty() || runs.back()[0] + runs.back()[2] != p) runs.push_back({uint32_t(p), kept, 0});
    ++runs.back()[2];
    newPosition[p] = kept++;
  }
  pairs_.compact(runs, n, kept);
  for (std::size_t p = 0; p < n; ++p) {
    uint32_t to = newPosition[p];
    if (to == HistoryHosts::kDropped) {
      wasted_ += storedSize(cold_[p]);
      retire(cold_[p].entry);
      continue;
    }
    if (to == p) continue;
    stats_[to] = stats_[p];
    cold_[to] = std::move(cold_[p]);
  }
  stats_.resize(kept);
  cold_.resize(kept);
  unusualTimes_ = std::size_t(
      std::count_if(stats_.begin(), stats_.end(), [](const Stats& s) { return !std::isfinite(s.lastVisited); }));
  if (indexed_) {
    // Survivors keep their order, so both orders stay sorted once renamed.
    for (Order* order : {&byRecency_, &byBound_}) {
      std::size_t k = 0;
      for (uint32_t p : order->list)
        if (newPosition[p] != HistoryHosts::kDropped) order->list[k++] = newPosition[p];
      order->list.resize(k);
    }
    hosts_.renumber(newPosition, kept);
  }
  repack();
  tableRebuild();
  return true;
}

void HistoryRecords::compactIfWasteful() {
  if (holdCompaction_) return;
  if (wasted_ > 64 * 1024 && wasted_ > haystacks_.size() / 2) repack();
}

// Rebuilds the buffer with only what the records use, in their order.
void HistoryRecords::repack() {
  std::string packed;
  packed.reserve(haystacks_.size() - std::min(wasted_, haystacks_.size()));
  for (auto& c : cold_) {
    auto at = uint32_t(packed.size());
    packed.append(haystacks_, c.haystack.at, storedSize(c));
    c.haystack.at = at;
    if (c.ownPath) c.pathAndQuery.at = at + c.haystack.size;
  }
  haystacks_ = std::move(packed);
  wasted_ = 0;
}

// --- Search ------------------------------------------------------------------

bool HistoryRecords::containsWords(uint32_t position, const Query& query) const {
  const std::string_view hay = haystack(position);
  for (const auto& word : query.words)
    if (hay.find(word) == std::string_view::npos) return false;
  return true;
}

std::vector<uint32_t> HistoryRecords::best(const std::vector<std::string>& words, int limit, Ranking ranking,
                                           double now) const {
  if (limit < 1) return {};
  Query query{words, {}};
  for (const auto& word : words) query.need.add(word);
  const std::size_t candidates = pairs_.candidates(query.need, size(), mask_);
  if (candidates == 0) return {};
  const auto capacity = std::size_t(limit);
  if (unusualTimes_ > 0 || candidates * kScanShare <= size()) return scan(query, capacity, ranking, now);
  prepare();
  return ranking == Ranking::recency ? walkRecent(query, capacity) : walkBound(query, capacity, now);
}

// The candidates in position order: what the walks must agree with, and
// the cheaper way when there are few.
std::vector<uint32_t> HistoryRecords::scan(const Query& query, std::size_t limit, Ranking ranking, double now) const {
  Top top;
  top.reserve(std::min(limit, size()) + 1);
  for (std::size_t w = 0; w < mask_.size(); ++w) {
    for (uint64_t rest = mask_[w]; rest != 0; rest &= rest - 1) {
      const auto p = uint32_t(w * 64 + std::size_t(__builtin_ctzll(rest)));
      if (!containsWords(p, query)) continue;
      const Stats& s = stats_[p];
      double score = ranking == Ranking::recency ? s.lastVisited : historyFrecency(s.visits, s.lastVisited, now);
      if (top.size() == limit && !(score > top.back().first)) continue;
      // First position whose score is strictly lower: equal scores keep the
      // record found first ahead.
      auto at = std::partition_point(top.begin(), top.end(), [&](const auto& e) { return e.first >= score; });
      top.insert(at, {score, p});
      if (top.size() > limit) top.pop_back();
    }
  }
  return positionsOf(top);
}

// Newest first: the first `limit` matches are the answer.
std::vector<uint32_t> HistoryRecords::walkRecent(const Query& query, std::size_t limit) const {
  std::vector<uint32_t> found;
  found.reserve(std::min(limit, size()));
  for (uint32_t p : byRecency_.list) {
    if (!isCandidate(p) || !containsWords(p, query)) continue;
    found.push_back(p);
    if (found.size() == limit) break;
  }
  return found;
}

// By the most each record can score, now: once the top list is full and its
// last score beats that bound for a record, it beats it for all after it,
// and the walk stops. Non-candidates cost one bit each; the bound is looked
// at for them only now and then.
std::vector<uint32_t> HistoryRecords::walkBound(const Query& query, std::size_t limit, double now) const {
  Top top;
  top.reserve(std::min(limit, size()) + 1);
  const double nowKey = now / kHalfLife;
  double stopBelow = -kInfinity;
  const auto& order = byBound_.list;
  for (std::size_t i = 0; i < order.size(); ++i) {
    const uint32_t p = order[i];
    if (!isCandidate(p)) {
      if ((i & 255) == 0 && stats_[p].boundKey < stopBelow) break;
      continue;
    }
    const Stats& s = stats_[p];
    if (s.boundKey < stopBelow) break;
    if (!containsWords(p, query)) continue;
    offer(top, limit, historyFrecency(s.visits, s.lastVisited, now), p);
    if (top.size() == limit && top.back().first > 0) stopBelow = std::log2(top.back().first) + nowKey - kBoundSlack;
  }
  return positionsOf(top);
}

std::optional<std::string> HistoryRecords::completion(std::string_view folded, double now) const {
  prepare();
  return hosts_.complete(*this, folded, now);
}

}  // namespace quillo
