// A tiny HTTP(S) server for tests, with canned answers per path.
#pragma once
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

typedef struct _SoupServer SoupServer;
typedef struct _SoupServerMessage SoupServerMessage;
typedef struct _GHashTable GHashTable;

namespace quillo::test {

// One canned answer for a path.
struct Route {
  int status = 200;
  std::string contentType = "text/html; charset=utf-8";
  std::string body;
  std::vector<std::pair<std::string, std::string>> headers;
  // Closes the connection without answering.
  bool drop = false;
  // Sends only this many bytes of the body and then nothing more (a download that never ends); 0 sends it all.
  size_t stallAfter = 0;
};

struct ServedRequest {
  std::string path;
  std::string host;  // the Host header as sent
};

// On a loopback address and an OS-chosen port, run by the thread-default main context of the thread that made it,
// which the test iterates for requests to be answered. Unknown paths get a 404. The log may be read from any thread.
class TestServer {
 public:
  explicit TestServer(const std::string& address = "127.0.0.1", bool https = false);
  ~TestServer();
  TestServer(const TestServer&) = delete;
  TestServer& operator=(const TestServer&) = delete;

  void route(const std::string& path, Route route);
  // Shorthand for a 200 text/html answer.
  void html(const std::string& path, std::string body);

  // "http://ADDRESS:PORT" + path (path starts with '/'), "https://" for an HTTPS server.
  std::string url(const std::string& path) const;
  int port() const { return port_; }

  std::vector<ServedRequest> requests() const;
  int count(const std::string& path) const;
  void clearLog();

 private:
  static void handle(SoupServer*, SoupServerMessage* message, const char* path, GHashTable*, void* self);
  void answer(SoupServerMessage* message, const char* path);

  std::string address_;
  bool https_ = false;
  int port_ = 0;
  SoupServer* server_ = nullptr;
  mutable std::mutex mutex_;
  std::map<std::string, Route> routes_;
  std::vector<ServedRequest> log_;
};

}  // namespace quillo::test
