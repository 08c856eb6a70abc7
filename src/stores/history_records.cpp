#include "stores/history_records.h"

#include <algorithm>
#include <functional>

namespace quillo {
namespace {

bool hasQuery(const Url& url) {
  const auto& text = url.str();
  auto question = text.find('?');
  return question != std::string::npos && question < text.find('#');
}

}  // namespace

void HistoryRecords::PairSet::add(std::string_view text) {
  for (std::size_t i = 1; i < text.size(); ++i) {
    uint32_t pair = uint32_t(static_cast<unsigned char>(text[i - 1])) << 8 | static_cast<unsigned char>(text[i]);
    uint32_t slot = (pair * 0x9E3779B1u) >> 24;
    bits[slot >> 6] |= uint64_t(1) << (slot & 63);
  }
}

const HistoryRecords::Record* HistoryRecords::find(std::string_view url) const {
  auto found = index_.find(url);
  return found == index_.end() ? nullptr : &list_[found->second];
}

void HistoryRecords::reserve(std::size_t count) {
  list_.reserve(count);
  index_.reserve(count);
  haystacks_.reserve(count * 128);
}

void HistoryRecords::setEntry(Record& record, EntryPtr entry) {
  record.entry = std::move(entry);
  record.visits = record.entry->visits;
  record.lastVisited = record.entry->lastVisited;
}

void HistoryRecords::storeHaystack(Record& record) {
  const HistoryEntry& e = *record.entry;
  std::string text;
  text.reserve(e.title.size() + 1 + e.url.str().size());
  text += e.title;
  text += ' ';
  text += e.url.str();
  std::string folded = foldCase(text);
  record.haystackAt = uint32_t(haystacks_.size());
  record.haystackLength = uint32_t(folded.size());
  haystacks_ += folded;
  record.pairs = PairSet();
  record.pairs.add(folded);
}

void HistoryRecords::put(EntryPtr entry) {
  auto found = index_.find(entry->url.str());
  if (found != index_.end()) {
    Record& record = list_[found->second];
    bool retitled = record.entry->title != entry->title;
    // The key views the old entry's text: re-key before it goes.
    auto node = index_.extract(found);
    setEntry(record, std::move(entry));
    node.key() = record.entry->url.str();
    index_.insert(std::move(node));
    if (retitled) {
      wasted_ += record.haystackLength;
      storeHaystack(record);
      compactIfWasteful();
    }
    return;
  }
  Record record;
  setEntry(record, std::move(entry));
  const Url& url = record.entry->url;
  record.host = foldCase(url.host());
  record.pathAndQuery = url.path();
  if (hasQuery(url)) record.pathAndQuery += "?" + url.query();
  storeHaystack(record);
  list_.push_back(std::move(record));
  index_.emplace(list_.back().entry->url.str(), list_.size() - 1);
}

void HistoryRecords::erase(std::string_view url) {
  auto found = index_.find(url);
  if (found == index_.end()) return;
  std::size_t at = found->second;
  index_.erase(found);
  wasted_ += list_[at].haystackLength;
  if (at + 1 != list_.size()) {
    list_[at] = std::move(list_.back());
    index_[list_[at].entry->url.str()] = at;
  }
  list_.pop_back();
  compactIfWasteful();
}

void HistoryRecords::clear() {
  list_.clear();
  index_.clear();
  haystacks_.clear();
  wasted_ = 0;
}

bool HistoryRecords::keepMostRecent(std::size_t limit) {
  if (list_.size() <= limit) return false;
  if (limit == 0) {
    clear();
    return true;
  }
  // The time of the limit-th most recent visit, found without sorting: the
  // same records a stable sort, newest first, would keep.
  std::vector<double> times;
  times.reserve(list_.size());
  for (const auto& r : list_) times.push_back(r.lastVisited);
  std::nth_element(times.begin(), times.begin() + std::ptrdiff_t(limit - 1), times.end(), std::greater<>());
  const double cutoff = times[limit - 1];
  std::size_t newer = std::size_t(std::count_if(list_.begin(), list_.end(), [&](const Record& r) {
    return r.lastVisited > cutoff;
  }));
  std::size_t tiesKept = limit - newer;
  std::vector<Record> kept;
  kept.reserve(limit);
  for (auto& r : list_) {
    if (r.lastVisited > cutoff || (r.lastVisited == cutoff && tiesKept > 0 && tiesKept--)) kept.push_back(std::move(r));
  }
  repack(std::move(kept));
  return true;
}

void HistoryRecords::compactIfWasteful() {
  if (wasted_ > 64 * 1024 && wasted_ > haystacks_.size() / 2) repack(std::move(list_));
}

// Rebuilds the buffer and the index for these records, in their order.
void HistoryRecords::repack(std::vector<Record> list) {
  std::string packed;
  packed.reserve(haystacks_.size() - std::min(wasted_, haystacks_.size()));
  for (auto& r : list) {
    auto at = uint32_t(packed.size());
    packed.append(haystacks_, r.haystackAt, r.haystackLength);
    r.haystackAt = at;
  }
  list_ = std::move(list);
  haystacks_ = std::move(packed);
  wasted_ = 0;
  index_.clear();
  index_.reserve(list_.size());
  for (std::size_t i = 0; i < list_.size(); ++i) index_.emplace(list_[i].entry->url.str(), i);
}

}  // namespace quillo
