// The stand-in for 1Password's command-line tool: its scratch folder, misbehaviours and call log.
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

void FakeOp::put(const std::string& name, const std::string& text) { std::ofstream(folder_ + "/" + name) << text; }

void FakeOp::fail(const std::string& standardError, int status) {
  put("stderr", standardError);
  put("status", std::to_string(status));
}

void FakeOp::hang() { put("hang", "1"); }

void FakeOp::behave() {
  for (const char* name : {"stderr", "status", "hang"}) g_remove((folder_ + "/" + name).c_str());
}

std::vector<std::vector<std::string>> FakeOp::calls() const {
  std::vector<std::vector<std::string>> calls;
  std::ifstream in(folder_ + "/calls");
  for (std::string line; std::getline(in, line);) {
    std::istringstream fields(line);
    calls.emplace_back();
    for (std::string argument; std::getline(fields, argument, '\0');) calls.back().push_back(argument);
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
