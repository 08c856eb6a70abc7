// "downloads.json" as found on disk, read by the store itself: reading never
// crashes, the list never exceeds its cap, and every item reads as a file.
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "fuzz_support.h"
#include "stores/downloads.h"

using namespace quillo;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const auto folder =
      std::filesystem::temp_directory_path() / ("quillo-fuzz-downloads-" + std::to_string(getpid()));
  std::error_code error;
  std::filesystem::remove_all(folder, error);
  std::filesystem::create_directories(folder);
  const auto file = folder / "downloads.json";
  std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(data), std::streamsize(size));
  Downloads downloads(file, folder);
  const auto items = downloads.items();
  fuzz::check(items.size() <= 500, "at most the newest 500 are kept");
  for (const auto& item : items) {
    (void)item->filename();
    (void)item->source();
    (void)item->isMissing();
  }
  fuzz::check(downloads.thisSession().empty(), "nothing read from the file is from this run");
  return 0;
}
