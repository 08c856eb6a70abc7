// The block lists every page gets: the stored ones installed at start-up, EasyPrivacy refreshed weekly.
#pragma once
#include <sigc++/signal.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "blocking/easy_privacy.h"
#include "blocking/filter_store.h"
#include "blocking/list_fetcher.h"
#include "core/observable.h"
#include "core/scheduler.h"
#include "page/web_view_port.h"

namespace quillo {

class Settings;

// The content-blocker lists every page gets: the built-in tracker list and
// the EasyPrivacy list. At start-up the stored lists are looked up (the
// tracker list is compiled only when the stored one is missing or was made
// from other rules); pages should wait for isSettled. Then EasyPrivacy is
// refreshed when it is older than a week, in the background.
//
// The owner applies lists() to every new view and, on installed(), to
// every open page.
class BlockLists {
 public:
  // fetcher: nullptr for HTTP. source: where the EasyPrivacy list lives.
  // The store, settings and scheduler must outlive this object.
  BlockLists(FilterStore& store, Settings& settings, Scheduler& scheduler,
             std::unique_ptr<ListFetcher> fetcher = nullptr, std::string source = EasyPrivacy::defaultSource);
  ~BlockLists();
  BlockLists(const BlockLists&) = delete;
  BlockLists& operator=(const BlockLists&) = delete;

  // Looks up (or compiles) the lists, installs them in order, settles, and
  // then calls updateEasyPrivacyIfStale().
  void start();

  // False until the stored lists are installed (or failed to be) at start-up.
  Published<bool> isSettled{false};

  // The installed lists, in installation order, at most one per identifier.
  const std::vector<std::shared_ptr<ContentFilter>>& lists() const { return lists_; }
  // A list was installed, possibly replacing an older one with its identifier.
  sigc::signal<void(const std::shared_ptr<ContentFilter>&)>& installed() { return installed_; }

  // Downloads, converts (on a worker thread) and compiles EasyPrivacy when
  // it is stale or not installed; one update at a time. Does nothing before
  // start-up has settled, which checks anyway.
  void updateEasyPrivacyIfStale();
  bool isUpdating() const { return updating_; }

 private:
  void lookedUp();
  void install(std::shared_ptr<ContentFilter> filter);
  bool has(const std::string& identifier) const;
  void converted(EasyPrivacy::Converted result);
  void finishUpdate(const std::string& error);

  FilterStore& store_;
  Settings& settings_;
  Scheduler& scheduler_;
  std::unique_ptr<ListFetcher> fetcher_;
  std::string source_;

  std::vector<std::shared_ptr<ContentFilter>> lists_;
  sigc::signal<void(const std::shared_ptr<ContentFilter>&)> installed_;

  bool started_ = false;
  int pendingLookups_ = 0;
  std::shared_ptr<ContentFilter> storedTrackers_, storedEasyPrivacy_;

  bool updating_ = false;
  std::thread worker_;
  // Callbacks hold a weak reference: they do nothing once this is gone.
  std::shared_ptr<BlockLists*> self_;
};

}  // namespace quillo
