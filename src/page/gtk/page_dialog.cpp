// The question drawn over a page's area or the whole window: a dimmed backdrop and a card to answer on.
#include "page/gtk/page_dialog.h"

namespace quillo {

namespace {

constexpr const char* kDialogCss = R"css(
.quillo-dialog-backdrop {
  background-color: alpha(black, 0.35);
}
.quillo-dialog-card {
  background-color: @theme_bg_color;
  color: @theme_fg_color;
  border-radius: 12px;
  padding: 20px 22px 16px 22px;
  box-shadow: 0 8px 28px alpha(black, 0.4), 0 0 0 1px alpha(black, 0.15);
}
.quillo-dialog-message {
  font-weight: bold;
  font-size: 1.08em;
}
)css";

void ensureStyle() {
  static bool installed = false;
  if (installed) return;
  installed = true;
  auto provider = Gtk::CssProvider::create();
  provider->load_from_data(kDialogCss);
  Gtk::StyleContext::add_provider_for_display(Gdk::Display::get_default(), provider,
                                              GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
}

void configureLabel(Gtk::Label& label) {
  label.set_wrap(true);
  label.set_wrap_mode(Pango::WrapMode::WORD_CHAR);
  // As wide as the card: a sentence or two reads in a few lines, and a
  // narrow side of a split still holds the card.
  label.set_max_width_chars(52);
  label.set_xalign(0);
}

}  // namespace

DialogOverlay::DialogOverlay() : Gtk::Box(Gtk::Orientation::VERTICAL) {
  ensureStyle();
  add_css_class("quillo-dialog-backdrop");
  set_hexpand(true);
  set_vexpand(true);
  set_visible(false);
  g_object_set(card_.gobj(), "accessible-role", GTK_ACCESSIBLE_ROLE_ALERT_DIALOG, nullptr);
  gtk_accessible_update_property(GTK_ACCESSIBLE(card_.gobj()), GTK_ACCESSIBLE_PROPERTY_MODAL, TRUE, -1);
  card_.add_css_class("quillo-dialog-card");
  card_.set_halign(Gtk::Align::CENTER);
  card_.set_valign(Gtk::Align::CENTER);
  card_.set_vexpand(true);
  card_.set_size_request(320, -1);
  card_.set_spacing(10);
  card_.set_margin(16);
  configureLabel(message_);
  message_.add_css_class("quillo-dialog-message");
  configureLabel(detail_);
  field_.set_size_request(280, -1);
  buttonRow_.set_spacing(8);
  buttonRow_.set_halign(Gtk::Align::END);
  buttonRow_.set_margin_top(8);
  card_.append(message_);
  card_.append(detail_);
  card_.append(field_);
  card_.append(check_);
  card_.append(buttonRow_);
  append(card_);

  // Before the parts of the card see them: Return is the default button's
  // wherever the keyboard is on the card, and Tab stays on the card.
  auto keys = Gtk::EventControllerKey::create();
  keys->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
  keys->signal_key_pressed().connect(
      [this](guint keyval, guint, Gdk::ModifierType state) {
        const auto held =
            state & (Gdk::ModifierType::CONTROL_MASK | Gdk::ModifierType::ALT_MASK | Gdk::ModifierType::SUPER_MASK);
        if (held != Gdk::ModifierType{} || buttons_.empty()) return false;
        switch (keyval) {
          case GDK_KEY_Return:
          case GDK_KEY_KP_Enter:
          case GDK_KEY_ISO_Enter: answer(0); return true;
          case GDK_KEY_Escape: answer(buttons_.size() - 1); return true;
          case GDK_KEY_Tab:
          case GDK_KEY_KP_Tab:
          case GDK_KEY_ISO_Left_Tab:
            moveFocus(keyval == GDK_KEY_ISO_Left_Tab ||
                      (state & Gdk::ModifierType::SHIFT_MASK) == Gdk::ModifierType::SHIFT_MASK);
            return true;
          default: return false;
        }
      },
      false);
  add_controller(keys);
  // A click beside the card puts the keyboard back on it.
  auto click = Gtk::GestureClick::create();
  click->signal_pressed().connect([this](int, double, double) {
    if (!hasKeyboard()) takeKeyboard();
  });
  add_controller(click);
}

void DialogOverlay::present(const Alert& alert, std::function<void(const AlertAnswer&)> answered) {
  answered_ = std::move(answered);
  message_.set_text(alert.message);
  detail_.set_text(alert.detail);
  detail_.set_visible(!alert.detail.empty());
  field_.set_visible(alert.field.has_value());
  field_.set_text(alert.field.value_or(""));
  check_.set_visible(alert.checkbox.has_value());
  check_.set_label(alert.checkbox.value_or(""));
  check_.set_active(false);
  gtk_accessible_update_property(GTK_ACCESSIBLE(card_.gobj()), GTK_ACCESSIBLE_PROPERTY_LABEL, alert.message.c_str(),
                                 GTK_ACCESSIBLE_PROPERTY_DESCRIPTION, alert.detail.c_str(), -1);
  for (auto* button : buttons_) buttonRow_.remove(*button);
  buttons_.clear();
  // Laid out from the left: the default goes last, on the right.
  for (size_t i = 0; i < alert.buttons.size(); ++i) {
    auto* button = Gtk::make_managed<Gtk::Button>(alert.buttons[i]);
    if (i == 0) button->add_css_class("suggested-action");
    button->signal_clicked().connect([this, i] { answer(i); });
    buttonRow_.prepend(*button);
    buttons_.push_back(button);
  }
  set_visible(true);
}

void DialogOverlay::dismiss() {
  answered_ = nullptr;
  set_visible(false);
}

void DialogOverlay::takeKeyboard() {
  if (field_.get_visible())
    field_.grab_focus();
  else if (!buttons_.empty())
    buttons_.front()->grab_focus();
}

bool DialogOverlay::hasKeyboard() {
  auto* window = dynamic_cast<Gtk::Window*>(get_root());
  auto* focus = window ? window->get_focus() : nullptr;
  return focus && (focus == &card_ || focus->is_ancestor(card_));
}

void DialogOverlay::answer(size_t button) {
  if (!answered_) return;
  AlertAnswer chosen;
  chosen.button = std::min(button, buttons_.size() - 1);
  chosen.checked = check_.get_visible() && check_.get_active();
  if (field_.get_visible()) chosen.text = field_.get_text();
  // Last: the answer may show the next question here.
  std::exchange(answered_, nullptr)(chosen);
}

void DialogOverlay::moveFocus(bool backwards) {
  std::vector<Gtk::Widget*> ring;
  if (field_.get_visible()) ring.push_back(&field_);
  if (check_.get_visible()) ring.push_back(&check_);
  for (auto it = buttons_.rbegin(); it != buttons_.rend(); ++it) ring.push_back(*it);
  if (ring.empty()) return;
  auto* window = dynamic_cast<Gtk::Window*>(get_root());
  auto* focus = window ? window->get_focus() : nullptr;
  size_t at = ring.size();
  for (size_t i = 0; i < ring.size(); ++i)
    if (focus && (focus == ring[i] || focus->is_ancestor(*ring[i]))) at = i;
  size_t next =
      at == ring.size() ? (backwards ? ring.size() - 1 : 0) : (at + (backwards ? ring.size() - 1 : 1)) % ring.size();
  ring[next]->grab_focus();
}

}  // namespace quillo
