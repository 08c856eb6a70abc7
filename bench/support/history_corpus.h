// Benchmark data: a history that looks like a real one, and what people type into the palette over it.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "stores/history_entry.h"

namespace quillo::bench {

// A history that looks like a real one: a few big sites visited often and a
// long tail of hosts seen once, news, wiki, code, shop, search and video
// addresses with queries, titles in several scripts, some without a title,
// visit counts with a heavy tail and visits spread over two years before
// `nowReferenceSeconds`. The same stream number gives the same history; URLs are unique.
std::vector<HistoryEntry> realisticHistory(std::size_t count, uint32_t stream, double nowReferenceSeconds);

// Things people type into the palette that hit such a history: hosts,
// host plus path, and title words.
std::vector<std::string> typicalQueries();

}  // namespace quillo::bench
