#pragma once
#include <mutex>
#include <string>
#include <vector>

typedef struct _GSocketService GSocketService;

namespace quillo::test {

// An HTTP proxy on 127.0.0.1 that lets any host name reach the tests' own
// servers: plain requests go to `plainPort`, CONNECT tunnels (HTTPS) to
// `securePort`, whatever host they name. Runs on the thread-default main
// context of the thread that made it.
class TestProxy {
 public:
  TestProxy(int plainPort, int securePort);
  ~TestProxy();
  TestProxy(const TestProxy&) = delete;
  TestProxy& operator=(const TestProxy&) = delete;

  // "http://127.0.0.1:PORT"
  std::string url() const;
  // Each request line seen, e.g. "CONNECT public.example:443" or
  // "GET http://public.example/a".
  std::vector<std::string> requests() const;

 private:
  friend struct ProxyConnection;
  void note(const std::string& line);
  GSocketService* service_ = nullptr;
  int port_ = 0;
  int plainPort_, securePort_;
  mutable std::mutex mutex_;
  std::vector<std::string> requests_;
};

}  // namespace quillo::test
