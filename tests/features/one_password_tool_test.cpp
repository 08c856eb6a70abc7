// The 1Password tool as a child process: arguments, failures, big output, cancelling and time-outs.
#include "features/one_password_tool.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <fstream>

#include "support/fake_op.h"
#include "support/virtual_scheduler.h"

namespace quillo::OnePassword {
namespace {

using namespace std::chrono_literals;

class ToolTest : public ::testing::Test {
 protected:
  // Runs one call on `runner` (the stand-in unless given) and waits for its answer.
  Outcome runOnce(std::vector<std::string> arguments, Tool* runner = nullptr) {
    std::optional<Outcome> answer;
    auto call =
        (runner ? *runner : tool).run(std::move(arguments), [&](Outcome outcome) { answer = std::move(outcome); });
    EXPECT_FALSE(answer) << "answers later, never from inside run()";
    scheduler.runUntilIdle();
    if (!answer) scheduler.waitForWorkers(1);
    EXPECT_TRUE(answer) << "the tool answered";
    return answer.value_or(Outcome::failed(Failure::op("no answer")));
  }

  test::FakeOp op;
  test::VirtualScheduler scheduler;
  Tool tool{scheduler};
};

TEST_F(ToolTest, ArgumentsReachTheToolAsGivenWithNoShellBetweenAndAMissingToolOrANonZeroExitFailsWithTheErrorText) {
  const std::string id = "x y; touch pwned $(id) `id` \"q\" 'r' ]";
  auto outcome = runOnce(credentialsArguments(id));
  ASSERT_TRUE(outcome.failure);
  EXPECT_EQ(op.calls().back(), credentialsArguments(id));
  EXPECT_NE(outcome.failure->description().find("isn't an item"), std::string::npos);
  EXPECT_EQ(outcome.failure->description().find("[ERROR]"), std::string::npos) << "the dated header is gone";

  op.fail("[ERROR] account is not signed in\n", 1);
  EXPECT_EQ(runOnce(listArguments()).failure, Failure::op("[ERROR] account is not signed in"));
  op.fail("[ERROR] 2026/11/23 09:14:55 No accounts configured for use with 1Password CLI.", 1);
  EXPECT_EQ(runOnce(listArguments()).failure->kind, Failure::Kind::notConnected);
  Tool absent{scheduler, [] { return std::optional<std::string>(); }};
  EXPECT_EQ(runOnce(listArguments(), &absent).failure->kind, Failure::Kind::notInstalled) << "a missing tool";
}

TEST_F(ToolTest, LargeOutputOnBothPipesDoesNotStallTheTool) {
  // A tool that writes more than a pipe holds to each stream before exiting.
  std::string script = op.folder() + "/chatty";
  std::ofstream(script) << "#!/bin/sh\nhead -c 300000 /dev/zero | tr '\\0' e >&2\n"
                           "head -c 300000 /dev/zero | tr '\\0' o\nexit 0\n";
  ASSERT_EQ(chmod(script.c_str(), 0755), 0);
  Tool chatty{scheduler, [script] { return std::optional<std::string>(script); }};
  auto outcome = runOnce({}, &chatty);
  ASSERT_TRUE(outcome.output);
  EXPECT_EQ(outcome.output->size(), 300000u);
}

// Cancelling, by leaving the login scope, is played out by the logins' tests.
TEST_F(ToolTest, AHangingCallIsEndedAfterThirtySeconds) {
  op.hang();
  std::optional<Outcome> answer;
  auto call = tool.run(listArguments(), [&](Outcome outcome) { answer = std::move(outcome); });
  for (int i = 0; i < 500 && op.lastPid() == 0; ++i) g_usleep(10000);  // until there is a process to end
  ASSERT_NE(op.lastPid(), 0);
  scheduler.advance(29s);
  EXPECT_FALSE(answer);
  scheduler.advance(1s);  // may already run the worker's answer
  for (int i = 0; i < 1500 && !answer; ++i) scheduler.waitForWorkers(1, 20ms);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->failure->description(), "1Password didn't answer within 30 seconds. Unlock it and try again.");
  EXPECT_NE(kill(op.lastPid(), 0), 0) << "the tool's process is gone";
}

}  // namespace
}  // namespace quillo::OnePassword
