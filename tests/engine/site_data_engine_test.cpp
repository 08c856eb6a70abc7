// Downloads and camera/microphone requests on the real engine, and the journeys through their lists in the palette.
#include <gtest/gtest.h>

#include <fstream>

#include "core/address.h"
#include "core/app_support.h"
#include "engine/support/journey.h"
#include "page/webkit/webkit_engine.h"
#include "page/webkit/webkit_permissions.h"
#include "scripts/resources.h"
#include "stores/downloads.h"
#include "stores/permissions.h"
#include "stores/webkit/webkit_downloads.h"
#include "support/temp_home.h"

namespace quillo::test {
namespace {

using State = DownloadItem::State;

class DownloadsEngine : public ViewTest {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(folder);
    downloads = std::make_unique<Downloads>(file, folder);
    glue = std::make_unique<WebKitDownloads>(*downloads);
  }
  void TearDown() override {
    ViewTest::TearDown();
    glue.reset();
    downloads.reset();
  }

  Downloads::ItemPtr downloadWith(const std::shared_ptr<DataStore>& store, const std::string& path) {
    size_t before = downloads->list().size();
    auto* session = dynamic_cast<WebKitDataStore&>(*store).session();
    webkit_network_session_download_uri(session, server.url(path).c_str());
    EXPECT_TRUE(runUntil([&] { return downloads->list().size() > before; }));
    return downloads->list().empty() ? nullptr : downloads->list().front();
  }

  TempHome home;
  std::filesystem::path folder = home.root() / "Downloads";
  std::filesystem::path file = AppSupport::file(Downloads::kFileName);
  std::unique_ptr<Downloads> downloads;
  std::unique_ptr<WebKitDownloads> glue;
};

// A finished download is the journey's; here the ways one ends early.
TEST_F(DownloadsEngine, ADroppedConnectionFailsAndRemovingARunningDownloadLeavesNoFile) {
  Route drop;
  drop.drop = true;
  server.route("/drop", drop);
  auto failed = downloadWith(sharedEngine().persistentStore(), "/drop");
  ASSERT_TRUE(failed);
  ASSERT_TRUE(runUntil([&] { return failed->state() != State::downloading; }));
  EXPECT_EQ(failed->state(), State::failed);
  EXPECT_EQ(failed->failure(), "Connection terminated unexpectedly") << "the network's own description";
  downloads->remove(failed);

  Route stalled{200,
                "application/octet-stream",
                std::string(200000, 'x'),
                {{"Content-Disposition", "attachment; filename=\"big.iso\""}}};
  stalled.stallAfter = 65536;
  server.route("/big", stalled);
  auto item = downloadWith(sharedEngine().persistentStore(), "/big");
  ASSERT_TRUE(item);
  ASSERT_TRUE(runUntil([&] { return item->fraction() > 0; })) << "the download got part of the body";
  EXPECT_EQ(item->filename(), "big.iso");
  downloads->remove(item);
  EXPECT_TRUE(runUntil([&] { return item->state() != State::downloading; })) << "WebKit reported the cancellation";
  EXPECT_TRUE(downloads->list().empty()) << "removed, not turned into a failed item";
  EXPECT_FALSE(std::filesystem::exists(folder / "big.iso"));
  EXPECT_EQ(AppSupport::read(file).value, nlohmann::json::array());
}

constexpr const char* kAskForBoth =
    "window.outcome = '';"
    "navigator.mediaDevices.getUserMedia({video: true, audio: true})"
    ".then(s => { s.getTracks().forEach(t => t.stop()); window.outcome = 'granted'; },"
    "      e => { window.outcome = e.name; }); 1";

class MediaRequests : public ViewTest {
 protected:
  // "/embeds" holds a frame of `other` that asks for the camera and posts the answer's name up to the page.
  bool loadPageEmbeddingCameraFrameOf(TestServer& other) {
    other.html("/frame",
               "<!doctype html><script>"
               "navigator.mediaDevices.getUserMedia({video: true})"
               ".then(s => { s.getTracks().forEach(t => t.stop()); parent.postMessage('granted', '*'); },"
               "      e => parent.postMessage(e.name, '*'));</script>");
    server.html("/embeds",
                "<!doctype html><title>embeds</title><script>window.outcome = '';"
                "addEventListener('message', e => { window.outcome = e.data; });</script>"
                "<iframe allow='camera' src='" +
                    other.url("/frame") + "'></iframe>");
    return loadAndWait(*view, events, mustParse(server.url("/embeds")));
  }
  void SetUp() override {
    usePermissions(&permissions);
    server.html("/", "<!doctype html><title>camera</title>");
    webkit_settings_set_enable_mock_capture_devices(sharedEngine().settings(), TRUE);
    view = show(server.url("/"));
  }
  void TearDown() override {
    usePermissions(nullptr);
    ViewTest::TearDown();
  }
  void askForBoth() { evaluateAndWait(*view, kAskForBoth); }
  // What the page was answered, once it was.
  std::string outcome() {
    runUntil([&] { return !evaluateText(*view, "window.outcome").empty(); });
    return evaluateText(*view, "window.outcome");
  }

  TempHome home;
  Permissions permissions{nullptr, nullptr};
  std::unique_ptr<WebViewPort> view;
};

TEST_F(MediaRequests, AFrameOfAnotherSiteIsNamedByItsOwnHostOrElseThePageIsNotBlamed) {
  permissions.set(PermissionDecision::allow, {"127.0.0.1", SitePermission::Kind::camera, ""});
  TestServer other("127.0.0.2");
  // Without word from the frame (no scripts in this view) WebKit cannot say which frame asks.
  ASSERT_TRUE(loadPageEmbeddingCameraFrameOf(other));
  Alert asked = events.answerNext({1});  // Don't Allow
  EXPECT_EQ(asked.message, "A frame embedded in this page wants to use your camera")
      << "the page's saved allow does not decide it";
  EXPECT_EQ(asked.checkbox, std::nullopt) << "nothing to remember it for";
  EXPECT_EQ(outcome(), "NotAllowedError");
  EXPECT_EQ(permissions.all(), (std::vector<SitePermission>{{"127.0.0.1", SitePermission::Kind::camera, ""}}))
      << "the answer is recorded for no site";

  // With the scripts that say which frame asks, as the browser makes pages.
  ViewConfiguration configuration;
  configuration.scripts = {UserScript{std::string(scripts::resource("media-asked.js")), true, true, false},
                           UserScript{std::string(scripts::resource("media-asked-relay.js")), true, true, true}};
  view = show("", configuration);
  ASSERT_TRUE(loadPageEmbeddingCameraFrameOf(other));
  asked = events.answerNext({1, true});  // Don't Allow, remembered
  EXPECT_EQ(asked.message, "127.0.0.2 wants to use your camera") << "the page's saved allow is not the frame's";
  EXPECT_EQ(asked.checkbox, "Remember for 127.0.0.2");
  EXPECT_EQ(outcome(), "NotAllowedError");
  EXPECT_EQ(permissions.savedDecision({"127.0.0.2", SitePermission::Kind::camera, ""}), PermissionDecision::block);

  // The page itself asking is still the page.
  askForBoth();
  EXPECT_EQ(events.answerNext({1}).message, "127.0.0.1 wants to use your camera and microphone");
}

// The browser with its site permissions and downloads, wired as the application wires them.
class SiteDataJourney : public Journey {
 protected:
  void SetUp() override {
    Journey::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    std::filesystem::create_directories(folder);
    permissions = std::make_unique<Permissions>(nullptr, nullptr);
    usePermissions(permissions.get());
    downloads = std::make_unique<Downloads>(AppSupport::file(Downloads::kFileName), folder);
    glue = std::make_unique<WebKitDownloads>(*downloads);
    browser->attach(*permissions);
    browser->attach(*downloads);
    list->setServices({nullptr, permissions.get(), [this] { return downloads->thisSession(); }, nullptr});
    // A type the view could show, and the disposition in capitals.
    server.route("/report", Route{200,
                                  "text/plain",
                                  std::string(50000, 'r'),
                                  {{"Content-Disposition", "ATTACHMENT; filename=\"report.pdf\""}}});
  }
  void TearDown() override {
    Journey::TearDown();
    usePermissions(nullptr);
    glue.reset();
    downloads.reset();
    permissions.reset();
  }
  // A choice button ("Allow", "Block") of a permission's row on screen.
  Gtk::Widget* choiceButton(const SitePermission& permission, const std::string& choice) {
    PaletteRow* row = list->rowFor(PaletteItem(permission).id());
    for (GtkWidget* button :
         row ? withRole(GTK_WIDGET(row->gobj()), GTK_ACCESSIBLE_ROLE_BUTTON) : std::vector<GtkWidget*>())
      if (const char* label = GTK_IS_BUTTON(button) ? gtk_button_get_label(GTK_BUTTON(button)) : nullptr;
          label && std::string(label).ends_with(choice))
        return Glib::wrap(button);
    return nullptr;
  }
  nlohmann::json permissionsFile() { return AppSupport::read(std::string_view(Permissions::kFileName)).value; }

  std::filesystem::path folder = home.root() / "Downloads";
  std::unique_ptr<Permissions> permissions;
  std::unique_ptr<Downloads> downloads;
  std::unique_ptr<WebKitDownloads> glue;
};

TEST_F(SiteDataJourney, ReturnWalksASavedPermissionAndTheFileFollows) {
  permissions->set(PermissionDecision::allow, {"127.0.0.1", SitePermission::Kind::camera, ""});
  permissions->answer(PermissionDecision::block, {"other.test", SitePermission::Kind::notifications, ""}, false);
  openPage("/alpha.html");
  enter("/permissions");
  ASSERT_TRUE(waitFor([&] { return rowDescribed("Camera", "● Allow   ○ Block"); }))
      << "the current site's rows come first, its camera allowed";
  EXPECT_TRUE(rowDescribed("Microphone", "○ Allow   ○ Block")) << "a permission never asked for reads Ask";
  EXPECT_TRUE(rowShown("Notifications, Blocked until Quillo quits")) << "the other site's answer for this run";

  key("Return");
  ASSERT_TRUE(waitFor([&] { return rowDescribed("Camera", "○ Allow   ● Block"); })) << "Allow walks to Block";
  EXPECT_TRUE(highlightIs("Camera")) << "the list stays, the row keeps the highlight";
  EXPECT_EQ(permissionsFile(), nlohmann::json::parse(R"({"127.0.0.1":{"camera":"block"}})"));

  key("Down");
  ASSERT_TRUE(waitFor([&] { return highlightIs("Microphone"); }));
  key("Return");
  key("shift+Delete");  // and straight back to Ask
  ASSERT_TRUE(waitFor([&] { return rowDescribed("Microphone", "○ Allow   ○ Block"); }));
  EXPECT_EQ(permissionsFile(), nlohmann::json::parse(R"({"127.0.0.1":{"camera":"block"}})"));

  // A click on a row's "Block" chooses it.
  Gtk::Widget* block = choiceButton({"127.0.0.1", SitePermission::Kind::notifications, ""}, "Block");
  ASSERT_NE(block, nullptr);
  click(*block, 4, 4);
  ASSERT_TRUE(waitFor([&] { return rowDescribed("Notifications", "○ Allow   ● Block"); }));
  EXPECT_EQ(permissionsFile()["127.0.0.1"]["notifications"], "block");
}

TEST_F(SiteDataJourney, TheCameraQuestionIsAnsweredByKeysAndItsRememberedAnswersDecideWithoutOne) {
  webkit_settings_set_enable_mock_capture_devices(sharedEngine().settings(), TRUE);
  auto page = openPage("/alpha.html");
  auto outcome = [&] {
    waitFor([&] { return !pageScript(page, "window.outcome").empty(); });
    return pageScript(page, "window.outcome");
  };
  pageScript(page, kAskForBoth);
  GtkWidget* card = awaitCard(GTK_WIDGET(window->gobj()));
  ASSERT_NE(card, nullptr);
  EXPECT_EQ(cardText(card),
            "127.0.0.1 wants to use your camera and microphone | [ ] Remember for 127.0.0.1 | Don't Allow | Allow");
  // From "Allow", Tab goes round to the box.
  key("Tab space");
  ASSERT_TRUE(waitFor([&] { return cardText(card).find("[x] Remember") != std::string::npos; }));
  key("Return");
  EXPECT_EQ(outcome(), "granted");
  EXPECT_EQ(permissionsFile(), nlohmann::json::parse(R"({"127.0.0.1":{"camera":"allow","microphone":"allow"}})"));
  EXPECT_TRUE(waitFor([&] { return !shownCard(GTK_WIDGET(window->gobj())) && pageHasFocus(); }));

  // Asked again by a new page, the saved answers decide: one of the two blocked denies without a question.
  permissions->set(PermissionDecision::block, {"127.0.0.1", SitePermission::Kind::microphone, ""});
  page->reload();
  ASSERT_TRUE(waitFor([&] { return pageScript(page, "String(window.outcome)") == "undefined"; }));
  pageScript(page, kAskForBoth);
  EXPECT_EQ(outcome(), "NotAllowedError");
  EXPECT_FALSE(page->dialog.get());
}

TEST_F(SiteDataJourney, ADownloadIsSavedBesideAnExistingFileListedAndShiftDeleteRemovesIt) {
  std::ofstream(folder / "report.pdf") << "keep me";
  auto page = openPage("/alpha.html");
  const size_t tabs = browser->pages->size();
  enter(url("/report"));
  ASSERT_TRUE(waitFor([&] {
    return !downloads->list().empty() && downloads->list().front()->state() == DownloadItem::State::finished;
  })) << "the attachment was saved";
  EXPECT_EQ(readFile(folder / "report 2.pdf"), std::string(50000, 'r'));
  EXPECT_EQ(readFile(folder / "report.pdf"), "keep me") << "never over an existing file";
  EXPECT_TRUE(waitFor([&] {
    auto saved = AppSupport::read(std::string_view(Downloads::kFileName)).value;
    return saved.size() == 1 && saved[0]["isFinished"] == true && saved[0]["source"] == url("/report");
  })) << "and written down";
  EXPECT_EQ(address(), url("/alpha.html")) << "the page stays";
  EXPECT_FALSE(page->loadError.get()) << "a download is no failure";
  EXPECT_EQ(browser->pages->size(), tabs);
  const std::string row =
      "report 2.pdf, " + Address::display(Url::parse(url("/report"))) + " · click to show in folder";

  openPalette();
  EXPECT_TRUE(waitFor([&] { return rowShown(row); })) << "this session's download rests under the tabs";
  key("Escape");

  enter("/downloads");
  ASSERT_TRUE(waitFor([&] { return rowShown(row) && highlightIs(row); })) << "the downloads list shows the file";
  key("shift+Delete");
  ASSERT_TRUE(waitFor([&] { return !rowShown(row) && downloads->list().empty(); }));
  EXPECT_EQ(AppSupport::read(std::string_view(Downloads::kFileName)).value, nlohmann::json::array());
  EXPECT_TRUE(std::filesystem::exists(folder / "report 2.pdf")) << "removing from the list keeps the file";
  EXPECT_TRUE(fieldHasFocus());

  // A new private tab that only downloads closes itself; the file is listed for this session, never written down.
  key("Escape ctrl+shift+n");
  ASSERT_TRUE(waitFor([&] { return browser->isComposingPrivateTab.get() && fieldHasFocus(); }));
  type(url("/report"));
  key("Return");
  EXPECT_TRUE(waitFor([&] { return readFile(folder / "report 3.pdf") == std::string(50000, 'r'); }));
  EXPECT_TRUE(waitFor([&] { return browser->pages->size() == tabs && address() == url("/alpha.html"); }));
  ASSERT_TRUE(waitFor([&] {
    return downloads->thisSession().size() == 1 && downloads->list().front()->state() == DownloadItem::State::finished;
  }));
  EXPECT_TRUE(downloads->list().front()->isPrivate());
  EXPECT_EQ(AppSupport::read(std::string_view(Downloads::kFileName)).value, nlohmann::json::array());
}

}  // namespace
}  // namespace quillo::test
