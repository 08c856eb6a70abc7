#include "support/test_server.h"

#include <gtest/gtest.h>
#include <libsoup/soup.h>

#include "engine/support/engine_support.h"

namespace quillo::test {
namespace {

struct Fetched {
  bool done = false;
  int status = 0;
  std::string body;
  std::string header;
  std::string error;
};

// Fetches a URL through libsoup on the default main context.
Fetched fetch(const std::string& url, const char* headerName = nullptr) {
  auto* session = soup_session_new();
  auto* message = soup_message_new("GET", url.c_str());
  Fetched fetched;
  struct Call {
    Fetched* fetched;
    SoupMessage* message;
    const char* headerName;
  } call{&fetched, message, headerName};
  soup_session_send_and_read_async(
      session, message, G_PRIORITY_DEFAULT, nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        auto* call = static_cast<Call*>(data);
        GError* error = nullptr;
        GBytes* bytes = soup_session_send_and_read_finish(SOUP_SESSION(source), result, &error);
        if (bytes) {
          gsize size = 0;
          auto* text = static_cast<const char*>(g_bytes_get_data(bytes, &size));
          call->fetched->body.assign(text ? text : "", size);
          call->fetched->status = soup_message_get_status(call->message);
          if (call->headerName) {
            const char* value =
                soup_message_headers_get_one(soup_message_get_response_headers(call->message), call->headerName);
            if (value) call->fetched->header = value;
          }
          g_bytes_unref(bytes);
        } else {
          call->fetched->error = error ? error->message : "failed";
          g_clear_error(&error);
        }
        call->fetched->done = true;
      },
      &call);
  runUntil([&] { return fetched.done; });
  g_object_unref(message);
  g_object_unref(session);
  return fetched;
}

TEST(TestServer, AnswersRoutesAndLogsPathsWithTheirHost) {
  TestServer server;
  Route route;
  route.contentType = "text/plain";
  route.body = "hello";
  route.headers = {{"X-Test", "yes"}};
  server.route("/hello", route);

  Fetched ok = fetch(server.url("/hello?x=1"), "X-Test");
  EXPECT_EQ(ok.status, 200);
  EXPECT_EQ(ok.body, "hello");
  EXPECT_EQ(ok.header, "yes");

  Fetched missing = fetch(server.url("/nothing"));
  EXPECT_EQ(missing.status, 404);

  auto requests = server.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].path, "/hello");
  EXPECT_EQ(requests[0].query, "x=1");
  EXPECT_EQ(requests[0].host, "127.0.0.1:" + std::to_string(server.port()));
  EXPECT_EQ(server.count("/nothing"), 1);
  server.clearLog();
  EXPECT_TRUE(server.requests().empty());
}

TEST(TestServer, ListensOnAnotherLoopbackAddress) {
  TestServer other("127.0.0.2");
  other.html("/", "<p>other</p>");
  EXPECT_EQ(other.url("/").rfind("http://127.0.0.2:", 0), 0u);
  Fetched fetched = fetch(other.url("/"));
  EXPECT_EQ(fetched.status, 200);
  EXPECT_EQ(other.requests().at(0).host, "127.0.0.2:" + std::to_string(other.port()));
}

TEST(TestServer, DelaysWithoutBlockingOtherRequestsAndDropsConnections) {
  TestServer server;
  Route slow;
  slow.body = "slow";
  slow.delay = std::chrono::milliseconds(300);
  server.route("/slow", slow);
  server.html("/fast", "fast");
  Route dropped;
  dropped.drop = true;
  server.route("/drop", dropped);

  auto started = std::chrono::steady_clock::now();
  Fetched fetched = fetch(server.url("/slow"));
  EXPECT_EQ(fetched.body, "slow");
  EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(300));
  EXPECT_EQ(fetch(server.url("/fast")).body, "fast");

  Fetched broken = fetch(server.url("/drop"));
  EXPECT_FALSE(broken.error.empty());
  EXPECT_EQ(server.count("/drop"), 1);

  Route slowDrop = dropped;
  slowDrop.delay = std::chrono::milliseconds(50);
  server.route("/slow-drop", slowDrop);
  EXPECT_FALSE(fetch(server.url("/slow-drop")).error.empty());
}

TEST(TestServer, ADelayedAnswerStillPendingWhenTheServerGoesIsDropped) {
  auto server = std::make_unique<TestServer>();
  Route slow;
  slow.delay = std::chrono::seconds(10);
  server->route("/slow", slow);
  std::string url = server->url("/slow");
  auto* session = soup_session_new();
  auto* message = soup_message_new("GET", url.c_str());
  bool done = false;
  soup_session_send_and_read_async(
      session, message, G_PRIORITY_DEFAULT, nullptr,
      [](GObject* source, GAsyncResult* result, gpointer flag) {
        GError* error = nullptr;
        GBytes* bytes = soup_session_send_and_read_finish(SOUP_SESSION(source), result, &error);
        if (bytes) g_bytes_unref(bytes);
        g_clear_error(&error);
        *static_cast<bool*>(flag) = true;
      },
      &done);
  ASSERT_TRUE(runUntil([&] { return server->count("/slow") == 1; }));
  server.reset();
  EXPECT_TRUE(runUntil([&] { return done; }, std::chrono::seconds(5)));
  g_object_unref(message);
  g_object_unref(session);
}

}  // namespace
}  // namespace quillo::test
