// Where navigations go on the real engine: load failures, clicks with modifiers, and the HTTPS upgrade.
#include <gtest/gtest.h>

#include <filesystem>

#include "engine/support/journey.h"
#include "page/app_links.h"
#include "page/page.h"
#include "page/webkit/webkit_engine.h"
#include "page/webkit/webkit_view.h"
#include "stores/downloads.h"
#include "stores/webkit/webkit_downloads.h"
#include "support/service_doubles.h"
#include "support/temp_home.h"
#include "support/test_certificate.h"
#include "support/test_proxy.h"

namespace quillo::test {
namespace {

using namespace std::chrono_literals;

class Navigation : public ::testing::Test {
 protected:
  void SetUp() override { Page::insecureHosts.clear(); }
  // Unmapped, so the window cannot take the next tests' input.
  void TearDown() override { gtk_widget_set_visible(GTK_WIDGET(windowWith(nullptr)), FALSE); }
  std::shared_ptr<Page> makePage() {
    auto page = std::make_shared<Page>(sharedEngine().makeView({}), scheduler_);
    page->onVisit = [this](const Url& url) { visits_.push_back(url.str()); };
    page->onDownload = [this](std::shared_ptr<WebDownload> download) { downloads_.push_back(std::move(download)); };
    pages_.push_back(page);
    return page;
  }

  GLibScheduler scheduler_;
  TestServer server_;
  std::vector<std::shared_ptr<Page>> pages_;
  std::vector<std::string> visits_;
  std::vector<std::shared_ptr<WebDownload>> downloads_;
};

TEST_F(Navigation, AnUntrustedCertificateIsShownWithItsProblemAndIsNoVisit) {
  TestServer secure("127.0.0.1", true);
  secure.html("/", "<title>secure</title>");
  auto page = makePage();
  page->load(mustParse(secure.url("/")));
  ASSERT_TRUE(runUntil([&] { return page->loadError.get().has_value(); }));
  EXPECT_NE(page->loadError.get()->message.find("certificate can't be trusted"), std::string::npos)
      << page->loadError.get()->message;
  EXPECT_FALSE(page->loadError.get()->insecureURL) << "typed as https: nothing to go on to";

  EXPECT_TRUE(visits_.empty());
}

class Clicks : public Navigation {
 protected:
  void SetUp() override {
    Navigation::SetUp();
    if (!g_find_program_in_path("xdotool")) GTEST_SKIP() << "xdotool is not installed";
    server_.html("/",
                 "<!doctype html><title>links</title><style>body{margin:0}</style>"
                 "<a href='/target' style='display:block;width:100vw;height:100vh'>target</a>");
    server_.html("/target", "<title>target</title>");
    page_ = makePage();
    page_->openInBackground = [this](const Url& url) { background_.push_back(url.str()); };
    page_->openBeside = [this](const Url& url) { beside_.push_back(url.str()); };
    windowWith(dynamic_cast<WebKitView&>(page_->webView()).widget());
    ASSERT_TRUE(load("/", "links"));
    ASSERT_TRUE(xdotool("mousemove 300 300"));
    runFor(100ms);
  }
  void TearDown() override {
    ASSERT_TRUE(xdotool("keyup ctrl alt"));
    Navigation::TearDown();
  }
  bool load(const std::string& path, const std::string& title) {
    page_->load(mustParse(server_.url(path)));
    return runUntil([&] { return page_->title.get() == title && !page_->isLoading.get(); });
  }

  TempHome home;
  std::filesystem::path folder_ = home.root();
  // The downloads list chooses where files go, as in the browser.
  Downloads list_{folder_ / "downloads.json", folder_};
  WebKitDownloads receiver_{list_};
  std::shared_ptr<Page> page_;
  std::vector<std::string> background_, beside_;
};

TEST_F(Clicks, CtrlAndMiddleClicksOpenInTheBackgroundCtrlAltBesideAndAltDownloads) {
  ASSERT_TRUE(xdotool("keydown ctrl click 1 keyup ctrl"));
  ASSERT_TRUE(runUntil([&] { return background_.size() == 1; }, 5s));
  ASSERT_TRUE(xdotool("click 2"));
  ASSERT_TRUE(runUntil([&] { return background_.size() == 2; }, 5s));
  EXPECT_EQ(background_[0], server_.url("/target"));
  EXPECT_EQ(background_[1], server_.url("/target"));

  ASSERT_TRUE(xdotool("keydown ctrl keydown alt click 1 keyup alt keyup ctrl"));
  ASSERT_TRUE(runUntil([&] { return beside_.size() == 1; }, 5s));
  EXPECT_EQ(background_.size(), 2u);
  ASSERT_TRUE(xdotool("keydown alt click 1 keyup alt"));
  ASSERT_TRUE(runUntil([&] { return downloads_.size() == 1; }, 5s));
  auto saved = [&] {
    for (auto& file : std::filesystem::directory_iterator(folder_))
      if (file.is_regular_file() && readFile(file.path()).find("<title>target</title>") != std::string::npos)
        return true;
    return false;
  };
  EXPECT_TRUE(runUntil(saved, 5s)) << "the link's target is saved in the folder";
  runFor(200ms);
  EXPECT_EQ(page_->title.get(), "links") << "the page stays";
  EXPECT_FALSE(page_->loadError.get());
}

TEST_F(Clicks, AFramesOwnLinkToAnotherProgramIsDroppedAndAClickedOneAsks) {
  TestAppLinks apps;
  apps.apps["mailto"] = "Mail";
  page_->appLinks = &apps;
  server_.html("/framed",
               "<!doctype html><title>framed</title><style>body{margin:0}</style>"
               "<iframe src='/frame' style='width:10px;height:10px;border:0'></iframe>"
               "<a href='mailto:someone@shop.example' style='display:block;width:100vw;height:90vh'>mail</a>");
  server_.html("/frame", "<script>location.href = 'mailto:frame@shop.example';</script>");
  ASSERT_TRUE(load("/framed", "framed"));
  ASSERT_TRUE(runUntil([&] { return server_.count("/frame") == 1; }));
  runFor(500ms);
  EXPECT_FALSE(page_->dialog.get());
  EXPECT_TRUE(apps.opened.empty());

  ASSERT_TRUE(xdotool("mousemove 300 300 click 1"));
  ASSERT_TRUE(runUntil([&] { return page_->dialog.get() != nullptr; }, 5s));
  EXPECT_EQ(answerDialog(*page_, 0).message, "Open Mail?");
  EXPECT_EQ(apps.opened, std::vector<std::string>{"mailto:someone@shop.example"});
  EXPECT_EQ(page_->title.get(), "framed");
}

// The test's own network session lets public names reach the tests' servers: plain HTTP through the plain server
// itself, HTTPS through a tunnel to the secure one, whose certificate the session accepts.
class HttpsUpgrade : public ::testing::Test {
 protected:
  HttpsUpgrade() : secure("127.0.0.1", true), proxy(secure.port()) {
    ensureGtk();
    Page::insecureHosts.clear();
    WebKitNetworkSession* session = webkit_network_session_new_ephemeral();
    WebKitNetworkProxySettings* settings = webkit_network_proxy_settings_new(nullptr, nullptr);
    webkit_network_proxy_settings_add_proxy_for_scheme(settings, "http", plain.url("").c_str());
    webkit_network_proxy_settings_add_proxy_for_scheme(settings, "https", proxy.url().c_str());
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

TEST_F(HttpsUpgrade, APublicNameGoesOverHttpsAndBeingSentBackToHttpEndsOnTheErrorContinueHoldsForTheRun) {
  auto page = makePage();
  page->load(mustParse("HTTP://public.example:80/path?q=1&r=2"));
  ASSERT_TRUE(settled(page));
  ASSERT_FALSE(page->loadError.get()) << page->loadError.get()->message;
  EXPECT_EQ(page->title.get(), "https path");
  EXPECT_EQ(page->url.get()->str(), "https://public.example/path?q=1&r=2");
  EXPECT_EQ(plain.count("/path"), 0) << "the plain request never left";

  page->load(mustParse("http://public.example/back"));
  ASSERT_TRUE(runUntil([&] { return page->loadError.get().has_value(); }));
  EXPECT_EQ(page->loadError.get()->message, LoadError::kSentBack);
  ASSERT_TRUE(page->loadError.get()->insecureURL);
  EXPECT_EQ(plain.count("/back"), 0);

  page->continueInsecurely();
  ASSERT_TRUE(runUntil([&] { return page->title.get() == "http back"; }));
  EXPECT_EQ(page->url.get()->str(), "http://public.example/back");
  auto other = makePage();
  other->load(mustParse("http://public.example/path"));
  ASSERT_TRUE(settled(other));
  EXPECT_EQ(other->title.get(), "http path") << "no upgrade for that host this run, in any tab";
}

// The error view is read through accessibility, as a screen reader would.
using LoadErrorJourney = Journey;

TEST_F(LoadErrorJourney, AClosedPortShowsTheErrorTryAgainByKeyboardAndNoHistory) {
  auto page = openPage("/alpha.html");
  int port = TestServer().port();  // closed again at once
  std::string typed = "127.0.0.1:" + std::to_string(port) + "/nothing-here";
  enter(typed);
  ASSERT_TRUE(waitFor([&] { return page->loadError.get().has_value(); }, 10s));
  runFor(200ms);

  auto* stage = GTK_WIDGET(window->pageStage().gobj());
  auto headings = withRole(stage, GTK_ACCESSIBLE_ROLE_HEADING);
  ASSERT_EQ(headings.size(), 1u);
  EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(headings[0])), "Couldn't open 127.0.0.1");
  std::vector<std::string> labels;
  for (auto* button : withRole(stage, GTK_ACCESSIBLE_ROLE_BUTTON))
    labels.push_back(gtk_button_get_label(GTK_BUTTON(button)));
  EXPECT_EQ(labels, std::vector<std::string>{"Try Again"}) << "no HTTP offer for a local address";
  bool explained = false;
  for (auto* label : withRole(GTK_WIDGET(window->pageStage().errorView().gobj()), GTK_ACCESSIBLE_ROLE_LABEL))
    explained |= std::string(gtk_label_get_text(GTK_LABEL(label))).find("refused") != std::string::npos;
  EXPECT_TRUE(explained) << "the engine's message is shown";
  EXPECT_TRUE(window->pageStage().errorView().retryButton().has_focus()) << "the keyboard is on Try Again";
  int attempts = 0;
  page->loadError.changed().connect([&] {
    if (!page->loadError.get()) ++attempts;
  });
  key("Return");
  ASSERT_TRUE(waitFor([&] { return attempts == 1 && page->loadError.get().has_value(); }, 10s))
      << "tried again and failed again";
  EXPECT_EQ(page->loadError.get()->url, Url::parse("http://" + typed));

  openPalette();
  EXPECT_EQ(fieldText(), "http://" + typed) << "the field offers the address that failed, to correct it";
  key("Escape");
  EXPECT_EQ(history->find(*Url::parse("http://" + typed)), nullptr) << "the failed address is no visit";
  EXPECT_EQ(page->url.get(), Url::parse(url("/alpha.html"))) << "the page behind is unchanged";

  enter(url("/beta.html"));
  EXPECT_TRUE(waitFor([&] {
    return address() == url("/beta.html") && !page->loadError.get() &&
           withRole(stage, GTK_ACCESSIBLE_ROLE_HEADING).empty();
  })) << "the error goes with the next load";
}

TEST_F(LoadErrorJourney, ARestrictedPortIsShownAndTheSessionKeepsBothAddresses) {
  auto page = openPage("/alpha.html");
  enter("http://127.0.0.1:1/x");
  ASSERT_TRUE(waitFor([&] { return window->pageStage().errorView().get_mapped(); })) << address();
  EXPECT_NE(std::string(window->pageStage().errorView().messageLabel().get_text()).find("Port 1 "), std::string::npos);
  openPalette();
  EXPECT_EQ(fieldText(), "http://127.0.0.1:1/x") << "the bar offers what failed";
  key("Escape");
  browser->saveSession();
  auto session = readFile(AppSupport::file("session.json"));
  EXPECT_NE(session.find("http://127.0.0.1:1/x"), std::string::npos) << "the tab's address: the one that failed";
  EXPECT_EQ(session.find("about:blank"), std::string::npos);
  browser->closeCurrentTab();
  browser->reopenClosedTab();
  EXPECT_TRUE(waitFor([&] { return address() == url("/alpha.html"); }))
      << "its back list still holds the page that was showing";
}

}  // namespace
}  // namespace quillo::test
