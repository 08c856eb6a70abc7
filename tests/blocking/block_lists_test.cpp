// The block lists' start-up from the store and the EasyPrivacy update cycle, on a fake store and download.
#include "blocking/block_lists.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "blocking/content_blocker.h"
#include "blocking/easy_privacy.h"
#include "core/date.h"
#include "core/settings.h"
#include "support/fake_filter_store.h"
#include "support/temp_home.h"
#include "support/virtual_scheduler.h"

namespace quillo {
namespace {

using namespace std::chrono_literals;
using Ids = std::vector<std::string>;

const char* kList = "! EasyPrivacy for tests\n||tracker.test^\n/pixel.gif$image\n@@||cdn.test^$script\n";

class BlockListsTest : public ::testing::Test {
 protected:
  // Whole seconds, so ages come out exact.
  BlockListsTest() { scheduler_.setWallNow(std::chrono::system_clock::time_point(1'700'000'000s)); }

  BlockLists& make() {
    lists_ = std::make_unique<BlockLists>(store_, settings_, scheduler_, std::make_unique<test::FakeFetcher>(fetch_),
                                          "https://lists.test/easyprivacy.txt");
    lists_->installed().connect([this](const auto& filter) { installedIds_.push_back(filter->identifier()); });
    return *lists_;
  }
  // Both lists as an earlier run left them, started and settled.
  BlockLists& startStored() {
    store_.put(ContentBlocker::identifier, ContentBlocker::rulesJSON());
    store_.put(EasyPrivacy::identifier, "[stored]");
    make().start();
    scheduler_.runUntilIdle();
    return *lists_;
  }
  void updatedAgo(std::chrono::seconds age) {
    settings_.set(EasyPrivacy::updatedKey, toReferenceSeconds(scheduler_.wallNow() - age));
  }
  bool isStale() const { return EasyPrivacy::isStale(settings_, scheduler_.wallNow()); }
  Ids ids() const {
    Ids out;
    for (const auto& list : lists_->lists()) out.push_back(list->identifier());
    return out;
  }
  // Answers the pending download, then lets the conversion and compile run.
  void answer(FetchResult result, bool expectConversion) {
    ASSERT_TRUE(fetch_->pending);
    std::exchange(fetch_->pending, nullptr)(std::move(result));
    if (expectConversion) scheduler_.waitForWorkers(1);
    scheduler_.runUntilIdle();
  }

  test::TempHome home_;
  test::CapturedLog log_;
  test::VirtualScheduler scheduler_;
  test::FakeFilterStore store_{scheduler_};
  std::shared_ptr<test::FakeFetcher::State> fetch_ = std::make_shared<test::FakeFetcher::State>();
  Settings settings_{home_.root() / "settings.json"};
  std::unique_ptr<BlockLists> lists_;
  Ids installedIds_;
};

TEST_F(BlockListsTest, StoredListsAreInstalledInOrderWithoutCompiling) {
  updatedAgo(1h);
  BlockLists& lists = startStored();
  EXPECT_TRUE(lists.isSettled);
  EXPECT_EQ(ids(), (Ids{"quillo.trackers", "quillo.easyprivacy"}));
  EXPECT_EQ(installedIds_, ids());
  EXPECT_TRUE(store_.compiled.empty());
  EXPECT_TRUE(fetch_->urls.empty()) << "a fresh installed list is not downloaded again";
}

TEST_F(BlockListsTest, TrackerListIsCompiledWhenMadeFromOtherRulesAndNothingIsFetchedBeforeStartUpSettles) {
  store_.put(ContentBlocker::identifier, "[an older build's rules]");
  updatedAgo(1h);
  store_.hold = true;
  BlockLists& lists = make();
  lists.start();
  lists.updateEasyPrivacyIfStale();
  scheduler_.runUntilIdle();
  EXPECT_TRUE(fetch_->urls.empty());
  EXPECT_FALSE(lists.isSettled) << "pages wait until the store answered";

  store_.release();
  scheduler_.runUntilIdle();
  EXPECT_TRUE(lists.isSettled);
  EXPECT_EQ(store_.compiled, Ids{"quillo.trackers"});
  EXPECT_EQ(store_.stored["quillo.trackers"]->json, ContentBlocker::rulesJSON());
  EXPECT_EQ(ids(), Ids{"quillo.trackers"});
  EXPECT_EQ(fetch_->urls, Ids{"https://lists.test/easyprivacy.txt"})
      << "no stored EasyPrivacy: fetched after settling, however fresh the date";

  // A failed compile still settles, and says why.
  store_.stored.clear();
  store_.compileError = "Invalid or unsupported regular expression.";
  make().start();
  scheduler_.runUntilIdle();
  EXPECT_TRUE(lists_->isSettled);
  EXPECT_TRUE(lists_->lists().empty());
  EXPECT_TRUE(log_.has("Quillo: tracker block list failed to compile: Invalid or unsupported regular expression."));
}

TEST_F(BlockListsTest, UpdateWhenStaleByTheUpdateDate) {
  EXPECT_TRUE(isStale()) << "never updated";
  settings_.set(EasyPrivacy::updatedKey, "yesterday");
  EXPECT_TRUE(isStale()) << "not a date";
  updatedAgo(604800s);
  BlockLists& lists = startStored();
  EXPECT_TRUE(fetch_->urls.empty()) << "exactly 7 days is fresh";

  scheduler_.advance(1s);
  EXPECT_TRUE(isStale());
  lists.updateEasyPrivacyIfStale();
  EXPECT_EQ(fetch_->urls.size(), 1u);
}

TEST_F(BlockListsTest, OneUpdateAtATimeFailuresKeepTheOldListAndTheDateSuccessReplacesBoth) {
  updatedAgo(24h * 30);
  double date = *settings_.number(EasyPrivacy::updatedKey);
  BlockLists& lists = startStored();
  auto old = lists.lists().back();
  lists.updateEasyPrivacyIfStale();
  EXPECT_EQ(fetch_->urls.size(), 1u) << "an update is already running";

  answer({false, {}, "bad server response: 404 Not Found"}, false);
  EXPECT_TRUE(log_.has("Quillo: couldn't update EasyPrivacy: bad server response: 404 Not Found"));

  store_.compileError = "Invalid or unsupported regular expression.";
  lists.updateEasyPrivacyIfStale();
  EXPECT_EQ(fetch_->urls.size(), 2u) << "still stale: the next activation tries again";
  answer({true, kList, {}}, true);
  EXPECT_TRUE(log_.has("Quillo: couldn't update EasyPrivacy: Invalid or unsupported regular expression."));

  lists.updateEasyPrivacyIfStale();
  size_t compiles = store_.compiled.size();
  answer({true, "! nothing usable\n##.ad\n", {}}, true);
  EXPECT_EQ(store_.compiled.size(), compiles) << "an empty list is never compiled";
  EXPECT_TRUE(log_.has("Quillo: couldn't update EasyPrivacy: the downloaded list has no rules"));

  EXPECT_EQ(lists.lists().back(), old);
  EXPECT_EQ(*settings_.number(EasyPrivacy::updatedKey), date);
  EXPECT_EQ(installedIds_.size(), 2u) << "only the start-up installs";

  store_.compileError.clear();
  log_.lines.clear();
  lists.updateEasyPrivacyIfStale();
  answer({true, kList, {}}, true);
  EXPECT_EQ(ids(), (Ids{"quillo.trackers", "quillo.easyprivacy"})) << "replaced, not added";
  EXPECT_EQ(lists.lists().back(), store_.stored["quillo.easyprivacy"]);
  EXPECT_EQ(store_.stored["quillo.easyprivacy"]->json, EasyPrivacy::convert(kList).json);
  EXPECT_EQ(installedIds_.back(), "quillo.easyprivacy");
  EXPECT_TRUE(log_.lines.empty());
  EXPECT_EQ(settings_.number(EasyPrivacy::updatedKey), toReferenceSeconds(scheduler_.wallNow()));
}

TEST_F(BlockListsTest, DestroyedDuringAnUpdateCallsNothing) {
  startStored();
  auto done = std::move(fetch_->pending);
  lists_.reset();
  done({true, kList, {}});  // nothing to convert for any more
  scheduler_.runUntilIdle();
  EXPECT_TRUE(store_.compiled.empty());
}

}  // namespace
}  // namespace quillo
