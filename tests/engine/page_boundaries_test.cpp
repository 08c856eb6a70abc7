// What pages must not reach: the browser's own scripts and handlers, the
// user's files, and the name of the site they are framed in.
#include <gtest/gtest.h>
#include <glib.h>

#include <filesystem>
#include <fstream>

#include "engine/support/engine_support.h"
#include "page/webkit/webkit_engine.h"
#include "page/webkit/webkit_view.h"
#include "scripts/resources.h"
#include "support/test_server.h"

namespace quillo::test {
namespace {

using namespace std::chrono_literals;

GtkMessageDialog* openDialog() {
  GListModel* toplevels = gtk_window_get_toplevels();
  for (guint i = 0; i < g_list_model_get_n_items(toplevels); ++i) {
    auto* window = static_cast<GtkWindow*>(g_list_model_get_item(toplevels, i));
    g_object_unref(window);  // the list keeps it
    if (GTK_IS_MESSAGE_DIALOG(window) && gtk_widget_get_visible(GTK_WIDGET(window))) return GTK_MESSAGE_DIALOG(window);
  }
  return nullptr;
}

std::string heading(GtkMessageDialog* dialog) {
  char* value = nullptr;
  g_object_get(dialog, "text", &value, nullptr);
  std::string result = value ? value : "";
  g_free(value);
  return result;
}

class PageBoundaries : public ::testing::Test {
 protected:
  std::unique_ptr<WebViewPort> open(const std::string& url, std::vector<UserScript> scripts = {}) {
    auto view = sharedEngine().makeView({nullptr, {}, std::move(scripts)});
    view->setEvents(&events_);
    windowWith(dynamic_cast<WebKitView&>(*view).widget());
    EXPECT_TRUE(loadAndWait(*view, events_, mustParse(url)));
    return view;
  }
  void TearDown() override { windowWith(nullptr); }

  // The heading of the dialog `script` (run in the top page) raises; the
  // dialog is then answered.
  std::string dialogHeading(WebViewPort& view, const std::string& script) {
    view.evaluate(script, 0, false, [](auto, auto) {});
    if (!runUntil([] { return openDialog() != nullptr; })) return "no dialog";
    GtkMessageDialog* dialog = openDialog();
    std::string text = heading(dialog);
    gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_OK);
    runUntil([] { return openDialog() == nullptr; });
    return text;
  }

  TestServer site_;
  TestServer other_{"127.0.0.2"};
  RecordingEvents events_;
};

TEST_F(PageBoundaries, ThePageWorldCanNeitherSeeNorCallTheBrowsersScripts) {
  site_.html("/", "<!doctype html><title>plain</title><iframe src='" + other_.url("/frame") + "'></iframe>");
  other_.html("/frame", "<!doctype html><title>framed</title>");
  UserScript hello{"var quilloSecret = 1; quillo.post('hello', location.href)", true, false, true};
  auto view = open(site_.url("/"), {hello, {std::string(scripts::resource("hover.js")), true, true, true}});
  ASSERT_TRUE(runUntil([&] { return events_.messagesNamed("hello").size() == 2; }));
  uint64_t frameID = 0;
  for (const auto& message : events_.messagesNamed("hello"))
    if (!message.isMainFrame) frameID = message.frameID;
  ASSERT_NE(frameID, 0u);

  const std::string probe =
      "[typeof quillo, typeof quilloSecret, 'quillo' in window,"
      " Object.keys((window.webkit && window.webkit.messageHandlers) || {}).filter(n => /quillo/i.test(n)).length,"
      " (() => { try { quillo.post('forged', 'x'); return 'called'; } catch (e) { return e.name; } })()]";
  for (uint64_t frame : {uint64_t(0), frameID}) {
    auto seen = evaluateAndWait(*view, probe, frame, false);
    ASSERT_TRUE(seen.result) << seen.error;
    EXPECT_EQ(*seen.result, (nlohmann::json{"undefined", "undefined", false, 0, "ReferenceError"})) << frame;
  }
  // The isolated world, by contrast, has them.
  EXPECT_EQ(*evaluateAndWait(*view, "[typeof quillo.post, typeof quilloSecret]", 0, true).result,
            (nlohmann::json{"function", "number"}));
  runFor(200ms);
  EXPECT_TRUE(events_.messagesNamed("forged").empty());
  // Each message names the frame that really sent it, whatever it says.
  for (const auto& message : events_.messagesNamed("hello")) EXPECT_EQ(message.payload, message.frameURL);
}

class LocalFiles : public PageBoundaries {
 protected:
  void SetUp() override {
    char* made = g_dir_make_tmp("quillo-local-XXXXXX", nullptr);
    ASSERT_TRUE(made);
    folder_ = made;
    g_free(made);
    std::ofstream(folder_ / "secret.txt") << "SECRET-SIBLING";
  }
  void TearDown() override {
    PageBoundaries::TearDown();
    std::filesystem::remove_all(folder_);
  }
  std::string fileURL(const std::string& name) const { return "file://" + (folder_ / name).string(); }

  // Page script that tries every way to read `target` and reports in the title.
  static std::string readAttempts(const std::string& target) {
    return "<script>"
           "let results = [];"
           "function done(what) { results.push(what); document.title = results.sort().join(' '); }"
           "fetch('" + target + "').then(r => r.text()).then(t => done('fetch:' + t), () => done('fetch:blocked'));"
           "try { let x = new XMLHttpRequest(); x.open('GET', '" + target + "', false); x.send();"
           "  done('xhr:' + x.responseText); } catch (e) { done('xhr:blocked'); }"
           "let f = document.createElement('iframe'); f.src = '" + target + "';"
           "f.onload = () => { try { done('frame:' + f.contentDocument.body.textContent); } catch (e) { done('frame:blocked'); } };"
           "document.body.appendChild(f);"
           "</script>";
  }

  std::filesystem::path folder_;
};

TEST_F(LocalFiles, ALocalPageCannotReadTheFilesBesideIt) {
  std::ofstream(folder_ / "page.html") << "<!doctype html><title>local</title><body>" << readAttempts("secret.txt");
  auto view = open(fileURL("page.html"));
  EXPECT_TRUE(runUntil([&] { return view->title() == "fetch:blocked frame:blocked xhr:blocked"; })) << view->title();
}

TEST_F(LocalFiles, AWebPageCannotLoadOrReadAFile) {
  site_.html("/", "<!doctype html><title>web</title><body>" + readAttempts(fileURL("secret.txt")));
  auto view = open(site_.url("/"));
  // A file frame is refused before it loads, so it never reports.
  ASSERT_TRUE(runUntil([&] { return view->title() == "fetch:blocked xhr:blocked"; })) << view->title();
  runFor(300ms);
  EXPECT_EQ(view->title(), "fetch:blocked xhr:blocked");

  // Nor go there: the page stays where it was.
  ASSERT_TRUE(evaluateAndWait(*view, "location.href = '" + fileURL("secret.txt") + "'; null").result);
  runFor(500ms);
  ASSERT_TRUE(view->url());
  EXPECT_EQ(view->url()->str(), site_.url("/"));
}

TEST_F(PageBoundaries, ADialogNamesNoHostWhileAFrameOfAnotherSiteCouldHaveAsked) {
  const std::string alertOnMessage =
      "<script>addEventListener('message', e => { if (e.data === 'alert') alert('Your session expired'); });"
      "parent.postMessage('ready', '*');</script>";
  other_.html("/frame", "<!doctype html><title>framed</title>" + alertOnMessage);
  site_.html("/same", "<!doctype html><title>same</title>" + alertOnMessage);
  auto framing = [&](const std::string& frame) {
    return "<!doctype html><title>top</title><iframe src='" + frame +
           "'></iframe><script>addEventListener('message', e => { if (e.data === 'ready') document.title = 'ready'; });"
           "</script>";
  };
  site_.html("/foreign", framing(other_.url("/frame")));
  site_.html("/own", framing(site_.url("/same")));
  site_.html("/alone", "<!doctype html><title>ready</title>");

  // WebKitGTK does not say which frame raised a dialog, so the frame of
  // another site must not get to speak in this site's name.
  auto view = open(site_.url("/foreign"));
  ASSERT_TRUE(runUntil([&] { return view->title() == "ready"; }));
  EXPECT_EQ(dialogHeading(*view, "frames[0].postMessage('alert', '*'); null"), "A frame on this page says");
  EXPECT_EQ(dialogHeading(*view, "alert('from the top'); null"), "A frame on this page says");

  // A frame of the same site: the site's name is right whoever asked.
  ASSERT_TRUE(loadAndWait(*view, events_, mustParse(site_.url("/own"))));
  ASSERT_TRUE(runUntil([&] { return view->title() == "ready"; }));
  EXPECT_EQ(dialogHeading(*view, "frames[0].postMessage('alert', '*'); null"), "127.0.0.1 says");

  // Leaving the framing page forgets its frames.
  ASSERT_TRUE(loadAndWait(*view, events_, mustParse(site_.url("/foreign"))));
  ASSERT_TRUE(runUntil([&] { return view->title() == "ready"; }));
  ASSERT_TRUE(loadAndWait(*view, events_, mustParse(site_.url("/alone"))));
  EXPECT_EQ(dialogHeading(*view, "alert('hello'); null"), "127.0.0.1 says");
}

}  // namespace
}  // namespace quillo::test
