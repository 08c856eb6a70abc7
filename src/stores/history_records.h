// The history in memory: records, bitmaps and indexes that keep a search on every keystroke fast.
#pragma once
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "stores/history_entry.h"
#include "stores/history_hosts.h"

namespace quillo {

// Visits weighted by age: a visit's weight halves every 14 days; a visit
// dated in the future counts in full. Every search scores with this one
// definition, so sums taken in different places compare bit for bit.
inline double historyFrecency(int64_t visits, double lastVisited, double nowReferenceSeconds) {
  double ageDays = std::max(0.0, (nowReferenceSeconds - lastVisited) / 86400.0);
  return double(visits) * std::exp2(-ageDays / 14.0);
}

// The history in memory, laid out for a search on every keystroke.
//
// Records sit side by side at positions 0..size-1. A position is what breaks
// ties: among equal scores the record at the lower position comes first.
// Removing a record moves the last one into its place; keepMostRecent keeps
// the survivors in their order.
//
// Each haystack's byte pairs are kept transposed: one bitmap per pair bit
// over all positions. A query ANDs the few bitmaps of its own pairs into the
// records that can match, reading a few kilobytes per bitmap instead of
// every record.
//
// Besides, three indexes let a search stop early with the same result a
// walk over every record gives: the records newest first, the records by
// the most they could score (the frecency order does not change as time
// passes, only the scale does), and the hosts for completion. They are built
// by prepare() (the loader calls it off the main thread) or by the first
// search, and from then on follow every change.
class HistoryRecords {
 public:
  // Entries are shared and never changed in place: a change makes a new one,
  // so a save only copies pointers and the writer thread reads them safely.
  using EntryPtr = std::shared_ptr<const HistoryEntry>;
  enum class Ranking { frecency, recency };

  // The byte pairs that occur in a text, hashed into 256 bits. A word with a
  // pair the haystack lacks cannot occur in it.
  struct PairSet {
    uint64_t bits[4] = {};
    void add(std::string_view text);
  };

  HistoryRecords();
  ~HistoryRecords();
  HistoryRecords(HistoryRecords&&) noexcept;
  HistoryRecords& operator=(HistoryRecords&&) noexcept;
  HistoryRecords(const HistoryRecords&) = delete;
  HistoryRecords& operator=(const HistoryRecords&) = delete;

  std::size_t size() const { return cold_.size(); }
  bool empty() const { return cold_.empty(); }
  const EntryPtr& at(std::size_t position) const { return cold_[position].entry; }
  const HistoryEntry* find(std::string_view url) const;

  // Adds a record for the entry, or replaces the one with the same URL.
  void put(EntryPtr entry);
  // Entries of a file, a run at a time, with what put() would work out for
  // each worked out already: chunks fill on different threads at once.
  class Chunk {
   public:
    void add(EntryPtr entry);
    void reserve(std::size_t entries, std::size_t textBytes);

   private:
    friend class HistoryRecords;
    struct Worked {
      PairSet pairs;
      uint32_t haystackAt = 0, haystackSize = 0;  // in text_
      std::pair<uint32_t, uint32_t> path{0, 0};   // in the URL text, when inText
      uint32_t hash = 0;
      bool inText = false;
    };
    std::vector<EntryPtr> entries_;
    std::vector<Worked> worked_;
    std::string text_;
  };
  // While held, entries the records let go of (replaced, erased, cleared,
  // dropped) stay alive, because a writer on another thread may still be
  // reading them; letting go frees them.
  void holdReleased(bool hold);
  // Every record's entry, in position order: valid while the records keep
  // them, or while released ones are held.
  std::vector<const HistoryEntry*> entries() const;
  // put() for every entry of every chunk, in order, into empty records.
  void putAll(std::vector<Chunk> chunks);
  void erase(std::string_view url);
  void clear();
  // Keeps the `limit` most recently visited; among equal times the one at
  // the lower position stays. Returns whether any were dropped.
  bool keepMostRecent(std::size_t limit);
  // Builds the indexes now instead of at the first search.
  void prepare() const;
  // Many puts in a row: the orders take the new and changed records in one
  // pass at the end rather than one insert each. Nothing else may happen
  // to the records in between.
  void beginBatch() { batching_ = true; }
  void endBatch();

  // Positions of at most `limit` records whose haystack contains every word
  // (every record when there are none), best first, ties by position.
  std::vector<uint32_t> best(const std::vector<std::string>& words, int limit, Ranking ranking,
                             double nowReferenceSeconds) const;
  // The inline completion for already lower-cased text (see History).
  std::optional<std::string> completion(std::string_view folded, double nowReferenceSeconds) const;

  // The lower-cased "title url" a search matches against.
  std::string_view haystack(std::size_t position) const {
    const Span& s = cold_[position].haystack;
    return {haystacks_.data() + s.at, s.size};
  }
  // The percent-encoded path, then "?query" when the URL has a query.
  std::string_view pathAndQuery(std::size_t position) const;
  int64_t visits(std::size_t position) const { return stats_[position].visits; }
  double lastVisited(std::size_t position) const { return stats_[position].lastVisited; }

 private:
  struct Span {
    uint32_t at = 0, size = 0;
  };
  // What ranking reads, apart from the rest so walks touch little memory.
  struct Stats {
    int64_t visits = 0;
    double lastVisited = 0;
    // log2(visits) + lastVisited / half-life: orders records by the most
    // they can score at any moment.
    double boundKey = 0;
  };
  struct Cold {
    EntryPtr entry;
    Span haystack;
    // In the URL text, or (when the parser changed the path) stored right
    // after the haystack.
    Span pathAndQuery;
    bool ownPath = false;
    uint32_t hash = 0;  // of the URL text
  };
  // Bit `position` of bitmap b: whether pair bit b occurs in the haystack.
  class PairBits {
   public:
    void set(uint32_t position, const PairSet& pairs);
    // Sets the pairs of every position that has some, on several threads.
    void setAll(const std::vector<const PairSet*>& byPosition);
    void clear(uint32_t position);
    void move(uint32_t from, uint32_t to);
    // Keeps runs of bits (from, to, count), in increasing order, to <= from.
    void compact(const std::vector<std::array<uint32_t, 3>>& runs, std::size_t oldSize, std::size_t newSize);
    void reset() { words_.clear(), stride_ = 0; }
    // Room for this many positions; grows by doubling unless `exactly`.
    void reserve(std::size_t positions, bool exactly);
    // The positions below `size` whose haystack has every pair in `need`;
    // returns how many.
    std::size_t candidates(const PairSet& need, std::size_t size, std::vector<uint64_t>& mask) const;

   private:
    std::vector<uint64_t> words_;  // 256 bitmaps of stride_ words each
    std::size_t stride_ = 0;
  };
  // Positions ordered by a key, highest first, ties by position.
  class Order {
   public:
    std::vector<uint32_t> list;
    template <class Key>
    void insert(uint32_t position, Key key);
    template <class Key>
    void remove(uint32_t position, Key key);
  };
  struct Query;

  static constexpr uint32_t kNone = UINT32_MAX;

  void setStats(uint32_t position, const HistoryEntry& entry);
  void retire(EntryPtr& entry);
  // A fresh position past the old end has no pair bits to clear.
  void storeText(uint32_t position, bool fresh = false);
  uint32_t storedSize(const Cold& c) const { return c.haystack.size + (c.ownPath ? c.pathAndQuery.size : 0); }
  void compactIfWasteful();
  void repack();
  void unindex(uint32_t position);
  void reindex(uint32_t position);

  // URL lookup: open addressing over positions + 1 (0 is empty).
  uint32_t lookup(std::string_view url, uint32_t hash) const;
  void tableInsert(uint32_t position);
  void tableErase(uint32_t position);
  void tableMove(uint32_t from, uint32_t to);
  void tableRebuild();
  std::size_t slotOf(uint32_t position) const;

  bool isCandidate(uint32_t position) const { return mask_[position >> 6] >> (position & 63) & 1; }
  bool containsWords(uint32_t position, const Query& query) const;
  std::vector<uint32_t> scan(const Query& query, std::size_t limit, Ranking ranking, double now) const;
  std::vector<uint32_t> walkRecent(const Query& query, std::size_t limit) const;
  std::vector<uint32_t> walkBound(const Query& query, std::size_t limit, double now) const;

  PairBits pairs_;
  std::vector<Stats> stats_;
  std::vector<Cold> cold_;
  std::vector<uint32_t> slots_;
  std::string haystacks_;         // all haystacks (and changed paths), back to back
  std::size_t wasted_ = 0;        // bytes of haystacks_ no record uses any more
  std::size_t unusualTimes_ = 0;  // records whose last visit is not a finite number
  bool holdCompaction_ = false;   // while putAll still points into the buffer
  bool holdReleased_ = false;
  bool batching_ = false;
  std::vector<uint32_t> batched_;  // positions the orders take at endBatch
  std::vector<EntryPtr> released_;

  mutable std::vector<uint64_t> mask_;  // the candidates of the current search
  mutable bool indexed_ = false;
  mutable Order byRecency_, byBound_;
  mutable HistoryHosts hosts_;

  friend class HistoryHosts;
};

}  // namespace quillo
