#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "blocking/convert_command.h"

namespace quillo {
namespace {

class ConvertCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = std::filesystem::temp_directory_path() / ("quillo-convert-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder_);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }
  std::string write(const std::string& name, const std::string& text) {
    auto path = folder_ / name;
    std::ofstream(path, std::ios::binary) << text;
    return path.string();
  }
  std::filesystem::path folder_;
  std::ostringstream out_, err_;
};

TEST_F(ConvertCommandTest, WritesJsonAndOneCountsLineEvenForBrokenUtf8) {
  std::string path = write("list.txt", "[Adblock Plus 2.0]\n||a.test^\n@@||a.test/ok\n/x.js$popup\n/z\xe4hler.js\n");
  EXPECT_EQ(convertFilterListCommand(path, out_, err_), 0);
  EXPECT_EQ(nlohmann::json::parse(out_.str()).size(), 2u);
  EXPECT_EQ(err_.str(), "blocking 1, exceptions 1, skipped 2\n");
}

TEST_F(ConvertCommandTest, MissingOrUnreadableFileFailsWithAMessage) {
  EXPECT_EQ(convertFilterListCommand((folder_ / "missing.txt").string(), out_, err_), 1);
  EXPECT_NE(err_.str().find("couldn't read the filter list"), std::string::npos) << err_.str();
  EXPECT_NE(err_.str().find("missing.txt"), std::string::npos) << err_.str();
  EXPECT_TRUE(out_.str().empty());

  err_.str("");
  EXPECT_EQ(convertFilterListCommand(folder_.string(), out_, err_), 1) << "a folder";
  EXPECT_FALSE(err_.str().empty());
  EXPECT_TRUE(out_.str().empty());

  EXPECT_NE(convertFilterListCommand("", out_, err_), 0);
}

}  // namespace
}  // namespace quillo
