// The journeys' window, input and what a user sees.
#include "engine/support/journey.h"

#include <gdk/x11/gdkx.h>

#include <sstream>

#include "page/webkit/webkit_engine.h"
#include "page/webkit/webkit_view.h"

namespace quillo::test {

using namespace std::chrono_literals;

namespace {
// Dispatches whatever the main loop already holds, without waiting for more.
void drain() {
  for (int i = 0; i < 1000 && g_main_context_pending(nullptr); ++i) g_main_context_iteration(nullptr, FALSE);
}
}  // namespace

bool xdotool(const std::vector<std::string>& arguments) {
  std::vector<gchar*> argv{const_cast<gchar*>("xdotool")};
  for (auto& argument : arguments) argv.push_back(const_cast<gchar*>(argument.c_str()));
  argv.push_back(nullptr);
  GPid pid = 0;
  GError* error = nullptr;
  if (!g_spawn_async(nullptr, argv.data(), nullptr, GSpawnFlags(G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD),
                     nullptr, nullptr, &pid, &error)) {
    ADD_FAILURE() << "xdotool: " << error->message;
    g_error_free(error);
    return false;
  }
  bool exited = false;
  g_child_watch_add(
      pid, [](GPid, int, gpointer done) { *static_cast<bool*>(done) = true; }, &exited);
  if (!runUntil([&] { return exited; }, 20s)) return false;
  // A round trip to the X server after xdotool's own: every event it caused is now queued for us.
  gdk_display_sync(gdk_display_get_default());
  drain();
  return true;
}

bool xdotool(const std::string& words) {
  std::istringstream in(words);
  std::vector<std::string> arguments;
  for (std::string word; in >> word;) arguments.push_back(word);
  return xdotool(arguments);
}

void Journey::SetUp() {
  if (!g_find_program_in_path("xdotool")) GTEST_SKIP() << "xdotool is not installed";
  ensureGtk();
  server.html("/alpha.html", "<title>Alpha page</title><p>alpha</p><input id=field>");
  server.html("/beta.html", "<title>Beta page</title><p>beta</p>");
  server.html("/gamma.html", "<title>Gamma page</title><p>gamma</p>");

  history = std::make_unique<History>(scheduler);
  ASSERT_TRUE(waitFor([&] { return history->isLoaded(); }));
  browser = std::make_unique<Browser>(sharedEngine(), scheduler);
  browser->attach(*history);
  browser->settleBlockLists();
  showWindow();
}

void Journey::makeWindow() {
  window = std::make_unique<BrowserWindow>(*browser);
  window->addressBar().completion = [this](const std::string& typed) { return browser->completion(typed); };
  window->set_default_size(1000, 700);
  list = findPaletteList(*window);
  ASSERT_NE(list, nullptr);
  listOpenings = 0;
  list->property_visible().signal_changed().connect([this] { listOpenings += list->get_visible(); });
}

void Journey::showWindow() {
  if (!window) makeWindow();
  window->present();
  ASSERT_TRUE(waitFor([&] { return window->get_mapped() && window->get_width() > 0; }));
  // Keys go where the pointer is (no window manager): over the window.
  ASSERT_TRUE(xdotool({"mousemove", "500", "400"}));
}

void Journey::restart(bool pagesWaitForTest) {
  list = nullptr;
  window.reset();
  browser.reset();
  drain();
  browser = std::make_unique<Browser>(sharedEngine(), scheduler);
  browser->attach(*history);
  // As the application starts: the window first, holding the pages back.
  makeWindow();
  if (pagesWaitForTest)
    browser->isDeferringViews = true;
  else
    window->holdPagesUntilShown();
  browser->loadPins();
  browser->restoreSession();
  browser->settleBlockLists();
  showWindow();
}

void Journey::TearDown() {
  window.reset();
  browser.reset();
  history.reset();
  drain();
}

void Journey::key(const std::string& keys) { ASSERT_TRUE(xdotool("key --delay 40 " + keys)); }

void Journey::type(const std::string& text) { ASSERT_TRUE(xdotool({"type", "--delay", "40", text})); }

void Journey::openPalette() {
  key("ctrl+e");
  ASSERT_TRUE(waitFor([&] { return fieldHasFocus() && listShown(); })) << "Ctrl+E opens the palette";
}

void Journey::enter(const std::string& typed) {
  openPalette();
  type(typed);
  key("Return");
}

std::string Journey::windowID() {
  auto* surface = gtk_native_get_surface(GTK_NATIVE(window->gobj()));
  EXPECT_TRUE(GDK_IS_X11_SURFACE(surface));
  return GDK_IS_X11_SURFACE(surface) ? std::to_string(gdk_x11_surface_get_xid(surface)) : "0";
}

std::pair<std::string, std::string> Journey::screenPoint(Gtk::Widget& widget, double x, double y) {
  graphene_point_t in = GRAPHENE_POINT_INIT(float(x), float(y)), out = GRAPHENE_POINT_INIT(0, 0);
  EXPECT_TRUE(gtk_widget_compute_point(widget.gobj(), GTK_WIDGET(window->gobj()), &in, &out));
  double dx = 0, dy = 0;
  gtk_native_get_surface_transform(GTK_NATIVE(window->gobj()), &dx, &dy);
  return {std::to_string(int(out.x + dx)), std::to_string(int(out.y + dy))};
}

void Journey::click(Gtk::Widget& widget, double x, double y, int button, const std::string& modifiers) {
  auto [px, py] = screenPoint(widget, x, y);
  const bool held = !modifiers.empty();
  ASSERT_TRUE(xdotool((held ? "keydown " + modifiers : "") + " mousemove --window " + windowID() + " " + px + " " + py +
                      " click " + std::to_string(button) + (held ? " keyup " + modifiers : "")));
}

void Journey::pointTo(Gtk::Widget& widget, double x, double y) {
  auto [px, py] = screenPoint(widget, x, y);
  ASSERT_TRUE(xdotool("mousemove --window " + windowID() + " " + px + " " + py));
}

void Journey::drag(Gtk::Widget& widget, double x, double y, double toX, double toY) {
  // As a hand moves: press, on the way, the end, release. Moves reach widgets with the next frame.
  std::string press = "mousedown 1";
  for (auto [px, py] :
       {screenPoint(widget, x, y), screenPoint(widget, (x + toX) / 2, (y + toY) / 2), screenPoint(widget, toX, toY)}) {
    ASSERT_TRUE(xdotool("mousemove --window " + windowID() + " " + px + " " + py + " " + press));
    press.clear();
    ASSERT_TRUE(nextFrames());
  }
  ASSERT_TRUE(xdotool("mouseup 1"));
  ASSERT_TRUE(nextFrames());
}

bool Journey::nextFrames(int count) {
  // Two ticks make sure a whole frame, with its events, went by.
  int ticks = 0;
  auto* widget = GTK_WIDGET(window->gobj());
  gtk_widget_queue_draw(widget);
  const guint id = gtk_widget_add_tick_callback(
      widget,
      [](GtkWidget* widget, GdkFrameClock*, gpointer seen) -> gboolean {
        ++*static_cast<int*>(seen);
        gtk_widget_queue_draw(widget);
        return G_SOURCE_CONTINUE;
      },
      &ticks, nullptr);
  const bool ok = runUntil([&] { return ticks >= count + 1; }, 5s);
  gtk_widget_remove_tick_callback(widget, id);
  return ok;
}

PagePtr Journey::openPage(const std::string& path) {
  auto page = browser->makePage(false);
  page->load(*Url::parse(server.url(path)));
  browser->add(page, true);
  EXPECT_TRUE(waitLoaded(page)) << path;
  return page;
}

bool Journey::waitLoaded(const PagePtr& page) {
  return waitFor([&] { return !page->isLoading.get() && !page->title.get().empty(); });
}

std::string Journey::address() const {
  auto page = browser->current();
  auto url = page ? page->savedURL() : std::nullopt;
  return url ? url->str() : std::string();
}

std::string Journey::fieldText() { return window->addressBar().entry().get_text(); }

std::string Journey::caption() { return window->addressBar().caption(); }

bool Journey::fieldHasFocus() {
  auto* focus = window->get_focus();
  auto& entry = window->addressBar().entry();
  return focus && (focus == &entry || focus->is_ancestor(entry));
}

bool Journey::pageHasFocus() {
  auto page = browser->current();
  auto* view = page ? dynamic_cast<WebKitView*>(&page->webView()) : nullptr;
  auto* focus = window->get_focus();
  return view && focus && focus->gobj() == view->widget();
}

bool Journey::listShown() { return list->get_visible() && list->get_mapped(); }

namespace {
int countViews(GtkWidget* root) {
  int count = 0;
  for (GtkWidget* child = gtk_widget_get_first_child(root); child; child = gtk_widget_get_next_sibling(child)) {
    if (!gtk_widget_get_mapped(child)) continue;
    if (WEBKIT_IS_WEB_VIEW(child))
      ++count;
    else
      count += countViews(child);
  }
  return count;
}
}  // namespace

int Journey::viewsShown() { return countViews(GTK_WIDGET(window->gobj())); }

int Journey::shownWidth(const PagePtr& page) {
  auto* view = page ? dynamic_cast<WebKitView*>(&page->webView()) : nullptr;
  if (!view || !gtk_widget_get_mapped(view->widget())) return 0;
  if (!gtk_widget_is_ancestor(view->widget(), GTK_WIDGET(window->gobj()))) return 0;
  return gtk_widget_get_width(view->widget());
}

namespace {
GtkWidget* findNamed(GtkWidget* root, const std::string& name) {
  for (GtkWidget* child = gtk_widget_get_first_child(root); child; child = gtk_widget_get_next_sibling(child)) {
    if (!gtk_widget_get_visible(child)) continue;
    if ((gtk_test_accessible_has_role(GTK_ACCESSIBLE(child), GTK_ACCESSIBLE_ROLE_LIST_ITEM) ||
         gtk_test_accessible_has_role(GTK_ACCESSIBLE(child), GTK_ACCESSIBLE_ROLE_BUTTON)) &&
        accessibleNameIs(child, name))
      return child;
    if (GtkWidget* found = findNamed(child, name)) return found;
  }
  return nullptr;
}
}  // namespace

bool Journey::rowShown(const std::string& name) {
  return listShown() && findNamed(GTK_WIDGET(list->list().gobj()), name);
}

bool Journey::rowDescribed(const std::string& name, const std::string& description) {
  GtkWidget* row = listShown() ? findNamed(GTK_WIDGET(list->list().gobj()), name) : nullptr;
  return row && accessibleNameIs(row, description, GTK_ACCESSIBLE_PROPERTY_DESCRIPTION);
}

bool Journey::highlightIs(const std::string& name) {
  auto* lit = list->highlightedWidget();
  return listShown() && lit && accessibleNameIs(lit->gobj(), name);
}

std::string Journey::pageScript(const PagePtr& page, const std::string& script) {
  return evaluateText(page->webView(), script);
}

}  // namespace quillo::test
