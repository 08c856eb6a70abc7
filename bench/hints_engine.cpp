// Link hints on a page of 2,000 links, all in view: from Alt+J's action to the first tag on screen, read back from the
// X server, in the real window on the real engine. Run under a display (`hints_engine [RUNS] [dense]`); prints the
// median and p99.
#include <gtkmm.h>
#include <gtkmm/init.h>
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
#include "page/webkit/webkit_engine.h"
#include "support/temp_home.h"
#include "support/test_server.h"

using namespace quillo;

namespace {

double ms(gint64 from, gint64 to) { return double(to - from) / 1000.0; }
using bench::runUntil;

// Whether a dark pixel shows in a short row of the window from a point: a tag's background.
bool darkAt(GtkWidget* window, int x, int y) {
  auto* surface = gtk_native_get_surface(GTK_NATIVE(window));
  Display* display = gdk_x11_display_get_xdisplay(gdk_surface_get_display(surface));
  XImage* image = XGetImage(display, gdk_x11_surface_get_xid(surface), x, y, 16, 1, AllPlanes, ZPixmap);
  if (!image) return false;
  bool dark = false;
  for (int i = 0; i < 16 && !dark; ++i) dark = (XGetPixel(image, i, 0) & 0x808080) == 0;
  XDestroyImage(image);
  return dark;
}

double percentile(std::vector<double> v, double p) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  return v[std::min(v.size() - 1, size_t(p * double(v.size() - 1) + 0.5))];
}

}  // namespace

int main(int argc, char** argv) {
  const int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 30;
  gtk_init();
  Gtk::init_gtkmm_internals();
  test::TempHome home;
  GLibScheduler scheduler;
  WebKitEngine engine;
  test::TestServer server;
  // By default 2,000 links one per line, as an index page has them, about forty in view; with "dense", 50 rows of 40
  // small links fill the view. White on white: the first one's corner is where a tag shows.
  const bool dense = argc > 2 && std::string(argv[2]) == "dense";
  std::string html = "<!doctype html><title>Links</title><style>body{margin:0;background:#fff}a{display:" +
                     std::string(dense ? "inline-block;width:28px" : "block;width:200px") +
                     ";height:14px;margin:1px;font:9px sans-serif;color:#fff;overflow:hidden}</style>";
  for (int i = 0; i < 2000; ++i) html += "<a href='/l" + std::to_string(i) + "'>" + std::to_string(i) + "</a>";
  server.html("/links.html", html);

  Browser browser(engine, scheduler);
  browser.settleBlockLists();
  BrowserWindow window(browser);
  window.set_default_size(1400, 900);
  window.present();
  if (!runUntil([&] { return window.get_mapped(); })) return 1;
  auto page = browser.makePage(false);
  page->load(*Url::parse(server.url("/links.html")));
  browser.add(page, true);
  if (!runUntil([&] { return !page->isLoading.get() && !page->title.get().empty(); })) return 1;
  runUntil([] { return false; }, 500);

  double x = 0, y = 0;
  if (!window.pageStage().translate_coordinates(window, 0, 8, x, y)) return 1;
  auto tagShown = [&] { return darkAt(GTK_WIDGET(window.gobj()), int(x), int(y)); };
  // Wakes the loop every millisecond, so the screen is looked at between the engine's events.
  guint tick = g_timeout_add(
      1, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
  // The page itself on screen first.
  if (!runUntil([&] { return !tagShown(); }, 10000)) {
    std::fprintf(stderr, "the page is not on screen\n");
    return 1;
  }

  std::vector<double> painted;
  size_t tags = 0;
  for (int run = 0; run < runs; ++run) {
    const gint64 asked = g_get_monotonic_time();
    browser.startHints(Browser::HintAction::follow);
    gint64 seen = 0;
    if (!runUntil(
            [&] {
              if (!tagShown()) return false;
              seen = g_get_monotonic_time();
              return true;
            },
            5000)) {
      std::fprintf(stderr, "no tag on screen (%zu tags)\n", browser.hintTargets().size());
      return 1;
    }
    painted.push_back(ms(asked, seen));
    tags = browser.hintTargets().size();
    browser.endHints();
    if (!runUntil([&] { return !tagShown(); }, 5000)) return 1;
    runUntil([] { return false; }, 100);
  }
  g_source_remove(tick);
  std::printf("2,000 links, %zu tags in view: key to tags on screen median %.1f ms, p99 %.1f ms (n=%d)\n", tags,
              percentile(painted, 0.5), percentile(painted, 0.99), runs);
  return 0;
}
