// An HTTPS proxy for tests: CONNECT tunnels to any host reach one of the tests' own servers.
#pragma once
#include <mutex>
#include <string>
#include <vector>

typedef struct _GSocketService GSocketService;

namespace quillo::test {

// Listens on 127.0.0.1 and joins every tunnel to `securePort` there, whatever host it names. Runs on the
// thread-default main context of the thread that made it.
class TestProxy {
 public:
  explicit TestProxy(int securePort);
  ~TestProxy();
  TestProxy(const TestProxy&) = delete;
  TestProxy& operator=(const TestProxy&) = delete;

  std::string url() const;  // "http://127.0.0.1:PORT"
  // Each request line seen, without its protocol: "CONNECT public.example:443".
  std::vector<std::string> requests() const;

 private:
  friend struct ProxyConnection;
  void note(const std::string& line);
  GSocketService* service_ = nullptr;
  int port_ = 0;
  int securePort_;
  mutable std::mutex mutex_;
  std::vector<std::string> requests_;
};

}  // namespace quillo::test
