// Site icons on the real engine: the icon-link script in the page and
// fetches through the icon store's own session.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include "engine/support/engine_support.h"
#include "page/gtk/icon_decoding.h"
#include "page/icon_store.h"
#include "page/page.h"
#include "page/webkit/webkit_engine.h"
#include "scripts/resources.h"
#include "support/test_server.h"

namespace quillo::test {
namespace {

// A PNG of one colour and size, as the server sends it.
std::string png(int size) {
  std::vector<uint8_t> pixels(size_t(size * size * 4), 0xc0);
  GBytes* data = g_bytes_new(pixels.data(), pixels.size());
  GdkTexture* texture = gdk_memory_texture_new(size, size, GDK_MEMORY_R8G8B8A8, data, size_t(size) * 4);
  g_bytes_unref(data);
  GBytes* encoded = gdk_texture_save_to_png_bytes(texture);
  g_object_unref(texture);
  gsize length = 0;
  auto* bytes = static_cast<const char*>(g_bytes_get_data(encoded, &length));
  std::string out(bytes, length);
  g_bytes_unref(encoded);
  return out;
}

Route image(int size) {
  Route route;
  route.contentType = "image/png";
  route.body = png(size);
  return route;
}

class SiteIcons : public ::testing::Test {
 protected:
  SiteIcons() : store(fetcher, decodesAsImage) { ensureGtk(); }
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

// (The whole ranking and the "/favicon.ico" fallback are the icon store's
// unit tests'; here the page's links, their sizes and real answers.)
TEST_F(SiteIcons, TheSmallestIconOfAtLeast32IsTriedFirstAndMissingOrBrokenOnesAreSkipped) {
  server.html("/", "<title>icons</title>"
                   "<link rel=icon href=/16.png sizes=16x16>"
                   "<link rel='apple-touch-icon' href=/180.png sizes=180x180>"
                   "<link rel='shortcut icon' href=/32.png sizes=32x32>");
  server.route("/16.png", image(16));
  Route broken = image(180);
  broken.body = "<html>not an image</html>";
  server.route("/180.png", broken);  // /32.png is missing: 404
  auto page = open(server.url("/"));
  ASSERT_TRUE(runUntil([&] { return page->icon.get().has_value(); }));
  EXPECT_EQ(server.count("/32.png"), 1);
  EXPECT_EQ(server.count("/180.png"), 1) << "then the larger";
  EXPECT_EQ(server.count("/16.png"), 1) << "then the smaller";
  EXPECT_EQ(server.count("/favicon.ico"), 0);
  EXPECT_EQ(page->icon.get()->size(), image(16).body.size());
}

}  // namespace
}  // namespace quillo::test
