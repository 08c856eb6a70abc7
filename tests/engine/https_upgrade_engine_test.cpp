// The HTTPS upgrade on the real engine. The test's own network session sends
// everything through a proxy that lets public names reach the tests'
// servers, HTTPS included, with a test certificate the session accepts.
#include <gtest/gtest.h>

#include "engine/support/engine_support.h"
#include "page/page.h"
#include "page/webkit/webkit_engine.h"
#include "support/test_certificate.h"
#include "support/test_proxy.h"
#include "support/test_server.h"

namespace quillo::test {
namespace {

class HttpsUpgrade : public ::testing::Test {
 protected:
  HttpsUpgrade() : secure("127.0.0.1", true), proxy(plain.port(), secure.port()) {
    ensureGtk();
    Page::insecureHosts.clear();
    WebKitNetworkSession* session = webkit_network_session_new_ephemeral();
    WebKitNetworkProxySettings* settings = webkit_network_proxy_settings_new(proxy.url().c_str(), nullptr);
    webkit_network_session_set_proxy_settings(session, WEBKIT_NETWORK_PROXY_MODE_CUSTOM, settings);
    webkit_network_proxy_settings_free(settings);
    GTlsCertificate* certificate = g_tls_certificate_new_from_pem(kTestCertificatePEM, -1, nullptr);
    webkit_network_session_allow_tls_certificate_for_host(session, certificate, "public.example");
    g_object_unref(certificate);
    store = std::make_shared<WebKitDataStore>(session);

    for (auto* server : {&plain, &secure}) {
      std::string scheme = server == &secure ? "https" : "http";
      server->html("/path", "<title>" + scheme + " path</title>");
      server->html("/back", "<title>" + scheme + " back</title>");
    }
    Route back;
    back.status = 301;
    back.headers = {{"Location", "http://public.example/back"}};
    secure.route("/back", back);
  }
  ~HttpsUpgrade() override { Page::insecureHosts.clear(); }

  std::shared_ptr<Page> makePage() {
    ViewConfiguration configuration;
    configuration.store = store;
    auto page = std::make_shared<Page>(sharedEngine().makeView(configuration), scheduler);
    pages.push_back(page);
    return page;
  }
  bool settled(const std::shared_ptr<Page>& page) {
    return runUntil([&] { return page->loadError.get() || (!page->isLoading.get() && !page->title.get().empty()); });
  }

  GLibScheduler scheduler;
  TestServer plain;
  TestServer secure;
  TestProxy proxy;
  std::shared_ptr<WebKitDataStore> store;
  std::vector<std::shared_ptr<Page>> pages;
};

TEST_F(HttpsUpgrade, APublicNameGoesOverHttpsWithoutPort80AndWithItsPathAndQuery) {
  auto page = makePage();
  page->load(mustParse("HTTP://public.example:80/path?q=1&r=2"));
  ASSERT_TRUE(settled(page));
  ASSERT_FALSE(page->loadError.get()) << page->loadError.get()->message;
  EXPECT_EQ(page->title.get(), "https path");
  EXPECT_EQ(page->url.get()->str(), "https://public.example/path?q=1&r=2");
  ASSERT_EQ(secure.requests().size(), 1u);
  EXPECT_EQ(secure.requests()[0].query, "q=1&r=2");
  EXPECT_EQ(plain.count("/path"), 0) << "the plain request never left";
  auto seen = proxy.requests();
  ASSERT_FALSE(seen.empty());
  EXPECT_EQ(seen[0], "CONNECT public.example:443");
}

TEST_F(HttpsUpgrade, BeingSentBackToHttpEndsOnTheErrorAndContinueHoldsForTheRunInEveryTab) {
  auto page = makePage();
  page->load(mustParse("http://public.example/back"));
  ASSERT_TRUE(runUntil([&] { return page->loadError.get().has_value(); }));
  EXPECT_EQ(page->loadError.get()->message, LoadError::kSentBack);
  EXPECT_EQ(page->loadError.get()->title(), "Couldn't open public.example securely");
  ASSERT_TRUE(page->loadError.get()->insecureURL);
  EXPECT_EQ(plain.count("/back"), 0);

  page->continueInsecurely();
  ASSERT_TRUE(settled(page));
  EXPECT_EQ(page->title.get(), "http back");
  EXPECT_EQ(page->url.get()->str(), "http://public.example/back");

  auto other = makePage();
  other->load(mustParse("http://public.example/path"));
  ASSERT_TRUE(settled(other));
  EXPECT_EQ(other->title.get(), "http path") << "no upgrade for that host this run, in any tab";
}

}  // namespace
}  // namespace quillo::test
