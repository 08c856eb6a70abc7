// Pages with video and sound as a user meets them: floating a video with /pip and back, and muting a tab by its row.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

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

// A second of a 440 Hz tone as a WAV file: 8 kHz, 16-bit, mono.
std::string toneWav() {
  const uint32_t rate = 8000, samples = rate;
  std::string wav;
  auto put = [&](uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) wav += char((value >> (8 * i)) & 0xff);
  };
  wav += "RIFF";
  put(36 + samples * 2, 4);
  wav += "WAVEfmt ";
  put(16, 4), put(1, 2), put(1, 2), put(rate, 4), put(rate * 2, 4), put(2, 2), put(16, 2);
  wav += "data";
  put(samples * 2, 4);
  for (uint32_t i = 0; i < samples; ++i) put(uint16_t(int16_t(8000 * std::sin(2 * M_PI * 440 * i / rate))), 2);
  return wav;
}

class MediaJourney : public Journey {
 protected:
  void SetUp() override {
    Journey::SetUp();
    if (IsSkipped()) return;
    server.html("/videos.html", kVideos);
    server.route("/tone.wav", Route{200, "audio/wav", toneWav(), {}});
    // Sound starts with a click, as the engine lets pages autoplay only without sound.
    server.html(
        "/sound.html",
        "<title>Tone</title><audio src=/tone.wav loop></audio>"
        "<button style='width:300px;height:100px' onclick='document.querySelector(`audio`).play()'>Play</button>");
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

// The first speaker button under a widget.
Gtk::Widget* speakerOf(GtkWidget* widget) {
  for (GtkWidget* child = gtk_widget_get_first_child(widget); child; child = gtk_widget_get_next_sibling(child)) {
    if (GTK_IS_BUTTON(child) && gtk_widget_has_css_class(child, "quillo-palette-speaker")) return Glib::wrap(child);
    if (auto* found = speakerOf(child)) return found;
  }
  return nullptr;
}

TEST_F(MediaJourney, ATabPlayingSoundShowsItsSpeakerAndMutesByKeyOrClick) {
  auto tone = openPage("/sound.html");
  click(*Glib::wrap(viewWidget(tone)), 50, 40);
  ASSERT_TRUE(waitFor([&] { return tone->isPlayingAudio.get(); }));
  openPage("/alpha.html");
  auto* view = WEBKIT_WEB_VIEW(viewWidget(tone));

  openPalette();
  ASSERT_TRUE(waitFor([&] { return rowDescribed(row("Tone"), "Playing sound"); }));
  type("tone");
  ASSERT_TRUE(waitFor([&] { return rowShown(row("Tone")); }));
  key("Down");
  ASSERT_TRUE(waitFor([&] { return highlightIs(row("Tone")); }));
  EXPECT_EQ(caption(), "Ctrl+M mutes the highlighted tab");
  key("ctrl+m");
  ASSERT_TRUE(waitFor([&] { return rowDescribed(row("Tone"), "Muted"); }))
      << "the highlighted tab, not the current one";
  EXPECT_TRUE(webkit_web_view_get_is_muted(view));
  EXPECT_EQ(caption(), "Ctrl+M unmutes the highlighted tab");

  Gtk::Widget* speaker = nullptr;  // only the tone's row has one
  ASSERT_TRUE(waitFor([&] {
    speaker = speakerOf(GTK_WIDGET(list->list().gobj()));
    return speaker && speaker->get_mapped();
  }));
  click(*speaker, speaker->get_width() / 2.0, speaker->get_height() / 2.0);
  ASSERT_TRUE(waitFor([&] { return rowDescribed(row("Tone"), "Playing sound"); })) << "a click on the speaker unmutes";
  EXPECT_FALSE(webkit_web_view_get_is_muted(view));
  EXPECT_TRUE(fieldHasFocus()) << "the palette stays open";

  // Muted stays muted through the tab's navigations.
  key("Escape");
  browser->select(tone);
  key("ctrl+m");
  ASSERT_TRUE(waitFor([&] { return webkit_web_view_get_is_muted(view); })) << "Ctrl+M in the page mutes its tab";
  tone->load(*Url::parse(url("/sound.html?again")));
  ASSERT_TRUE(waitLoaded(tone));
  EXPECT_TRUE(webkit_web_view_get_is_muted(view) && tone->isMuted.get());
}

}  // namespace
}  // namespace quillo::test
