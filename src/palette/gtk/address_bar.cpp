// The palette's text field and caption: the current address at rest, typed text and inline completion when focused.
#include "palette/gtk/address_bar.h"

#include <glib.h>

#include "browser/palette_command.h"
#include "core/address.h"
#include "core/key_label.h"
#include "core/text.h"

namespace quillo {

AddressBar::AddressBar(Browser& browser) : Gtk::Box(Gtk::Orientation::VERTICAL), browser_(browser) {
  add_css_class("quillo-address-bar");
  entry_.add_css_class("quillo-address-field");
  entry_.set_hexpand(true);
  gtk_accessible_update_property(GTK_ACCESSIBLE(entry_.gobj()), GTK_ACCESSIBLE_PROPERTY_LABEL, "Address", -1);
  caption_.add_css_class("quillo-caption");
  caption_.add_css_class("dim-label");
  caption_.set_xalign(0);
  caption_.set_ellipsize(Pango::EllipsizeMode::END);
  // The scope's name stands before the field, as a chip; a click on it (or
  // Backspace in the empty field) leaves the scope.
  chip_.add_css_class("quillo-chip");
  chip_.set_focusable(false);
  chip_.set_valign(Gtk::Align::CENTER);
  chip_.set_visible(false);
  chip_.set_tooltip_text("Backspace or click to leave");
  chip_.signal_clicked().connect([this] {
    browser_.leaveScope();
    entry_.grab_focus();
  });
  fieldRow_.set_spacing(6);
  fieldRow_.append(chip_);
  fieldRow_.append(entry_);
  append(fieldRow_);
  append(caption_);
  // While the page shows its reader the caption says so, and a click on it
  // goes back to the page.
  auto captionClick = Gtk::GestureClick::create();
  captionClick->signal_released().connect([this](int, double, double) {
    if (showsReader()) browser_.closeReader();
  });
  caption_.add_controller(captionClick);

  entry_.signal_activate().connect(sigc::mem_fun(*this, &AddressBar::onActivate));
  auto keys = Gtk::EventControllerKey::create();
  keys->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
  keys->signal_key_pressed().connect(sigc::mem_fun(*this, &AddressBar::onKeyPressed), false);
  entry_.add_controller(keys);
  auto focus = Gtk::EventControllerFocus::create();
  connections_.push_back(focus->signal_enter().connect([this] { onFocusChanged(true); }));
  connections_.push_back(focus->signal_leave().connect([this] { onFocusChanged(false); }));
  entry_.add_controller(focus);
  auto click = Gtk::GestureClick::create();
  click->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
  click->signal_pressed().connect([this](int, double, double) { onPressed(); });
  entry_.add_controller(click);

  auto refreshAll = [this] { refresh(); };
  connections_.push_back(browser_.currentPageChanged.connect(refreshAll));
  connections_.push_back(browser_.flash.changed().connect(refreshAll));
  connections_.push_back(browser_.isComposingNewTab.changed().connect(refreshAll));
  connections_.push_back(browser_.isComposingPrivateTab.changed().connect(refreshAll));
  connections_.push_back(browser_.isFinding.changed().connect(refreshAll));
  connections_.push_back(browser_.findMatched.changed().connect(refreshAll));
  connections_.push_back(browser_.scope.changed().connect(refreshAll));
  connections_.push_back(browser_.confirmingDeletePinID.changed().connect(refreshAll));
  connections_.push_back(browser_.isChoosingSplitPartner.changed().connect(refreshAll));
  connections_.push_back(browser_.paletteChanged.connect(refreshAll));
  connections_.push_back(browser_.addressBarPrefill.changed().connect([this] {
    if (browser_.addressBarPrefill.get()) pendingPrefill_ = browser_.addressBarPrefill.get();
  }));
  connections_.push_back(entry_.signal_changed().connect(sigc::mem_fun(*this, &AddressBar::onChanged)));
  connections_.push_back(
      browser_.addressBarFocusRequests.changed().connect(sigc::mem_fun(*this, &AddressBar::honourFocusRequest)));
  refresh();
}

AddressBar::~AddressBar() {
  for (auto& c : connections_) c.disconnect();
  selectTail_.disconnect();
}

std::string AddressBar::caption() const {
  if (browser_.flash.get()) return *browser_.flash.get();
  if (auto scope = browser_.scope.get()) {
    if (*scope == PaletteCommand::pins && browser_.confirmingDeletePinID.get()) return commands::confirmDeletePinHint();
    return commands::scopeHint(*scope);
  }
  if (browser_.isChoosingCommand()) return commands::choosingHint();
  if (browser_.isFinding.get()) {
    if (browser_.findMatched.get() == false) return "No matches · Esc to stop";
    if (auto count = browser_.findCount.get(); count && browser_.findIndex.get() > 0)
      return std::to_string(browser_.findIndex.get()) + " of " +
             (*count > kFindMatchLimit ? std::to_string(kFindMatchLimit) + "+" : std::to_string(*count));
    return "Find in page · Return for next, " + keyLabel(kShift, "Return") + " for previous";
  }
  if (browser_.isChoosingSplitPartner.get()) return "Open beside this page · Esc to cancel";
  if (focused_)
    if (auto keys = browser_.highlightedRowKeys()) return *keys;
  if (auto tab = focused_ ? browser_.highlightedTab(true) : nullptr;
      tab && (tab->isPlayingAudio.get() || tab->isMuted.get()))
    return keyLabel(kCtrl, "M") + (tab->isMuted.get() ? " unmutes" : " mutes") + " the highlighted tab";
  if (!browser_.isComposingNewTab.get()) {
    if (showsReader()) return "Reader · click or " + keyLabel(kCtrl | kShift, "R") + " for the page";
    if (showsPrivate()) return kPrivateLine;
    if (showsLocal()) return keyLabel(kCtrl, "E") + " · Local site";
    return keyLabel(kCtrl, "E");
  }
  if (browser_.isComposingPrivateTab.get()) return kPrivateLine;
  return browser_.current() ? "New tab · Esc to cancel" : "New tab";
}

bool AddressBar::showsLocal() const {
  auto page = browser_.current();
  return page && !browser_.isComposingNewTab.get() && Address::isLocal(page->savedURL());
}

bool AddressBar::showsPrivate() const {
  if (browser_.isComposingNewTab.get()) return browser_.isComposingPrivateTab.get();
  auto page = browser_.current();
  return page && page->isPrivate();
}

std::string AddressBar::placeholder() const {
  if (auto scope = browser_.scope.get()) {
    switch (*scope) {
      case PaletteCommand::login: return "Find a login";
      case PaletteCommand::permissions: return "Find a site";
      case PaletteCommand::pins: return "Find a pin";
      case PaletteCommand::history: return "Search history";
      case PaletteCommand::downloads: return "Find a download";
      case PaletteCommand::importHistory: return "Find a browser";
      default: break;
    }
  }
  bool composing = browser_.isComposingNewTab.get();
  if (composing && browser_.isComposingPrivateTab.get() && !browser_.isChoosingCommand())
    return "Private · search or enter an address";
  if (!composing)
    if (auto page = browser_.current(); page && page->savedURL()) return page->savedURL()->str();
  return "Search, enter an address, or type / for commands";
}

bool AddressBar::showsReader() const {
  auto page = browser_.current();
  return page && page->readerView.get() && !browser_.isComposingNewTab.get();
}

void AddressBar::refresh() {
  const std::string text = caption();
  caption_.set_text(text);
  std::string help;
  if (showsReader() && text.rfind("Reader ·", 0) == 0)
    help = "Reader: click, or press " + keyLabel(kCtrl | kShift, "R") + ", to go back to the page";
  else if (showsLocal() && text.ends_with("Local site"))
    help = kLocalSiteHelp;
  caption_.set_tooltip_text(help);
  // Read out with the field, for those who never hover.
  gtk_accessible_update_property(GTK_ACCESSIBLE(entry_.gobj()), GTK_ACCESSIBLE_PROPERTY_DESCRIPTION,
                                 (help.empty() ? text : help).c_str(), -1);
  auto scope = browser_.scope.get();
  if (scope) chip_.set_label(std::string(commands::info(*scope).chipTitle));
  chip_.set_visible(scope.has_value());
  if (browser_.flash.get() && browser_.flashIsError.get())
    caption_.add_css_class("error");
  else
    caption_.remove_css_class("error");
  entry_.set_placeholder_text(placeholder());
  if (!focused_) refreshText();
}

void AddressBar::refreshText() {
  std::string text;
  if (!browser_.isComposingNewTab.get())
    if (auto page = browser_.current(); page && page->savedURL())
      text = focused_ ? page->savedURL()->str() : Address::display(page->savedURL());
  settingText_ = true;
  entry_.set_text(text);
  settingText_ = false;
  typedText_ = text;
}

void AddressBar::honourFocusRequest() {
  entry_.grab_focus();
  focused_ = true;
  settingText_ = true;
  bool prefilled = pendingPrefill_.has_value();
  if (pendingPrefill_) {
    entry_.set_text(*pendingPrefill_);
    entry_.set_position(-1);
    pendingPrefill_.reset();
  } else if (browser_.isFinding.get()) {
    entry_.set_text(browser_.findText.get());
    entry_.select_region(0, -1);
  } else if (browser_.isComposingNewTab.get()) {
    entry_.set_text("");
  } else {
    refreshText();
    entry_.select_region(0, -1);
    // Focus may land now or a little later; select again once it has.
    selectAllOnFocus_ = !entry_.has_focus();
    selectLater([this] { entry_.select_region(0, -1); });
  }
  settingText_ = false;
  typedText_ = entry_.get_text();
  // The page's own address is shown for editing; nothing is searched until
  // the user types (or a prefill such as "/" asks for a list).
  bool showsAddress = !browser_.isFinding.get() && !browser_.isComposingNewTab.get() && !prefilled;
  browser_.query = browser_.isFinding.get() || showsAddress ? std::string() : typedText_;
  refresh();
}

void AddressBar::onFocusChanged(bool focused) {
  focused_ = focused;
  if (focused && clickedIn_) {
    // A click opens the palette afresh, as Ctrl+E does, minus the selection.
    clickedIn_ = false;
    browser_.stopFinding();
    browser_.scope = std::nullopt;
    browser_.selectedResult = std::nullopt;
    browser_.query = std::string();
  }
  browser_.chrome.isHeldOpen = focused;
  if (!focused) {
    // Leaving the field abandons what was typed, as in any browser's bar.
    if (browser_.isFinding.get()) return;
    browser_.query = std::string();
    refresh();
  } else {
    refresh();
    if (selectAllOnFocus_) {
      // GTK places the caret when focus lands; select after it has.
      selectAllOnFocus_ = false;
      selectLater([this] { entry_.select_region(0, -1); });
    }
  }
}

void AddressBar::onChanged() {
  if (settingText_) return;
  std::string text = entry_.get_text();
  // Text was added when it grew, or when typing replaced a selection (the
  // first letter over the selected address): not when it only lost its end.
  bool added = !deleting_ && (text.size() > typedText_.size() || typedText_.rfind(text, 0) != 0);
  typedText_ = text;
  if (browser_.isFinding.get()) {
    browser_.find(text);
    return;
  }
  browser_.query = text;
  caption_.set_text(caption());
  if (added) complete();
}

void AddressBar::complete() {
  if (!completion || typedText_.empty() || typedText_.front() == '/') return;
  auto answer = completion(typedText_);
  if (!answer || answer->size() <= typedText_.size()) return;
  if (asciiLower(*answer).rfind(asciiLower(typedText_), 0) != 0) return;
  std::string full = typedText_ + answer->substr(typedText_.size());
  int typedLength = int(g_utf8_strlen(typedText_.c_str(), -1));
  settingText_ = true;
  entry_.set_text(full);
  settingText_ = false;
  // Select the completed tail on the next turn, so typing on replaces it.
  selectLater([this, full, typedLength] {
    if (std::string(entry_.get_text()) == full) entry_.select_region(typedLength, -1);
  });
}

void AddressBar::selectLater(std::function<void()> select) {
  // GTK places the caret after the change that led here; select once it has.
  pendingSelection_ = std::move(select);
  selectTail_.disconnect();
  selectTail_ = Glib::signal_idle().connect([this] {
    flushSelection();
    return false;
  });
}

void AddressBar::flushSelection() {
  selectTail_.disconnect();
  if (auto select = std::move(pendingSelection_)) {
    pendingSelection_ = nullptr;
    select();
  }
}

void AddressBar::onActivate() {
  // Return reaches the window's key handling first; this covers the rest
  // (an input method, an activation from assistive technology).
  if (browser_.isFinding.get()) {
    browser_.findNext(false);
    return;
  }
  browser_.submit(entry_.get_text());
}

void AddressBar::onPressed() {
  // A click into the idle field edits the full address: put it in before the
  // field places the caret, so the caret lands where the click was, on the
  // address the user sees, with nothing selected.
  if (focused_ || entry_.has_focus()) return;
  if (browser_.isComposingNewTab.get() || browser_.isFinding.get()) return;
  auto page = browser_.current();
  if (!page || !page->savedURL()) return;
  settingText_ = true;
  entry_.set_text(page->savedURL()->str());
  settingText_ = false;
  typedText_ = entry_.get_text();
  clickedIn_ = true;
}

bool AddressBar::onKeyPressed(guint keyval, guint, Gdk::ModifierType state) {
  // A key typed before a pending selection was made must act on it: the
  // next letter replaces a completed tail, not lands inside it.
  flushSelection();
  auto mods = state & (Gdk::ModifierType::SHIFT_MASK | Gdk::ModifierType::CONTROL_MASK | Gdk::ModifierType::ALT_MASK);
  deleting_ = keyval == GDK_KEY_BackSpace || keyval == GDK_KEY_Delete;
  if (keyval == GDK_KEY_Escape) {
    if (browser_.isFinding.get()) {
      browser_.stopFinding();
      browser_.showCurrent();
    } else if (browser_.isComposingNewTab.get()) {
      browser_.cancelNewTab();
    } else {
      // Back to the page: the palette closes, whatever list it showed.
      browser_.scope = std::nullopt;
      browser_.query = std::string();
      refreshText();
      browser_.showCurrent();
    }
    return true;
  }
  if ((keyval == GDK_KEY_Return || keyval == GDK_KEY_KP_Enter) && mods == Gdk::ModifierType::SHIFT_MASK &&
      browser_.isFinding.get()) {
    browser_.findNext(true);
    return true;
  }
  return false;
}

}  // namespace quillo
