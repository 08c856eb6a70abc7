// The files Quillo keeps: who may read them, whole-file saving, and what happens to ones it cannot read.
#include "core/app_support.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "core/settings.h"
#include "support/fake_filter_store.h"
#include "support/temp_home.h"

namespace quillo {
namespace {

int modeOf(const std::filesystem::path& path) {
  struct stat info;
  EXPECT_EQ(lstat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

struct AppSupportFiles : ::testing::Test {
  test::TempHome home;
  test::CapturedLog log;
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
  ASSERT_FALSE(log.lines.empty());
  EXPECT_EQ(log.lines.back().rfind("Quillo: couldn't save blocked.json: ", 0), 0u) << log.lines.back();
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
      {data / "website-data", 0775, 0700},          {storage, 0777, 0700}, {storage / "salt", 0666, 0600},
      {data / "website-data" / "tool", 0755, 0700},  // only the bits of group and others go
      {home.root() / "elsewhere.txt", 0644, 0644},   // a link's target is not ours
  };
  for (const auto& mode : modes) chmod(mode.path.c_str(), mode.before);
  std::filesystem::remove_all(AppSupport::configFolder());

  AppSupport::secureFolders();

  for (const auto& mode : modes) EXPECT_EQ(modeOf(mode.path), mode.after) << mode.path;
  EXPECT_EQ(modeOf(AppSupport::configFolder()), 0700) << "made when missing";
  EXPECT_TRUE(log.lines.empty());
}

// A settings file that is not an object is kept aside once; the next change starts a new one and a kept copy is
// never overwritten (the session's and history's files are kept aside alike).
TEST_F(AppSupportFiles, UnreadableSettingsFilesAreKeptAsideOnceAndHugeNumbersAreNoIntegers) {
  std::filesystem::create_directories(Settings::defaultFile().parent_path());
  for (const char* text : {"[1, 2]", "{broken"}) {
    std::ofstream(Settings::defaultFile()) << text;
    Settings settings(Settings::defaultFile());
    EXPECT_FALSE(settings.value("QuickPinCount"));
    settings.set("QuickPinCount", 3);
  }
  EXPECT_EQ(test::TempHome::read(AppSupport::configFolder() / "settings.json.unreadable"), "[1, 2]");
  EXPECT_EQ(test::TempHome::read(AppSupport::configFolder() / "settings.json.unreadable.2"), "{broken");
  ASSERT_EQ(log.lines.size(), 2u);
  EXPECT_EQ(log.lines[1], "Quillo: couldn't read settings.json; kept it as settings.json.unreadable.2");
  EXPECT_EQ(Settings(Settings::defaultFile()).integer("QuickPinCount"), 3);

  // Found by fuzzing the settings reader: a hand-edited number far outside
  // long long's range was converted anyway (undefined behaviour).
  std::ofstream(Settings::defaultFile())
      << R"({"a": 1e300, "b": -1e300, "c": 4.7, "d": 18446744073709551615, "e": -3, "f": "9"})";
  Settings settings(Settings::defaultFile());
  for (auto [key, integer] : std::initializer_list<std::pair<const char*, std::optional<long long>>>{
           {"a", {}}, {"b", {}}, {"c", 4}, {"d", {}}, {"e", -3}, {"f", {}}})
    EXPECT_EQ(settings.integer(key), integer) << key;
  EXPECT_EQ(settings.number("a"), 1e300);
}

}  // namespace
}  // namespace quillo
