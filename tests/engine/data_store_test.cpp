#include <gtest/gtest.h>

#include <filesystem>

#include "engine/support/engine_support.h"
#include "page/webkit/webkit_engine.h"
#include "support/test_server.h"

namespace quillo::test {
namespace {

std::string cookiesOf(WebViewPort& view) {
  auto cookies = evaluateAndWait(view, "document.cookie");
  return cookies.result && cookies.result->is_string() ? cookies.result->get<std::string>() : "<" + cookies.error + ">";
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
  EXPECT_NE(cookiesOf(*second).find("incognito=1"), std::string::npos);
  EXPECT_EQ(cookiesOf(*normal).find("incognito=1"), std::string::npos);

  // And the other way round: a normal cookie stays out of private views.
  ASSERT_TRUE(evaluateAndWait(*normal, "document.cookie = 'everyday=1; max-age=3600'").result);
  EXPECT_EQ(cookiesOf(*second).find("everyday=1"), std::string::npos);

  // The session lives while anything holds it, and goes with the last one.
  first.reset();
  privateStore.reset();
  runFor(std::chrono::milliseconds(200));
  EXPECT_NE(session, nullptr);
  second.reset();
  EXPECT_TRUE(runUntil([&] { return session == nullptr; }));

  auto later = loaded(engine.makePrivateStore(), laterEvents);
  EXPECT_EQ(cookiesOf(*later).find("incognito=1"), std::string::npos);
}

TEST(WebKitEngineSetup, UsesOurUserAgentTokenAndFindsTheExtension) {
  WebKitEngine& engine = sharedEngine();
  std::string agent = webkit_settings_get_user_agent(engine.settings());
  EXPECT_NE(agent.find("Version/26.0 Safari/605.1.15"), std::string::npos) << agent;
  EXPECT_TRUE(std::filesystem::exists(engine.extensionFolder() / "libquilloextension.so")) << engine.extensionFolder();
}

}  // namespace
}  // namespace quillo::test
