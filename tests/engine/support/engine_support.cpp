#include "engine/support/engine_support.h"

#include <gtkmm/init.h>

#include <memory>
#include <stdexcept>

#include "page/webkit/webkit_engine.h"

namespace quillo::test {

void ensureGtk() {
  static bool done = [] {
    // GTK records chosen files as the program's recent files, by name.
    g_set_prgname("quillo-tests");
    g_set_application_name("Quillo tests");
    gtk_init();
    Gtk::init_gtkmm_internals();
    return true;
  }();
  (void)done;
}

bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
  ensureGtk();
  bool timedOut = false;
  GSource* deadline = g_timeout_source_new(static_cast<guint>(timeout.count()));
  g_source_set_callback(
      deadline,
      [](gpointer flag) -> gboolean {
        *static_cast<bool*>(flag) = true;
        return G_SOURCE_REMOVE;
      },
      &timedOut, nullptr);
  g_source_attach(deadline, nullptr);
  // A tick so that a blocking iteration wakes up to look at the predicate.
  guint tick = g_timeout_add(20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);

  bool result = done();
  while (!result && !timedOut) {
    g_main_context_iteration(nullptr, TRUE);
    result = done();
  }
  g_source_remove(tick);
  g_source_destroy(deadline);
  g_source_unref(deadline);
  return result;
}

void runFor(std::chrono::milliseconds duration) {
  runUntil([] { return false; }, duration);
}

GtkWindow* windowWith(GtkWidget* child) {
  ensureGtk();
  static GtkWindow* window = [] {
    auto* w = GTK_WINDOW(gtk_window_new());
    g_object_ref_sink(w);
    gtk_window_set_default_size(w, 800, 600);
    return w;
  }();
  gtk_window_set_child(window, child);
  gtk_window_present(window);
  return window;
}

WebKitEngine& sharedEngine() {
  ensureGtk();
  // Never destroyed: tearing WebKit down during static destruction is unsafe.
  static auto* engine = new WebKitEngine();
  return *engine;
}

bool RecordingEvents::webViewOpenedWindow(std::unique_ptr<WebViewPort> child) {
  ++offeredWindows;
  if (!acceptWindows) return false;
  windows.push_back(std::move(child));
  return true;
}

std::vector<FrameMessage> RecordingEvents::messagesNamed(const std::string& name) const {
  std::vector<FrameMessage> found;
  for (const auto& message : messages)
    if (message.name == name) found.push_back(message);
  return found;
}

bool loadAndWait(WebViewPort& view, RecordingEvents& events, const Url& url) {
  int before = events.commits;
  view.load(url);
  return runUntil([&] { return events.commits > before && !view.isLoading(); });
}

Evaluation evaluateAndWait(WebViewPort& view, const std::string& script, uint64_t frameID, bool isolated) {
  auto evaluation = std::make_shared<Evaluation>();
  view.evaluate(script, frameID, isolated, [evaluation](std::optional<nlohmann::json> result, std::string error) {
    evaluation->answered = true;
    evaluation->result = std::move(result);
    evaluation->error = std::move(error);
  });
  runUntil([&] { return evaluation->answered; });
  return *evaluation;
}

Url mustParse(const std::string& text) {
  auto url = Url::parse(text);
  if (!url) throw std::runtime_error("not a URL: " + text);
  return *url;
}

}  // namespace quillo::test
