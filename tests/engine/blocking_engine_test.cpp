// Content blocking in the real engine: compiling, the store, and what a page can and cannot load.
#include <gtest/gtest.h>
#include <webkit/webkit.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "blocking/content_blocker.h"
#include "blocking/easy_privacy.h"
#include "blocking/webkit/webkit_filter_store.h"
#include "core/app_support.h"
#include "core/log.h"
#include "engine/support/engine_support.h"
#include "page/webkit/webkit_engine.h"

namespace quillo::test {
namespace {

using namespace std::chrono_literals;

struct Compiled {
  bool answered = false;
  std::shared_ptr<ContentFilter> filter;
  std::string error;
};

Compiled compileAndWait(FilterStore& store, const std::string& identifier, const std::string& json,
                        std::chrono::milliseconds timeout = 15s) {
  auto result = std::make_shared<Compiled>();
  store.compile(identifier, json, [result](std::shared_ptr<ContentFilter> filter, std::string error) {
    *result = {true, std::move(filter), std::move(error)};
  });
  runUntil([&] { return result->answered; }, timeout);
  return *result;
}

std::optional<FilterStore::Stored> loadAndWait(FilterStore& store, const std::string& identifier) {
  auto result = std::make_shared<std::optional<FilterStore::Stored>>();
  store.load(identifier, [result](FilterStore::Stored stored) { *result = std::move(stored); });
  runUntil([&] { return result->has_value(); });
  return *result;
}

std::filesystem::path freshFolder(const std::string& name) {
  auto folder = AppSupport::folder() / name;
  std::filesystem::remove_all(folder);
  return folder;
}

TEST(BlockingStore, CompiledListsAreFoundAgainWithTheirDigestAndRemadeWhenUnreadable) {
  auto folder = freshFolder("filters-reuse");
  const std::string json = ContentBlocker::rulesJSON();
  {
    WebKitFilterStore store(folder);
    auto compiled = compileAndWait(store, ContentBlocker::identifier, json);
    ASSERT_TRUE(compiled.filter) << compiled.error;
    EXPECT_EQ(compiled.filter->identifier(), "quillo.trackers");
    ASSERT_TRUE(runUntil([&] { return std::filesystem::exists(folder / "quillo.trackers.digest"); }));
  }
  WebKitFilterStore store(folder);
  auto failed = compileAndWait(store, ContentBlocker::identifier,
                               R"json([{"trigger":{"url-filter":"(ads|track)"},"action":{"type":"block"}}])json");
  EXPECT_FALSE(failed.filter);
  EXPECT_FALSE(failed.error.empty());
  auto loaded = loadAndWait(store, ContentBlocker::identifier);
  ASSERT_TRUE(loaded && loaded->filter) << "a failed compile leaves the earlier list";
  EXPECT_EQ(loaded->filter->identifier(), "quillo.trackers");
  EXPECT_EQ(loaded->sourceDigest, sourceDigest(json));

  std::vector<std::string> lines;
  auto previous = setLogSink([&](const std::string& line) { lines.push_back(line); });
  auto missing = loadAndWait(store, "quillo.nothing");
  setLogSink(previous);
  ASSERT_TRUE(missing);
  EXPECT_FALSE(missing->filter);
  EXPECT_TRUE(lines.empty()) << "a list never stored is not an error";

  // What a WebKit upgrade leaves: a compiled file this version can't use.
  std::filesystem::path compiledFile;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().filename().string().find("ContentRuleList") != std::string::npos) compiledFile = entry.path();
  }
  ASSERT_FALSE(compiledFile.empty());
  std::ofstream(compiledFile, std::ios::binary | std::ios::trunc) << "not a compiled rule list";
  WebKitFilterStore upgraded(folder);
  loaded = loadAndWait(upgraded, ContentBlocker::identifier);
  ASSERT_TRUE(loaded && loaded->filter);
  EXPECT_EQ(loaded->sourceDigest, sourceDigest(json));
  EXPECT_GT(std::filesystem::file_size(compiledFile), 100u) << "compiled again from its JSON";
}

class BlockingEngine : public ::testing::Test {
 protected:
  void viewWithList(std::shared_ptr<DataStore> store, const std::string& identifier, const std::string& json) {
    auto compiled = compileAndWait(filters, identifier, json);
    ASSERT_TRUE(compiled.filter) << compiled.error;
    view = sharedEngine().makeView({std::move(store), {compiled.filter}, {}});
    view->setEvents(&events);
  }
  // What a page made by loadsPage() could load.
  nlohmann::json probe(const std::string& url) {
    if (!loadAndWait(*view, events, mustParse(url))) return {};
    if (!runUntil([&] { return view->title() != "waiting" && !view->title().empty(); })) return {};
    return nlohmann::json::parse(view->title(), nullptr, false);
  }

  WebKitFilterStore filters{freshFolder(::testing::UnitTest::GetInstance()->current_test_info()->name())};
  RecordingEvents events;
  std::unique_ptr<WebViewPort> view;
};

TEST_F(BlockingEngine, RealEasyPrivacyListCompiles) {
  std::ifstream file(std::string(QUILLO_TEST_DATA_DIR) + "/easyprivacy.txt", std::ios::binary);
  if (!file) GTEST_SKIP() << "easyprivacy.txt is not available";
  std::stringstream text;
  text << file.rdbuf();
  auto converted = EasyPrivacy::convert(text.str());
  ASSERT_GT(converted.blocking, 0);

  // A large list on a busy machine.
  auto compiled = compileAndWait(filters, EasyPrivacy::identifier, converted.json, 120s);
  ASSERT_TRUE(compiled.answered);
  EXPECT_TRUE(compiled.filter) << compiled.error;
  EXPECT_TRUE(compiled.error.empty()) << compiled.error;
}

// A page that loads each {key, "script" or "img", address} and says in its title what happened: {"a":"blocked"}.
struct Load {
  std::string key, tag, url;
};
std::string loadsPage(const std::vector<Load>& loads) {
  std::string page =
      "<!doctype html><title>waiting</title><script>var seen = {};"
      "function done(key, what) { seen[key] = what;"
      "  if (Object.keys(seen).length == " +
      std::to_string(loads.size()) + ") document.title = JSON.stringify(seen); }</script>";
  for (const auto& load : loads) {
    page += "<" + load.tag + " src='" + load.url + "' onload=\"done('" + load.key + "','loaded')\" onerror=\"done('" +
            load.key + "','blocked')\">" + (load.tag == "script" ? "</script>" : "");
  }
  return page;
}

std::string probePage(const std::string& trackerOrigin, const std::string& neutralOrigin) {
  return loadsPage({{"ts", "script", trackerOrigin + "/t.js"},
                    {"ti", "img", trackerOrigin + "/t.gif"},
                    {"ns", "script", neutralOrigin + "/n.js"},
                    {"ni", "img", neutralOrigin + "/n.gif"}});
}

void serveProbeResources(TestServer& server, const std::vector<std::string>& images = {"/t.gif", "/n.gif"}) {
  for (const char* path : {"/t.js", "/n.js"}) server.route(path, Route{200, "text/javascript", "var ok = 1;", {}});
  for (const auto& path : images) server.route(path, Route{200, "image/gif", kTinyGif, {}});
}

// A private store whose requests, for any host, reach `server`.
std::shared_ptr<DataStore> storeThroughProxy(const TestServer& server) {
  auto store = sharedEngine().makePrivateStore();
  WebKitNetworkProxySettings* proxy = webkit_network_proxy_settings_new(server.url("").c_str(), nullptr);
  webkit_network_session_set_proxy_settings(static_cast<WebKitDataStore*>(store.get())->session(),
                                            WEBKIT_NETWORK_PROXY_MODE_CUSTOM, proxy);
  webkit_network_proxy_settings_free(proxy);
  return store;
}

int requestsTo(const TestServer& server, const std::string& host, const std::string& path = {}) {
  int n = 0;
  for (const auto& request : server.requests()) n += request.host == host && (path.empty() || request.path == path);
  return n;
}

TEST_F(BlockingEngine, BuiltInTrackerListBlocksThirdPartiesOnly) {
  TestServer server;
  serveProbeResources(server);
  server.html("/page.html", probePage("http://ad.doubleclick.net", "http://cdn.neutral.test"));
  server.html("/own.html", probePage("http://doubleclick.net", "http://cdn.neutral.test"));

  auto list = ContentBlocker::rulesJSON();
  ASSERT_NO_FATAL_FAILURE(viewWithList(storeThroughProxy(server), ContentBlocker::identifier, list));

  auto seen = probe("http://site.test/page.html");
  EXPECT_EQ(seen, nlohmann::json({{"ts", "blocked"}, {"ti", "blocked"}, {"ns", "loaded"}, {"ni", "loaded"}}));
  EXPECT_EQ(requestsTo(server, "ad.doubleclick.net"), 0) << "blocked before any request";
  EXPECT_EQ(requestsTo(server, "cdn.neutral.test"), 2);

  // The service's own site, visited directly, is first party.
  server.clearLog();
  seen = probe("http://doubleclick.net/own.html");
  EXPECT_EQ(seen["ts"], "loaded");
  EXPECT_EQ(seen["ti"], "loaded");
  EXPECT_EQ(requestsTo(server, "doubleclick.net", "/t.js"), 1);
  EXPECT_EQ(requestsTo(server, "doubleclick.net", "/t.gif"), 1);
}

TEST_F(BlockingEngine, ARewrittenExpressionBlocksBothAlternativesAndNothingElse) {
  TestServer server;
  serveProbeResources(server, {"/abc.gif", "/abcd.gif", "/abcde.gif"});
  server.html("/tmx.html", loadsPage({{"td3", "img", "http://tmx.td.com/abc.gif"},
                                      {"bank4", "img", "http://tmx.tdbank.com/abcd.gif"},
                                      {"long", "img", "http://tmx.tdbank.com/abcde.gif"},
                                      {"other", "img", "http://tmx.tdx.com/abc.gif"}}));
  auto converted = EasyPrivacy::convert("/^http:\\/\\/tmx\\.(td|tdbank)\\.com\\/[a-z]{3,4}\\.gif/$image\n");
  ASSERT_EQ(converted.skipped, 0);
  ASSERT_EQ(converted.blocking, 2) << "one rule for each alternative";
  ASSERT_NO_FATAL_FAILURE(viewWithList(storeThroughProxy(server), EasyPrivacy::identifier, converted.json));
  EXPECT_EQ(probe("http://site.test/tmx.html"),
            nlohmann::json({{"td3", "blocked"}, {"bank4", "blocked"}, {"long", "loaded"}, {"other", "loaded"}}))
      << "three or four letters";
}

TEST_F(BlockingEngine, AViewsFiltersCanBeReplacedWhileItLives) {
  TestServer server;
  serveProbeResources(server);
  server.html("/", loadsPage({{"s", "script", "/t.js"}}));
  auto compiled =
      compileAndWait(filters, "test.probe", R"([{"trigger":{"url-filter":"/t\\.js"},"action":{"type":"block"}}])");
  ASSERT_TRUE(compiled.filter) << compiled.error;
  view = sharedEngine().makeView({nullptr, {compiled.filter}, {}});
  view->setEvents(&events);
  EXPECT_EQ(probe(server.url("/")), nlohmann::json({{"s", "blocked"}}));
  EXPECT_EQ(server.count("/t.js"), 0);
  view->setContentFilters({});
  view->reload();
  ASSERT_TRUE(runUntil([&] { return view->title() == R"({"s":"loaded"})"; })) << view->title();
  view->setContentFilters({compiled.filter});
  view->reload();
  EXPECT_TRUE(runUntil([&] { return view->title() == R"({"s":"blocked"})"; })) << view->title();
}

}  // namespace
}  // namespace quillo::test
