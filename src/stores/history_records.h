#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "stores/history_entry.h"

namespace quillo {

// The history in memory, laid out for a search on every keystroke: one
// record per URL side by side in a vector, and all the lower-cased
// haystacks packed into one buffer in the same order, so a search walks
// memory front to back instead of chasing 100,000 separate allocations.
class HistoryRecords {
 public:
  // Entries are shared and never changed in place: a change makes a new one,
  // so a save only copies pointers and the writer thread reads them safely.
  using EntryPtr = std::shared_ptr<const HistoryEntry>;

  // The byte pairs that occur in a text, hashed into 256 bits. A word with a
  // pair the haystack lacks cannot occur in it, so most records are ruled
  // out by four ANDs before any byte search.
  struct PairSet {
    uint64_t bits[4] = {};
    void add(std::string_view text);
    bool covers(const PairSet& need) const {
      return (bits[0] & need.bits[0]) == need.bits[0] && (bits[1] & need.bits[1]) == need.bits[1] &&
             (bits[2] & need.bits[2]) == need.bits[2] && (bits[3] & need.bits[3]) == need.bits[3];
    }
  };

  struct Record {
    PairSet pairs;  // of the haystack
    // Copies of the entry's counts, so ranking never reaches into the entry.
    int64_t visits = 0;
    double lastVisited = 0;
    // The haystack, lower-cased "title url", lives in the shared buffer.
    uint32_t haystackAt = 0, haystackLength = 0;
    EntryPtr entry;
    std::string host;          // lower-cased; empty when the URL has none
    std::string pathAndQuery;  // percent-encoded path, then "?query" if any
  };

  const Record* find(std::string_view url) const;
  // Adds a record for the entry, or replaces the one with the same URL.
  void put(EntryPtr entry);
  void erase(std::string_view url);
  void clear();
  // Keeps the `limit` most recently visited; among equal times the earlier
  // record stays. Returns whether any were dropped.
  bool keepMostRecent(std::size_t limit);

  const std::vector<Record>& all() const { return list_; }
  std::string_view haystack(const Record& r) const { return {haystacks_.data() + r.haystackAt, r.haystackLength}; }
  std::size_t size() const { return list_.size(); }
  bool empty() const { return list_.empty(); }
  void reserve(std::size_t count);

 private:
  void setEntry(Record& record, EntryPtr entry);
  void storeHaystack(Record& record);
  void compactIfWasteful();
  void repack(std::vector<Record> list);

  std::vector<Record> list_;
  // By URL text: the keys view the entries' own strings.
  std::unordered_map<std::string_view, std::size_t> index_;
  std::string haystacks_;
  std::size_t wasted_ = 0;  // bytes of haystacks no record uses any more
};

}  // namespace quillo
