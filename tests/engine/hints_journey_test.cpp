// Journeys through link hints: Alt+J tags what can be clicked, in cross-origin frames too, and keys choose one.
#include "core/app_support.h"
#include "engine/support/journey.h"
#include "stores/downloads.h"
#include "stores/webkit/webkit_downloads.h"

namespace quillo::test {
namespace {

class HintsJourney : public Journey {
 protected:
  void SetUp() override {
    Journey::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    // Thirty items make two-letter labels, so "s" begins labels rather than being one.
    std::string items;
    for (int i = 1; i <= 30; ++i)
      items += "<a href='/item" + std::to_string(i) + ".html'>Item " + std::to_string(i) + "</a> ";
    server.html("/hints.html",
                "<!doctype html><title>Hints page</title><style>a{margin:2px;font:12px sans-serif}</style>" + items +
                    "<p><a href='/signed.html'>Sign in</a> <input id=field placeholder='Your name' value='Ann '>"
                    "<label><input type=checkbox id=box aria-label=Remember> Remember</label> "
                    "<input type=checkbox id=other> <label for=other>Other</label>"
                    "<a style='display:none' href='/secret.html'>Secret</a>"
                    "<span style='position:relative'><a href='/covered.html'>Covered</a>"
                    "<span style='position:absolute;inset:0;background:#fff'></span></span></p>"
                    "<iframe src='" +
                    framed.url("/frame.html") + "' width=300 height=80></iframe>");
    framed.html("/frame.html",
                "<!doctype html><button onclick=\"fetch('/pressed');this.textContent='Pressed'\">Press me</button>");
    server.html("/signed.html", "<title>Signed</title>");
    server.route("/item6.html", Route{200, "text/plain", "six", {}});
    std::filesystem::create_directories(folder);
    downloads = std::make_unique<Downloads>(AppSupport::file(Downloads::kFileName), folder);
    glue = std::make_unique<WebKitDownloads>(*downloads);
    browser->attach(*downloads);
  }
  void TearDown() override {
    Journey::TearDown();
    glue.reset();
    downloads.reset();
  }

  // Alt+J (or another chord) and the tags are there.
  void showHints(const std::string& chord = "alt+j") {
    key(chord);
    ASSERT_TRUE(waitFor([&] { return !browser->hintTargets().empty(); })) << chord << " shows hints";
  }
  std::string labelOf(const std::string& text) {
    for (auto& target : browser->hintTargets())
      if (target.text == text) return target.label;
    ADD_FAILURE() << "no tag on " << text;
    return "";
  }
  bool tagged(const std::string& text) {
    for (auto& target : browser->hintTargets())
      if (target.text == text) return true;
    return false;
  }
  int hosts(const PagePtr& page) {
    return std::stoi(pageScript(page, "document.querySelectorAll('quillo-hints').length"));
  }

  TestServer framed{"127.0.0.2"};
  std::filesystem::path folder = home.root() / "Downloads";
  std::unique_ptr<Downloads> downloads;
  std::unique_ptr<WebKitDownloads> glue;
};

TEST_F(HintsJourney, EscapeFramesFieldsAndBackgroundTabs) {
  auto page = openPage("/hints.html");
  ASSERT_TRUE(waitFor([&] { return framed.count("/frame.html") > 0; }));
  openPalette();
  showHints();
  EXPECT_FALSE(listShown()) << "the palette gives way";
  EXPECT_EQ(browser->hintTargets().size(), 36u)
      << "30 items, Sign in, the field, two check boxes, a label apart from its box, and the frame's button";
  EXPECT_FALSE(tagged("Secret")) << "display:none";
  EXPECT_FALSE(tagged("Covered")) << "under another element";
  EXPECT_TRUE(tagged("Press me")) << "in the cross-origin frame";
  EXPECT_EQ(browser->hintTargets().front().label.size(), 1u) << "the nearest get the shortest labels";
  EXPECT_EQ(hosts(page), 1);

  // Escape: nothing done, no tags left.
  key("Escape");
  ASSERT_TRUE(waitFor([&] { return !browser->hintsShown.get() && hosts(page) == 0; }));
  EXPECT_EQ(address(), url("/hints.html"));

  // A label in the cross-origin frame clicks its button.
  showHints();
  type(labelOf("Press me"));
  ASSERT_TRUE(waitFor([&] { return framed.count("/pressed") == 1; })) << "the frame's button was clicked";
  EXPECT_FALSE(browser->hintsShown.get());

  // A field's label puts the caret at its end, and typing goes there.
  showHints();
  type(labelOf("Your name"));
  ASSERT_TRUE(waitFor([&] { return !browser->hintsShown.get(); }));
  type("Lee");
  ASSERT_TRUE(waitFor([&] { return pageScript(page, "document.getElementById('field').value") == "Ann Lee"; }))
      << pageScript(page, "document.getElementById('field').value");

  // A check box's label ticks it.
  showHints();
  type(labelOf("Other"));
  ASSERT_TRUE(waitFor([&] { return pageScript(page, "document.getElementById('other').checked") == "true"; }));

  // Alt+Shift+J: the link opens in a background tab, saved with the session.
  const auto tabs = browser->pages->size();
  showHints("alt+shift+j");
  EXPECT_FALSE(tagged("Your name")) << "links only";
  type(labelOf("Item 3"));
  ASSERT_TRUE(waitFor([&] { return browser->pages->size() == tabs + 1; }));
  EXPECT_EQ(browser->current(), page);
  browser->saveSession();
  EXPECT_NE(TempHome::read(home.data("session.json")).find(url("/item3.html")), std::string::npos);
}

TEST_F(HintsJourney, LabelsFollowLinksAndTextNarrowsToOne) {
  auto page = openPage("/hints.html");
  showHints();
  type(labelOf("Item 2"));
  ASSERT_TRUE(waitFor([&] { return address() == url("/item2.html"); })) << address();

  page = openPage("/hints.html");
  showHints();
  type("sign");
  ASSERT_TRUE(nextFrames(3));
  EXPECT_TRUE(browser->hintsShown.get()) << "no label is \"sign\"";
  key("Return");
  ASSERT_TRUE(waitFor([&] { return address() == url("/signed.html"); })) << address();

  // From the palette: a link's address copied, one downloaded, one opened beside the page.
  struct KeptText : Clipboard {
    std::string text;
    void setText(const std::string& copied) override { text = copied; }
  } clipboard;
  browser->attach(clipboard);
  page = openPage("/hints.html");
  enter("/hint copy");
  ASSERT_TRUE(waitFor([&] { return !browser->hintTargets().empty(); }));
  type(labelOf("Item 4"));
  ASSERT_TRUE(waitFor([&] { return clipboard.text == url("/item4.html"); }));
  EXPECT_EQ(browser->flash.get(), std::optional<std::string>("Copied 127.0.0.1"));
  enter("/hint download");
  ASSERT_TRUE(waitFor([&] { return !browser->hintTargets().empty(); }));
  type(labelOf("Item 6"));
  ASSERT_TRUE(waitFor([&] { return TempHome::read(folder / "item6.html") == "six"; })) << "saved, not shown";
  EXPECT_EQ(address(), url("/hints.html"));
  enter("/hint beside");
  ASSERT_TRUE(waitFor([&] { return !browser->hintTargets().empty(); }));
  type(labelOf("Item 5"));
  ASSERT_TRUE(waitFor([&] { return browser->currentSplit() && address() == url("/item5.html"); })) << address();
}

}  // namespace
}  // namespace quillo::test
