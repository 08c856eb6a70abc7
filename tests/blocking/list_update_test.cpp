// The EasyPrivacy update over real HTTP against a local server; no display.
#include <glib.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "blocking/block_lists.h"
#include "blocking/content_blocker.h"
#include "blocking/easy_privacy.h"
#include "core/date.h"
#include "core/log.h"
#include "core/settings.h"
#include "fake_filter_store.h"
#include "support/test_server.h"

namespace quillo {
namespace {

using namespace std::chrono_literals;

// Turns the default main context until `done` holds; a ticking timer makes
// sure the condition is looked at even when nothing else happens.
bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout = 15s) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  guint tick = g_timeout_add(20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
  while (!done() && std::chrono::steady_clock::now() < deadline) g_main_context_iteration(nullptr, TRUE);
  g_source_remove(tick);
  return done();
}

class ListUpdateTest : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = std::filesystem::temp_directory_path() /
              ("quillo-listupdate-" + std::to_string(::getpid()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(folder_);
    settings_ = std::make_unique<Settings>(folder_ / "settings.json");
    previousSink_ = setLogSink([this](const std::string& line) { log_.push_back(line); });
    store_.put(ContentBlocker::identifier, ContentBlocker::rulesJSON());
    store_.put(EasyPrivacy::identifier, "[last week's list]");
    settings_->set(EasyPrivacy::updatedKey, toReferenceSeconds(std::chrono::system_clock::now() - 8 * 24h));
  }
  void TearDown() override {
    lists_.reset();
    setLogSink(previousSink_);
    std::filesystem::remove_all(folder_);
  }

  // Starts the lists and waits until the update they start has finished.
  void startAndUpdate() {
    lists_ = std::make_unique<BlockLists>(store_, *settings_, scheduler_, nullptr, server_.url("/easyprivacy.txt"));
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
  bool logged(const std::string& start) const {
    for (const auto& line : log_) {
      if (line.rfind(start, 0) == 0) return true;
    }
    return false;
  }

  std::filesystem::path folder_;
  GLibScheduler scheduler_;
  test::FakeFilterStore store_{scheduler_};
  test::TestServer server_;
  std::unique_ptr<Settings> settings_;
  std::unique_ptr<BlockLists> lists_;
  std::vector<std::shared_ptr<ContentFilter>> pageFilters_, installed_;
  std::vector<std::string> log_;
  LogSink previousSink_;
};

TEST_F(ListUpdateTest, OkAnswerInstallsTheNewListIntoOpenPages) {
  const std::string list = "! test list\n||tracker.test^$third-party\n@@||tracker.test/ok.js\n";
  test::Route route;
  route.contentType = "text/plain";
  route.body = list;
  server_.route("/easyprivacy.txt", route);

  startAndUpdate();

  EXPECT_EQ(server_.count("/easyprivacy.txt"), 1);
  EXPECT_EQ(easyPrivacy().json, EasyPrivacy::convert(list).json);
  ASSERT_FALSE(installed_.empty());
  EXPECT_EQ(installed_.back(), lists_->lists().back());
  EXPECT_EQ(pageFilters_, lists_->lists()) << "the install hook saw the new list";
  EXPECT_FALSE(EasyPrivacy::isStale(*settings_, std::chrono::system_clock::now()));
  EXPECT_TRUE(log_.empty()) << log_.front();
}

TEST_F(ListUpdateTest, NotFoundKeepsTheOldList) {
  test::Route route;
  route.status = 404;
  route.body = "no such list";
  server_.route("/easyprivacy.txt", route);

  startAndUpdate();

  EXPECT_EQ(easyPrivacy().json, "[last week's list]");
  EXPECT_TRUE(logged("Quillo: couldn't update EasyPrivacy: bad server response: 404"));
  EXPECT_TRUE(EasyPrivacy::isStale(*settings_, std::chrono::system_clock::now()));
}

TEST_F(ListUpdateTest, DroppedConnectionKeepsTheOldList) {
  test::Route route;
  route.drop = true;
  server_.route("/easyprivacy.txt", route);

  startAndUpdate();

  EXPECT_EQ(easyPrivacy().json, "[last week's list]");
  EXPECT_TRUE(logged("Quillo: couldn't update EasyPrivacy: "));
  EXPECT_EQ(installed_.size(), 2u) << "only the start-up installs";
}

TEST_F(ListUpdateTest, AddressThatIsNotHttpFailsCleanly) {
  lists_ = std::make_unique<BlockLists>(store_, *settings_, scheduler_, nullptr, "file:///etc/passwd");
  lists_->start();
  ASSERT_TRUE(runUntil([&] { return lists_->isSettled.get() && !lists_->isUpdating(); }));
  EXPECT_TRUE(logged("Quillo: couldn't update EasyPrivacy: bad address file:///etc/passwd"));
}

}  // namespace
}  // namespace quillo
