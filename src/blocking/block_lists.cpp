// Loading the stored block lists at start-up, and refreshing EasyPrivacy: download, convert on a worker, compile.
#include "blocking/block_lists.h"

#include <glib.h>

#include "blocking/content_blocker.h"
#include "core/log.h"
#include "core/settings.h"

namespace quillo {

BlockLists::BlockLists(FilterStore& store, Settings& settings, Scheduler& scheduler,
                       std::unique_ptr<ListFetcher> fetcher, std::string source)
    : store_(store),
      settings_(settings),
      scheduler_(scheduler),
      fetcher_(fetcher ? std::move(fetcher) : makeHttpListFetcher()),
      source_(std::move(source)),
      self_(std::make_shared<BlockLists*>(this)) {}

BlockLists::~BlockLists() {
  self_.reset();
  // The worker only converts and posts back; its result is dropped.
  if (worker_.joinable()) worker_.join();
}

void BlockLists::start() {
  if (started_) return;
  started_ = true;
  pendingLookups_ = 2;
  std::weak_ptr<BlockLists*> weak = self_;

  store_.load(ContentBlocker::identifier, [weak](FilterStore::Stored stored) {
    auto self = weak.lock();
    if (!self) return;
    BlockLists& lists = **self;
    std::string json = ContentBlocker::rulesJSON();
    if (stored.filter && stored.sourceDigest == sourceDigest(json)) {
      lists.storedTrackers_ = std::move(stored.filter);
      lists.lookedUp();
      return;
    }
    lists.store_.compile(ContentBlocker::identifier, std::move(json),
                         [weak](std::shared_ptr<ContentFilter> filter, std::string error) {
                           auto self = weak.lock();
                           if (!self) return;
                           if (!filter) logLine("tracker block list failed to compile: " + error);
                           (*self)->storedTrackers_ = std::move(filter);
                           (*self)->lookedUp();
                         });
  });

  store_.load(EasyPrivacy::identifier, [weak](FilterStore::Stored stored) {
    auto self = weak.lock();
    if (!self) return;
    (*self)->storedEasyPrivacy_ = std::move(stored.filter);
    (*self)->lookedUp();
  });
}

void BlockLists::lookedUp() {
  if (--pendingLookups_ > 0) return;
  // The tracker list first, then EasyPrivacy, each only when present.
  if (storedTrackers_) install(std::move(storedTrackers_));
  if (storedEasyPrivacy_) install(std::move(storedEasyPrivacy_));
  storedTrackers_.reset();
  storedEasyPrivacy_.reset();
  isSettled = true;
  updateEasyPrivacyIfStale();
}

bool BlockLists::has(const std::string& identifier) const {
  for (const auto& list : lists_) {
    if (list->identifier() == identifier) return true;
  }
  return false;
}

void BlockLists::install(std::shared_ptr<ContentFilter> filter) {
  std::erase_if(lists_, [&](const auto& list) { return list->identifier() == filter->identifier(); });
  lists_.push_back(filter);
  installed_.emit(filter);
}

void BlockLists::updateEasyPrivacyIfStale() {
  if (!isSettled) return;
  if (!EasyPrivacy::isStale(settings_, scheduler_.wallNow()) && has(EasyPrivacy::identifier)) return;
  if (updating_) return;
  updating_ = true;

  std::weak_ptr<BlockLists*> weak = self_;
  fetcher_->fetch(source_, [weak](FetchResult result) {
    auto self = weak.lock();
    if (!self) return;
    BlockLists& lists = **self;
    if (!result.ok) {
      lists.finishUpdate(result.error);
      return;
    }
    if (lists.worker_.joinable()) lists.worker_.join();
    // Tens of thousands of lines: converted off the main thread.
    lists.worker_ = std::thread([weak, scheduler = &lists.scheduler_, body = std::move(result.body)]() {
      gchar* text = g_utf8_make_valid(body.data(), gssize(body.size()));
      auto converted = std::make_shared<EasyPrivacy::Converted>(EasyPrivacy::convert(text));
      g_free(text);
      scheduler->postFromAnyThread([weak, converted] {
        if (auto self = weak.lock()) (*self)->converted(std::move(*converted));
      });
    });
  });
}

void BlockLists::converted(EasyPrivacy::Converted result) {
  if (worker_.joinable()) worker_.join();
  if (result.blocking + result.exceptions == 0) {
    // WebKit refuses an empty list, and an empty download is no update.
    finishUpdate("the downloaded list has no rules that can be used");
    return;
  }
  std::weak_ptr<BlockLists*> weak = self_;
  store_.compile(EasyPrivacy::identifier, std::move(result.json),
                 [weak](std::shared_ptr<ContentFilter> filter, std::string error) {
                   auto self = weak.lock();
                   if (!self) return;
                   BlockLists& lists = **self;
                   if (!filter) {
                     lists.finishUpdate(error);
                     return;
                   }
                   EasyPrivacy::markUpdated(lists.settings_, lists.scheduler_.wallNow());
                   lists.install(std::move(filter));
                   lists.finishUpdate({});
                 });
}

void BlockLists::finishUpdate(const std::string& error) {
  if (!error.empty()) logLine("couldn't update EasyPrivacy: " + error);
  updating_ = false;
}

}  // namespace quillo
