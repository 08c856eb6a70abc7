// Frames and the web process extension: messages, evaluation in either world and any frame, windows a site opens,
// and site icons.
#include <gtest/gtest.h>

#include "blocking/content_blocker.h"
#include "engine/support/engine_support.h"
#include "page/gtk/icon_decoding.h"
#include "page/icon_store.h"
#include "page/page.h"
#include "page/webkit/webkit_engine.h"
#include "scripts/resources.h"

namespace quillo::test {
namespace {

// A top page and a cross-origin frame with a link of its own, which it hovers when the top page asks (a
// cross-origin frame can't be scripted from the top).
class FramesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    top_.html("/top",
              "<!doctype html><title>top</title><script>window.pageSecret = 42;</script>"
              "<iframe src='" +
                  other_.url("/frame") +
                  "'></iframe>"
                  "<script>addEventListener('message', e => { if (e.data === 'frame ready') "
                  "document.title = 'ready'; });</script>");
    other_.html("/frame",
                "<!doctype html><title>framed</title><a id=link href='/inner'>inner link</a>"
                "<script>addEventListener('message', e => { if (e.data === 'hover') "
                "document.getElementById('link').dispatchEvent(new MouseEvent('mouseover', {bubbles: true})); });"
                "parent.postMessage('frame ready', '*');</script>");
  }

  std::unique_ptr<WebViewPort> loadTop(RecordingEvents& events, std::vector<UserScript> scripts) {
    auto view = sharedEngine().makeView({nullptr, {}, std::move(scripts)});
    view->setEvents(&events);
    EXPECT_TRUE(loadAndWait(*view, events, mustParse(top_.url("/top"))));
    EXPECT_TRUE(runUntil([&] { return view->title() == "ready"; }));
    return view;
  }

  TestServer top_;
  TestServer other_{"127.0.0.2"};
};

UserScript hoverScript() { return {std::string(scripts::resource("hover.js")), true, true, true}; }

// (A main-frame link is hovered by the split journey.)
TEST_F(FramesTest, TheHoverScriptReportsLinksFromACrossOriginFrame) {
  RecordingEvents events;
  auto view = loadTop(events, {hoverScript()});
  ASSERT_TRUE(evaluateAndWait(*view, "frames[0].postMessage('hover', '*')").result);
  ASSERT_TRUE(runUntil([&] { return events.messagesNamed("quilloHover").size() == 1; }));
  auto framed = events.messagesNamed("quilloHover")[0];
  EXPECT_EQ(framed.payload, other_.url("/inner"));
  EXPECT_FALSE(framed.isMainFrame);
  EXPECT_EQ(framed.frameURL, other_.url("/frame"));
  EXPECT_NE(framed.frameID, 0u);
}

TEST_F(FramesTest, EvaluatesInEitherWorldOfAnyFrameAndNoPageWorldSeesOurScripts) {
  RecordingEvents events;
  // Every frame introduces itself, so the test learns the frame ids.
  UserScript hello{"var quilloSecret = 1; quillo.post('hello', {url: location.href, top: window === top})", true, false,
                   true};
  auto view = loadTop(events, {hello, hoverScript()});
  ASSERT_TRUE(runUntil([&] { return events.messagesNamed("hello").size() == 2; }));
  uint64_t frameID = 0;
  for (const auto& message : events.messagesNamed("hello")) {
    EXPECT_EQ(message.payload["top"], message.isMainFrame);
    // Each message names the frame that really sent it.
    EXPECT_EQ(message.payload["url"], message.frameURL);
    if (!message.isMainFrame) frameID = message.frameID;
  }
  ASSERT_NE(frameID, 0u);

  EXPECT_EQ(evaluateText(*view, "({sum: 1 + 2, list: [pageSecret]})"), R"({"list":[42],"sum":3})");
  // The browser's world shares the DOM but not the page's globals.
  EXPECT_EQ(evaluateText(*view, "[typeof pageSecret, document.title]", 0, true), R"(["undefined","ready"])");

  // The page world can neither see nor call our scripts and handlers.
  const std::string probe =
      "[typeof quillo, typeof quilloSecret, 'quillo' in window,"
      " Object.keys((window.webkit && window.webkit.messageHandlers) || {}).filter(n => /quillo/i.test(n)).length,"
      " (() => { try { quillo.post('forged', 'x'); return 'called'; } catch (e) { return e.name; } })()]";
  for (uint64_t frame : {uint64_t(0), frameID}) {
    auto seen = evaluateAndWait(*view, probe, frame, false);
    ASSERT_TRUE(seen.result) << seen.error;
    EXPECT_EQ(*seen.result, (nlohmann::json{"undefined", "undefined", false, 0, "ReferenceError"})) << frame;
  }
  EXPECT_EQ(evaluateText(*view, "[typeof quillo.post, typeof quilloSecret]", 0, true), R"(["function","number"])");

  EXPECT_EQ(evaluateText(*view, "document.title", frameID), "framed");
  EXPECT_EQ(evaluateText(*view, "[typeof quillo.post, location.origin]", frameID, true),
            nlohmann::json({"function", other_.url("")}).dump());
  auto thrown = evaluateAndWait(*view, "throw new Error('boom')", frameID);
  EXPECT_FALSE(thrown.result);
  EXPECT_NE(thrown.error.find("boom"), std::string::npos) << thrown.error;
  EXPECT_TRUE(events.messagesNamed("forged").empty());

  // Answers for a view that is gone are dropped.
  auto late = evaluateLater(*view, "1");
  view.reset();
  runFor(std::chrono::milliseconds(300));
  EXPECT_FALSE(late->answered);
}

TEST_F(FramesTest, ASitesWindowReachesThePortWorkingAndSharingTheStore) {
  top_.html("/child", "<!doctype html><title>Child</title><p>child</p>");
  RecordingEvents events;
  auto store = sharedEngine().makePrivateStore();
  auto view = sharedEngine().makeView({store, {}, {}});
  view->setEvents(&events);
  ASSERT_TRUE(loadAndWait(*view, events, mustParse(top_.url("/top"))));

  ASSERT_TRUE(evaluateAndWait(*view, "window.open('/child', '_blank', 'popup'); null").result);
  ASSERT_TRUE(runUntil([&] { return events.windows.size() == 1; }));
  WebViewPort& child = *events.windows[0];
  RecordingEvents childEvents;
  child.setEvents(&childEvents);
  EXPECT_EQ(child.store(), store);
  ASSERT_TRUE(runUntil([&] { return child.title() == "Child" && !child.isLoading(); }));
  EXPECT_EQ(child.url()->str(), top_.url("/child"));
  EXPECT_EQ(evaluateText(child, "document.querySelector('p').textContent"), "child");

  // A window the site opened may close itself.
  ASSERT_TRUE(evaluateAndWait(child, "window.close(); null").result);
  EXPECT_TRUE(runUntil([&] { return childEvents.closes == 1; }));

  // Refused windows are simply dropped.
  events.acceptWindows = false;
  ASSERT_TRUE(evaluateAndWait(*view, "window.open('/child'); null").result);
  ASSERT_TRUE(runUntil([&] { return events.offeredWindows == 2; }));
  EXPECT_EQ(events.windows.size(), 1u);
  EXPECT_TRUE(loadAndWait(*view, events, mustParse(top_.url("/child"))));
}

class SiteIcons : public ::testing::Test {
 protected:
  SiteIcons() : store(fetcher, decodesAsImage, ContentBlocker::isTracker) { ensureGtk(); }
  std::shared_ptr<Page> open(const std::string& address) {
    ViewConfiguration configuration;
    configuration.scripts.push_back(UserScript{std::string(scripts::resource("hover.js")), true, true, true});
    auto page = std::make_shared<Page>(sharedEngine().makeView(configuration), scheduler);
    page->iconStore = &store;
    page->load(mustParse(address));
    pages.push_back(page);
    return page;
  }
  GLibScheduler scheduler;
  SoupIconFetcher fetcher;
  IconStore store;
  TestServer server;
  std::vector<std::shared_ptr<Page>> pages;
};

// The page's icon links and real answers; the whole ranking is the icon store's unit tests'.
TEST_F(SiteIcons, TheSmallestIconOfAtLeast32IsTriedFirstAndMissingOrBrokenOnesAreSkipped) {
  server.html("/",
              "<title>icons</title>"
              "<link rel=icon href=/16.png sizes=16x16>"
              "<link rel='apple-touch-icon' href=/180.png sizes=180x180>"
              "<link rel='shortcut icon' href=/32.png sizes=32x32>");
  server.route("/16.png", Route{200, "image/gif", kTinyGif, {}});
  server.route("/180.png", Route{200, "image/png", "<html>not an image</html>", {}});  // /32.png is missing: 404
  auto page = open(server.url("/"));
  ASSERT_TRUE(runUntil([&] { return page->icon.get().has_value(); }));
  EXPECT_EQ(server.count("/32.png"), 1);
  EXPECT_EQ(server.count("/180.png"), 1) << "then the larger";
  EXPECT_EQ(server.count("/16.png"), 1) << "then the smaller";
  EXPECT_EQ(server.count("/favicon.ico"), 0);
  EXPECT_EQ(page->icon.get()->size(), kTinyGif.size());
}

}  // namespace
}  // namespace quillo::test
