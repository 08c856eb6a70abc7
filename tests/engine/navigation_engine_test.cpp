// Where navigations go on the real engine: failures shown as our own error
// (never as a visit), certificate failures, time-outs, downloads into a
// folder without replacing files, and clicks with Ctrl, Alt or the middle
// button, made with real pointer events.
#include <gtest/gtest.h>
#include <glib/gstdio.h>

#include <filesystem>
#include <fstream>

#include "engine/support/engine_support.h"
#include "engine/support/journey.h"
#include "page/app_links.h"
#include "page/page.h"
#include "palette/sources.h"
#include "page/webkit/webkit_engine.h"
#include "page/webkit/webkit_view.h"
#include "stores/downloads.h"
#include "stores/webkit/webkit_downloads.h"
#include "support/test_server.h"

namespace quillo::test {
namespace {

using namespace std::chrono_literals;

class Navigation : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = std::filesystem::temp_directory_path() / ("quillo-downloads-" + std::to_string(g_random_int()));
    std::filesystem::create_directories(folder_);
    // The downloads list chooses where files go, as in the browser.
    list_ = std::make_unique<Downloads>(folder_ / "downloads.json", folder_);
    receiver_ = std::make_unique<WebKitDownloads>(*list_);
    Page::insecureHosts.clear();
  }
  void TearDown() override {
    // Unmapped, so the window cannot take the next tests' input.
    gtk_widget_set_visible(GTK_WIDGET(windowWith(nullptr)), FALSE);
    pages_.clear();
    receiver_.reset();
    list_.reset();
    std::error_code error;
    std::filesystem::remove_all(folder_, error);
  }
  std::shared_ptr<Page> makePage() {
    auto page = std::make_shared<Page>(sharedEngine().makeView({}), scheduler_);
    page->onVisit = [this](const Url& url) { visits_.push_back(url.str()); };
    page->onDownload = [this](std::shared_ptr<WebDownload> download) { downloads_.push_back(std::move(download)); };
    pages_.push_back(page);
    return page;
  }
  bool loaded(const std::shared_ptr<Page>& page, const std::string& title) {
    return runUntil([&] { return page->title.get() == title && !page->isLoading.get(); });
  }

  GLibScheduler scheduler_;
  TestServer server_;
  std::filesystem::path folder_;
  std::unique_ptr<Downloads> list_;
  std::unique_ptr<WebKitDownloads> receiver_;
  std::vector<std::shared_ptr<Page>> pages_;
  std::vector<std::string> visits_;
  std::vector<std::shared_ptr<WebDownload>> downloads_;
};

TEST_F(Navigation, AnUntrustedCertificateIsShownWithItsProblem) {
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

TEST_F(Navigation, ALoadThatDoesNotCommitInTimeIsStoppedWithATimeOut) {
  Route slow;
  slow.body = "<title>late</title>";
  slow.delay = 20s;
  server_.route("/slow", slow);
  auto page = makePage();
  page->loadTimeout = 400ms;
  page->load(mustParse(server_.url("/slow")));
  ASSERT_TRUE(runUntil([&] { return page->loadError.get().has_value(); }, 10s));
  EXPECT_EQ(page->loadError.get()->message, LoadError::kTimedOut);
  EXPECT_EQ(page->loadError.get()->url, mustParse(server_.url("/slow")));
  EXPECT_TRUE(runUntil([&] { return !page->isLoading.get(); }, 5s)) << "the load was stopped";
  EXPECT_TRUE(visits_.empty());
}

TEST_F(Navigation, AnAttachmentInCapitalsIsSavedBesideAnExistingFileNeverOverIt) {
  { std::ofstream(folder_ / "report.txt") << "old"; }
  Route attachment;
  attachment.contentType = "text/plain";  // a type the view could show
  attachment.body = "new";
  attachment.headers = {{"Content-Disposition", "ATTACHMENT; filename=\"report.txt\""}};
  server_.route("/report", attachment);
  server_.html("/", "<title>start</title>");

  auto page = makePage();
  int closes = 0;
  page->onClose = [&] { ++closes; };
  page->load(mustParse(server_.url("/")));
  ASSERT_TRUE(loaded(page, "start"));
  page->load(mustParse(server_.url("/report")));
  ASSERT_TRUE(runUntil([&] { return readFile(folder_ / "report 2.txt") == "new"; }));
  EXPECT_EQ(readFile(folder_ / "report.txt"), "old");
  ASSERT_EQ(downloads_.size(), 1u) << "handed to the page";
  runFor(200ms);
  EXPECT_FALSE(page->loadError.get()) << "a download is no failure";
  EXPECT_EQ(page->url.get(), mustParse(server_.url("/")));
  EXPECT_EQ(closes, 0) << "a tab with history stays";

  // A tab that exists only for the download closes itself.
  auto only = makePage();
  int onlyCloses = 0;
  only->onClose = [&] { ++onlyCloses; };
  only->load(mustParse(server_.url("/report")));
  ASSERT_TRUE(runUntil([&] { return onlyCloses == 1; }));
  EXPECT_TRUE(runUntil([&] { return readFile(folder_ / "report 3.txt") == "new"; }));
}

class Clicks : public Navigation {
 protected:
  void SetUp() override {
    Navigation::SetUp();
    if (!g_find_program_in_path("xdotool")) GTEST_SKIP() << "xdotool is not installed";
    server_.html("/", "<!doctype html><title>links</title><style>body{margin:0}</style>"
                      "<a href='/target' style='display:block;width:100vw;height:100vh'>target</a>");
    server_.html("/target", "<title>target</title>");
    page_ = makePage();
    page_->openInBackground = [this](const Url& url) { background_.push_back(url.str()); };
    page_->openBeside = [this](const Url& url) { beside_.push_back(url.str()); };
    windowWith(dynamic_cast<WebKitView&>(page_->webView()).widget());
    page_->load(mustParse(server_.url("/")));
    ASSERT_TRUE(loaded(page_, "links"));
    ASSERT_TRUE(xdotool("mousemove 300 300"));
    runFor(100ms);
  }
  void TearDown() override {
    ASSERT_TRUE(xdotool("keyup ctrl alt"));
    Navigation::TearDown();
  }
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
      if (readFile(file.path()).find("<title>target</title>") != std::string::npos) return true;
    return false;
  };
  EXPECT_TRUE(runUntil(saved, 5s)) << "the link's target is saved in the folder";
  runFor(200ms);
  EXPECT_EQ(page_->title.get(), "links") << "the page stays";
  EXPECT_FALSE(page_->loadError.get());
}

struct CountingAppLinks final : AppLinks {
  std::vector<std::string> opened;
  int lookedUp = 0;
  std::optional<std::string> appName(const Url&) override {
    ++lookedUp;
    return "Mail";
  }
  void open(const Url& url) override { opened.push_back(url.str()); }
  std::optional<bool> savedDecision(const std::string&, const std::string&) override { return std::nullopt; }
  void saveAllowed(const std::string&, const std::string&) override {}
};

struct AnsweringAlerts final : Alerts {
  std::vector<Alert> asked;
  void ask(const Alert& alert, std::function<void(size_t)> answered) override {
    asked.push_back(alert);
    if (answered) answered(0);
  }
  void askWithCheckbox(const Alert& alert, std::function<void(size_t, bool)> answered) override {
    asked.push_back(alert);
    if (answered) answered(0, false);
  }
};

TEST_F(Clicks, AFramesOwnLinkToAnotherProgramIsDroppedAndAClickedOneAsks) {
  CountingAppLinks apps;
  AnsweringAlerts alerts;
  page_->appLinks = &apps;
  page_->alerts = &alerts;
  server_.html("/framed", "<!doctype html><title>framed</title><style>body{margin:0}</style>"
                          "<iframe src='/frame' style='width:10px;height:10px;border:0'></iframe>"
                          "<a href='mailto:someone@shop.example' style='display:block;width:100vw;height:90vh'>mail</a>");
  server_.html("/frame", "<script>location.href = 'mailto:frame@shop.example';</script>");
  page_->load(mustParse(server_.url("/framed")));
  ASSERT_TRUE(loaded(page_, "framed"));
  ASSERT_TRUE(runUntil([&] { return server_.count("/frame") == 1; }));
  runFor(500ms);
  EXPECT_TRUE(alerts.asked.empty());
  EXPECT_EQ(apps.lookedUp, 0);
  EXPECT_TRUE(apps.opened.empty());

  ASSERT_TRUE(xdotool("mousemove 300 300 click 1"));
  ASSERT_TRUE(runUntil([&] { return alerts.asked.size() == 1; }, 5s));
  EXPECT_EQ(alerts.asked[0].message, "Open Mail?");
  EXPECT_EQ(apps.opened, std::vector<std::string>{"mailto:someone@shop.example"});
  EXPECT_EQ(page_->title.get(), "framed");
}

}  // namespace
}  // namespace quillo::test
