// The WebKit view and data stores behind the page: loading, muting, crashes, restoring, local files and cookies.
#include "page/webkit/webkit_view.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "core/log.h"
#include "engine/support/engine_support.h"
#include "page/webkit/webkit_engine.h"

namespace quillo::test {
namespace {

std::string page(const std::string& title, const std::string& body = "") {
  return "<!doctype html><html><head><title>" + title + "</title></head><body>" + body + "</body></html>";
}

class WebKitViewTest : public ::testing::Test {
 protected:
  void SetUp() override {
    engine_ = &sharedEngine();
    server_.html("/one", page("One", "<p>first</p>"));
  }
  std::unique_ptr<WebViewPort> makeView(RecordingEvents& events, ViewConfiguration configuration = {}) {
    auto view = engine_->makeView(configuration);
    view->setEvents(&events);
    return view;
  }
  Url at(const std::string& path) { return mustParse(server_.url(path)); }

  WebKitEngine* engine_ = nullptr;
  TestServer server_;
};

TEST_F(WebKitViewTest, APageLoadsItsStateReachesThePortAndACrashIsReported) {
  std::string agent = webkit_settings_get_user_agent(engine_->settings());
  EXPECT_NE(agent.find("Version/26.0 Safari/605.1.15"), std::string::npos) << agent;
  RecordingEvents events;
  auto view = makeView(events);
  ASSERT_TRUE(loadAndWait(*view, events, at("/one")));
  // The title can arrive after the load has finished.
  ASSERT_TRUE(runUntil([&] { return view->title() == "One"; }));
  EXPECT_DOUBLE_EQ(view->progress(), 1.0);
  EXPECT_GT(events.stateChanges, 0);

  auto* raw = dynamic_cast<WebKitView&>(*view).raw();
  view->setMuted(true);
  EXPECT_TRUE(webkit_web_view_get_is_muted(raw));
  view->setMuted(false);
  EXPECT_FALSE(webkit_web_view_get_is_muted(raw));
  EXPECT_FALSE(view->isPlayingAudio());

  webkit_web_view_terminate_web_process(raw);
  ASSERT_TRUE(runUntil([&] { return events.crashes == 1; }));
  // A reload brings the page back in a new process.
  int commits = events.commits;
  view->reload();
  EXPECT_TRUE(runUntil([&] { return events.commits > commits && !view->isLoading(); }));
}

// (A restored list coming back, with both ways, only when asked, is the idle journey's.)
TEST_F(WebKitViewTest, JunkIsNoSessionStateToRestore) {
  RecordingEvents events;
  auto view = makeView(events);
  std::vector<std::string> lines;
  auto previous = setLogSink([&](const std::string& line) { lines.push_back(line); });
  EXPECT_FALSE(view->restoreSessionState(""));
  EXPECT_FALSE(view->restoreSessionState("not a session state"));
  setLogSink(previous);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("back and forward"), std::string::npos);
}

TEST_F(WebKitViewTest, ALocalFileLoadsItsNeighbouringImages) {
  // The temporary folder is mounted into the web process sandbox; the build tree beside this program is not.
  std::string name = "quillo-file-" + std::to_string(getpid());
  for (auto folder : {std::filesystem::temp_directory_path() / name,
                      std::filesystem::read_symlink("/proc/self/exe").parent_path() / name}) {
    std::filesystem::create_directories(folder / "img");
    std::ofstream(folder / "img" / "dot.svg")
        << "<svg xmlns='http://www.w3.org/2000/svg' width='4' height='4'><rect width='4' height='4'/></svg>";
    std::ofstream(folder / "page.html")
        << "<!doctype html><title>waiting</title><img src='img/dot.svg' "
           "onload=\"document.title='image ' + this.naturalWidth\" onerror=\"document.title='no image'\">";
    RecordingEvents events;
    auto view = makeView(events);
    auto file = *Url::fromFilePath((folder / "page.html").string());
    view->loadFile(file, file.deletingLastPathComponent());
    EXPECT_TRUE(runUntil([&] { return view->title() == "image 4" || view->title() == "no image"; }));
    EXPECT_EQ(view->title(), "image 4") << folder;
    std::filesystem::remove_all(folder);
  }
}

TEST(DataStores, PrivateViewsShareCookiesOnlyWithEachOtherAndLoseThemWithTheStore) {
  WebKitEngine& engine = sharedEngine();
  TestServer server;
  server.html("/", "<!doctype html><title>blank</title>");
  Url site = mustParse(server.url("/"));

  auto privateStore = engine.makePrivateStore();
  EXPECT_FALSE(privateStore->isPersistent());
  EXPECT_TRUE(engine.persistentStore()->isPersistent());
  auto* session = dynamic_cast<WebKitDataStore&>(*privateStore).session();
  g_object_add_weak_pointer(G_OBJECT(session), reinterpret_cast<gpointer*>(&session));

  RecordingEvents firstEvents, secondEvents, normalEvents, laterEvents;
  auto loaded = [&](std::shared_ptr<DataStore> store, RecordingEvents& events) {
    auto view = engine.makeView({store, {}, {}});
    view->setEvents(&events);
    EXPECT_TRUE(loadAndWait(*view, events, site));
    return view;
  };
  auto first = loaded(privateStore, firstEvents);
  EXPECT_EQ(first->store(), privateStore);
  ASSERT_TRUE(evaluateAndWait(*first, "document.cookie = 'incognito=1; max-age=3600'").result);
  auto second = loaded(privateStore, secondEvents);
  auto normal = loaded(nullptr, normalEvents);
  EXPECT_NE(evaluateText(*second, "document.cookie").find("incognito=1"), std::string::npos);
  EXPECT_EQ(evaluateText(*normal, "document.cookie").find("incognito=1"), std::string::npos);

  // And the other way round: a normal cookie stays out of private views.
  ASSERT_TRUE(evaluateAndWait(*normal, "document.cookie = 'everyday=1; max-age=3600'").result);
  EXPECT_EQ(evaluateText(*second, "document.cookie").find("everyday=1"), std::string::npos);

  // The session lives while anything holds it, and goes with the last one.
  first.reset();
  privateStore.reset();
  runFor(std::chrono::milliseconds(200));
  EXPECT_NE(session, nullptr);
  second.reset();
  EXPECT_TRUE(runUntil([&] { return session == nullptr; }));

  auto later = loaded(engine.makePrivateStore(), laterEvents);
  EXPECT_EQ(evaluateText(*later, "document.cookie").find("incognito=1"), std::string::npos);
}

}  // namespace
}  // namespace quillo::test
