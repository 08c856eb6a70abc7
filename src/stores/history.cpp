// The history store: recording visits, loading and saving on worker threads, and searching for the palette.
#include "stores/history.h"

#include <glib.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <iterator>
#include <mutex>
#include <thread>
#include <utility>

#include "core/log.h"
#include "core/parallel.h"
#include "core/save_delay.h"
#include "core/text.h"
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
    // What reading freed on the loader threads goes back to the system
    // rather than stay in their arenas for good; after the records are
    // handed over, so nobody waits for it.
    malloc_trim(0);
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
  // Mapped rather than read: the text is only read once, by the parser, and
  // a 16 MB copy costs as much as a third of the parse.
  GError* error = nullptr;
  GMappedFile* mapped = g_mapped_file_new(file.c_str(), FALSE, &error);
  if (!mapped) {
    bool missing = error && g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_NOENT);
    g_clear_error(&error);
    loaded.status = missing ? AppSupport::ReadResult::Status::missing : AppSupport::ReadResult::Status::unreadable;
    return loaded;
  }
  std::unique_ptr<GMappedFile, decltype(&g_mapped_file_unref)> mapping(mapped, g_mapped_file_unref);
  const char* contents = g_mapped_file_get_contents(mapped);
  const std::size_t length = g_mapped_file_get_length(mapped);
  // Entries are worked into records on the threads that decode them; a file
  // in another form is read the careful way and then the same.
  const std::string_view text(contents ? contents : "", contents ? length : 0);
  std::vector<HistoryRecords::Chunk> chunks(kMaxChunks);
  // Room for the most a chunk may get, so nothing is copied as it grows;
  // what a chunk leaves untouched is never given memory.
  for (auto& chunk : chunks) chunk.reserve(length / 100, length);
  auto count = decodeHistoryChunks(text, [&](std::size_t chunk, HistoryEntry&& entry) {
    chunks[chunk].add(std::make_shared<const HistoryEntry>(std::move(entry)));
  });
  if (count) {
    chunks.resize(*count);
  } else {
    chunks.clear();
    chunks.resize(1);
    auto entries = decodeHistory(text);
    if (!entries) {
      loaded.status = AppSupport::ReadResult::Status::unreadable;
      return loaded;
    }
    for (auto& entry : *entries) chunks[0].add(std::make_shared<const HistoryEntry>(std::move(entry)));
  }
  mapping.reset();
  loaded.status = AppSupport::ReadResult::Status::ok;
  // A later duplicate replaces an earlier one.
  loaded.records.putAll(std::move(chunks));
  // Here rather than at the first keystroke on the main thread.
  loaded.records.prepare();
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
  for (std::size_t i = 0; i < records_.size(); ++i) {
    const EntryPtr& mine = records_.at(i);
    const HistoryEntry* stored = loaded.records.find(mine->url.str());
    if (!stored) {
      loaded.records.put(mine);
      continue;
    }
    auto merged = std::make_shared<HistoryEntry>(*mine);
    merged->visits = addVisits(merged->visits, stored->visits);
    if (merged->title.empty()) merged->title = stored->title;
    loaded.records.put(std::move(merged));
  }
  records_ = std::move(loaded.records);
  if (recordedWhileLoading) scheduleSave();
  changed_.emit();
  if (!merges_.empty()) mergeSlice();
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
  const HistoryEntry* record = records_.find(url.str());
  auto visited =
      record ? std::make_shared<HistoryEntry>(*record) : std::make_shared<HistoryEntry>(HistoryEntry{url, {}, 0, when});
  visited->visits = addVisits(visited->visits, 1);
  visited->lastVisited = when;
  // Same URL and title: the haystack stays as it is.
  records_.put(std::move(visited));
  didChange();
}

void History::updateTitle(const std::string& title, const Url& url) {
  if (title.empty()) return;
  const HistoryEntry* record = records_.find(url.str());
  if (!record || record->title == title) return;
  auto titled = std::make_shared<HistoryEntry>(*record);
  titled->title = title;
  records_.put(std::move(titled));  // rebuilds the haystack from the new title
  didChange();
}

struct History::Merge {
  std::vector<HistoryEntry> entries;
  std::function<void(std::size_t)> done;
  std::size_t next = 0, changed = 0;
};

void History::merge(std::vector<HistoryEntry> entries, std::function<void(std::size_t)> done) {
  merges_.push_back(std::make_shared<Merge>(Merge{std::move(entries), std::move(done)}));
  if (isLoaded_ && merges_.size() == 1) mergeSlice();
}

bool History::mergeOne(HistoryEntry&& entry) {
  if (entry.url.scheme() != "http" && entry.url.scheme() != "https") return false;
  entry.visits = std::max<int64_t>(entry.visits, 1);
  if (const HistoryEntry* mine = records_.find(entry.url.str())) {
    if (entry.visits <= mine->visits && entry.lastVisited <= mine->lastVisited &&
        (!mine->title.empty() || entry.title.empty()))
      return false;
    entry.visits = std::max(entry.visits, mine->visits);
    entry.lastVisited = std::max(entry.lastVisited, mine->lastVisited);
    if (!mine->title.empty()) entry.title = mine->title;
  }
  records_.put(std::make_shared<const HistoryEntry>(std::move(entry)));
  return true;
}

void History::mergeSlice() {
  // A couple of tens of milliseconds at most, also over a full history.
  constexpr std::size_t kSlice = 2000;
  auto merge = merges_.front();
  auto& entries = merge->entries;
  const std::size_t end = std::min(entries.size(), merge->next + kSlice);
  records_.beginBatch();
  for (; merge->next < end; ++merge->next) merge->changed += mergeOne(std::move(entries[merge->next]));
  records_.endBatch();
  if (merge->next < entries.size()) {
    nextSlice_ = scheduler_.post([this] { mergeSlice(); });
    return;
  }
  merges_.pop_front();
  if (merge->changed) didChange();
  if (merge->done) merge->done(merge->changed);
  if (!merges_.empty()) nextSlice_ = scheduler_.post([this] { mergeSlice(); });
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

const HistoryEntry* History::find(const Url& url) const { return records_.find(url.str()); }

// --- Saving ---------------------------------------------------------------

void History::scheduleSave() {
  auto now = scheduler_.now();
  if (!pendingSave_.pending()) firstUnsavedChange_ = now;
  pendingSave_ = scheduler_.after(saveDelay(now, firstUnsavedChange_, kSaveDelay), [this] { save(); });
}

std::optional<std::vector<const HistoryEntry*>> History::keptEntries() {
  pendingSave_.cancel();
  // Never before the file has been read: a partial history must not
  // replace the stored one.
  if (!isLoaded_) return std::nullopt;
  // The least recently visited are forgotten in memory too.
  if (records_.keepMostRecent(kMaxEntries)) changed_.emit();
  // Only plain pointers are copied here, without touching the entries;
  // encoding happens on the writer thread, and the records hold on to what
  // they let go of until the write is done.
  return records_.entries();
}

void History::save() {
  if (auto entries = keptEntries()) write(std::move(*entries), false);
}

void History::saveNow() {
  if (auto entries = keptEntries()) write(std::move(*entries), true);
}

void History::write(std::vector<const HistoryEntry*> entries, bool waitUntilWritten) {
  // An unreadable file stays as it is until there is something of the
  // user's to write, and is then kept aside rather than overwritten.
  if (fileUnreadable_ && !changedByUser_) return;
  bool keepAsideFirst = fileUnreadable_;
  fileUnreadable_ = false;
  ++link_->writesInFlight;
  ++writesUnfinished_;
  records_.holdReleased(true);
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
  if (--writesUnfinished_ == 0) records_.holdReleased(false);
  if (keptAsideFailed) fileUnreadable_ = true;  // try again at the next change
  written_.emit(ok);
}

// --- Search ---------------------------------------------------------------

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

std::vector<HistoryEntry> History::entriesAt(const std::vector<uint32_t>& positions) const {
  std::vector<HistoryEntry> result;
  result.reserve(positions.size());
  for (uint32_t p : positions) result.push_back(*records_.at(p));
  return result;
}

std::vector<HistoryEntry> History::matches(std::string_view query, int limit) const {
  auto list = words(query);
  if (list.empty()) return {};
  return entriesAt(records_.best(list, limit, HistoryRecords::Ranking::frecency, now()));
}

std::vector<HistoryEntry> History::recent(std::string_view query, int limit) const {
  return entriesAt(records_.best(words(query), limit, HistoryRecords::Ranking::recency, now()));
}

// Hosts, or whole addresses once a "/" is typed, each scored by the summed
// frecency of the records that give it; the highest total wins.
std::optional<std::string> History::completion(std::string_view typed) const {
  const std::string t = foldCase(typed);
  if (t.empty() || t.find(' ') != std::string::npos || t.front() == '/' || t.find("://") != std::string::npos)
    return std::nullopt;
  return records_.completion(t, now());
}

}  // namespace quillo
