#include "page/page.h"

#include <gtest/gtest.h>

#include "engine/support/engine_support.h"
#include "page/webkit/webkit_engine.h"
#include "support/test_server.h"

namespace quillo::test {
namespace {

TEST(PageOnWebKit, APageLoadsAndItsTitleAndAddressMirrorIntoThePage) {
  TestServer server;
  server.html("/", "<!doctype html><title>Mirrored</title>");
  GLibScheduler scheduler;
  auto page = std::make_shared<Page>(sharedEngine().makeView({}), scheduler);
  std::vector<std::string> titles;
  int sessionChanges = 0;
  page->onTitle = [&](const std::string& title, const Url&) { titles.push_back(title); };
  page->onSessionChange = [&] { ++sessionChanges; };

  Url address = mustParse(server.url("/"));
  page->load(address);
  ASSERT_TRUE(runUntil([&] { return page->title.get() == "Mirrored" && !page->isLoading.get(); }));
  EXPECT_EQ(page->url.get(), address);
  EXPECT_DOUBLE_EQ(page->progress.get(), 1.0);
  EXPECT_EQ(titles, std::vector<std::string>{"Mirrored"});
  EXPECT_GE(sessionChanges, 1);
}

}  // namespace
}  // namespace quillo::test
