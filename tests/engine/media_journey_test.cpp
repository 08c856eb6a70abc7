// Pages with video and sound as a user meets them: floating a video with /pip and back, and muting a tab by its row.
#include <gtest/gtest.h>

#include "engine/support/journey.h"
#include "page/webkit/webkit_view.h"

namespace quillo::test {
namespace {

// Two videos fed from a canvas (no codec needed): a large one left paused
// and a small one playing.
constexpr const char* kVideos = R"(<title>Videos</title>
<canvas id=c width=64 height=36></canvas>
<video id=big width=640 height=360 muted></video>
<video id=small width=160 height=90 muted></video>
<video id=hidden width=0 height=0 muted></video>
<script>
const context = document.getElementById('c').getContext('2d');
let frame = 0;
setInterval(() => { context.fillStyle = frame++ % 2 ? '#c33' : '#33c'; context.fillRect(0, 0, 64, 36); }, 40);
for (const video of document.querySelectorAll('video')) video.srcObject = document.getElementById('c').captureStream(25);
const big = document.getElementById('big');
big.addEventListener('playing', () => big.pause());
document.getElementById('small').play();
document.getElementById('hidden').play();
</script>)";

class MediaJourney : public Journey {
 protected:
  void SetUp() override {
    Journey::SetUp();
    if (IsSkipped()) return;
    server.html("/videos.html", kVideos);
  }
  bool playing(const PagePtr& page, const std::string& id) {
    return pageScript(page, "(() => { const v = document.getElementById('" + id +
                                "'); return String(v.readyState > 0 && !v.paused); })()") == "true";
  }
  std::string floated(const PagePtr& page) {
    return pageScript(page, "document.querySelector(':popover-open')?.id ?? ''");
  }
  GtkWidget* viewWidget(const PagePtr& page) { return dynamic_cast<WebKitView&>(page->webView()).widget(); }
  // The small window is up with the page's view in it, and the tab shows the placeholder.
  bool floats(const PagePtr& page) {
    auto& floating = window->floatingVideo();
    return floating.get_visible() && gtk_widget_get_root(viewWidget(page)) == GTK_ROOT(floating.gobj()) &&
           window->pageStage().placeholder().get_mapped();
  }
  bool backInTab(const PagePtr& page) {
    return !window->floatingVideo().get_visible() && shownWidth(page) > 0 && floated(page).empty();
  }
};

TEST_F(MediaJourney, PipFloatsThePlayingVideoAndBringsItBack) {
  auto page = openPage("/videos.html");
  ASSERT_TRUE(waitFor([&] { return playing(page, "small") && !playing(page, "big"); }));

  enter("/pip");
  ASSERT_TRUE(waitFor([&] { return floats(page); })) << "the small window shows the page's view";
  EXPECT_EQ(floated(page), "small") << "playing before paused, the larger first, never a hidden one";
  EXPECT_GT(gtk_widget_get_width(viewWidget(page)), 300) << "it fills the small window";
  EXPECT_TRUE(playing(page, "small")) << "it keeps playing where it was";
  EXPECT_TRUE(window->is_active() && window->pageStage().placeholder().backButton().has_focus())
      << "the keyboard stays in the window, on the placeholder";

  enter("/pip");
  ASSERT_TRUE(waitFor([&] { return backInTab(page); })) << "the same command brings it back";
  EXPECT_TRUE(playing(page, "small"));

  // The window's own close (its title bar's button) brings it back too.
  enter("/pip");
  ASSERT_TRUE(waitFor([&] { return floats(page); }));
  window->floatingVideo().close();
  EXPECT_TRUE(waitFor([&] { return backInTab(page); }));

  // The placeholder's button, by keys.
  enter("/pip");
  ASSERT_TRUE(waitFor([&] { return floats(page) && window->pageStage().placeholder().backButton().has_focus(); }));
  key("Return");
  EXPECT_TRUE(waitFor([&] { return backInTab(page) && pageHasFocus(); }));
}

TEST_F(MediaJourney, PipFloatsAVideoOfAnotherSitesFrame) {
  TestServer player{"127.0.0.2"};
  player.html("/player.html", kVideos);
  server.html("/embed.html", "<title>Embed</title><p>Our player:</p><iframe id=player width=400 height=300 src='" +
                                 player.url("/player.html") + "'></iframe>");
  auto page = openPage("/embed.html");
  ASSERT_TRUE(waitFor([&] { return !page->videoFrames.empty(); })) << "the frame reports its video";

  enter("/pip");
  ASSERT_TRUE(waitFor([&] { return floats(page); }));
  EXPECT_EQ(floated(page), "player") << "the frame itself fills the view";
  enter("/pip");
  EXPECT_TRUE(waitFor([&] { return backInTab(page); }));
}

TEST_F(MediaJourney, PipWithoutAVideoSaysSo) {
  auto page = openPage("/alpha.html");
  enter("/pip");
  EXPECT_TRUE(waitFor([&] { return caption() == "No video on this page to float"; }));
  EXPECT_FALSE(window->floatingVideo().get_visible());
  EXPECT_EQ(address(), url("/alpha.html"));
}

}  // namespace
}  // namespace quillo::test
