// The dialogs a page raises (alert, confirm, prompt, an upload field's file
// chooser) on the real engine, answered as a user would.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "engine/support/engine_support.h"

namespace quillo::test {
namespace {

class ScriptDialogs : public ViewTest {
 protected:
  void SetUp() override {
    server.html("/", "<!doctype html><title>dialogs</title>");
    view = show(server.url("/"));
  }

  // Starts the script, waits for its dialog, lets `answer` handle it, and
  // returns what the script got.
  Evaluation run(const std::string& script, const std::function<void(GtkMessageDialog*)>& answer) {
    auto evaluation = evaluateLater(*view, script);
    EXPECT_TRUE(runUntil([] { return shownDialog() != nullptr; }));
    if (GtkMessageDialog* dialog = shownDialog()) answer(dialog);
    EXPECT_TRUE(runUntil([&] { return evaluation->answered; }));
    return *evaluation;
  }
  static void cancel(GtkMessageDialog* dialog) { gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL); }

  std::unique_ptr<WebViewPort> view;
};

TEST_F(ScriptDialogs, ConfirmPromptAndAlertNameTheSiteAnswerWhatWasChosenAndGoWithTheView) {
  auto confirmed = run("confirm('Sure?')", [&](GtkMessageDialog* dialog) {
    EXPECT_EQ(textOf(dialog), "127.0.0.1 says");
    EXPECT_EQ(textOf(dialog, "secondary-text"), "Sure?");
    EXPECT_EQ(events.attention, 1);
    gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_OK);
  });
  EXPECT_EQ(confirmed.result, nlohmann::json(true));
  EXPECT_EQ(run("confirm('Again?')", cancel).result, nlohmann::json(false));
  EXPECT_EQ(events.attention, 2);

  auto typed = run("prompt('Name?', 'dflt')", [](GtkMessageDialog* dialog) {
    GtkWidget* entry = inMessageArea(dialog, GTK_TYPE_ENTRY);
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(gtk_editable_get_text(GTK_EDITABLE(entry)), "dflt");
    gtk_editable_set_text(GTK_EDITABLE(entry), "Ada");
    gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_OK);
  });
  EXPECT_EQ(typed.result, nlohmann::json("Ada"));
  EXPECT_EQ(run("prompt('Name?')", cancel).result, nlohmann::json(nullptr));

  // An alert has only "OK", and goes with its view unanswered.
  auto alert = evaluateLater(*view, "alert('Hi'); 'after'");
  ASSERT_TRUE(runUntil([] { return shownDialog() != nullptr; }));
  EXPECT_EQ(textOf(shownDialog(), "secondary-text"), "Hi");
  EXPECT_EQ(gtk_dialog_get_widget_for_response(GTK_DIALOG(shownDialog()), GTK_RESPONSE_CANCEL), nullptr);
  windowWith(nullptr);
  view.reset();
  EXPECT_TRUE(runUntil([] { return shownDialog() == nullptr; }));
  EXPECT_FALSE(alert->answered);
}

TEST_F(ScriptDialogs, AnUploadFieldOpensAChooserAndGetsTheChosenFile) {
  server.html("/upload", "<!doctype html><title>upload</title><input type=file id=f multiple accept='.txt' "
                         "onchange=\"document.title = [...this.files].map(f => f.name).join(',')\">");
  ASSERT_TRUE(loadAndWait(*view, events, mustParse(server.url("/upload"))));
  auto file = std::filesystem::temp_directory_path() / ("quillo-upload-" + std::to_string(getpid()) + ".txt");
  std::ofstream(file) << "uploaded";
  auto chooser = [] { return reinterpret_cast<GtkFileChooser*>(shownWindow(GTK_TYPE_FILE_CHOOSER)); };

  ASSERT_TRUE(evaluateAndWait(*view, "document.getElementById('f').click(); null").result);
  ASSERT_TRUE(runUntil([&] { return chooser() != nullptr; }));
  EXPECT_EQ(events.attention, 1);
  EXPECT_TRUE(gtk_file_chooser_get_select_multiple(chooser()));
  GFile* chosen = g_file_new_for_path(file.c_str());
  gtk_file_chooser_set_file(chooser(), chosen, nullptr);
  g_object_unref(chosen);
  // The chooser selects the file once it has read the folder.
  ASSERT_TRUE(runUntil([&] {
    GListModel* files = gtk_file_chooser_get_files(chooser());
    bool selected = g_list_model_get_n_items(files) == 1;
    g_object_unref(files);
    return selected;
  }));
  gtk_dialog_response(GTK_DIALOG(chooser()), GTK_RESPONSE_ACCEPT);
  EXPECT_TRUE(runUntil([&] { return view->title() == file.filename().string(); })) << view->title();
  EXPECT_TRUE(runUntil([&] { return chooser() == nullptr; }));
  std::filesystem::remove(file);
}

}  // namespace
}  // namespace quillo::test
