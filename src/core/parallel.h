// Running a large loop in chunks on several threads at once.
#pragma once
#include <algorithm>
#include <cstddef>
#include <thread>
#include <vector>

namespace quillo {

inline constexpr std::size_t kMaxChunks = 4;

// Runs work(chunk, begin, end) over [0, count) in contiguous chunks, one per
// processor (at most kMaxChunks), the first on the calling thread. Small counts
// stay on the calling thread: below `minPerChunk` items a thread costs more
// than it saves. Returns the number of chunks, numbered in order.
template <class Work>
std::size_t inChunks(std::size_t count, std::size_t minPerChunk, Work&& work) {
  std::size_t chunks = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, kMaxChunks);
  chunks = std::max<std::size_t>(1, std::min(chunks, count / std::max<std::size_t>(1, minPerChunk)));
  if (chunks == 1) {
    work(std::size_t(0), std::size_t(0), count);
    return 1;
  }
  std::vector<std::thread> helpers;
  helpers.reserve(chunks - 1);
  auto bound = [&](std::size_t c) { return count * c / chunks; };
  for (std::size_t c = 1; c < chunks; ++c) helpers.emplace_back([&, c] { work(c, bound(c), bound(c + 1)); });
  work(std::size_t(0), std::size_t(0), bound(1));
  for (auto& helper : helpers) helper.join();
  return chunks;
}

}  // namespace quillo
