// The EasyPrivacy update over real HTTP against a local server; no display.
#include <glib.h>
#include <gtest/gtest.h>

#include <chrono>

#include "blocking/block_lists.h"
#include "blocking/content_blocker.h"
#include "blocking/easy_privacy.h"
#include "core/date.h"
#include "core/settings.h"
#include "support/fake_filter_store.h"
#include "support/temp_home.h"
#include "support/test_server.h"

namespace quillo {
namespace {

using namespace std::chrono_literals;

// Turns the default main context until `done` holds; a ticking timer makes
// sure the condition is looked at even when nothing else happens.
bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout = 15s) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  guint tick = g_timeout_add(
      20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
  while (!done() && std::chrono::steady_clock::now() < deadline) g_main_context_iteration(nullptr, TRUE);
  g_source_remove(tick);
  return done();
}

class ListUpdateTest : public ::testing::Test {
 protected:
  ListUpdateTest() {
    store_.put(ContentBlocker::identifier, ContentBlocker::rulesJSON());
    store_.put(EasyPrivacy::identifier, "[last week's list]");
    settings_.set(EasyPrivacy::updatedKey, toReferenceSeconds(std::chrono::system_clock::now() - 8 * 24h));
  }

  // Starts the lists and waits until the update they start has finished.
  void startAndUpdate() {
    lists_ = std::make_unique<BlockLists>(store_, settings_, scheduler_, nullptr, server_.url("/easyprivacy.txt"));
    lists_->installed().connect([this](const std::shared_ptr<ContentFilter>& filter) {
      // What the browser does for each open page.
      pageFilters_ = lists_->lists();
      installed_.push_back(filter);
    });
    lists_->start();
    ASSERT_TRUE(runUntil([&] { return lists_->isSettled.get(); }));
    ASSERT_TRUE(lists_->isUpdating());
    ASSERT_TRUE(runUntil([&] { return !lists_->isUpdating(); }));
  }

  const test::FakeFilter& easyPrivacy() const { return dynamic_cast<const test::FakeFilter&>(*lists_->lists().back()); }
  bool isStale() const { return EasyPrivacy::isStale(settings_, std::chrono::system_clock::now()); }

  test::TempHome home_;
  test::CapturedLog log_;
  GLibScheduler scheduler_;
  test::FakeFilterStore store_{scheduler_};
  test::TestServer server_;
  Settings settings_{home_.root() / "settings.json"};
  std::unique_ptr<BlockLists> lists_;
  std::vector<std::shared_ptr<ContentFilter>> pageFilters_, installed_;
};

TEST_F(ListUpdateTest, FailuresKeepTheOldListAndAnOkAnswerInstallsTheNewOneIntoOpenPages) {
  test::Route notFound, dropped, ok;
  notFound.status = 404;
  notFound.body = "no such list";
  dropped.drop = true;
  for (const auto& [route, logged] : {std::pair{notFound, "bad server response: 404"}, {dropped, ""}}) {
    SCOPED_TRACE(logged);
    server_.route("/easyprivacy.txt", route);
    installed_.clear();
    log_.lines.clear();
    startAndUpdate();
    EXPECT_EQ(easyPrivacy().json, "[last week's list]");
    EXPECT_TRUE(log_.has(std::string("Quillo: couldn't update EasyPrivacy: ") + logged));
    EXPECT_TRUE(isStale());
    EXPECT_EQ(installed_.size(), 2u) << "only the start-up installs";
  }
  lists_ = std::make_unique<BlockLists>(store_, settings_, scheduler_, nullptr, "file:///etc/passwd");
  lists_->start();
  ASSERT_TRUE(runUntil([&] { return lists_->isSettled.get() && !lists_->isUpdating(); }));
  EXPECT_TRUE(log_.has("Quillo: couldn't update EasyPrivacy: bad address file:///etc/passwd"))
      << "only HTTP is fetched";

  const std::string list = "! test list\n||tracker.test^$third-party\n@@||tracker.test/ok.js\n";
  ok.contentType = "text/plain";
  ok.body = list;
  server_.route("/easyprivacy.txt", ok);
  log_.lines.clear();
  startAndUpdate();
  EXPECT_EQ(server_.count("/easyprivacy.txt"), 3);
  EXPECT_EQ(easyPrivacy().json, EasyPrivacy::convert(list).json);
  EXPECT_EQ(installed_.back(), lists_->lists().back());
  EXPECT_EQ(pageFilters_, lists_->lists()) << "the install hook saw the new list";
  EXPECT_FALSE(isStale());
  EXPECT_TRUE(log_.lines.empty()) << log_.lines.front();
}

}  // namespace
}  // namespace quillo
