// The question drawn over a page's area or the whole window: a dimmed backdrop and a card to answer on.
#pragma once
#include <gtkmm.h>

#include <functional>
#include <vector>

#include "core/alert.h"

namespace quillo {

// A question over an area, laid in a Gtk::Overlay above what it covers: a
// dimmed backdrop that takes the pointer, so nothing under it is clicked,
// and a card in its middle with the message, the detail, the field, the
// check box and the buttons, the default one (the first) on the right.
// Keys: Return answers the default button, also from the field; Escape the
// last one; Tab and Shift+Tab go round the field, the box and the buttons;
// Space ticks the box or presses the button with the keyboard.
class DialogOverlay : public Gtk::Box {
 public:
  DialogOverlay();
  // Shows `alert` in place of whatever was shown. `answered` hears the
  // user's choice once; the question stays up until shown another or dismissed.
  void present(const Alert& alert, std::function<void(const AlertAnswer&)> answered);
  // Takes the question down unanswered.
  void dismiss();
  bool isUp() const { return get_visible(); }
  // Puts the keyboard on the field, else on the default button.
  void takeKeyboard();
  bool hasKeyboard();

 private:
  void answer(size_t button);
  void moveFocus(bool backwards);
  Gtk::Box card_{Gtk::Orientation::VERTICAL};
  Gtk::Label message_, detail_;
  Gtk::Entry field_;
  Gtk::CheckButton check_;
  Gtk::Box buttonRow_{Gtk::Orientation::HORIZONTAL};
  // In the alert's order: the default first.
  std::vector<Gtk::Button*> buttons_;
  std::function<void(const AlertAnswer&)> answered_;
};

}  // namespace quillo
