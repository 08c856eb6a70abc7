// The history store's on-disk format: encoding and decoding "history.json".
#pragma once
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/date.h"
#include "core/parallel.h"
#include "core/url.h"

namespace quillo {

// One remembered address. Identified by its URL.
struct HistoryEntry {
  Url url;
  std::string title;       // empty until the page reports one
  int64_t visits = 0;      // at least 1 once recorded
  double lastVisited = 0;  // seconds since 1 January 2001 UTC, as stored

  std::chrono::system_clock::time_point lastVisitedTime() const { return fromReferenceSeconds(lastVisited); }
  const std::string& id() const { return url.str(); }
};

// "history.json": an array of {"url", "title", "visits", "lastVisited"}.
// Encoding never fails: text that is not valid UTF-8 is written with
// replacement characters rather than losing the whole file.
std::string encodeHistory(const std::vector<HistoryEntry>& entries);
std::string encodeHistory(const std::vector<std::shared_ptr<const HistoryEntry>>& entries);
std::string encodeHistory(const std::vector<const HistoryEntry*>& entries);

// nullopt when the text is not JSON, not an array, or any element lacks a
// key or has one of the wrong type: the file is then treated as unreadable
// as a whole, and kept aside before it is ever overwritten.
std::optional<std::vector<HistoryEntry>> decodeHistory(std::string_view json);

// The file as this program writes it (an array of objects with exactly the
// four keys), read on several threads: take(chunk, entry) gets each entry,
// every chunk's entries in order on one thread, the chunks covering the file
// in order. Returns how many chunks there were, at most kMaxChunks, or
// nothing when the text could not be read this way: take may then have had
// some entries, which the caller drops before asking decodeHistory.
std::optional<std::size_t> decodeHistoryChunks(std::string_view json,
                                               const std::function<void(std::size_t, HistoryEntry&&)>& take);

}  // namespace quillo
