#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "blocking/convert_command.h"

namespace quillo {
namespace {

TEST(ConvertCommand, WritesJsonAndOneCountsLineEvenForBrokenUtf8OrFailsWithAMessage) {
  const auto folder = std::filesystem::temp_directory_path() / ("quillo-convert-" + std::to_string(::getpid()));
  std::filesystem::create_directories(folder);
  std::ofstream(folder / "list.txt", std::ios::binary)
      << "[Adblock Plus 2.0]\n||a.test^\n@@||a.test/ok\n/x.js$popup\n/z\xe4hler.js\n";
  std::ostringstream out, err;
  EXPECT_EQ(convertFilterListCommand((folder / "list.txt").string(), out, err), 0);
  EXPECT_EQ(nlohmann::json::parse(out.str()).size(), 2u);
  EXPECT_EQ(err.str(), "blocking 1, exceptions 1, skipped 2\n");

  for (const auto& path : {(folder / "missing.txt").string(), folder.string()}) {
    std::ostringstream none, message;
    EXPECT_EQ(convertFilterListCommand(path, none, message), 1) << path;
    EXPECT_NE(message.str().find("couldn't read the filter list"), std::string::npos) << message.str();
    EXPECT_TRUE(none.str().empty());
    if (path.ends_with("missing.txt")) {
      EXPECT_NE(message.str().find("missing.txt"), std::string::npos) << message.str();
    }
  }
  EXPECT_NE(convertFilterListCommand("", out, err), 0);
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace quillo
