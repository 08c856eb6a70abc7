// Time from makeView + load of a local page to the load finishing, for the
// first view of a run (cold: the network and web processes start) and for
// later views (warm). Run under tools/with-display.
#include <gtk/gtk.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <vector>

#include "page/webkit/webkit_engine.h"
#include "support/test_server.h"

using namespace quillo;
using Clock = std::chrono::steady_clock;

namespace {

class LoadWatcher : public WebViewEvents {
 public:
  bool committed = false;
  void webViewStateChanged() override {}
  void webViewCommitted() override { committed = true; }
  void webViewAudioChanged() override {}
  void webViewMessage(const FrameMessage&) override {}
  bool webViewOpenedWindow(std::unique_ptr<WebViewPort>) override { return false; }
  void webViewClosed() override {}
  void webViewNeedsAttention() override {}
  void webViewCrashed() override {}
};

bool iterateUntil(const std::function<bool()>& done, std::chrono::seconds limit = std::chrono::seconds(30)) {
  auto deadline = Clock::now() + limit;
  guint tick = g_timeout_add(
      5, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
  while (!done() && Clock::now() < deadline) g_main_context_iteration(nullptr, TRUE);
  g_source_remove(tick);
  return done();
}

double loadOnce(WebKitEngine& engine, const Url& url, bool asFile) {
  auto started = Clock::now();
  auto view = engine.makeView({});
  LoadWatcher watcher;
  view->setEvents(&watcher);
  if (asFile)
    view->loadFile(url, url.deletingLastPathComponent());
  else
    view->load(url);
  if (!iterateUntil([&] { return watcher.committed && !view->isLoading(); })) return -1;
  return std::chrono::duration<double, std::milli>(Clock::now() - started).count();
}

void report(const char* what, double cold, std::vector<double> warm) {
  std::sort(warm.begin(), warm.end());
  std::printf("%-22s cold %7.1f ms   warm median %6.1f ms (min %.1f, max %.1f, n=%zu)\n", what, cold,
              warm[warm.size() / 2], warm.front(), warm.back(), warm.size());
}

}  // namespace

int main() {
  gtk_init();
  WebKitEngine engine;
  test::TestServer server;
  server.html("/page", "<!doctype html><title>bench</title><p>" + std::string(2000, 'x') + "</p>");
  Url http = *Url::parse(server.url("/page"));

  auto folder = std::filesystem::temp_directory_path() / ("quillo-bench-" + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  std::ofstream(folder / "page.html") << "<!doctype html><title>bench</title><p>local</p>";
  Url file = *Url::fromFilePath((folder / "page.html").string());

  const int runs = 10;
  double coldHttp = loadOnce(engine, http, false);
  std::vector<double> warmHttp;
  for (int i = 0; i < runs; ++i) warmHttp.push_back(loadOnce(engine, http, false));
  double firstFile = loadOnce(engine, file, true);
  std::vector<double> warmFile;
  for (int i = 0; i < runs; ++i) warmFile.push_back(loadOnce(engine, file, true));

  report("loopback http page", coldHttp, warmHttp);
  report("file page", firstFile, warmFile);
  std::filesystem::remove_all(folder);
  return 0;
}
