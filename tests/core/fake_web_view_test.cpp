#include <gtest/gtest.h>

#include "support/fake_web_view.h"

namespace quillo::test {
namespace {

Url url(const char* text) { return *Url::parse(text); }

struct Recorder : WebViewEvents {
  std::vector<std::string> calls;
  void webViewStateChanged() override { calls.push_back("state"); }
  void webViewCommitted() override { calls.push_back("committed"); }
  void webViewAudioChanged() override { calls.push_back("audio"); }
  void webViewMessage(const FrameMessage& m) override { calls.push_back("message " + m.name); }
  bool webViewOpenedWindow(std::unique_ptr<WebViewPort>) override { return false; }
  void webViewClosed() override { calls.push_back("closed"); }
  void webViewNeedsAttention() override { calls.push_back("attention"); }
  void webViewCrashed() override { calls.push_back("crashed"); }
};

FakeWebView& asFake(const std::unique_ptr<WebViewPort>& view) { return static_cast<FakeWebView&>(*view); }

TEST(FakeWebView, RestoreLoadsNothingUntilGoToCurrentItem) {
  FakeEngine engine;
  engine.titles["https://b.com/"] = "B";
  auto original = engine.makeView({engine.persistentStore(), {}, {}});
  original->load(url("https://a.com/"));
  original->load(url("https://b.com/"));
  original->load(url("https://c.com/"));
  original->goBack();
  auto blob = original->sessionState();
  ASSERT_FALSE(blob.empty());

  auto restored = engine.makeView({engine.persistentStore(), {}, {}});
  Recorder events;
  restored->setEvents(&events);
  EXPECT_FALSE(restored->restoreSessionState("not a blob"));
  EXPECT_TRUE(restored->restoreSessionState(blob));
  EXPECT_FALSE(restored->url());
  EXPECT_FALSE(restored->isLoading());
  EXPECT_TRUE(restored->canGoBack());
  EXPECT_TRUE(restored->canGoForward());
  EXPECT_TRUE(asFake(restored).loads.empty());

  restored->goToCurrentItem();
  EXPECT_EQ(asFake(restored).loads, std::vector<Url>{url("https://b.com/")});
  EXPECT_EQ(restored->url(), url("https://b.com/"));
  EXPECT_EQ(restored->title(), "B");
  EXPECT_EQ(events.calls, (std::vector<std::string>{"state", "state", "committed", "state"}));
  restored->setEvents(nullptr);
}

TEST(FakeWebView, ANewLoadDropsForwardEntries) {
  FakeEngine engine;
  auto view = engine.makeView({engine.persistentStore(), {}, {}});
  auto& fake = asFake(view);
  view->load(url("https://a.com/"));
  view->load(url("https://b.com/"));
  view->goBack();
  EXPECT_TRUE(view->canGoForward());
  view->load(url("https://c.com/"));
  ASSERT_EQ(fake.entries().size(), 2u);
  EXPECT_EQ(fake.entries()[1].url, url("https://c.com/"));
  EXPECT_FALSE(view->canGoForward());
  view->load(url("https://c.com/"));  // the same address replaces its entry
  EXPECT_EQ(fake.entries().size(), 2u);
}

TEST(FakeWebView, ManualLoadsWaitForFinishLoad) {
  FakeEngine engine;
  engine.manualLoads = true;
  engine.titles["https://a.com/"] = "A";
  auto view = engine.makeView({engine.persistentStore(), {}, {}});
  view->load(url("https://a.com/"));
  EXPECT_TRUE(view->isLoading());
  EXPECT_EQ(view->url(), url("https://a.com/"));  // committed at once
  EXPECT_EQ(view->title(), "");
  engine.viewShowing("https://a.com/")->finishLoad();
  EXPECT_FALSE(view->isLoading());
  EXPECT_EQ(view->title(), "A");
}

TEST(FakeEngine, PrivateStoresAreFreedWithTheirLastHolder) {
  FakeEngine engine;
  auto store = engine.makePrivateStore();
  auto view = engine.makeView({store, {}, {}});
  EXPECT_FALSE(view->store()->isPersistent());
  EXPECT_EQ(static_cast<FakeDataStore&>(*view->store()).serial(), 1);
  store.reset();
  EXPECT_EQ(engine.livePrivateStores(), 1);
  view.reset();
  EXPECT_EQ(engine.livePrivateStores(), 0);
  EXPECT_TRUE(engine.views().empty());
  EXPECT_EQ(static_cast<FakeDataStore&>(*engine.makePrivateStore()).serial(), 2);
}

}  // namespace
}  // namespace quillo::test
