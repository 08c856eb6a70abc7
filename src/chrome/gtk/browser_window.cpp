#include "chrome/gtk/browser_window.h"

#include "page/webkit/webkit_view.h"

namespace quillo {

const std::vector<BrowserWindow::Command>& BrowserWindow::commands() {
  static const std::vector<Command> table = {
      {"new-tab", "New Tab", {"<Control>t"}},
      {"new-private-tab", "New Private Tab", {"<Control><Shift>n"}},
      {"close-tab", "Close Tab", {"<Control>w"}},
      {"reopen-tab", "Reopen Closed Tab", {"<Control><Shift>t"}},
      {"open-location", "Open Location", {"<Control>e", "<Control>l", "<Alt>d"}},
      {"find", "Find in Page", {"<Control>f"}},
      {"find-next", "Find Next", {"<Control>g", "F3"}},
      {"find-previous", "Find Previous", {"<Control><Shift>g", "<Shift>F3"}},
      {"back", "Back", {"<Control>bracketleft", "<Alt>Left"}},
      {"forward", "Forward", {"<Control>bracketright", "<Alt>Right"}},
      {"reload", "Reload", {"<Control>r", "F5"}},
      {"cycle", "Switch to Recent Tab", {"<Control>grave", "<Control>Tab"}},
      {"cycle-back", "Switch Back Through Recent Tabs",
       {"<Control><Shift>grave", "<Control>asciitilde", "<Control><Shift>ISO_Left_Tab"}},
  };
  return table;
}

BrowserWindow::BrowserWindow(Browser& browser) : browser_(browser), addressBar_(browser) {
  set_title("Quillo");
  set_default_size(1200, 800);
  add_css_class("quillo-window");

  addressBar_.set_margin(6);
  pageArea_.set_vexpand(true);
  pageArea_.set_hexpand(true);
  layout_.append(addressBar_);
  layout_.append(pageArea_);
  set_child(layout_);

  addActions();

  // Ctrl held and released drives tab cycling; seen before the page or field.
  auto keys = Gtk::EventControllerKey::create();
  keys->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
  keys->signal_key_pressed().connect(sigc::mem_fun(*this, &BrowserWindow::onKeyPressed), false);
  keys->signal_key_released().connect(sigc::mem_fun(*this, &BrowserWindow::onKeyReleased));
  add_controller(keys);
  property_is_active().signal_changed().connect([this] {
    if (!is_active()) browser_.chrome.commandReleased();
  });

  connections_.push_back(browser_.currentPageChanged.connect([this] { showCurrentPage(); }));
  connections_.push_back(browser_.hideRequested.connect([this] { minimize(); }));
  connections_.push_back(browser_.bringForwardRequested.connect([this] { present(); }));
  showCurrentPage();
}

BrowserWindow::~BrowserWindow() {
  for (auto& c : connections_) c.disconnect();
}

void BrowserWindow::addActions() {
  auto page = [this] { return browser_.current(); };
  std::map<std::string, std::function<void()>> handlers = {
      {"new-tab", [this] { browser_.newTab(); }},
      {"new-private-tab", [this] { browser_.newPrivateTab(); }},
      {"close-tab", [this] { browser_.closeCurrentTab(); }},
      {"reopen-tab", [this] { browser_.reopenClosedTab(); }},
      {"open-location", [this] { browser_.summon(); }},
      {"find", [this] { browser_.startFinding(); }},
      {"find-next", [this] { browser_.findNext(false); }},
      {"find-previous", [this] { browser_.findNext(true); }},
      {"back", [page] { if (auto p = page()) p->webView().goBack(); }},
      {"forward", [page] { if (auto p = page()) p->webView().goForward(); }},
      {"reload", [page] { if (auto p = page()) p->webView().reload(); }},
      {"cycle", [this] { browser_.cycle(false); }},
      {"cycle-back", [this] { browser_.cycle(true); }},
  };
  // A capture-phase controller so the browser's keys win over the page's.
  auto shortcuts = Gtk::ShortcutController::create();
  shortcuts->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
  for (auto& command : commands()) {
    add_action(command.name, handlers.at(command.name));
    for (auto* accel : command.accels)
      shortcuts->add_shortcut(Gtk::Shortcut::create(Gtk::ShortcutTrigger::parse_string(accel),
                                                    Gtk::NamedAction::create(std::string("win.") + command.name)));
  }
  add_controller(shortcuts);
}

void BrowserWindow::installAccels(Gtk::Application& app) {
  for (auto& command : commands()) {
    std::vector<Glib::ustring> accels(command.accels.begin(), command.accels.end());
    app.set_accels_for_action(std::string("win.") + command.name, accels);
  }
}

void BrowserWindow::showCurrentPage() {
  auto page = browser_.current();
  set_title(page && !page->displayTitle().empty() ? page->displayTitle() + " — Quillo" : "Quillo");
  if (page.get() == shownPage_) return;
  if (shownWidget_) {
    gtk_box_remove(pageArea_.gobj(), shownWidget_);
    shownWidget_ = nullptr;
  }
  shownPage_ = page.get();
  if (!page) return;
  if (auto* view = dynamic_cast<WebKitView*>(&page->webView())) {
    shownWidget_ = view->widget();
    gtk_widget_set_hexpand(shownWidget_, TRUE);
    gtk_widget_set_vexpand(shownWidget_, TRUE);
    gtk_box_append(pageArea_.gobj(), shownWidget_);
  }
}

bool BrowserWindow::onKeyPressed(guint keyval, guint, Gdk::ModifierType) {
  if (keyval == GDK_KEY_Control_L || keyval == GDK_KEY_Control_R) browser_.chrome.commandPressed();
  return false;
}

void BrowserWindow::onKeyReleased(guint keyval, guint, Gdk::ModifierType) {
  if (keyval == GDK_KEY_Control_L || keyval == GDK_KEY_Control_R) browser_.chrome.commandReleased();
}

}  // namespace quillo
