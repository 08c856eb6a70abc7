// The history store: every visited web address, kept in "history.json" and searched for the palette.
#pragma once
#include <sigc++/signal.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/app_support.h"
#include "core/scheduler.h"
#include "stores/history_entry.h"
#include "stores/history_records.h"

namespace quillo {

// Every http(s) address a normal tab has visited, with title, visit count
// and last visit. Lives on the main thread; the file is read on a worker
// thread and written on one serial writer thread, 2 s after the last change.
class History {
 public:
  static constexpr std::size_t kMaxEntries = 100000;
  static constexpr Duration kSaveDelay = std::chrono::seconds(2);

  // Starts reading the file at once; until it has been read, visits are
  // recorded as usual and merged into what loads, and nothing is written.
  explicit History(Scheduler& scheduler, std::filesystem::path file = AppSupport::file("history.json"));
  ~History();
  History(const History&) = delete;
  History& operator=(const History&) = delete;

  // Counts one visit; anything but http and https is ignored.
  void recordVisit(const Url& url);
  // Records a page title; a title never creates an entry.
  void updateTitle(const std::string& title, const Url& url);
  // Brings over entries from elsewhere (another browser): an address
  // already here keeps the larger visit count, the later visit and its own
  // title unless it has none, so bringing the same entries twice changes
  // nothing. Anything but http and https is ignored. Before the file has
  // loaded, the entries wait for it. Many entries are merged a slice per
  // turn of the main loop, so typing goes on meanwhile; `done` then gets how
  // many entries changed, and the file is saved once after.
  void merge(std::vector<HistoryEntry> entries, std::function<void(std::size_t changed)> done = {});
  void remove(const Url& url);
  void clear();
  // Writes at once and returns when the file is written (at quit).
  void saveNow();

  // The address the typed text should be completed to, lower case, or
  // nothing. Whole hosts, or whole addresses once a "/" is typed.
  std::optional<std::string> completion(std::string_view typed) const;
  // Entries containing every word of the query, best frecency first.
  std::vector<HistoryEntry> matches(std::string_view query, int limit) const;
  // Entries containing every word of the query (all with none), newest first.
  std::vector<HistoryEntry> recent(std::string_view query, int limit) const;

  // Visits weighted by age: a visit's weight halves every 14 days.
  static double frecency(const HistoryEntry& entry, double nowReferenceSeconds) {
    return frecency(entry.visits, entry.lastVisited, nowReferenceSeconds);
  }
  static double frecency(int64_t visits, double lastVisited, double nowReferenceSeconds) {
    return historyFrecency(visits, lastVisited, nowReferenceSeconds);
  }
  // Lower-cased query split at spaces; empty pieces dropped.
  static std::vector<std::string> words(std::string_view query);

  bool isLoaded() const { return isLoaded_; }
  std::size_t size() const { return records_.size(); }
  const HistoryEntry* find(const Url& url) const;

  // Fires on the main thread whenever the remembered entries change.
  sigc::signal<void()>& changed() { return changed_; }
  // Fires on the main thread after each write finished, with its success.
  sigc::signal<void(bool)>& written() { return written_; }

 private:
  using EntryPtr = HistoryRecords::EntryPtr;
  struct Loaded;
  struct Link;

  double now() const;
  void didChange();
  void scheduleSave();
  void save();
  std::optional<std::vector<const HistoryEntry*>> keptEntries();
  void write(std::vector<const HistoryEntry*> entries, bool waitUntilWritten);
  void finishLoading(Loaded loaded);
  void writeFinished(bool ok, bool keptAsideFailed);
  std::vector<HistoryEntry> entriesAt(const std::vector<uint32_t>& positions) const;
  static Loaded load(const std::filesystem::path& file);

  Scheduler& scheduler_;
  std::filesystem::path file_;
  HistoryRecords records_;
  TaskHandle pendingSave_;
  Clock::time_point firstUnsavedChange_{};
  bool isLoaded_ = false;
  bool clearedWhileLoading_ = false;
  // The file on disk could not be read: it is kept aside before the first
  // write, and not written at all unless the user changed something.
  bool fileUnreadable_ = false;
  bool changedByUser_ = false;
  struct Merge;
  void mergeSlice();
  bool mergeOne(HistoryEntry&& entry);
  std::deque<std::shared_ptr<Merge>> merges_;  // the first is under way once loaded
  TaskHandle nextSlice_;
  int writesUnfinished_ = 0;  // writes whose finish has not reached this thread
  std::shared_ptr<Link> link_;
  sigc::signal<void()> changed_;
  sigc::signal<void(bool)> written_;
};

}  // namespace quillo
