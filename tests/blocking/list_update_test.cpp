// The filter-list download over real HTTP against a local server; no display.
#include <glib.h>
#include <gtest/gtest.h>

#include <chrono>
#include <optional>

#include "blocking/list_fetcher.h"
#include "support/test_server.h"

namespace quillo {
namespace {

TEST(HttpListFetcher, OnlyA200AnswerOverHttpCountsAndAnythingElseSaysWhy) {
  test::TestServer server;
  const std::string list = "! test list\n||tracker.test^$third-party\n";
  server.route("/ok.txt", test::Route{200, "text/plain", list, {}});
  server.route("/missing.txt", test::Route{404, "text/plain", "no such list", {}});
  server.route("/dropped.txt", test::Route{200, "text/plain", "", {}, /*drop=*/true});

  struct Case {
    std::string url;
    bool ok;
    std::string error;  // how the reason starts
  };
  const Case cases[] = {
      {server.url("/ok.txt"), true, ""},
      {server.url("/missing.txt"), false, "bad server response: 404"},
      {server.url("/dropped.txt"), false, ""},
      {"file:///etc/passwd", false, "bad address file:///etc/passwd"},  // never read: only HTTP is fetched
  };
  for (const auto& [url, isOk, error] : cases) {
    auto fetcher = makeHttpListFetcher();
    std::optional<FetchResult> result;
    fetcher->fetch(url, [&](FetchResult answer) { result = std::move(answer); });
    // A ticking timer makes the loop look at the time even when nothing else happens.
    guint tick = g_timeout_add(
        20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    while (!result && std::chrono::steady_clock::now() < deadline) g_main_context_iteration(nullptr, TRUE);
    g_source_remove(tick);
    ASSERT_TRUE(result) << url;
    EXPECT_EQ(result->ok, isOk) << url;
    EXPECT_EQ(result->body, isOk ? list : "") << url;
    EXPECT_EQ(result->error.empty(), isOk) << result->error;
    EXPECT_TRUE(result->error.starts_with(error)) << result->error;
  }
}

}  // namespace
}  // namespace quillo
