// Helpers for tests on the real engine: the main loop, the shared engine and window, reading dialogs and accessibility.
#pragma once
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <chrono>
#include <deque>
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

void ensureGtk();

// Iterates the default main context until `done` holds (checked at least every 20 ms); false on time-out.
bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout = std::chrono::seconds(15));
// Keeps the loop turning, to see that something does NOT happen.
void runFor(std::chrono::milliseconds duration);

GtkWindow* windowWith(GtkWidget* child);
// One engine per program: a second persistent session on the same folders would fight over its files.
WebKitEngine& sharedEngine();

class RecordingEvents : public WebViewEvents {
 public:
  int stateChanges = 0, commits = 0, closes = 0, attention = 0, crashes = 0;
  std::vector<FrameMessage> messages;
  std::vector<std::unique_ptr<WebViewPort>> windows;
  bool acceptWindows = true;
  int offeredWindows = 0;

  void webViewStateChanged() override { ++stateChanges; }
  void webViewCommitted() override { ++commits; }
  void webViewAudioChanged() override {}
  void webViewMessage(const FrameMessage& message) override { messages.push_back(message); }
  bool webViewOpenedWindow(std::unique_ptr<WebViewPort> child) override;
  void webViewClosed() override { ++closes; }
  void webViewNeedsAttention() override { ++attention; }
  void webViewCrashed() override { ++crashes; }
  void webViewAsk(const Alert& alert, std::function<void(const AlertAnswer&)> answered) override {
    asked.emplace_back(alert, std::move(answered));
  }
  // Waits for the next question the view puts and gives it `answer`; what it asked ("no question" on time-out).
  Alert answerNext(const AlertAnswer& answer);

  std::vector<FrameMessage> messagesNamed(const std::string& name) const;

 private:
  std::deque<std::pair<Alert, std::function<void(const AlertAnswer&)>>> asked;
};

bool loadAndWait(WebViewPort& view, RecordingEvents& events, const Url& url);

struct Evaluation {
  bool answered = false;
  std::optional<nlohmann::json> result;
  std::string error;
};
Evaluation evaluateAndWait(WebViewPort& view, const std::string& script, uint64_t frameID = 0, bool isolated = false);
std::shared_ptr<Evaluation> evaluateLater(WebViewPort& view, const std::string& script, uint64_t frameID = 0,
                                          bool isolated = false);
// The answer as text: a string as it is, anything else as JSON, a failure as "<error>".
std::string evaluateText(WebViewPort& view, const std::string& script, uint64_t frameID = 0, bool isolated = false);

Url mustParse(const std::string& text);
extern const std::string kTinyGif;  // a 1x1 transparent GIF
std::string readFile(const std::filesystem::path& path);

GtkWindow* shownWindow(GType type);
// The question card on screen under `root` (by its accessible role), nullptr when none; awaitCard waits for one.
GtkWidget* shownCard(GtkWidget* root);
GtkWidget* awaitCard(GtkWidget* root);
// What a card shows, in order, joined by " | ": its texts, "[field text]", "[ ] box" or "[x] box", the buttons from the
// left.
std::string cardText(GtkWidget* card);

std::vector<GtkWidget*> withRole(GtkWidget* root, GtkAccessibleRole role);
bool accessibleNameIs(GtkWidget* widget, const std::string& name,
                      GtkAccessibleProperty property = GTK_ACCESSIBLE_PROPERTY_LABEL);

// A desktop service the test plays: a session-bus connection of its own
// with one object and a well-known name, all given up when it goes. Its
// method calls reach `call` with the service as user data.
class FakeBusService {
 public:
  FakeBusService(const char* xml, const char* path, const char* name, GDBusInterfaceMethodCallFunc call);
  virtual ~FakeBusService();
  FakeBusService(const FakeBusService&) = delete;
  FakeBusService& operator=(const FakeBusService&) = delete;

  GDBusConnection* connection = nullptr;
  bool owned = false;  // the bus gave it the name

 private:
  guint object_ = 0, name_ = 0;
};

// One view in the shared window, over the test's own server.
class ViewTest : public ::testing::Test {
 protected:
  void TearDown() override { windowWith(nullptr); }
  // A view with its events recorded, shown, and loaded with `url` unless empty.
  std::unique_ptr<WebViewPort> show(const std::string& url, ViewConfiguration configuration = {});

  TestServer server;
  RecordingEvents events;
};

}  // namespace quillo::test
