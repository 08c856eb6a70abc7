// The history's hosts, kept sorted and scored for inline completion of typed hosts and paths.
#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace quillo {

class HistoryRecords;

// The hosts of the history, for inline completion. Each host keeps its
// records sorted by path, so a typed path is a range of one host's records;
// the sites (host names without "www.") are kept sorted, so a typed prefix
// is a range of sites.
//
// A site's total frecency is a sum over its records that changes with the
// clock; what does not change is that sum scaled to a fixed moment (`base_`),
// kept per site and refreshed only after its records change. That estimate
// decides the winner unless another site comes within rounding of it; those
// few are then summed exactly, record by record in position order, as a walk
// over every record would.
//
// HistoryRecords tells it of every change, by position.
class HistoryHosts {
 public:
  // `meanwhile`, when given, runs on the calling thread while another walks
  // the records.
  void build(const HistoryRecords& records, const std::function<void()>& meanwhile = {});
  void clear();
  // The record at `position` was just added at the end.
  void add(const HistoryRecords& records, uint32_t position);
  // The record at `position` is about to go and the last record to move
  // into its place; both can still be read.
  void erase(const HistoryRecords& records, uint32_t position);
  // The visits or the last visit of the record at `position` changed.
  void touch(uint32_t position);
  // Records moved to new positions, keeping their order; kDropped ones are gone.
  void renumber(const std::vector<uint32_t>& newPosition, std::size_t newSize);

  // Already lower-cased text that is not empty, has no space, does not
  // begin with "/" and has no "://".
  std::optional<std::string> complete(const HistoryRecords& records, std::string_view folded, double now) const;

  static constexpr uint32_t kDropped = UINT32_MAX;

 private:
  static constexpr uint32_t kNone = UINT32_MAX;

  struct Host {
    std::string name;               // lower-cased
    std::vector<uint32_t> records;  // positions, sorted by path and query
    // Whether each record has the same path and query as the one before it,
    // so equal addresses are found without reading them.
    std::vector<uint8_t> samePath;
  };
  // A host name without "www.": the host of that name ([0]) and the one
  // with "www." in front ([1]), either of which may be missing.
  struct Site {
    std::string name;
    uint32_t hosts[2] = {kNone, kNone};
    // Per host: sum of visits x 2^((lastVisited - base) / half-life), the
    // latest visit, and whether the sum can stand for the exact one (no
    // negative counts, no visit too far from base).
    mutable double weight[2] = {0, 0};
    mutable double latest[2] = {0, 0};
    mutable bool regular[2] = {true, true};
    mutable bool stale = true;
  };
  struct Candidate {
    const Site* site;
    bool parts[2];
    double estimate = 0, margin = 0;
    double total = 0;
    uint32_t first = 0;
    bool exact = false;
  };

  uint32_t hostFor(const std::string& name);
  void dropIfEmpty(uint32_t host);
  std::vector<Site>::iterator siteOf(std::string_view hostName);
  void markStale(uint32_t host);
  std::size_t indexIn(const HistoryRecords& records, const Host& host, uint32_t position) const;
  void refresh(const HistoryRecords& records, const Site& site) const;
  void sumExactly(const HistoryRecords& records, Candidate& candidate, double now) const;
  std::optional<std::string> completeHost(const HistoryRecords& records, std::string_view folded, double now) const;
  std::optional<std::string> completePath(const HistoryRecords& records, std::string_view folded, double now) const;

  std::vector<Host> hosts_;
  std::vector<uint32_t> freeHosts_;
  std::unordered_map<std::string, uint32_t> byName_;
  std::vector<Site> sites_;       // sorted by name
  std::vector<uint32_t> hostOf_;  // per record position; kNone without a host
  mutable double base_ = 0;
  // Reused between calls so completion allocates little.
  mutable std::vector<Candidate> candidates_;
  mutable std::vector<uint32_t> scratch_;
};

}  // namespace quillo
