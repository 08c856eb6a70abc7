// The downloads list: where files go, how items end, the launcher count, and what downloads.json keeps.
#include "stores/downloads.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <set>

#include "core/app_support.h"
#include "support/service_doubles.h"
#include "support/temp_home.h"

namespace quillo {
namespace {

using State = DownloadItem::State;

void touch(const std::filesystem::path& path, const std::string& text = "old") { std::ofstream(path) << text; }

class DownloadsTest : public ::testing::Test {
 protected:
  DownloadsTest() { std::filesystem::create_directories(folder); }
  test::TempHome home;
  std::filesystem::path folder = home.root() / "Downloads";
  std::filesystem::path file = AppSupport::file(Downloads::kFileName);
  test::TestDesktop desktop;
  std::unique_ptr<Downloads> downloads;

  Downloads& load() {
    downloads.reset();
    downloads = std::make_unique<Downloads>(file, folder);
    downloads->attach(desktop);
    return *downloads;
  }
  Downloads::ItemPtr started(const char* address, bool isPrivate = false) {
    return downloads->start(std::make_shared<test::TestJob>(), Url::parse(address), isPrivate);
  }
  Downloads::ItemPtr finished(const char* address, const char* name, bool isPrivate = false) {
    auto item = started(address, isPrivate);
    downloads->chooseDestination(item, name);
    touch(*item->file());
    downloads->finish(item);
    return item;
  }
  nlohmann::json saved() { return AppSupport::read(file).value; }
};

TEST(DownloadNames, TakenNamesAreNumberedWithASpaceBeforeTheExtension) {
  std::set<std::string> taken;
  auto free = [&](const std::string& suggested) {
    auto path = Downloads::freePath("/d", suggested, [&](const auto& p) { return taken.count(p.filename()) > 0; });
    taken.insert(path.filename());
    return path.filename().string();
  };
  for (auto* name : {"notes", "archive.tar.gz"}) EXPECT_EQ(free(name), name);
  EXPECT_EQ(free("notes"), "notes 2") << "no dot without an extension";
  EXPECT_EQ(free("archive.tar.gz"), "archive.tar 2.gz");
  EXPECT_EQ(free("archive.tar.gz"), "archive.tar 3.gz");
  EXPECT_EQ(free("../../etc/passwd"), "passwd") << "a suggested name never leaves the folder";
  EXPECT_EQ(free(""), "Download");
}

// Numbering beside an existing file is the engine's tests'; here, two under way and the engine's own choice.
TEST_F(DownloadsTest, ANameIsTakenFromTheStartAndTheEnginesChoiceIsFollowed) {
  auto& list = load();
  auto first = started("https://site.test/get?id=1");
  auto second = started("https://site.test/get?id=2");
  EXPECT_EQ(list.chooseDestination(first, "a.zip"), folder / "a.zip");
  EXPECT_EQ(list.chooseDestination(second, "a.zip"), folder / "a 2.zip") << "the first has written nothing yet";

  // A file the engine made elsewhere is followed, and our placeholder goes.
  list.adoptDestination(second, home.root() / "b.txt");
  EXPECT_EQ(second->file(), home.root() / "b.txt");
  EXPECT_FALSE(std::filesystem::exists(folder / "a 2.zip"));
}

TEST_F(DownloadsTest, ItemsStartNamedByTheirAddressAndEndFinishedOrFailedAndMovedFilesAreMissing) {
  auto& list = load();
  auto a = started("https://site.test/files/My%20File.pdf");
  auto b = started("https://site.test/");
  EXPECT_EQ(a->filename(), "My File.pdf");
  EXPECT_EQ(b->filename(), "Download");
  EXPECT_EQ(list.list().front(), b) << "newest first";
  EXPECT_EQ(desktop.counts.back(), 2);

  list.chooseDestination(a, "My File.pdf");
  list.progress(a, 0.42);
  touch(*a->file(), "data");
  list.finish(a);
  EXPECT_DOUBLE_EQ(a->fraction(), 1.0);
  EXPECT_EQ(desktop.arrived, std::vector<std::filesystem::path>{folder / "My File.pdf"});
  EXPECT_EQ(desktop.counts.back(), 1);

  list.chooseDestination(b, "index.html");
  list.fail(b, "Connection terminated unexpectedly", false);
  EXPECT_FALSE(std::filesystem::exists(folder / "index.html")) << "our empty placeholder goes with the failure";
  EXPECT_EQ(desktop.counts.back(), 0) << "the count disappears when every download has ended";

  finished("https://site.test/secret.pdf", "secret.pdf", true);
  EXPECT_EQ(desktop.arrived.size(), 1u) << "a private download is not added to the recent files";

  // A moved file is missing and cannot be revealed.
  EXPECT_FALSE(a->isMissing());
  list.reveal(a);
  std::filesystem::rename(*a->file(), home.root() / "elsewhere.pdf");
  EXPECT_TRUE(a->isMissing());
  list.reveal(a);
  EXPECT_EQ(desktop.revealed, std::vector<std::filesystem::path>{folder / "My File.pdf"});
}

TEST_F(DownloadsTest, RunningDownloadsAreStoppedAfterARestart) {
  auto& list = load();
  finished("https://site.test/done.txt", "done.txt");
  list.fail(started("https://site.test/broken.txt"), "Not Found", false);
  auto running = started("https://site.test/running.txt");
  list.chooseDestination(running, "running.txt");
  list.progress(running, 0.5);
  EXPECT_EQ(saved()[2]["file"], Url::fromFilePath((folder / "done.txt").string())->str());

  auto& reloaded = load();
  std::vector<std::pair<State, std::string>> ended;
  for (const auto& item : reloaded.list()) ended.emplace_back(item->state(), item->failure());
  EXPECT_EQ(ended,
            (decltype(ended){
                {State::failed, Downloads::kStoppedAtQuit}, {State::failed, "Not Found"}, {State::finished, ""}}));
  EXPECT_TRUE(reloaded.thisSession().empty());
  EXPECT_EQ(reloaded.running(), 0);
}

TEST_F(DownloadsTest, AnUnreadableFileIsKeptAsideAndTheFileKeepsTheNewest500WhileTheListKeepsTheRest) {
  const std::string unreadable = R"([{"filename":"a.txt","started":"yesterday","isFinished":true}])";
  ASSERT_TRUE(AppSupport::writeAtomically(file, unreadable, Downloads::kFileName));
  EXPECT_TRUE(load().list().empty());
  started("https://site.test/b.txt");
  EXPECT_EQ(test::TempHome::read(file.string() + ".unreadable"), unreadable);
  EXPECT_EQ(saved().size(), 1u);

  nlohmann::json records = nlohmann::json::array();
  for (int i = 500; i-- > 0;)
    records.push_back({{"filename", "f" + std::to_string(i)}, {"started", 700000000.0 + i}, {"isFinished", true}});
  ASSERT_TRUE(AppSupport::writeAtomically(file, records.dump(), Downloads::kFileName));
  auto& list = load();
  ASSERT_EQ(list.list().size(), 500u);
  list.fail(started("https://site.test/f500"), "Not Found", false);
  EXPECT_EQ(list.list().size(), 501u) << "the oldest stays listed until quit";
  auto written = saved();
  ASSERT_EQ(written.size(), 500u);
  EXPECT_EQ(written.back()["filename"], "f1") << "the oldest is dropped from the file";
}

}  // namespace
}  // namespace quillo
