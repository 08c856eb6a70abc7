// A throwaway home: the XDG folders pointed at a temporary folder, removed afterwards.
#include "support/temp_home.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace quillo::test {
namespace {
const char* kVariables[3] = {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"};
}

TempHome::TempHome() {
  std::string pattern = (std::filesystem::temp_directory_path() / "quillo-home.XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
  root_ = pattern;
  const char* sub[3] = {"data", "config", "cache"};
  for (int i = 0; i < 3; ++i) {
    if (const char* old = std::getenv(kVariables[i])) {
      had_[i] = true;
      saved_[i] = old;
    }
    std::filesystem::create_directories(root_ / sub[i]);
    setenv(kVariables[i], (root_ / sub[i]).c_str(), 1);
  }
}

TempHome::~TempHome() {
  for (int i = 0; i < 3; ++i) {
    if (had_[i])
      setenv(kVariables[i], saved_[i].c_str(), 1);
    else
      unsetenv(kVariables[i]);
  }
  std::error_code ec;
  std::filesystem::remove_all(root_, ec);
}

std::filesystem::path TempHome::data(const std::string& name) const { return root_ / "data" / "quillo" / name; }

std::string TempHome::read(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace quillo::test
