#include "page/webkit/webkit_content_filter.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "core/app_support.h"
#include "engine/support/engine_support.h"
#include "page/webkit/webkit_engine.h"
#include "support/test_server.h"

namespace quillo::test {
namespace {

std::shared_ptr<ContentFilter> compile(const std::string& identifier, const std::string& rules) {
  auto folder = AppSupport::folder() / "test-filters";
  WebKitUserContentFilterStore* store = webkit_user_content_filter_store_new(folder.c_str());
  GBytes* bytes = g_bytes_new(rules.data(), rules.size());
  WebKitUserContentFilter* compiled = nullptr;
  bool done = false;
  struct Call {
    WebKitUserContentFilter** compiled;
    bool* done;
  } call{&compiled, &done};
  webkit_user_content_filter_store_save(
      store, identifier.c_str(), bytes, nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        auto* call = static_cast<Call*>(data);
        *call->compiled =
            webkit_user_content_filter_store_save_finish(WEBKIT_USER_CONTENT_FILTER_STORE(source), result, nullptr);
        *call->done = true;
      },
      &call);
  runUntil([&] { return done; });
  g_bytes_unref(bytes);
  g_object_unref(store);
  if (!compiled) return nullptr;
  auto filter = std::make_shared<WebKitContentFilter>(compiled);
  webkit_user_content_filter_unref(compiled);
  return filter;
}

TEST(ContentFilters, AViewsFiltersCanBeReplacedWhileItLives) {
  TestServer server;
  server.html("/", "<!doctype html><title>waiting</title><script src='/probe.js' "
                   "onload=\"document.title='loaded'\" onerror=\"document.title='blocked'\"></script>");
  Route script;
  script.contentType = "text/javascript";
  script.body = "var probe = 1;";
  server.route("/probe.js", script);

  auto filter = compile("test.probe", R"([{"trigger":{"url-filter":"probe\\.js"},"action":{"type":"block"}}])");
  ASSERT_TRUE(filter);
  EXPECT_EQ(filter->identifier(), "test.probe");

  RecordingEvents events;
  auto view = sharedEngine().makeView({nullptr, {filter}, {}});
  view->setEvents(&events);
  ASSERT_TRUE(loadAndWait(*view, events, mustParse(server.url("/"))));
  ASSERT_TRUE(runUntil([&] { return view->title() == "blocked" || view->title() == "loaded"; }));
  EXPECT_EQ(view->title(), "blocked");
  EXPECT_EQ(server.count("/probe.js"), 0);

  view->setContentFilters({});
  view->reload();
  ASSERT_TRUE(runUntil([&] { return view->title() == "loaded"; }));

  view->setContentFilters({filter});
  view->reload();
  EXPECT_TRUE(runUntil([&] { return view->title() == "blocked"; }));
}

}  // namespace
}  // namespace quillo::test
