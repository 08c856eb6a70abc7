// "settings.json" as found on disk, read through the real file path: the
// file is read (or kept aside), and every key the program reads gives a
// value of its type or none, never a crash.
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "blocking/easy_privacy.h"
#include "core/settings.h"
#include "fuzz_support.h"

using namespace quillo;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::quietLog();
  static const std::filesystem::path folder = [] {
    auto path = std::filesystem::temp_directory_path() / ("quillo-fuzz-settings-" + std::to_string(getpid()));
    std::filesystem::create_directories(path);
    return path;
  }();
  auto file = folder / "settings.json";
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
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
