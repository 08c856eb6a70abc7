// "permissions.json" as found on disk, read by the store itself: reading
// never crashes, and every permission it lists is one it can name and answer.
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "fuzz_support.h"
#include "stores/permissions.h"

using namespace quillo;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const auto folder =
      std::filesystem::temp_directory_path() / ("quillo-fuzz-permissions-" + std::to_string(getpid()));
  std::error_code error;
  std::filesystem::remove_all(folder, error);
  std::filesystem::create_directories(folder);
  const auto file = folder / "permissions.json";
  std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(data), std::streamsize(size));
  Permissions permissions(file, nullptr, [](const std::string&) { return std::optional<std::string>("App"); });
  for (const auto& permission : permissions.all()) {
    fuzz::check(!permission.host.empty(), "a listed permission has a host");
    fuzz::check(permissions.savedDecision(permission).has_value(), "a listed permission has its saved answer");
    fuzz::check(!permissions.title(permission).empty(), "a listed permission has a title");
    for (const auto& same : permissions.listed(permission.host))
      fuzz::check(same.host == permission.host, "a site's list holds only that site");
  }
  return 0;
}
