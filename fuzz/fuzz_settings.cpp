// "settings.json" as found on disk, read through the real file path: the
// file is read (or kept aside), and every key the program reads gives a
// value of its type or none, never a crash.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "blocking/easy_privacy.h"
#include "core/settings.h"
#include "fuzz_support.h"

using namespace quillo;

namespace {
// A folder of this process's own, removed at exit (the path object is never
// destroyed, so the exit handler can still use it).
const std::filesystem::path& folder() {
  static const auto* path = [] {
    auto* made = new std::filesystem::path(std::filesystem::temp_directory_path() /
                                           ("quillo-fuzz-settings-" + std::to_string(getpid())));
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(folder(), ignored);
    });
    return made;
  }();
  return *path;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::quietLog();
  auto file = folder() / "settings.json";
  // Fresh each time: a file kept aside by the last input would change this one's path.
  std::filesystem::remove_all(folder());
  std::filesystem::create_directories(folder());
  std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(data), std::streamsize(size));
  Settings settings(file);
  for (const char* key : {"QuickPinCount", "EasyPrivacyUpdated", "AlwaysAllowedAppLinks"}) {
    (void)settings.value(key);
    (void)settings.number(key);
    (void)settings.integer(key);
    (void)settings.string(key);
  }
  (void)EasyPrivacy::isStale(settings, std::chrono::system_clock::now());
  return 0;
}
