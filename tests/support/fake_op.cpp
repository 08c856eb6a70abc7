#include "support/fake_op.h"

#include <glib.h>
#include <glib/gstdio.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace quillo::test {

FakeOp::FakeOp() {
  char* made = g_dir_make_tmp("quillo-op-XXXXXX", nullptr);
  folder_ = made ? made : "/tmp";
  g_free(made);
  const char* path = g_getenv("PATH");
  savedPath_ = path ? path : "";
  std::string tool = QUILLO_FAKE_OP_DIR;
  g_setenv("PATH", (tool + ":" + savedPath_).c_str(), TRUE);
  g_setenv("FAKE_OP_FIXTURES", (tool + "/fixtures").c_str(), TRUE);
  g_setenv("FAKE_OP_STATE", folder_.c_str(), TRUE);
}

FakeOp::~FakeOp() {
  g_setenv("PATH", savedPath_.c_str(), TRUE);
  g_unsetenv("FAKE_OP_FIXTURES");
  g_unsetenv("FAKE_OP_STATE");
  std::error_code error;
  std::filesystem::remove_all(folder_, error);
}

void FakeOp::put(const std::string& name, const std::string& text) {
  std::ofstream(folder_ + "/" + name) << text;
}

void FakeOp::fail(const std::string& standardError, int status) {
  put("stderr", standardError);
  put("status", std::to_string(status));
}

void FakeOp::hang() { put("hang", "1"); }

void FakeOp::behave() {
  for (const char* name : {"stderr", "status", "sleep", "hang"}) g_remove((folder_ + "/" + name).c_str());
}

std::vector<std::vector<std::string>> FakeOp::calls() const {
  std::vector<std::vector<std::string>> calls;
  std::ifstream in(folder_ + "/calls");
  std::string line;
  while (std::getline(in, line)) {
    std::vector<std::string> arguments;
    for (size_t at = 0; at < line.size();) {
      size_t close = line.find("]", at + 1);
      // An argument may itself hold "]": the next one starts at "][" or the end.
      while (close != std::string::npos && close + 1 < line.size() && line[close + 1] != '[')
        close = line.find("]", close + 1);
      if (close == std::string::npos) break;
      arguments.push_back(line.substr(at + 1, close - at - 1));
      at = close + 1;
    }
    calls.push_back(std::move(arguments));
  }
  return calls;
}

int FakeOp::lastPid() const {
  std::ifstream in(folder_ + "/pid");
  int pid = 0;
  in >> pid;
  return pid;
}

}  // namespace quillo::test
