// Reader mode on a long article (about 300 KB of HTML), each time on a site not read before: from the key's action to
// the reader on screen, in the real window on the real engine. Run under a display (`reader_engine [RUNS] [short]`);
// prints medians from the key to the article extracted, the reader's document committed and loaded, and its paper
// colour read back from the X server.
#include <gtkmm.h>
#include <gtkmm/init.h>
#include <webkit/webkit.h>
// Xlib's macros clash with gtkmm's names: after them.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <gdk/x11/gdkx.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/support/main_loop.h"
#include "browser/browser.h"
#include "chrome/gtk/browser_window.h"
#include "features/reader.h"
#include "page/webkit/webkit_engine.h"
#include "page/webkit/webkit_view.h"
#include "support/temp_home.h"
#include "support/test_server.h"

using namespace quillo;

namespace {

double ms(gint64 from, gint64 to) { return double(to - from) / 1000.0; }

using bench::runUntil;

// A news article as sites serve them: navigation, a sidebar, share buttons,
// scripts and comments around a long body with figures, code and a table.
std::string longArticle() {
  std::string html =
      "<!doctype html><html><head><meta charset=utf-8><title>The long read - Example News</title>"
      "<meta property='og:site_name' content='Example News'><meta name=author content='Ann Lee'>"
      "<script>window.analytics = [];</script><style>body{font-family:sans-serif;background:#e0f0ff}</style>"
      "</head><body>"
      "<header><nav>";
  for (int i = 0; i < 200; ++i)
    html += "<a href='/section/" + std::to_string(i) + "'>Section " + std::to_string(i) + "</a> ";
  html += "</nav></header><main><article><h1>The long read</h1><div class='share-buttons'>Share</div>";
  for (int i = 0; html.size() < 280000; ++i) {
    html += "<p class='body-text' data-index='" + std::to_string(i) + "'>Paragraph " + std::to_string(i) +
            ", in which the walk goes on, past rivers, hills, and towns, with <a href='/notes/" + std::to_string(i) +
            "'>a note</a> and <em>some emphasis</em>, as long articles do, for a good while longer than most.</p>";
    if (i % 40 == 0)
      html += "<figure><img src='/img/" + std::to_string(i) + ".gif' data-src='/img/" + std::to_string(i) +
              ".gif' alt='A picture'><figcaption>A picture of the walk</figcaption></figure>";
    if (i % 60 == 0) html += "<pre><code>for (int step = 0; step &lt; miles; ++step) walk(step);</code></pre>";
    if (i % 90 == 0) html += "<table><tr><th>Day</th><th>Miles</th></tr><tr><td>1</td><td>12</td></tr></table>";
    if (i % 25 == 0) html += "<aside class='related'><p>Related: another long read about walking far.</p></aside>";
  }
  html += "</article><section class='comments'>";
  for (int i = 0; i < 100; ++i)
    html += "<div class='comment'><p>A reader's comment, number " + std::to_string(i) + ".</p></div>";
  html += "</section></main><footer><p>Example News, all rights reserved, since a long time ago.</p></footer>";
  html += "<script>for (let i = 0; i < 1000; i++) window.analytics.push(i);</script></body></html>";
  return html;
}

// What the user sees at one point of the window: the pixel on the X server.
unsigned long pixelAt(GtkWidget* window, int x, int y) {
  auto* surface = gtk_native_get_surface(GTK_NATIVE(window));
  Display* display = gdk_x11_display_get_xdisplay(gdk_surface_get_display(surface));
  XImage* image = XGetImage(display, gdk_x11_surface_get_xid(surface), x, y, 1, 1, AllPlanes, ZPixmap);
  if (!image) return 0;
  unsigned long pixel = XGetPixel(image, 0, 0) & 0xffffff;
  XDestroyImage(image);
  return pixel;
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 15;
  gtk_init();
  Gtk::init_gtkmm_internals();
  test::TempHome home;
  GLibScheduler scheduler;
  WebKitEngine engine;
  test::TestServer server;
  const bool shortOne = argc > 2 && std::string(argv[2]) == "short";
  const std::string article =
      shortOne ? "<title>Short</title><body style='background:#e0f0ff'><div><p>" + std::string(700, 'a') + ", b, c.</p>"
               : longArticle();
  server.html("/long.html", article);
  test::Route image;
  image.contentType = "image/gif";
  image.body = "GIF89a";
  for (int i = 0; i < 1000; i += 40) server.route("/img/" + std::to_string(i) + ".gif", image);

  Browser browser(engine, scheduler);
  browser.settleBlockLists();
  Reader::install(browser);
  BrowserWindow window(browser);
  window.set_default_size(1200, 800);
  window.present();
  if (!runUntil([&] { return window.get_mapped(); })) return 1;

  auto page = browser.makePage(false);
  page->load(*Url::parse(server.url("/long.html")));
  browser.add(page, true);
  if (!runUntil([&] { return !page->isLoading.get() && !page->title.get().empty(); })) return 1;

  // A point in the page's margin: the page's own colour there until the
  // reader's paper colour is on screen.
  int pointX = 0, pointY = 0;
  {
    double x = 0, y = 0;
    if (!window.pageStage().translate_coordinates(window, 8, 120, x, y)) return 1;
    pointX = int(x);
    pointY = int(y);
  }
  const unsigned long paper = 0xfbfaf7;
  auto onScreen = [&] { return pixelAt(GTK_WIDGET(window.gobj()), pointX, pointY) == paper; };
  if (onScreen()) return 1;

  struct Probe {
    gint64 shown = 0, committed = 0, loaded = 0, painted = 0;
  } probe;
  page->readerView.changed().connect([&] {
    auto* view = dynamic_cast<WebKitView*>(page->readerView.get().get());
    if (!view) return;
    probe.shown = g_get_monotonic_time();
    g_signal_connect(view->raw(), "load-changed", G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent event, gpointer data) {
                       auto* p = static_cast<Probe*>(data);
                       if (event == WEBKIT_LOAD_COMMITTED) p->committed = g_get_monotonic_time();
                       if (event == WEBKIT_LOAD_FINISHED) p->loaded = g_get_monotonic_time();
                     }),
                     &probe);
  });
  // Looks at the screen every 2 ms; the loop sleeps in between, leaving the
  // processors to the program and the engine.
  std::function<void()> look = [&] {
    if (probe.shown && !probe.painted && onScreen()) probe.painted = g_get_monotonic_time();
  };
  guint watch = g_timeout_add(
      2,
      +[](gpointer data) -> gboolean {
        (*static_cast<std::function<void()>*>(data))();
        return G_SOURCE_CONTINUE;
      },
      &look);

  std::vector<std::unique_ptr<test::TestServer>> sites;
  std::vector<double> extracted, committed, loaded, painted;
  for (int run = 0; run < runs; ++run) {
    // A site not read before each time, as when reading one article after
    // another: nothing the engine kept from the last reader helps.
    if (run > 0) {
      sites.push_back(std::make_unique<test::TestServer>("127.0.0." + std::to_string(run + 1)));
      sites.back()->html("/long.html", article);
      page->load(*Url::parse(sites.back()->url("/long.html")));
      if (!runUntil([&] { return !page->isLoading.get(); })) return 1;
    }
    runUntil([] { return false; }, 300);  // quiet between key presses
    probe = Probe{};
    gint64 pressed = g_get_monotonic_time();
    window.activate_action("win.reader");  // what Ctrl+Shift+R runs
    if (!runUntil([&] { return probe.loaded && probe.painted; })) {
      std::fprintf(stderr, "the reader did not come up (%s)\n", browser.flash.get().value_or("").c_str());
      return 1;
    }
    extracted.push_back(ms(pressed, probe.shown));
    committed.push_back(ms(pressed, probe.committed));
    loaded.push_back(ms(pressed, probe.loaded));
    painted.push_back(ms(pressed, probe.painted));
    browser.toggleReader();
    if (!runUntil([&] { return !onScreen(); })) return 1;
  }
  g_source_remove(watch);
  std::printf(
      "reader on a %zu KB article, %d runs (medians from the key): extracted %.1f ms, committed %.1f ms, "
      "loaded %.1f ms, on screen %.1f ms (first %.1f ms, max %.1f ms)\n",
      article.size() / 1024, runs, median(extracted), median(committed), median(loaded), median(painted),
      painted.front(), *std::max_element(painted.begin(), painted.end()));
  return 0;
}
