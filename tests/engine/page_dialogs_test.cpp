#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "engine/support/engine_support.h"
#include "page/webkit/webkit_engine.h"
#include "page/webkit/webkit_view.h"
#include "support/test_server.h"

namespace quillo::test {
namespace {

GtkMessageDialog* openDialog() {
  GListModel* toplevels = gtk_window_get_toplevels();
  for (guint i = 0; i < g_list_model_get_n_items(toplevels); ++i) {
    auto* window = static_cast<GtkWindow*>(g_list_model_get_item(toplevels, i));
    g_object_unref(window);  // the list keeps it
    if (GTK_IS_MESSAGE_DIALOG(window) && gtk_widget_get_visible(GTK_WIDGET(window))) return GTK_MESSAGE_DIALOG(window);
  }
  return nullptr;
}

std::string text(GtkMessageDialog* dialog, const char* property) {
  char* value = nullptr;
  g_object_get(dialog, property, &value, nullptr);
  std::string result = value ? value : "";
  g_free(value);
  return result;
}

GtkEntry* entryOf(GtkMessageDialog* dialog) {
  GtkWidget* area = gtk_message_dialog_get_message_area(dialog);
  for (GtkWidget* child = gtk_widget_get_first_child(area); child; child = gtk_widget_get_next_sibling(child))
    if (GTK_IS_ENTRY(child)) return GTK_ENTRY(child);
  return nullptr;
}

class ScriptDialogs : public ::testing::Test {
 protected:
  void SetUp() override {
    server_.html("/", "<!doctype html><title>dialogs</title>");
    view_ = sharedEngine().makeView({});
    view_->setEvents(&events_);
    windowWith(dynamic_cast<WebKitView&>(*view_).widget());
    ASSERT_TRUE(loadAndWait(*view_, events_, mustParse(server_.url("/"))));
  }
  void TearDown() override { windowWith(nullptr); }

  // Starts the script, waits for its dialog, lets `answer` handle it, and
  // returns what the script got.
  Evaluation run(const std::string& script, const std::function<void(GtkMessageDialog*)>& answer) {
    auto evaluation = std::make_shared<Evaluation>();
    view_->evaluate(script, 0, false, [evaluation](std::optional<nlohmann::json> result, std::string error) {
      evaluation->answered = true;
      evaluation->result = std::move(result);
      evaluation->error = std::move(error);
    });
    EXPECT_TRUE(runUntil([] { return openDialog() != nullptr; }));
    if (GtkMessageDialog* dialog = openDialog()) answer(dialog);
    EXPECT_TRUE(runUntil([&] { return evaluation->answered; }));
    return *evaluation;
  }

  TestServer server_;
  RecordingEvents events_;
  std::unique_ptr<WebViewPort> view_;
};

TEST_F(ScriptDialogs, ConfirmNamesTheSiteAndAnswersTheButtonPressed) {
  auto confirmed = run("confirm('Sure?')", [&](GtkMessageDialog* dialog) {
    EXPECT_EQ(text(dialog, "text"), "127.0.0.1 says");
    EXPECT_EQ(text(dialog, "secondary-text"), "Sure?");
    EXPECT_EQ(events_.attention, 1);
    gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_OK);
  });
  EXPECT_EQ(confirmed.result, nlohmann::json(true));
  auto cancelled =
      run("confirm('Again?')", [](GtkMessageDialog* dialog) { gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL); });
  EXPECT_EQ(cancelled.result, nlohmann::json(false));
  EXPECT_EQ(events_.attention, 2);
}

TEST_F(ScriptDialogs, PromptOffersTheDefaultTextAndReturnsTheEntry) {
  auto typed = run("prompt('Name?', 'dflt')", [](GtkMessageDialog* dialog) {
    GtkEntry* entry = entryOf(dialog);
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(gtk_editable_get_text(GTK_EDITABLE(entry)), "dflt");
    gtk_editable_set_text(GTK_EDITABLE(entry), "Ada");
    gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_OK);
  });
  EXPECT_EQ(typed.result, nlohmann::json("Ada"));
  auto cancelled =
      run("prompt('Name?')", [](GtkMessageDialog* dialog) { gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL); });
  EXPECT_EQ(cancelled.result, nlohmann::json(nullptr));
}

TEST_F(ScriptDialogs, AnAlertIsReleasedWhenItsViewGoes) {
  bool answered = false;
  view_->evaluate("alert('Hi'); 'after'", 0, false, [&](auto, auto) { answered = true; });
  ASSERT_TRUE(runUntil([] { return openDialog() != nullptr; }));
  GtkMessageDialog* dialog = openDialog();
  EXPECT_EQ(text(dialog, "secondary-text"), "Hi");
  // Only the "OK" button for an alert.
  EXPECT_EQ(gtk_dialog_get_widget_for_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL), nullptr);
  windowWith(nullptr);
  view_.reset();
  EXPECT_TRUE(runUntil([] { return openDialog() == nullptr; }));
  EXPECT_FALSE(answered);
}

}  // namespace
}  // namespace quillo::test

namespace quillo::test {
namespace {

GtkFileChooser* openChooser() {
  GListModel* toplevels = gtk_window_get_toplevels();
  for (guint i = 0; i < g_list_model_get_n_items(toplevels); ++i) {
    auto* window = static_cast<GtkWindow*>(g_list_model_get_item(toplevels, i));
    g_object_unref(window);
    if (GTK_IS_FILE_CHOOSER(window) && gtk_widget_get_visible(GTK_WIDGET(window))) return GTK_FILE_CHOOSER(window);
  }
  return nullptr;
}

TEST(FileChooser, AnUploadFieldOpensAChooserAndGetsTheChosenFile) {
  TestServer server;
  server.html("/", "<!doctype html><title>upload</title><input type=file id=f multiple accept='.txt' "
                   "onchange=\"document.title = [...this.files].map(f => f.name).join(',')\">");
  RecordingEvents events;
  auto view = sharedEngine().makeView({});
  view->setEvents(&events);
  windowWith(dynamic_cast<WebKitView&>(*view).widget());
  ASSERT_TRUE(loadAndWait(*view, events, mustParse(server.url("/"))));
  auto file = std::filesystem::temp_directory_path() / ("quillo-upload-" + std::to_string(getpid()) + ".txt");
  std::ofstream(file) << "uploaded";

  ASSERT_TRUE(evaluateAndWait(*view, "document.getElementById('f').click(); null").result);
  ASSERT_TRUE(runUntil([] { return openChooser() != nullptr; }));
  EXPECT_EQ(events.attention, 1);
  GtkFileChooser* chooser = openChooser();
  EXPECT_TRUE(gtk_file_chooser_get_select_multiple(chooser));
  GFile* chosen = g_file_new_for_path(file.c_str());
  gtk_file_chooser_set_file(chooser, chosen, nullptr);
  g_object_unref(chosen);
  // The chooser selects the file once it has read the folder.
  ASSERT_TRUE(runUntil([&] {
    GListModel* files = gtk_file_chooser_get_files(chooser);
    bool selected = g_list_model_get_n_items(files) == 1;
    g_object_unref(files);
    return selected;
  }));
  gtk_dialog_response(GTK_DIALOG(chooser), GTK_RESPONSE_ACCEPT);
  EXPECT_TRUE(runUntil([&] { return view->title() == file.filename().string(); })) << view->title();
  EXPECT_TRUE(runUntil([] { return openChooser() == nullptr; }));
  windowWith(nullptr);
  std::filesystem::remove(file);
}

}  // namespace
}  // namespace quillo::test
