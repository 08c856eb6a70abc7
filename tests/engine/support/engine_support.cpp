// Helpers for tests on the real engine.
#include "engine/support/engine_support.h"

#include <gtkmm/init.h>

#include <fstream>
#include <stdexcept>

#include "page/webkit/webkit_engine.h"
#include "page/webkit/webkit_view.h"

namespace quillo::test {

void ensureGtk() {
  static bool done = [] {
    // GTK records chosen files as the program's recent files, by name.
    g_set_prgname("quillo-tests");
    g_set_application_name("Quillo tests");
    // GTK's test accessibility backend keeps accessible names in reach.
    g_setenv("GTK_A11Y", "test", TRUE);
    gtk_init();
    Gtk::init_gtkmm_internals();
    return true;
  }();
  (void)done;
}

bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
  ensureGtk();
  const gint64 end = g_get_monotonic_time() + gint64(timeout.count()) * 1000;
  // A tick wakes a blocking iteration up to look at the predicate again.
  guint tick = g_timeout_add(
      20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
  bool result = done();
  while (!result && g_get_monotonic_time() < end) {
    g_main_context_iteration(nullptr, TRUE);
    result = done();
  }
  g_source_remove(tick);
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

Alert RecordingEvents::answerNext(const AlertAnswer& answer) {
  if (!runUntil([&] { return !asked.empty(); })) return {"no question", "", {}};
  auto [alert, answered] = std::move(asked.front());
  asked.pop_front();
  answered(answer);
  return alert;
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

std::shared_ptr<Evaluation> evaluateLater(WebViewPort& view, const std::string& script, uint64_t frameID,
                                          bool isolated) {
  auto evaluation = std::make_shared<Evaluation>();
  view.evaluate(script, frameID, isolated, [evaluation](std::optional<nlohmann::json> result, std::string error) {
    evaluation->answered = true;
    evaluation->result = std::move(result);
    evaluation->error = std::move(error);
  });
  return evaluation;
}

Evaluation evaluateAndWait(WebViewPort& view, const std::string& script, uint64_t frameID, bool isolated) {
  auto evaluation = evaluateLater(view, script, frameID, isolated);
  runUntil([&] { return evaluation->answered; });
  return *evaluation;
}

std::string evaluateText(WebViewPort& view, const std::string& script, uint64_t frameID, bool isolated) {
  auto answer = evaluateAndWait(view, script, frameID, isolated);
  if (!answer.result) return "<" + answer.error + ">";
  return answer.result->is_string() ? answer.result->get<std::string>() : answer.result->dump();
}

Url mustParse(const std::string& text) {
  auto url = Url::parse(text);
  if (!url) throw std::runtime_error("not a URL: " + text);
  return *url;
}

const std::string kTinyGif(
    "GIF89a\x01\x00\x01\x00\x80\x00\x00\x00\x00\x00\xff\xff\xff\x21\xf9\x04\x01\x00\x00\x00\x00\x2c\x00"
    "\x00\x00\x00\x01\x00\x01\x00\x00\x02\x02\x44\x01\x00\x3b",
    43);

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

GtkWindow* shownWindow(GType type) {
  GListModel* toplevels = gtk_window_get_toplevels();
  for (guint i = 0; i < g_list_model_get_n_items(toplevels); ++i) {
    auto* window = static_cast<GtkWindow*>(g_list_model_get_item(toplevels, i));
    g_object_unref(window);  // the list keeps it
    if (G_TYPE_CHECK_INSTANCE_TYPE(window, type) && gtk_widget_get_visible(GTK_WIDGET(window))) return window;
  }
  return nullptr;
}

namespace {
void collect(GtkWidget* root, GtkAccessibleRole role, std::vector<GtkWidget*>& out) {
  for (GtkWidget* child = gtk_widget_get_first_child(root); child; child = gtk_widget_get_next_sibling(child)) {
    if (!gtk_widget_get_visible(child)) continue;
    if (gtk_test_accessible_has_role(GTK_ACCESSIBLE(child), role)) out.push_back(child);
    collect(child, role, out);
  }
}
}  // namespace

std::vector<GtkWidget*> withRole(GtkWidget* root, GtkAccessibleRole role) {
  std::vector<GtkWidget*> found;
  collect(root, role, found);
  return found;
}

GtkWidget* shownCard(GtkWidget* root) {
  for (GtkWidget* card : withRole(root, GTK_ACCESSIBLE_ROLE_ALERT_DIALOG))
    if (gtk_widget_get_mapped(card)) return card;
  return nullptr;
}

GtkWidget* awaitCard(GtkWidget* root) {
  runUntil([&] { return shownCard(root) != nullptr; });
  return shownCard(root);
}

namespace {
void describe(GtkWidget* root, std::vector<std::string>& parts) {
  for (GtkWidget* child = gtk_widget_get_first_child(root); child; child = gtk_widget_get_next_sibling(child)) {
    if (!gtk_widget_get_visible(child)) continue;
    if (GTK_IS_ENTRY(child))
      parts.push_back(std::string("[") + gtk_editable_get_text(GTK_EDITABLE(child)) + "]");
    else if (GTK_IS_CHECK_BUTTON(child))
      parts.push_back(std::string(gtk_check_button_get_active(GTK_CHECK_BUTTON(child)) ? "[x] " : "[ ] ") +
                      gtk_check_button_get_label(GTK_CHECK_BUTTON(child)));
    else if (GTK_IS_BUTTON(child))
      parts.push_back(gtk_button_get_label(GTK_BUTTON(child)));
    else if (GTK_IS_LABEL(child))
      parts.push_back(gtk_label_get_text(GTK_LABEL(child)));
    else
      describe(child, parts);
  }
}
}  // namespace

std::string cardText(GtkWidget* card) {
  std::vector<std::string> parts;
  describe(card, parts);
  std::string text;
  for (auto& part : parts) text += (text.empty() ? "" : " | ") + part;
  return text;
}

bool accessibleNameIs(GtkWidget* widget, const std::string& name, GtkAccessibleProperty property) {
  char* problem = gtk_test_accessible_check_property(GTK_ACCESSIBLE(widget), property, name.c_str());
  bool ok = problem == nullptr;
  g_free(problem);
  return ok;
}

std::unique_ptr<WebViewPort> ViewTest::show(const std::string& url, ViewConfiguration configuration) {
  auto view = sharedEngine().makeView(std::move(configuration));
  view->setEvents(&events);
  windowWith(dynamic_cast<WebKitView&>(*view).widget());
  if (!url.empty()) {
    EXPECT_TRUE(loadAndWait(*view, events, mustParse(url))) << url;
  }
  return view;
}

FakeBusService::FakeBusService(const char* xml, const char* path, const char* name, GDBusInterfaceMethodCallFunc call) {
  char* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  auto flags = GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                    G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  connection = g_dbus_connection_new_for_address_sync(address, flags, nullptr, nullptr, nullptr);
  g_free(address);
  GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(xml, nullptr);
  const GDBusInterfaceVTable vtable = {call, nullptr, nullptr, {}};
  object_ = g_dbus_connection_register_object(connection, path, node->interfaces[0], &vtable, this, nullptr, nullptr);
  g_dbus_node_info_unref(node);
  name_ = g_bus_own_name_on_connection(
      connection, name, G_BUS_NAME_OWNER_FLAGS_NONE,
      [](GDBusConnection*, const char*, gpointer self) { static_cast<FakeBusService*>(self)->owned = true; }, nullptr,
      this, nullptr);
}

FakeBusService::~FakeBusService() {
  g_bus_unown_name(name_);
  g_dbus_connection_unregister_object(connection, object_);
  g_dbus_connection_close_sync(connection, nullptr, nullptr);
  g_object_unref(connection);
}

}  // namespace quillo::test
