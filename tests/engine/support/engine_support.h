#pragma once
#include <gtk/gtk.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "page/web_view_port.h"
#include "support/test_server.h"

namespace quillo {
class WebKitEngine;
}

namespace quillo::test {

// Initialises GTK (and gtkmm's wrappers) once per process.
void ensureGtk();

// Iterates the default main context until `done` holds or `timeout` passes.
// Returns false on time-out. The predicate is checked after every dispatch
// and at least every 20 ms, so state that changes off the loop is seen too.
bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout = std::chrono::seconds(15));

// Keeps the loop turning for `duration` (to check that something does NOT
// happen). Never sleeps: events are dispatched all along.
void runFor(std::chrono::milliseconds duration);

// A toplevel window to put a widget in; shown (mapped) on first use. The
// child is replaced on each call.
GtkWindow* windowWith(GtkWidget* child);

// One engine for the whole test program: a second persistent session on the
// same folders would fight over its files.
WebKitEngine& sharedEngine();

// Counts what a view reports; keeps the messages and the windows it opened.
class RecordingEvents : public WebViewEvents {
 public:
  int stateChanges = 0, commits = 0, audioChanges = 0, closes = 0, attention = 0, crashes = 0;
  std::vector<FrameMessage> messages;
  std::vector<std::unique_ptr<WebViewPort>> windows;
  bool acceptWindows = true;
  int offeredWindows = 0;

  void webViewStateChanged() override { ++stateChanges; }
  void webViewCommitted() override { ++commits; }
  void webViewAudioChanged() override { ++audioChanges; }
  void webViewMessage(const FrameMessage& message) override { messages.push_back(message); }
  bool webViewOpenedWindow(std::unique_ptr<WebViewPort> child) override;
  void webViewClosed() override { ++closes; }
  void webViewNeedsAttention() override { ++attention; }
  void webViewCrashed() override { ++crashes; }

  std::vector<FrameMessage> messagesNamed(const std::string& name) const;
};

// Loads `url` and waits until the load committed and stopped.
bool loadAndWait(WebViewPort& view, RecordingEvents& events, const Url& url);

// Runs a script and waits for its answer.
struct Evaluation {
  bool answered = false;
  std::optional<nlohmann::json> result;
  std::string error;
};
Evaluation evaluateAndWait(WebViewPort& view, const std::string& script, uint64_t frameID = 0,
                           bool isolated = false);
// The same without waiting: the answer fills in as it comes.
std::shared_ptr<Evaluation> evaluateLater(WebViewPort& view, const std::string& script, uint64_t frameID = 0,
                                          bool isolated = false);

Url mustParse(const std::string& text);

std::string readFile(const std::filesystem::path& path);

// ---- Windows the engine opens on its own ----
// A shown toplevel of this type (a message dialog, a file chooser), if any.
GtkWindow* shownWindow(GType type);
GtkMessageDialog* shownDialog();
// A string property of a widget ("text", "secondary-text").
std::string textOf(gpointer widget, const char* property = "text");
// The first widget of this type in a message dialog's message area.
GtkWidget* inMessageArea(GtkMessageDialog* dialog, GType type);

// ---- Accessibility ----
// Sets GTK's test accessibility backend, which keeps accessible names in
// reach, for as long as it lives.
class TestAccessibility {
 public:
  TestAccessibility();
  ~TestAccessibility();

 private:
  std::optional<std::string> saved_;
};
// Drawn widgets under root with this accessible role, depth first.
std::vector<GtkWidget*> withRole(GtkWidget* root, GtkAccessibleRole role);
bool accessibleNameIs(GtkWidget* widget, const std::string& name);

// One view in the shared window, over the test's own server.
class ViewTest : public ::testing::Test {
 protected:
  void TearDown() override { windowWith(nullptr); }
  // Makes a view with its events recorded, shows it, and loads `url` unless empty.
  std::unique_ptr<WebViewPort> show(const std::string& url, ViewConfiguration configuration = {});

  TestServer server;
  RecordingEvents events;
};

}  // namespace quillo::test
