// The stand-in for 1Password's command-line tool, first on PATH while a test runs.
#pragma once
#include <string>
#include <vector>

namespace quillo::test {

// Puts the tests' stand-in for 1Password's "op" first on PATH for the
// lifetime of this object, answering from the fixtures in tests/features/op.
// What it was asked and how it should misbehave live in a scratch folder.
class FakeOp {
 public:
  FakeOp();
  ~FakeOp();
  FakeOp(const FakeOp&) = delete;
  FakeOp& operator=(const FakeOp&) = delete;

  // Every call from now on fails with this text on standard error.
  void fail(const std::string& standardError, int status = 1);
  // Every call from now on never answers.
  void hang();
  // Back to answering at once from the fixtures.
  void behave();

  // The calls so far, each as its argument vector (after "op").
  std::vector<std::vector<std::string>> calls() const;
  // The process id of the latest call.
  int lastPid() const;
  const std::string& folder() const { return folder_; }

 private:
  void put(const std::string& name, const std::string& text);
  std::string folder_;
  std::string savedPath_;
};

}  // namespace quillo::test
