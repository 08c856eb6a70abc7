// The palette's text field and caption: the current address at rest, typed text and inline completion when focused.
#pragma once
#include <gtkmm.h>

#include <functional>
#include <optional>
#include <string>

#include "browser/browser.h"

namespace quillo {

// The palette's text field and the one-line caption under it. Shows the
// current page's address when idle, takes typed text when focused, and
// reports back to the browser.
class AddressBar : public Gtk::Box {
 public:
  static constexpr const char* kPrivateLine =
      "Private tab: no history, nothing saved, and its cookies go when the last private tab closes";
  static constexpr const char* kLocalSiteHelp = "Local site: on this computer or your local network";
  explicit AddressBar(Browser& browser);
  ~AddressBar() override;

  Gtk::Entry& entry() { return entry_; }
  // Source of inline completions for typed text (history).
  std::function<std::optional<std::string>(const std::string&)> completion;

  // Recomputes the placeholder, caption and idle text from the browser.
  void refresh();
  // Makes a selection still waiting for the next turn of the loop now, so a
  // key that arrives first sees it.
  void flushSelection();
  // The caption and placeholder the field shows for the browser's state.
  std::string caption() const;
  std::string placeholder() const;
  Gtk::Label& captionLabel() { return caption_; }
  // The scope's chip before the field; shown while a scope is open.
  Gtk::Button& chip() { return chip_; }
  // A private tab is current or being composed: the window is marked.
  bool showsPrivate() const;
  // The field has the keyboard: the palette is open.
  bool hasKeyboard() const { return focused_; }

 private:
  // The current page's reader is shown (the caption offers the way back).
  bool showsReader() const;
  // The current page is on this computer or the local network.
  bool showsLocal() const;
  void onChanged();
  void onActivate();
  void onPressed();
  bool onKeyPressed(guint keyval, guint keycode, Gdk::ModifierType state);
  void onFocusChanged(bool focused);
  void honourFocusRequest();
  void refreshText();
  void complete();
  void selectLater(std::function<void()> select);

  Browser& browser_;
  Gtk::Box fieldRow_{Gtk::Orientation::HORIZONTAL};
  Gtk::Button chip_;
  Gtk::Entry entry_;
  Gtk::Label caption_;
  std::string typedText_;
  bool settingText_ = false;
  bool focused_ = false;
  bool deleting_ = false;
  bool selectAllOnFocus_ = false;
  bool clickedIn_ = false;
  std::optional<std::string> pendingPrefill_;
  std::vector<sigc::connection> connections_;
  sigc::connection selectTail_;
  std::function<void()> pendingSelection_;
};

}  // namespace quillo
