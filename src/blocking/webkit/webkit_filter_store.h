// Block lists compiled and kept in WebKit's content filter store, with the JSON to compile them again from.
#pragma once
#include <filesystem>
#include <string>

#include "blocking/filter_store.h"

typedef struct _WebKitUserContentFilterStore WebKitUserContentFilterStore;
typedef struct _GCancellable GCancellable;

namespace quillo {

// Compiled content-blocker lists in WebKit's content filter store, by
// default in AppSupport::folder()/"content-filters". Beside each compiled
// list it keeps the JSON it was made from ("<identifier>.json") and that
// JSON's digest ("<identifier>.digest"), so a list WebKit can no longer load
// (after a WebKit upgrade changed its format, say) is compiled again from
// it instead of being lost.
class WebKitFilterStore final : public FilterStore {
 public:
  WebKitFilterStore();
  explicit WebKitFilterStore(std::filesystem::path folder);
  ~WebKitFilterStore() override;
  WebKitFilterStore(const WebKitFilterStore&) = delete;
  WebKitFilterStore& operator=(const WebKitFilterStore&) = delete;

  void compile(const std::string& identifier, std::string json, Compiled done) override;
  void load(const std::string& identifier, Loaded done) override;

  const std::filesystem::path& folder() const { return folder_; }

 private:
  std::filesystem::path folder_;
  WebKitUserContentFilterStore* store_ = nullptr;
  // Cancelled on destruction: pending callbacks are then dropped.
  GCancellable* cancellable_ = nullptr;
};

}  // namespace quillo
