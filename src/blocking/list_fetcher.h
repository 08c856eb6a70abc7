// Downloading filter lists: the fetcher interface and the HTTP one.
#pragma once
#include <functional>
#include <memory>
#include <string>

namespace quillo {

struct FetchResult {
  bool ok = false;
  std::string body;
  std::string error;  // why it failed, for the log
};

// Downloads a filter list. Calls back on the main thread, unless the
// fetcher is destroyed first, in which case it never calls back.
class ListFetcher {
 public:
  virtual ~ListFetcher() = default;
  virtual void fetch(const std::string& url, std::function<void(FetchResult)> done) = 0;
};

// Over HTTP(S) with libsoup: no cache, no cookies, a 60 s time-out, and only
// a 200 answer counts.
std::unique_ptr<ListFetcher> makeHttpListFetcher();

}  // namespace quillo
