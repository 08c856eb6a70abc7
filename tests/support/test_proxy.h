// An HTTPS proxy for tests: CONNECT tunnels to any host reach one of the tests' own servers.
#pragma once
#include <string>

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

 private:
  friend struct ProxyConnection;
  GSocketService* service_ = nullptr;
  int port_ = 0;
  int securePort_;
};

}  // namespace quillo::test
