// What pages must not reach (the user's files, the name of the site framing them), and the file chooser a page opens.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "engine/support/engine_support.h"
#include "support/temp_home.h"

namespace quillo::test {
namespace {

using namespace std::chrono_literals;

class PageBoundaries : public ViewTest {
 protected:
  // The heading of the dialog `script` raises, which is then answered.
  std::string dialogHeading(WebViewPort& view, const std::string& script) {
    auto done = evaluateLater(view, script);
    std::string heading = events.answerNext({0}).message;
    runUntil([&] { return done->answered; });
    return heading;
  }

  TestServer other{"127.0.0.2"};
};

class LocalFiles : public PageBoundaries {
 protected:
  void SetUp() override { std::ofstream(folder_ / "secret.txt") << "SECRET-SIBLING"; }
  std::string fileURL(const std::string& name) const { return "file://" + (folder_ / name).string(); }

  // A script that tries every way to read `target` and says in the title what it got.
  static std::string readAttempts(const std::string& target) {
    std::string script = R"(<script>let results = [];
      function done(what) { results.push(what); document.title = results.sort().join(' '); }
      fetch('T').then(r => r.text()).then(t => done('fetch:' + t), () => done('fetch:blocked'));
      try { let x = new XMLHttpRequest(); x.open('GET', 'T', false); x.send(); done('xhr:' + x.responseText); }
      catch (e) { done('xhr:blocked'); }
      let f = document.createElement('iframe'); f.src = 'T';
      f.onload = () => { try { done('frame:' + f.contentDocument.body.textContent); }
                         catch (e) { done('frame:blocked'); } };
      document.body.appendChild(f);</script>)";
    for (size_t at; (at = script.find("'T'")) != std::string::npos;) script.replace(at, 3, "'" + target + "'");
    return script;
  }

  TempHome home;
  std::filesystem::path folder_ = home.root();
};

TEST_F(LocalFiles, NeitherALocalPageNorAWebPageReadsAFile) {
  std::ofstream(folder_ / "page.html") << "<!doctype html><title>local</title><body>" << readAttempts("secret.txt");
  auto view = show(fileURL("page.html"));
  EXPECT_TRUE(runUntil([&] { return view->title() == "fetch:blocked frame:blocked xhr:blocked"; })) << view->title();

  server.html("/", "<!doctype html><title>web</title><body>" + readAttempts(fileURL("secret.txt")));
  ASSERT_TRUE(loadAndWait(*view, events, mustParse(server.url("/"))));
  // A file frame is refused before it loads: it never reports.
  ASSERT_TRUE(runUntil([&] { return view->title() == "fetch:blocked xhr:blocked"; })) << view->title();
  runFor(300ms);
  EXPECT_EQ(view->title(), "fetch:blocked xhr:blocked");

  // Nor go there: the page stays where it was.
  ASSERT_TRUE(evaluateAndWait(*view, "location.href = '" + fileURL("secret.txt") + "'; null").result);
  runFor(500ms);
  ASSERT_TRUE(view->url());
  EXPECT_EQ(view->url()->str(), server.url("/"));
}

TEST_F(PageBoundaries, ADialogNamesNoHostWhileAFrameOfAnotherSiteCouldHaveAsked) {
  const std::string alertOnMessage =
      "<script>addEventListener('message', e => { if (e.data === 'alert') alert('Your session expired'); });"
      "parent.postMessage('ready', '*');</script>";
  other.html("/frame", "<!doctype html><title>framed</title>" + alertOnMessage);
  server.html("/same", "<!doctype html><title>same</title>" + alertOnMessage);
  auto framing = [&](const std::string& frame) {
    return "<!doctype html><title>top</title><iframe src='" + frame +
           "'></iframe><script>addEventListener('message', e => { if (e.data === 'ready') document.title = 'ready'; });"
           "</script>";
  };
  server.html("/foreign", framing(other.url("/frame")));
  server.html("/own", framing(server.url("/same")));
  server.html("/alone", "<!doctype html><title>ready</title>");

  // WebKitGTK does not say which frame raised a dialog: another site's frame must not speak in this site's name.
  auto view = show(server.url("/foreign"));
  ASSERT_TRUE(runUntil([&] { return view->title() == "ready"; }));
  EXPECT_EQ(dialogHeading(*view, "frames[0].postMessage('alert', '*'); null"), "A frame on this page says");
  EXPECT_EQ(dialogHeading(*view, "alert('from the top'); null"), "A frame on this page says");

  // A frame of the same site: the site's name is right whoever asked.
  ASSERT_TRUE(loadAndWait(*view, events, mustParse(server.url("/own"))));
  ASSERT_TRUE(runUntil([&] { return view->title() == "ready"; }));
  EXPECT_EQ(dialogHeading(*view, "frames[0].postMessage('alert', '*'); null"), "127.0.0.1 says");

  // Leaving the framing page forgets its frames.
  ASSERT_TRUE(loadAndWait(*view, events, mustParse(server.url("/foreign"))));
  ASSERT_TRUE(runUntil([&] { return view->title() == "ready"; }));
  ASSERT_TRUE(loadAndWait(*view, events, mustParse(server.url("/alone"))));
  EXPECT_EQ(dialogHeading(*view, "alert('hello'); null"), "127.0.0.1 says");
}

// An upload field's file chooser (the page's questions are the dialog journeys').
class ScriptDialogs : public ViewTest {
 protected:
  void SetUp() override {
    server.html("/", "<!doctype html><title>dialogs</title>");
    view = show(server.url("/"));
  }
  std::unique_ptr<WebViewPort> view;
};

TEST_F(ScriptDialogs, AnUploadFieldOpensAChooserAndGetsTheChosenFile) {
  server.html("/upload",
              "<!doctype html><title>upload</title><input type=file id=f multiple accept='.txt' "
              "onchange=\"document.title = [...this.files].map(f => f.name).join(',')\">");
  ASSERT_TRUE(loadAndWait(*view, events, mustParse(server.url("/upload"))));
  TempHome home;
  auto file = home.root() / "quillo-upload.txt";
  std::ofstream(file) << "uploaded";
  auto chooser = [] { return reinterpret_cast<GtkFileChooser*>(shownWindow(GTK_TYPE_FILE_CHOOSER)); };

  ASSERT_TRUE(evaluateAndWait(*view, "document.getElementById('f').click(); null").result);
  ASSERT_TRUE(runUntil([&] { return chooser() != nullptr; }));
  EXPECT_EQ(events.attention, 1);
  EXPECT_TRUE(gtk_file_chooser_get_select_multiple(chooser()));
  GFile* chosen = g_file_new_for_path(file.c_str());
  gtk_file_chooser_set_file(chooser(), chosen, nullptr);
  g_object_unref(chosen);
  // The chooser selects the file once it has read the folder.
  ASSERT_TRUE(runUntil([&] {
    GListModel* files = gtk_file_chooser_get_files(chooser());
    bool selected = g_list_model_get_n_items(files) == 1;
    g_object_unref(files);
    return selected;
  }));
  gtk_dialog_response(GTK_DIALOG(chooser()), GTK_RESPONSE_ACCEPT);
  EXPECT_TRUE(runUntil([&] { return view->title() == file.filename().string(); })) << view->title();
  EXPECT_TRUE(runUntil([&] { return chooser() == nullptr; }));
}

}  // namespace
}  // namespace quillo::test
