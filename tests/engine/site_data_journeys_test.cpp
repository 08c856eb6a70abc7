// Journeys through the site permissions and downloads lists: the real window
// on the real engine, driven by keys, checked by the rows on screen and the
// files written.
#include "core/address.h"
#include "core/app_support.h"
#include "engine/support/engine_support.h"
#include "engine/support/journey.h"
#include "page/webkit/webkit_permissions.h"
#include "stores/downloads.h"
#include "stores/permissions.h"
#include "stores/webkit/webkit_downloads.h"

namespace quillo::test {
namespace {

// The browser with its site permissions and downloads, wired as the
// application wires them.
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
    server.route("/report", Route{200, "application/octet-stream", std::string(50000, 'r'),
                                  {{"Content-Disposition", "attachment; filename=\"report.pdf\""}}});
  }
  void TearDown() override {
    Journey::TearDown();
    usePermissions(nullptr);
    glue.reset();
    downloads.reset();
    permissions.reset();
  }
  void openPalette() {
    key("ctrl+e");
    ASSERT_TRUE(waitFor([&] { return fieldHasFocus() && listShown(); })) << "Ctrl+E opens the palette";
  }
  void enter(const std::string& command) {
    openPalette();
    type(command);
    key("Return");
  }
  // A choice button ("Allow", "Block") of a permission's row on screen.
  Gtk::Widget* choiceButton(const SitePermission& permission, const std::string& choice) {
    PaletteRow* row = list->rowFor(PaletteItem(permission).id());
    if (!row) return nullptr;
    std::function<GtkWidget*(GtkWidget*)> find = [&](GtkWidget* widget) -> GtkWidget* {
      for (GtkWidget* child = gtk_widget_get_first_child(widget); child; child = gtk_widget_get_next_sibling(child)) {
        if (GTK_IS_BUTTON(child) && gtk_widget_get_visible(child))
          if (const char* label = gtk_button_get_label(GTK_BUTTON(child)); label && std::string(label).ends_with(choice))
            return child;
        if (GtkWidget* found = find(child)) return found;
      }
      return nullptr;
    };
    GtkWidget* found = find(GTK_WIDGET(row->gobj()));
    return found ? Glib::wrap(found) : nullptr;
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
  EXPECT_TRUE(highlightIs("Camera"));
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
  EXPECT_TRUE(fieldHasFocus());

  // A click on a row's "Block" chooses it.
  Gtk::Widget* block = choiceButton({"127.0.0.1", SitePermission::Kind::notifications, ""}, "Block");
  ASSERT_NE(block, nullptr);
  click(*block, 4, 4);
  ASSERT_TRUE(waitFor([&] { return rowDescribed("Notifications", "○ Allow   ● Block"); }));
  EXPECT_EQ(permissionsFile()["127.0.0.1"]["notifications"], "block");
}

TEST_F(SiteDataJourney, ADownloadedFileIsListedAndShiftDeleteRemovesIt) {
  openPage("/alpha.html");
  enter(url("/report"));
  ASSERT_TRUE(waitFor([&] {
    return !downloads->list().empty() && downloads->list().front()->state() == DownloadItem::State::finished;
  })) << "the attachment was saved";
  EXPECT_EQ(readFile(folder / "report.pdf"), std::string(50000, 'r'));
  EXPECT_TRUE(waitFor([&] {
    auto saved = AppSupport::read(std::string_view(Downloads::kFileName)).value;
    return saved.size() == 1 && saved[0]["isFinished"] == true && saved[0]["source"] == url("/report");
  })) << "and written down";
  const std::string row = "report.pdf, " + Address::display(Url::parse(url("/report"))) + " · click to show in folder";

  openPalette();
  EXPECT_TRUE(waitFor([&] { return rowShown(row); })) << "this session's download rests under the tabs";
  key("Escape");

  enter("/downloads");
  ASSERT_TRUE(waitFor([&] { return rowShown(row) && highlightIs(row); })) << "the downloads list shows the file";
  key("shift+Delete");
  ASSERT_TRUE(waitFor([&] { return !rowShown(row) && downloads->list().empty(); }));
  EXPECT_EQ(AppSupport::read(std::string_view(Downloads::kFileName)).value, nlohmann::json::array());
  EXPECT_TRUE(std::filesystem::exists(folder / "report.pdf")) << "removing from the list keeps the file";
  EXPECT_TRUE(fieldHasFocus());
}

}  // namespace
}  // namespace quillo::test
