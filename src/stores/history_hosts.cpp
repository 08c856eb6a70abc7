// The history's hosts, kept sorted and scored for inline completion of typed hosts and paths.
#include "stores/history_hosts.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <thread>
#include <utility>

#include "core/parallel.h"
#include "core/text.h"
#include "stores/history_records.h"

namespace quillo {
namespace {

constexpr double kHalfLife = 14 * 86400.0;
// The sums are scaled to `base_`; past this many half-lives from it they
// are rescaled, and records further than kRegularSpan from it are summed
// exactly instead, so no term overflows or loses precision.
constexpr double kRebaseAfter = 100;
constexpr double kRegularSpan = 500;
// How far an estimate may be from the exact sum, relatively: rounding
// moves it by less than 1e-11 even over 100,000 records.
constexpr double kTolerance = 1e-7;

std::string_view withoutWww(std::string_view host) { return host.starts_with("www.") ? host.substr(4) : host; }

}  // namespace

// --- Keeping up with the records -------------------------------------------

void HistoryHosts::clear() {
  hosts_.clear();
  freeHosts_.clear();
  byName_.clear();
  sites_.clear();
  hostOf_.clear();
}

std::vector<HistoryHosts::Site>::iterator HistoryHosts::siteOf(std::string_view hostName) {
  const std::string_view name = withoutWww(hostName);
  return std::lower_bound(sites_.begin(), sites_.end(), name,
                          [](const Site& s, std::string_view v) { return s.name < v; });
}

// The host of that name, made (without a site) when new.
uint32_t HistoryHosts::hostFor(const std::string& name) {
  if (auto found = byName_.find(name); found != byName_.end()) return found->second;
  uint32_t id;
  if (freeHosts_.empty()) {
    id = uint32_t(hosts_.size());
    hosts_.emplace_back();
  } else {
    id = freeHosts_.back();
    freeHosts_.pop_back();
  }
  hosts_[id].name = name;
  byName_.emplace(name, id);
  return id;
}

void HistoryHosts::dropIfEmpty(uint32_t id) {
  Host& host = hosts_[id];
  if (!host.records.empty()) return;
  auto site = siteOf(host.name);
  if (site != sites_.end() && site->name == withoutWww(host.name)) {
    site->hosts[host.name.starts_with("www.") ? 1 : 0] = kNone;
    site->stale = true;
    if (site->hosts[0] == kNone && site->hosts[1] == kNone) sites_.erase(site);
  }
  byName_.erase(host.name);
  host = Host();
  freeHosts_.push_back(id);
}

void HistoryHosts::markStale(uint32_t id) {
  auto site = siteOf(hosts_[id].name);
  if (site != sites_.end()) site->stale = true;
}

void HistoryHosts::build(const HistoryRecords& records, const std::function<void()>& meanwhile) {
  clear();
  hostOf_.assign(records.size(), kNone);
  double latest = -std::numeric_limits<double>::infinity();
  // Each record's path goes beside its position with its first bytes as
  // numbers, read while the record is at hand anyway; most comparisons in
  // the sort below then read no text at all.
  struct Keyed {
    uint64_t prefix[2];
    std::string_view path;
    uint32_t position;
  };
  std::vector<std::vector<Keyed>> keyed;
  auto collect = [&] {
    std::string raw, name;
    uint32_t id = kNone;
    for (uint32_t p = 0; p < records.size(); ++p) {
      if (std::isfinite(records.lastVisited(p))) latest = std::max(latest, records.lastVisited(p));
      const std::string_view host = records.at(p)->url.hostView();
      if (host.empty()) continue;
      // Neighbours often share a host: no folding or lookup for those.
      if (id == kNone || host != raw) {
        raw = host;
        name = raw;
        bool ascii = true;
        for (char& c : name) {
          if (static_cast<unsigned char>(c) >= 0x80) ascii = false;
          if (c >= 'A' && c <= 'Z') c = char(c + ('a' - 'A'));
        }
        if (!ascii) name = foldCase(raw);
        id = hostFor(name);
        if (keyed.size() <= id) keyed.resize(id + 1);
      }
      hostOf_[p] = id;
      const std::string_view path = records.pathAndQuery(p);
      Keyed k{{0, 0}, path, p};
      for (std::size_t i = 0; i < 16; ++i)
        k.prefix[i / 8] = k.prefix[i / 8] << 8 | (i < path.size() ? static_cast<unsigned char>(path[i]) : 0u);
      keyed[id].push_back(k);
    }
  };
  // The caller's own work runs beside the walk over the records.
  if (meanwhile) {
    std::thread walker(collect);
    meanwhile();
    walker.join();
  } else {
    collect();
  }
  // Hosts are sorted, and later summed, on several threads: each touches
  // only its own hosts and sites.
  inChunks(keyed.size(), 64, [&](std::size_t, std::size_t first, std::size_t last) {
    for (std::size_t h = first; h < last; ++h) {
      auto& list = keyed[h];
      std::sort(list.begin(), list.end(), [](const Keyed& a, const Keyed& b) {
        if (a.prefix[0] != b.prefix[0]) return a.prefix[0] < b.prefix[0];
        if (a.prefix[1] != b.prefix[1]) return a.prefix[1] < b.prefix[1];
        if (int order = a.path.compare(b.path)) return order < 0;
        return a.position < b.position;
      });
      Host& host = hosts_[h];
      host.records.resize(list.size());
      host.samePath.assign(list.size(), 0);
      for (std::size_t i = 0; i < list.size(); ++i) {
        host.records[i] = list[i].position;
        if (i > 0) host.samePath[i] = list[i].path == list[i - 1].path;
      }
    }
  });
  // Sites in one go: inserting them one by one into the sorted list would
  // move it once per host.
  sites_.reserve(hosts_.size());
  for (uint32_t id = 0; id < hosts_.size(); ++id) {
    Site site;
    site.name = std::string(withoutWww(hosts_[id].name));
    site.hosts[hosts_[id].name.starts_with("www.") ? 1 : 0] = id;
    sites_.push_back(std::move(site));
  }
  std::sort(sites_.begin(), sites_.end(), [](const Site& a, const Site& b) { return a.name < b.name; });
  std::size_t kept = 0;
  for (std::size_t i = 0; i < sites_.size(); ++i) {
    if (kept > 0 && sites_[kept - 1].name == sites_[i].name) {
      for (int part : {0, 1})
        if (sites_[i].hosts[part] != kNone) sites_[kept - 1].hosts[part] = sites_[i].hosts[part];
      continue;
    }
    if (kept != i) sites_[kept] = std::move(sites_[i]);
    ++kept;
  }
  sites_.resize(kept);
  // Summed now, while this may still be off the main thread.
  base_ = std::isfinite(latest) ? latest : 0;
  inChunks(sites_.size(), 64, [&](std::size_t, std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; ++i) refresh(records, sites_[i]);
  });
}

void HistoryHosts::add(const HistoryRecords& records, uint32_t position) {
  hostOf_.push_back(kNone);
  std::string name = foldCase(records.at(position)->url.host());
  if (name.empty()) return;
  uint32_t id = hostFor(name);
  Host& host = hosts_[id];
  if (host.records.empty()) {
    auto site = siteOf(name);
    if (site == sites_.end() || site->name != withoutWww(name)) {
      Site fresh;
      fresh.name = std::string(withoutWww(name));
      site = sites_.insert(site, std::move(fresh));
    }
    site->hosts[name.starts_with("www.") ? 1 : 0] = id;
  }
  // After any record with the same path, so only its own flag is new.
  const std::string_view path = records.pathAndQuery(position);
  auto at = std::upper_bound(host.records.begin(), host.records.end(), path,
                             [&](std::string_view v, uint32_t e) { return v < records.pathAndQuery(e); });
  const bool same = at != host.records.begin() && records.pathAndQuery(*(at - 1)) == path;
  host.samePath.insert(host.samePath.begin() + (at - host.records.begin()), same);
  host.records.insert(at, position);
  hostOf_[position] = id;
  markStale(id);
}

// Where the record at `position` is in its host's list.
std::size_t HistoryHosts::indexIn(const HistoryRecords& records, const Host& host, uint32_t position) const {
  const std::string_view path = records.pathAndQuery(position);
  auto at = std::lower_bound(host.records.begin(), host.records.end(), path,
                             [&](uint32_t e, std::string_view v) { return records.pathAndQuery(e) < v; });
  while (at != host.records.end() && *at != position) ++at;
  return std::size_t(at - host.records.begin());
}

void HistoryHosts::erase(const HistoryRecords& records, uint32_t position) {
  const auto last = uint32_t(hostOf_.size() - 1);
  if (uint32_t id = hostOf_[position]; id != kNone) {
    Host& host = hosts_[id];
    // Every record is listed under its host; the check only keeps a broken
    // list from being written past its end.
    if (const std::size_t i = indexIn(records, host, position); i < host.records.size()) {
      // The next record now follows the one before: the same path as it
      // only if it had the same as the one that goes, and that one too.
      if (i + 1 < host.records.size()) host.samePath[i + 1] = host.samePath[i + 1] && host.samePath[i];
      host.records.erase(host.records.begin() + std::ptrdiff_t(i));
      host.samePath.erase(host.samePath.begin() + std::ptrdiff_t(i));
    }
    markStale(id);
    dropIfEmpty(id);
  }
  if (position != last) {
    if (uint32_t id = hostOf_[last]; id != kNone) {
      Host& host = hosts_[id];
      if (const std::size_t i = indexIn(records, host, last); i < host.records.size()) host.records[i] = position;
    }
    hostOf_[position] = hostOf_[last];
  }
  hostOf_.pop_back();
}

void HistoryHosts::touch(uint32_t position) {
  if (uint32_t id = hostOf_[position]; id != kNone) markStale(id);
}

void HistoryHosts::renumber(const std::vector<uint32_t>& newPosition, std::size_t newSize) {
  for (uint32_t id = 0; id < hosts_.size(); ++id) {
    Host& host = hosts_[id];
    if (host.records.empty()) continue;  // free
    // A survivor has the same path as the survivor before it only if every
    // record between them did.
    std::size_t kept = 0;
    bool sameRun = true;
    for (std::size_t i = 0; i < host.records.size(); ++i) {
      sameRun = sameRun && host.samePath[i];
      uint32_t to = newPosition[host.records[i]];
      if (to == kDropped) continue;
      host.samePath[kept] = kept > 0 && sameRun;
      host.records[kept++] = to;
      sameRun = true;
    }
    if (kept == host.records.size()) continue;
    host.records.resize(kept);
    host.samePath.resize(kept);
    markStale(id);
    dropIfEmpty(id);
  }
  std::vector<uint32_t> hostOf(newSize, kNone);
  for (std::size_t p = 0; p < hostOf_.size(); ++p)
    if (newPosition[p] != kDropped) hostOf[newPosition[p]] = hostOf_[p];
  hostOf_ = std::move(hostOf);
}

// --- Completing ----------------------------------------------------------------

void HistoryHosts::refresh(const HistoryRecords& records, const Site& site) const {
  for (int part : {0, 1}) {
    double weight = 0, latest = -std::numeric_limits<double>::infinity();
    bool regular = true;
    if (site.hosts[part] != kNone) {
      for (uint32_t p : hosts_[site.hosts[part]].records) {
        const int64_t visits = records.visits(p);
        const double lastVisited = records.lastVisited(p);
        const double span = (lastVisited - base_) / kHalfLife;
        if (visits < 0 || !(std::fabs(span) <= kRegularSpan))
          regular = false;
        else
          weight += double(visits) * std::exp2(span);
        latest = std::max(latest, lastVisited);
      }
    }
    site.weight[part] = weight;
    site.latest[part] = latest;
    site.regular[part] = regular;
  }
  site.stale = false;
}

// The candidate's total exactly as a walk over every record sums it: its
// records' scores added in position order.
void HistoryHosts::sumExactly(const HistoryRecords& records, Candidate& candidate, double now) const {
  scratch_.clear();
  for (int part : {0, 1}) {
    if (!candidate.parts[part]) continue;
    const auto& list = hosts_[candidate.site->hosts[part]].records;
    scratch_.insert(scratch_.end(), list.begin(), list.end());
  }
  std::sort(scratch_.begin(), scratch_.end());
  double total = 0;
  for (uint32_t p : scratch_) total += historyFrecency(records.visits(p), records.lastVisited(p), now);
  candidate.total = total;
  candidate.first = scratch_.empty() ? 0 : scratch_.front();
  candidate.exact = true;
}

std::optional<std::string> HistoryHosts::complete(const HistoryRecords& records, std::string_view folded,
                                                  double now) const {
  if (!(std::fabs(now - base_) <= kRebaseAfter * kHalfLife)) {
    base_ = now;
    for (const auto& site : sites_) site.stale = true;
  }
  if (folded.find('/') != std::string_view::npos) return completePath(records, folded, now);
  return completeHost(records, folded, now);
}

// Whole hosts: every site whose name extends the typed text.
std::optional<std::string> HistoryHosts::completeHost(const HistoryRecords& records, std::string_view folded,
                                                      double now) const {
  const bool typedWww = folded.starts_with("www.");
  const std::string_view typed = typedWww ? folded.substr(4) : folded;
  const double scale = std::exp2((base_ - now) / kHalfLife);
  auto first = std::lower_bound(sites_.begin(), sites_.end(), typed,
                                [](const Site& s, std::string_view v) { return s.name < v; });
  auto end = std::partition_point(first, sites_.end(), [&](const Site& s) { return s.name.starts_with(typed); });
  candidates_.clear();
  double floor = -std::numeric_limits<double>::infinity();
  for (auto it = first; it != end; ++it) {
    const Site& site = *it;
    if (site.name.size() <= typed.size()) continue;  // nothing left to complete
    Candidate c{&site, {!typedWww && site.hosts[0] != kNone, site.hosts[1] != kNone}};
    if (!c.parts[0] && !c.parts[1]) continue;
    if (site.stale) refresh(records, site);
    bool regular = true;
    double weight = 0;
    for (int part : {0, 1}) {
      if (!c.parts[part]) continue;
      regular = regular && site.regular[part] && site.latest[part] <= now;
      weight += site.weight[part];
    }
    if (regular) {
      c.estimate = weight * scale;
      c.margin = c.estimate * kTolerance;
    } else {
      sumExactly(records, c, now);
      c.estimate = c.total;
    }
    floor = std::max(floor, c.estimate - c.margin);
    candidates_.push_back(c);
  }
  // Only a candidate whose estimate reaches the best one's lower bound can
  // win; when that is more than one, exact sums decide, ties going to the
  // one whose first record comes first.
  const Candidate* winner = nullptr;
  std::size_t contenders = 0;
  for (const auto& c : candidates_) {
    if (c.estimate + c.margin < floor) continue;
    ++contenders;
    winner = &c;
  }
  if (!winner) return std::nullopt;
  if (contenders > 1) {
    winner = nullptr;
    for (auto& c : candidates_) {
      if (c.estimate + c.margin < floor) continue;
      if (!c.exact) sumExactly(records, c, now);
      if (!winner || c.total > winner->total || (c.total == winner->total && c.first < winner->first)) winner = &c;
    }
  }
  std::string result = typedWww ? "www." : "";
  result += winner->site->name;
  return result;
}

// Whole addresses on the typed host: its records whose path extends the
// typed one, the same address reached several ways adding up.
std::optional<std::string> HistoryHosts::completePath(const HistoryRecords& records, std::string_view folded,
                                                      double now) const {
  const auto slash = folded.find('/');
  const std::string_view typedHost = folded.substr(0, slash), typedPath = folded.substr(slash);
  // The typed host, and unless "www." was typed, the same host with it.
  struct Range {
    const Host* host = nullptr;
    std::size_t at = 0, end = 0;
    bool done() const { return at == end; }
    uint32_t position() const { return host->records[at]; }
  } ranges[2];
  auto rangeOn = [&](const std::string& name) {
    Range r;
    auto found = byName_.find(name);
    if (found == byName_.end()) return r;
    r.host = &hosts_[found->second];
    const auto& list = r.host->records;
    auto first = std::lower_bound(list.begin(), list.end(), typedPath,
                                  [&](uint32_t e, std::string_view v) { return records.pathAndQuery(e) < v; });
    auto last = std::partition_point(first, list.end(),
                                     [&](uint32_t e) { return records.pathAndQuery(e).starts_with(typedPath); });
    r.at = std::size_t(first - list.begin());
    r.end = std::size_t(last - list.begin());
    return r;
  };
  ranges[0] = rangeOn(std::string(typedHost));
  if (!folded.starts_with("www.")) ranges[1] = rangeOn("www." + std::string(typedHost));
  if (ranges[0].done()) std::swap(ranges[0], ranges[1]);

  const Host* bestHost = nullptr;
  std::size_t bestAt = 0;
  double bestTotal = 0;
  uint32_t bestFirst = 0;
  // Each group of records with one path: its total in position order.
  auto consider = [&](const Host* host, std::size_t at) {
    std::sort(scratch_.begin(), scratch_.end());
    double total = 0;
    for (uint32_t p : scratch_) total += historyFrecency(records.visits(p), records.lastVisited(p), now);
    if (!bestHost || total > bestTotal || (total == bestTotal && scratch_.front() < bestFirst)) {
      bestHost = host;
      bestAt = at;
      bestTotal = total;
      bestFirst = scratch_.front();
    }
  };
  if (ranges[1].done()) {
    // One host: groups are runs of records marked with the same path, found
    // without reading the paths.
    Range& r = ranges[0];
    if (!r.done() && records.pathAndQuery(r.position()).size() == typedPath.size()) {
      // What was typed completes nothing.
      ++r.at;
      while (!r.done() && r.host->samePath[r.at]) ++r.at;
    }
    while (!r.done()) {
      const std::size_t start = r.at;
      scratch_.clear();
      do scratch_.push_back(r.host->records[r.at++]);
      while (!r.done() && r.host->samePath[r.at]);
      consider(r.host, start);
    }
  } else {
    // Both hosts: merged in path order, equal paths come together.
    for (;;) {
      const Range* low = nullptr;
      for (const Range& r : ranges)
        if (!r.done() && (!low || records.pathAndQuery(r.position()) < records.pathAndQuery(low->position()))) low = &r;
      if (!low) break;
      const Host* host = low->host;
      const std::size_t at = low->at;
      const std::string_view path = records.pathAndQuery(low->position());
      scratch_.clear();
      for (Range& r : ranges)
        while (!r.done() && records.pathAndQuery(r.position()) == path) scratch_.push_back(r.host->records[r.at++]);
      if (path.size() > typedPath.size()) consider(host, at);
    }
  }
  if (!bestHost) return std::nullopt;
  std::string result(typedHost);
  result += records.pathAndQuery(bestHost->records[bestAt]);
  return result;
}

}  // namespace quillo
