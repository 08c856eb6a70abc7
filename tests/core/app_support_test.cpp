// The files Quillo keeps: who may read them, and what happens to ones it
// cannot read.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "core/app_support.h"
#include "core/log.h"
#include "core/settings.h"
#include "support/temp_home.h"

namespace quillo {
namespace {

int modeOf(const std::filesystem::path& path) {
  struct stat info;
  EXPECT_EQ(lstat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

std::string textOf(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

class AppSupportFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    oldSink_ = setLogSink([this](const std::string& line) { log_.push_back(line); });
  }
  void TearDown() override { setLogSink(oldSink_); }

  test::TempHome home;
  std::vector<std::string> log_;
  LogSink oldSink_;
};

// The file-modes run checks the modes of what a normal run writes.
TEST_F(AppSupportFiles, ReplacingAFileOthersCouldReadLeavesOneTheyCannotAndAFailedWriteLeavesTheOldFile) {
  ASSERT_TRUE(AppSupport::save(nlohmann::json{{"a", 1}}, "zoom.json"));
  chmod(AppSupport::file("zoom.json").c_str(), 0644);
  ASSERT_TRUE(AppSupport::save(nlohmann::json{{"a", 1}}, "zoom.json"));
  EXPECT_EQ(modeOf(AppSupport::file("zoom.json")), 0600);

  // A folder in a file's place cannot be replaced by it: the old file stays, and we say why.
  std::filesystem::create_directories(AppSupport::file("blocked.json"));
  EXPECT_FALSE(AppSupport::save(nlohmann::json::object(), "blocked.json"));
  ASSERT_FALSE(log_.empty());
  EXPECT_EQ(log_.back().rfind("Quillo: couldn't save blocked.json: ", 0), 0u) << log_.back();
  EXPECT_EQ(AppSupport::read(std::string_view("zoom.json")).value, (nlohmann::json{{"a", 1}}));
}

TEST_F(AppSupportFiles, StartingTightensWhatOthersCouldReadButFollowsNoLinks) {
  auto data = AppSupport::folder();
  auto storage = data / "website-data" / "storage";
  std::filesystem::create_directories(storage);
  std::ofstream(storage / "salt") << "x";
  std::ofstream(home.root() / "elsewhere.txt") << "not ours";
  std::filesystem::create_symlink(home.root() / "elsewhere.txt", data / "link");
  std::ofstream(data / "website-data" / "tool") << "#!/bin/sh";
  struct Mode {
    std::filesystem::path path;
    int before, after;
  };
  // The file-modes run starts from a readable folder and files at the top.
  const std::vector<Mode> modes = {
      {data / "website-data", 0775, 0700}, {storage, 0777, 0700}, {storage / "salt", 0666, 0600},
      {data / "website-data" / "tool", 0755, 0700},  // only the bits of group and others go
      {home.root() / "elsewhere.txt", 0644, 0644},   // a link's target is not ours
  };
  for (const auto& mode : modes) chmod(mode.path.c_str(), mode.before);
  std::filesystem::remove_all(AppSupport::configFolder());

  AppSupport::secureFolders();

  for (const auto& mode : modes) EXPECT_EQ(modeOf(mode.path), mode.after) << mode.path;
  EXPECT_EQ(modeOf(AppSupport::configFolder()), 0700) << "made when missing";
  EXPECT_TRUE(log_.empty());
}

TEST_F(AppSupportFiles, KeptCopiesAreNeverOverwritten) {
  auto file = AppSupport::file("zoom.json");
  std::vector<std::string> contents = {"{first", "[second", "third"};
  std::vector<std::filesystem::path> kept;
  for (const auto& text : contents) {
    ASSERT_TRUE(AppSupport::writeAtomically(file, text, "zoom.json"));
    auto aside = AppSupport::keepAside(file, "syntax error");
    ASSERT_TRUE(aside);
    kept.push_back(*aside);
  }
  EXPECT_EQ(kept[0].filename(), "zoom.json.unreadable");
  EXPECT_EQ(kept[1].filename(), "zoom.json.unreadable.2");
  EXPECT_EQ(kept[2].filename(), "zoom.json.unreadable.3");
  for (size_t i = 0; i < kept.size(); ++i) EXPECT_EQ(textOf(kept[i]), contents[i]);
  EXPECT_FALSE(std::filesystem::exists(file));
  ASSERT_EQ(log_.size(), 3u);
  EXPECT_EQ(log_[1], "Quillo: couldn't read zoom.json (syntax error); kept it as zoom.json.unreadable.2");

  // Nothing to move: said once, and nothing is made up.
  log_.clear();
  EXPECT_FALSE(AppSupport::keepAside(file));
  EXPECT_EQ(log_.size(), 1u);
  EXPECT_FALSE(std::filesystem::exists(AppSupport::file("zoom.json.unreadable.4")));
}

// A settings file that is not an object is kept aside once; the next change
// starts a new one and never overwrites the kept copy.
TEST_F(AppSupportFiles, UnreadableSettingsFilesAreKeptAsideOnceAndHugeNumbersAreNoIntegers) {
  std::filesystem::create_directories(Settings::defaultFile().parent_path());
  for (const char* text : {"[1, 2]", "{broken"}) {
    std::ofstream(Settings::defaultFile()) << text;
    Settings settings(Settings::defaultFile());
    EXPECT_FALSE(settings.value("QuickPinCount"));
    settings.set("QuickPinCount", 3);
  }
  EXPECT_EQ(textOf(AppSupport::configFolder() / "settings.json.unreadable"), "[1, 2]");
  EXPECT_EQ(textOf(AppSupport::configFolder() / "settings.json.unreadable.2"), "{broken");
  EXPECT_EQ(log_.size(), 2u);
  EXPECT_EQ(Settings(Settings::defaultFile()).integer("QuickPinCount"), 3);

  // Found by fuzzing the settings reader: a hand-edited number far outside
  // long long's range was converted anyway (undefined behaviour).
  std::ofstream(Settings::defaultFile())
      << R"({"a": 1e300, "b": -1e300, "c": 4.7, "d": 18446744073709551615, "e": -3, "f": "9"})";
  Settings settings(Settings::defaultFile());
  EXPECT_FALSE(settings.integer("a"));
  EXPECT_FALSE(settings.integer("b"));
  EXPECT_EQ(settings.integer("c"), 4);
  EXPECT_FALSE(settings.integer("d"));
  EXPECT_EQ(settings.integer("e"), -3);
  EXPECT_FALSE(settings.integer("f"));
  EXPECT_EQ(settings.number("a"), 1e300);
}

}  // namespace
}  // namespace quillo
