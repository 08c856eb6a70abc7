#include "stores/history.h"

#include <glib.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <unordered_map>

#include "core/log.h"
#include "stores/serial_queue.h"

namespace quillo {
namespace {

constexpr std::string_view kFileName = "history.json";

// All history files are written by one thread, in order.
SerialQueue& writes() {
  static SerialQueue queue("Quillo.History.writes");
  return queue;
}

int64_t addVisits(int64_t a, int64_t b) {
  int64_t sum;
  if (__builtin_add_overflow(a, b, &sum)) {
    // Counts never come near this; reaching it means a bug, not a user.
    logLine("history visit count overflowed");
    std::abort();
  }
  return sum;
}

}  // namespace

// What the worker thread hands back: the records ready to use, so the main
// thread only has to merge.
struct History::Loaded {
  AppSupport::ReadResult::Status status = AppSupport::ReadResult::Status::missing;
  HistoryRecords records;
};

// Shared with the reader and writer threads, which may finish after the
// store is gone: from then on they post nothing back.
struct History::Link {
  std::mutex mutex;
  Scheduler* scheduler = nullptr;  // guarded by mutex; null once the store is gone
  History* owner = nullptr;        // main thread only
  std::atomic<int> writesInFlight{0};

  void post(std::function<void()> work) {
    std::lock_guard lock(mutex);
    if (scheduler) scheduler->postFromAnyThread(std::move(work));
  }
};

History::History(Scheduler& scheduler, std::filesystem::path file)
    : scheduler_(scheduler), file_(std::move(file)), link_(std::make_shared<Link>()) {
  link_->scheduler = &scheduler_;
  link_->owner = this;
  // A detached reader: the store never waits for it, and a store destroyed
  // meanwhile simply receives nothing.
  std::thread([link = link_, file = file_] {
    auto loaded = std::make_shared<Loaded>(load(file));
    link->post([link, loaded] {
      if (link->owner) link->owner->finishLoading(std::move(*loaded));
    });
  }).detach();
}

History::~History() {
  {
    std::lock_guard lock(link_->mutex);
    link_->scheduler = nullptr;
  }
  link_->owner = nullptr;
  // Only at quit, after saveNow, so normally there is nothing to wait for;
  // a write still under way must not outlive the folder it writes to.
  if (link_->writesInFlight > 0) writes().sync([] {});
}

History::Loaded History::load(const std::filesystem::path& file) {
  Loaded loaded;
  gchar* contents = nullptr;
  gsize length = 0;
  GError* error = nullptr;
  if (!g_file_get_contents(file.c_str(), &contents, &length, &error)) {
    bool missing = error && g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_NOENT);
    g_clear_error(&error);
    loaded.status = missing ? AppSupport::ReadResult::Status::missing : AppSupport::ReadResult::Status::unreadable;
    return loaded;
  }
  auto entries = decodeHistory(std::string_view(contents, length));
  g_free(contents);
  if (!entries) {
    loaded.status = AppSupport::ReadResult::Status::unreadable;
    return loaded;
  }
  loaded.status = AppSupport::ReadResult::Status::ok;
  loaded.records.reserve(entries->size());
  // A later duplicate replaces an earlier one.
  for (auto& entry : *entries) loaded.records.put(std::make_shared<const HistoryEntry>(std::move(entry)));
  return loaded;
}

void History::finishLoading(Loaded loaded) {
  isLoaded_ = true;
  fileUnreadable_ = loaded.status == AppSupport::ReadResult::Status::unreadable;
  if (clearedWhileLoading_) {
    // The user cleared before the file arrived: what loaded is forgotten and
    // the file now holds only what came after the clear.
    save();
    changed_.emit();
    return;
  }
  bool recordedWhileLoading = !records_.empty();
  for (const auto& mine : records_.all()) {
    const Record* stored = loaded.records.find(mine.entry->url.str());
    if (!stored) {
      loaded.records.put(mine.entry);
      continue;
    }
    auto merged = std::make_shared<HistoryEntry>(*mine.entry);
    merged->visits = addVisits(merged->visits, stored->entry->visits);
    if (merged->title.empty()) merged->title = stored->entry->title;
    loaded.records.put(std::move(merged));
  }
  records_ = std::move(loaded.records);
  if (recordedWhileLoading) scheduleSave();
  changed_.emit();
}

double History::now() const { return toReferenceSeconds(scheduler_.wallNow()); }

void History::didChange() {
  changedByUser_ = true;
  scheduleSave();
  changed_.emit();
}

void History::recordVisit(const Url& url) {
  if (url.scheme() != "http" && url.scheme() != "https") return;
  double when = now();
  const Record* record = records_.find(url.str());
  auto visited = record ? std::make_shared<HistoryEntry>(*record->entry)
                        : std::make_shared<HistoryEntry>(HistoryEntry{url, {}, 0, when});
  visited->visits = addVisits(visited->visits, 1);
  visited->lastVisited = when;
  // Same URL and title: the haystack stays as it is.
  records_.put(std::move(visited));
  didChange();
}

void History::updateTitle(const std::string& title, const Url& url) {
  if (title.empty()) return;
  const Record* record = records_.find(url.str());
  if (!record || record->entry->title == title) return;
  auto titled = std::make_shared<HistoryEntry>(*record->entry);
  titled->title = title;
  records_.put(std::move(titled));  // rebuilds the haystack from the new title
  didChange();
}

void History::remove(const Url& url) {
  records_.erase(url.str());
  didChange();
}

void History::clear() {
  records_.clear();
  if (!isLoaded_) clearedWhileLoading_ = true;
  didChange();
}

const HistoryEntry* History::find(const Url& url) const {
  const Record* record = records_.find(url.str());
  return record ? record->entry.get() : nullptr;
}

// --- Saving ---------------------------------------------------------------

void History::scheduleSave() {
  pendingSave_ = scheduler_.after(kSaveDelay, [this] { save(); });
}

std::optional<std::vector<History::EntryPtr>> History::keptEntries() {
  pendingSave_.cancel();
  // Never before the file has been read: a partial history must not
  // replace the stored one.
  if (!isLoaded_) return std::nullopt;
  // The least recently visited are forgotten in memory too.
  if (records_.keepMostRecent(kMaxEntries)) changed_.emit();
  // Only pointers are copied here; encoding happens on the writer thread.
  std::vector<EntryPtr> entries;
  entries.reserve(records_.size());
  for (const auto& record : records_.all()) entries.push_back(record.entry);
  return entries;
}

void History::save() {
  if (auto entries = keptEntries()) write(std::move(*entries), false);
}

void History::saveNow() {
  if (auto entries = keptEntries()) write(std::move(*entries), true);
}

void History::write(std::vector<EntryPtr> entries, bool waitUntilWritten) {
  // An unreadable file stays as it is until there is something of the
  // user's to write, and is then kept aside rather than overwritten.
  if (fileUnreadable_ && !changedByUser_) return;
  bool keepAsideFirst = fileUnreadable_;
  fileUnreadable_ = false;
  ++link_->writesInFlight;
  auto job = [link = link_, file = file_, keepAsideFirst, entries = std::move(entries)] {
    bool asideFailed = false, ok = false;
    std::error_code ec;
    if (keepAsideFirst && std::filesystem::exists(file, ec) && !AppSupport::keepAside(file))
      asideFailed = true;  // keepAside said why; the file is not overwritten
    else
      ok = AppSupport::writeAtomically(file, encodeHistory(entries), kFileName);
    link->post([link, ok, asideFailed] {
      if (link->owner) link->owner->writeFinished(ok, asideFailed);
    });
    --link->writesInFlight;
  };
  if (waitUntilWritten)
    writes().sync(std::move(job));
  else
    writes().async(std::move(job));
}

void History::writeFinished(bool ok, bool keptAsideFailed) {
  if (keptAsideFailed) fileUnreadable_ = true;  // try again at the next change
  written_.emit(ok);
}

// --- Search ---------------------------------------------------------------

double History::frecency(int64_t visits, double lastVisited, double nowReferenceSeconds) {
  double ageDays = std::max(0.0, (nowReferenceSeconds - lastVisited) / 86400.0);
  return double(visits) * std::exp2(-ageDays / 14.0);
}

std::vector<std::string> History::words(std::string_view query) {
  std::string folded = foldCase(query);
  std::vector<std::string> result;
  std::size_t start = 0;
  while (start <= folded.size()) {
    auto space = folded.find(' ', start);
    if (space == std::string::npos) space = folded.size();
    if (space > start) result.push_back(folded.substr(start, space - start));
    start = space + 1;
  }
  return result;
}

template <class Rank>
std::vector<HistoryEntry> History::best(int limit, const std::vector<std::string>& words, Rank rank) const {
  if (limit < 1) return {};
  const auto capacity = std::size_t(limit);
  HistoryRecords::PairSet need;
  for (const auto& word : words) need.add(word);
  std::vector<std::pair<double, const HistoryEntry*>> top;
  top.reserve(capacity + 1);
  for (const auto& record : records_.all()) {
    if (!record.pairs.covers(need)) continue;
    const std::string_view hay = records_.haystack(record);
    bool all = true;
    for (const auto& word : words) {
      if (hay.find(word) == std::string_view::npos) {
        all = false;
        break;
      }
    }
    if (!all) continue;
    double score = rank(record);
    if (top.size() == capacity && !(score > top.back().first)) continue;
    // First position whose score is strictly lower: equal scores keep the
    // record found first ahead.
    auto at = std::partition_point(top.begin(), top.end(), [&](const auto& p) { return p.first >= score; });
    top.insert(at, {score, record.entry.get()});
    if (top.size() > capacity) top.pop_back();
  }
  std::vector<HistoryEntry> result;
  result.reserve(top.size());
  for (const auto& [score, entry] : top) result.push_back(*entry);
  return result;
}

std::vector<HistoryEntry> History::matches(std::string_view query, int limit) const {
  auto list = words(query);
  if (list.empty()) return {};
  double at = now();
  return best(limit, list, [at](const Record& r) { return frecency(r.visits, r.lastVisited, at); });
}

std::vector<HistoryEntry> History::recent(std::string_view query, int limit) const {
  return best(limit, words(query), [](const Record& r) { return r.lastVisited; });
}

std::optional<std::string> History::completion(std::string_view typed) const {
  const std::string t = foldCase(typed);
  if (t.empty() || t.find(' ') != std::string::npos || t.front() == '/' || t.find("://") != std::string::npos)
    return std::nullopt;
  const bool typingPath = t.find('/') != std::string::npos;
  const bool typedWww = t.starts_with("www.");
  const std::string_view typedText = t;

  // Candidates are host, or host + path when a path is being typed. In the
  // second case every candidate's host is what precedes the first "/" of t,
  // so (host, path) pairs compare like the joined text without joining.
  struct Candidate {
    std::string_view host, path;
    bool operator==(const Candidate&) const = default;
  };
  struct Hash {
    std::size_t operator()(const Candidate& c) const {
      return std::hash<std::string_view>()(c.host) * 31 + std::hash<std::string_view>()(c.path);
    }
  };
  // Totals in the order candidates were first met, so ties go to the first.
  std::vector<std::pair<Candidate, double>> totals;
  std::unordered_map<Candidate, std::size_t, Hash> index;
  const double at = now();

  for (const auto& record : records_.all()) {
    if (record.host.empty()) continue;
    std::string_view host = record.host;
    if (!typedWww && host.starts_with("www.")) host.remove_prefix(4);
    Candidate candidate{host, {}};
    if (typingPath) {
      if (!typedText.starts_with(host)) continue;
      auto rest = typedText.substr(host.size());
      if (rest.empty() || rest.front() != '/') continue;
      std::string_view path = record.pathAndQuery;
      if (path.size() <= rest.size() || !path.starts_with(rest)) continue;
      candidate.path = path;
    } else if (host.size() <= t.size() || !host.starts_with(typedText)) {
      continue;
    }
    double score = frecency(record.visits, record.lastVisited, at);
    auto [slot, added] = index.try_emplace(candidate, totals.size());
    if (added)
      totals.emplace_back(candidate, score);
    else
      totals[slot->second].second += score;
  }

  const std::pair<Candidate, double>* winner = nullptr;
  for (const auto& total : totals)
    if (!winner || total.second > winner->second) winner = &total;
  if (!winner) return std::nullopt;
  std::string result(winner->first.host);
  result += winner->first.path;
  return result;
}

}  // namespace quillo
