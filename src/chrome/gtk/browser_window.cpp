// The main window: its actions and keys, the menu, and showing the current page or split under the bar.
#include "chrome/gtk/browser_window.h"

#include <gtkmm/eventcontrollerlegacy.h>
#include <sigc++/adaptors/track_obj.h>

#include "chrome/gtk/window_focus.h"
#include "chrome/key_handler.h"
#include "page/webkit/webkit_view.h"
#include "palette/gtk/palette_view.h"

namespace quillo {

const std::vector<BrowserWindow::Command>& BrowserWindow::commands() {
  static const std::vector<Command> table = {
      {"new-tab", "New Tab", {"<Control>t"}},
      {"new-private-tab", "New Private Tab", {"<Control><Shift>n"}},
      {"close-tab", "Close Tab", {"<Control>w"}},
      {"reopen-tab", "Reopen Closed Tab", {"<Control><Shift>t"}},
      {"print", "Print…", {"<Control>p"}},
      {"open-location", "Open Location", {"<Control>e", "<Control>l", "<Alt>d"}},
      {"find", "Find in Page", {"<Control>f"}},
      {"find-next", "Find Next", {"<Control>g", "F3"}},
      {"find-previous", "Find Previous", {"<Control><Shift>g", "<Shift>F3"}},
      {"back", "Back", {"<Control>bracketleft", "<Alt>Left"}},
      {"forward", "Forward", {"<Control>bracketright", "<Alt>Right"}},
      {"reload", "Reload", {"<Control>r", "F5"}},
      {"reader", "Reader", {"<Control><Shift>r"}},
      {"mute", "Mute or Unmute Tab", {"<Control>m"}},
      {"zoom-in", "Zoom In", {"<Control>equal", "<Control>plus", "<Control>KP_Add"}},
      {"zoom-out", "Zoom Out", {"<Control>minus", "<Control>KP_Subtract"}},
      {"actual-size", "Actual Size", {"<Control>0", "<Control>KP_0"}},
      {"toggle-pin", "Pin Tab", {"<Control>d"}},
      {"rename-tab", "Rename Tab", {"<Control>i"}},
      {"divider-left", "Move Divider Left", {"<Control><Alt>Left"}},
      {"divider-right", "Move Divider Right", {"<Control><Alt>Right"}},
      {"divider-centre", "Centre Divider", {"<Control><Alt>0", "<Control><Alt>KP_0"}},
      {"commands", "Commands", {"<Control>slash"}},
      {"hints", "Follow a Link by Keys", {"<Alt>j"}},
      {"hints-background", "Open a Link in a Background Tab by Keys", {"<Alt><Shift>j"}},
      {"cycle", "Switch to Recent Tab", {"<Control>grave", "<Control>Tab"}},
      {"cycle-back",
       "Switch Back Through Recent Tabs",
       {"<Control><Shift>grave", "<Control>asciitilde", "<Control><Shift>ISO_Left_Tab"}},
  };
  return table;
}

BrowserWindow::BrowserWindow(Browser& browser) : browser_(browser), addressBar_(browser) {
  set_title("Quillo");
  set_default_size(1200, 800);
  add_css_class("quillo-window");

  // The bar lives in the title bar: one slim strip of chrome, the page first.
  addressBar_.set_hexpand(true);
  addressBar_.set_margin_top(4);
  addressBar_.set_margin_bottom(2);
  titlebarBox_.add_css_class("quillo-titlebar");
  titlebarBox_.set_spacing(6);
  titlebarBox_.set_margin_start(8);
  titlebarBox_.set_margin_end(4);
  titlebarBox_.append(addressBar_);
  menuButton_.set_icon_name("open-menu-symbolic");
  menuButton_.set_tooltip_text("Menu");
  menuButton_.set_primary(true);  // F10 opens it
  gtk_accessible_update_property(GTK_ACCESSIBLE(menuButton_.gobj()), GTK_ACCESSIBLE_PROPERTY_LABEL, "Menu", -1);
  menuButton_.set_valign(Gtk::Align::START);
  menuButton_.set_margin_top(4);
  windowControls_.set_valign(Gtk::Align::START);
  windowControls_.set_margin_top(4);
  titlebarBox_.append(menuButton_);
  titlebarBox_.append(windowControls_);
  titlebar_.set_child(titlebarBox_);
  titlebar_.add_css_class("titlebar");
  set_titlebar(titlebar_);

  pageArea_.onPress = sigc::mem_fun(*this, &BrowserWindow::pagePressed);
  pageOverlay_.set_child(pageArea_);
  set_child(pageOverlay_);
  // The palette list, over the page just under the bar (palette/gtk/palette_view.h).
  installPaletteList(pageOverlay_, browser_);

  addActions();
  buildMenu();

  // Ctrl held and released drives tab cycling; the palette's own keys come
  // before the field or the page sees them.
  auto keys = Gtk::EventControllerKey::create();
  keys->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
  keys->signal_key_pressed().connect(sigc::mem_fun(*this, &BrowserWindow::onKeyPressed), false);
  keys->signal_key_released().connect(sigc::mem_fun(*this, &BrowserWindow::onKeyReleased));
  add_controller(keys);
  // Buttons and the wheel break a Ctrl tap; seen, never taken.
  auto pointer = Gtk::EventControllerLegacy::create();
  pointer->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
  pointer->signal_event().connect(
      [this](const Glib::RefPtr<const Gdk::Event>& event) {
        auto type = event->get_event_type();
        if (type == Gdk::Event::Type::BUTTON_PRESS || type == Gdk::Event::Type::SCROLL) {
          browser_.chrome.pointerPressed(false);
          browser_.endHints();
        }
        return false;
      },
      false);
  add_controller(pointer);
  browser_.chrome.hearsOnlyItsWindow = !desktopKeys_.hearsOtherApps();
  property_is_active().signal_changed().connect([this] {
    if (!is_active()) browser_.chrome.releaseCommand();
  });

  connections_.push_back(browser_.currentPageChanged.connect([this] {
    showCurrentPage();
    refreshPinTitle();
  }));
  connections_.push_back(browser_.splitsChanged.connect([this] { showCurrentPage(); }));
  connections_.push_back(browser_.isDeferringViews.changed().connect([this] { showCurrentPage(); }));
  connections_.push_back(browser_.pins.changed().connect([this] { refreshPinTitle(); }));
  connections_.push_back(browser_.hideRequested.connect([this] { minimize(); }));
  connections_.push_back(browser_.bringForwardRequested.connect([this] { presentNow(*this); }));
  // A private tab, current or being composed, tints the bar.
  auto markPrivate = [this] {
    if (addressBar_.showsPrivate())
      titlebar_.add_css_class("quillo-private");
    else
      titlebar_.remove_css_class("quillo-private");
  };
  for (auto* changed : {&browser_.isComposingNewTab.changed(), &browser_.isComposingPrivateTab.changed()})
    connections_.push_back(changed->connect(markPrivate));
  connections_.push_back(browser_.currentPageChanged.connect(markPrivate));
  markPrivate();
  showCurrentPage();
}

BrowserWindow::~BrowserWindow() {
  for (auto& c : connections_) c.disconnect();
}

void BrowserWindow::holdPagesUntilShown() {
  browser_.isDeferringViews = true;
  // After the first idle once mapped, at low priority: behind everything
  // start-up queued on the main loop, so the first key is handled first.
  // Tracked, so a window closed meanwhile is not called.
  connections_.push_back(signal_map().connect([this] {
    Glib::signal_idle().connect_once(sigc::track_object(
        [this] {
          Glib::signal_idle().connect_once(sigc::track_object([this] { browser_.stopDeferringViews(); }, *this),
                                           Glib::PRIORITY_LOW);
        },
        *this));
  }));
}

void BrowserWindow::addActions() {
  auto page = [this] { return browser_.current(); };
  std::map<std::string, std::function<void()>> handlers = {
      {"new-tab", [this] { browser_.newTab(); }},
      {"new-private-tab", [this] { browser_.newPrivateTab(); }},
      {"close-tab", [this] { browser_.closeCurrentTab(); }},
      {"reopen-tab", [this] { browser_.reopenClosedTab(); }},
      {"print",
       [page] {
         if (auto p = page()) p->webView().print();
       }},
      {"open-location", [this] { browser_.toggleBar(); }},
      {"find", [this] { browser_.startFinding(); }},
      {"find-next", [this] { browser_.findNext(false); }},
      {"find-previous", [this] { browser_.findNext(true); }},
      {"back",
       [page] {
         if (auto p = page()) p->webView().goBack();
       }},
      {"forward",
       [page] {
         if (auto p = page()) p->webView().goForward();
       }},
      {"reload",
       [page] {
         if (auto p = page()) p->reload();
       }},
      {"reader", [this] { browser_.toggleReader(); }},
      // In the palette, the highlighted tab's sound; else the page's.
      {"mute", [this] { browser_.toggleMuted(browser_.highlightedTab(addressBar_.hasKeyboard())); }},
      {"zoom-in", [this] { browser_.zoomIn(); }},
      {"zoom-out", [this] { browser_.zoomOut(); }},
      {"actual-size", [this] { browser_.actualSize(); }},
      {"toggle-pin", [this] { browser_.togglePinForCurrentTab(); }},
      // In the palette, the highlighted pin or tab; else the current tab.
      {"rename-tab", [this] { renameHighlighted(browser_, addressBar_.hasKeyboard()); }},
      {"divider-left", [this] { browser_.moveDivider(-1); }},
      {"divider-right", [this] { browser_.moveDivider(1); }},
      {"divider-centre", [this] { browser_.centreDivider(); }},
      {"commands", [this] { browser_.showCommands(); }},
      {"hints", [this] { browser_.startHints(Browser::HintAction::follow); }},
      {"hints-background", [this] { browser_.startHints(Browser::HintAction::background); }},
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
  // Ctrl+1 to Ctrl+9 open the numbered pins.
  add_action_with_parameter("open-pin", Glib::VARIANT_TYPE_INT32, [this](const Glib::VariantBase& value) {
    browser_.openPin(Glib::VariantBase::cast_dynamic<Glib::Variant<int>>(value).get());
  });
  for (int n = 1; n <= 9; ++n) {
    auto shortcut = Gtk::Shortcut::create(Gtk::ShortcutTrigger::parse_string("<Control>" + std::to_string(n)),
                                          Gtk::NamedAction::create("win.open-pin"));
    shortcut->set_arguments(Glib::Variant<int>::create(n));
    shortcuts->add_shortcut(shortcut);
  }
  add_controller(shortcuts);
  // The divider's keys are greyed, and leave the key to the page, without a split.
  for (auto* name : {"divider-left", "divider-right", "divider-centre"})
    dividerActions_.push_back(std::dynamic_pointer_cast<Gio::SimpleAction>(lookup_action(name)));
  auto refreshDivider = [this] {
    const bool split = browser_.currentSplit() != nullptr;
    for (auto& action : dividerActions_)
      if (action) action->set_enabled(split);
  };
  connections_.push_back(browser_.currentPageChanged.connect(refreshDivider));
  connections_.push_back(browser_.splitsChanged.connect(refreshDivider));
  refreshDivider();
}

namespace {
// A menu item that shows the command's first key, the one its help names.
Glib::RefPtr<Gio::MenuItem> menuItem(const BrowserWindow::Command& command) {
  auto item = Gio::MenuItem::create(command.title, std::string("win.") + command.name);
  if (!command.accels.empty())
    item->set_attribute_value("accel", Glib::Variant<Glib::ustring>::create(command.accels.front()));
  return item;
}
}  // namespace

void BrowserWindow::buildMenu() {
  auto menu = Gio::Menu::create();
  auto section = [&](std::initializer_list<const char*> names) {
    auto part = Gio::Menu::create();
    for (auto* name : names)
      for (auto& command : commands())
        if (std::string(command.name) == name) part->append_item(menuItem(command));
    menu->append_section(part);
    return part;
  };
  section({"new-tab", "new-private-tab", "reopen-tab", "close-tab"});
  section({"open-location", "commands", "find", "print"});
  section({"hints", "hints-background"});
  section({"reader", "mute", "zoom-in", "zoom-out", "actual-size"});
  section({"divider-left", "divider-right", "divider-centre"});
  pageSection_ = section({"toggle-pin", "rename-tab"});

  auto tabs = Gio::Menu::create();
  auto navigation = Gio::Menu::create();
  for (auto* name : {"back", "forward", "reload", "find-next", "find-previous", "cycle", "cycle-back"})
    for (auto& command : commands())
      if (std::string(command.name) == name) navigation->append_item(menuItem(command));
  tabs->append_section(navigation);
  auto pins = Gio::Menu::create();
  for (int n = 1; n <= 9; ++n) {
    auto item = Gio::MenuItem::create("Pin " + std::to_string(n), "");
    item->set_action_and_target("win.open-pin", Glib::Variant<int>::create(n));
    pins->append_item(item);
  }
  tabs->append_section(pins);
  menu->append_submenu("Tabs", tabs);

  auto app = Gio::Menu::create();
  app->append("Quit", "app.quit");
  menu->append_section(app);
  menuButton_.set_menu_model(menu);
}

void BrowserWindow::refreshPinTitle() {
  if (!pageSection_) return;
  auto page = browser_.current();
  bool pinned = page && page->pinID && browser_.hasPin(*page->pinID);
  std::string title = pinned ? "Unpin Tab" : "Pin Tab";
  auto current = pageSection_->get_item_attribute(0, Gio::MenuModel::Attribute::LABEL, Glib::VARIANT_TYPE_STRING);
  if (current && std::string(Glib::VariantBase::cast_dynamic<Glib::Variant<Glib::ustring>>(current).get()) == title)
    return;
  pageSection_->remove(0);
  auto item = Gio::MenuItem::create(title, "win.toggle-pin");
  item->set_attribute_value("accel", Glib::Variant<Glib::ustring>::create("<Control>d"));
  pageSection_->prepend_item(item);
}

void BrowserWindow::installAccels(Gtk::Application& app) {
  for (auto& command : commands()) {
    std::vector<Glib::ustring> accels(command.accels.begin(), command.accels.end());
    app.set_accels_for_action(std::string("win.") + command.name, accels);
  }
  for (int n = 1; n <= 9; ++n)
    app.set_accels_for_action("win.open-pin(" + std::to_string(n) + ")", {"<Control>" + std::to_string(n)});
}

void BrowserWindow::showCurrentPage() {
  // The title follows the current page, which is the focused side of a split.
  auto page = browser_.current();
  set_title(page && !page->displayTitle().empty() ? page->displayTitle() + " — Quillo" : "Quillo");
  auto split = page ? page->split.lock() : nullptr;
  PagePtr left = split ? split->left : page;
  PagePtr right = split ? split->right : nullptr;
  shownLeft_ = left;
  shownRight_ = right;
  // A web view lives in one stage at a time: one moving to the other side
  // leaves its old stage first.
  if (left && rightStage_.page() == left) rightStage_.show(nullptr);
  if (right && leftStage_.page() == right) leftStage_.show(nullptr);
  // Stages show a page by its web view, made when first shown: none yet
  // while views wait for the window.
  const bool deferring = browser_.isDeferringViews.get();
  leftStage_.show(deferring ? nullptr : left);
  rightStage_.show(deferring ? nullptr : right);
  pageArea_.show(left ? GTK_WIDGET(leftStage_.gobj()) : nullptr, right ? GTK_WIDGET(rightStage_.gobj()) : nullptr,
                 split, split && right == page);
}

PageStage& BrowserWindow::pageStage() {
  auto page = browser_.current();
  return page && page == shownRight_.lock() ? rightStage_ : leftStage_;
}

bool BrowserWindow::pagePressed(GtkWidget* view, guint button, const Modifiers& modifiers) {
  PagePtr clicked;
  if (view == GTK_WIDGET(leftStage_.gobj())) clicked = shownLeft_.lock();
  if (view == GTK_WIDGET(rightStage_.gobj())) clicked = shownRight_.lock();
  if (!clicked) return false;
  // The side clicked becomes current first, so a Shift+click on a link of
  // either side opens it beside that side.
  browser_.focusSideUnderPointer(clicked.get());
  return button == GDK_BUTTON_PRIMARY && browser_.openLinkBeside(modifiers, clicked.get());
}

void BrowserWindow::noteGesture(guint keyval, Gdk::ModifierType state, bool pressed) {
  auto& chrome = browser_.chrome;
  const auto othersMask = Gdk::ModifierType::SHIFT_MASK | Gdk::ModifierType::ALT_MASK | Gdk::ModifierType::SUPER_MASK;
  const bool others = (state & othersMask) != Gdk::ModifierType(0);
  switch (keyval) {
    case GDK_KEY_Control_L:
    case GDK_KEY_Control_R: chrome.modifiersChanged(pressed, others, false); return;
    case GDK_KEY_Shift_L:
    case GDK_KEY_Shift_R:
    case GDK_KEY_Alt_L:
    case GDK_KEY_Alt_R:
    case GDK_KEY_Meta_L:
    case GDK_KEY_Meta_R:
    case GDK_KEY_Super_L:
    case GDK_KEY_Super_R:
    case GDK_KEY_ISO_Level3_Shift:
      if (pressed) chrome.modifiersChanged(chrome.isCommandHeld.get(), true, false);
      return;
    case GDK_KEY_Escape:
      if (pressed) chrome.keyPressed(Chrome::Key::escape, false);
      return;
    case GDK_KEY_bracketleft:
    case GDK_KEY_bracketright:
      if (pressed) chrome.keyPressed(Chrome::Key::navigation, false);
      return;
    default:
      if (pressed) chrome.keyPressed(Chrome::Key::other, false);
  }
}

bool BrowserWindow::onKeyPressed(guint keyval, guint, Gdk::ModifierType state) {
  noteGesture(keyval, state, true);
  if (keyval == GDK_KEY_Control_L || keyval == GDK_KEY_Control_R) return false;
  if (browser_.hintsShown.get() && hintKey(keyval, state)) return true;
  using Key = KeyPress::Key;
  KeyPress press;
  switch (keyval) {
    case GDK_KEY_slash:
    case GDK_KEY_KP_Divide: press.key = Key::slash; break;
    case GDK_KEY_c:
    case GDK_KEY_C: press.key = Key::c; break;
    case GDK_KEY_e:
    case GDK_KEY_E: press.key = Key::e; break;
    case GDK_KEY_Return:
    case GDK_KEY_KP_Enter: press.key = Key::enter; break;
    case GDK_KEY_Tab: press.key = Key::tab; break;
    case GDK_KEY_BackSpace: press.key = Key::backspace; break;
    case GDK_KEY_Delete:
    case GDK_KEY_KP_Delete: press.key = Key::del; break;
    case GDK_KEY_Escape: press.key = Key::escape; break;
    case GDK_KEY_Up:
    case GDK_KEY_KP_Up: press.key = Key::up; break;
    case GDK_KEY_Down:
    case GDK_KEY_KP_Down: press.key = Key::down; break;
    default: return false;  // Ctrl+grave and the rest are actions
  }
  press.ctrl = (state & Gdk::ModifierType::CONTROL_MASK) == Gdk::ModifierType::CONTROL_MASK;
  press.shift = (state & Gdk::ModifierType::SHIFT_MASK) == Gdk::ModifierType::SHIFT_MASK;
  press.alt = (state & Gdk::ModifierType::ALT_MASK) == Gdk::ModifierType::ALT_MASK;
  press.super = (state & Gdk::ModifierType::SUPER_MASK) == Gdk::ModifierType::SUPER_MASK;
  auto& entry = addressBar_.entry();
  addressBar_.flushSelection();
  auto* focus = get_focus();
  press.inField = focus && (focus == &entry || focus->is_ancestor(entry));
  GtkWidget* reader = pageStage().readerWidget();
  press.inReader = reader && focus && (focus->gobj() == reader || gtk_widget_is_ancestor(focus->gobj(), reader));
  press.fieldText = entry.get_text();
  press.fieldEmpty = press.fieldText.empty();
  int start = 0, end = 0;
  press.fieldHasSelection = entry.get_selection_bounds(start, end) && start != end;
  // Selection bounds count characters, not bytes.
  press.fieldAllSelected =
      press.fieldHasSelection && start == 0 && end == int(g_utf8_strlen(press.fieldText.c_str(), -1));
  return handleKey(browser_, press);
}

bool BrowserWindow::hintKey(guint keyval, Gdk::ModifierType state) {
  // Chords (Alt+J again, Ctrl+Tab, …) stay the window's; the page never sees
  // the letters typed at its tags.
  const auto chord = Gdk::ModifierType::CONTROL_MASK | Gdk::ModifierType::ALT_MASK | Gdk::ModifierType::SUPER_MASK;
  if ((state & chord) != Gdk::ModifierType(0)) return false;
  switch (keyval) {
    case GDK_KEY_Escape: browser_.endHints(); return true;
    case GDK_KEY_BackSpace: browser_.eraseHint(); return true;
    case GDK_KEY_Return:
    case GDK_KEY_KP_Enter: browser_.chooseHint(); return true;
    default: break;
  }
  gunichar typed = gdk_keyval_to_unicode(keyval);
  if (typed < 0x20 || typed == 0x7f) return false;
  char text[8] = {};
  g_unichar_to_utf8(g_unichar_tolower(typed), text);
  browser_.typeHint(text);
  return true;
}

void BrowserWindow::onKeyReleased(guint keyval, guint, Gdk::ModifierType state) { noteGesture(keyval, state, false); }

}  // namespace quillo
