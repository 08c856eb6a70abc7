// The palette's row widgets: items, the pin grid, split pairs, notices, dividers, and in-place edit fields.
#include "palette/gtk/palette_rows.h"

#include <algorithm>

#include "browser/split.h"
#include "core/address.h"
#include "core/key_label.h"

namespace quillo {

using Entry = PaletteList::Entry;

void setAccessibleRole(Gtk::Widget& widget, GtkAccessibleRole role) {
  g_object_set(widget.gobj(), "accessible-role", role, nullptr);
}

void setAccessibleName(Gtk::Widget& widget, const std::string& name) {
  gtk_accessible_update_property(GTK_ACCESSIBLE(widget.gobj()), GTK_ACCESSIBLE_PROPERTY_LABEL, name.c_str(), -1);
}

void setAccessibleDescription(Gtk::Widget& widget, const std::string& description) {
  gtk_accessible_update_property(GTK_ACCESSIBLE(widget.gobj()), GTK_ACCESSIBLE_PROPERTY_DESCRIPTION,
                                 description.c_str(), -1);
}

void setText(Gtk::Label& label, const std::string& text) {
  if (label.get_text().raw() != text) label.set_text(text);
}

namespace {

void setHighlight(Gtk::Widget& widget, bool on) {
  if (widget.has_css_class("highlighted") == on) return;
  if (on)
    widget.add_css_class("highlighted");
  else
    widget.remove_css_class("highlighted");
  gtk_accessible_update_state(GTK_ACCESSIBLE(widget.gobj()), GTK_ACCESSIBLE_STATE_SELECTED, on ? TRUE : FALSE, -1);
}

// Remembers the last accessible name given, so unchanged rows skip the call.
void updateName(Gtk::Widget& widget, std::string& last, const std::string& name) {
  if (last == name) return;
  last = name;
  setAccessibleName(widget, name);
}

std::string joined(const std::string& a, const std::string& b) {
  if (b.empty()) return a;
  if (a.empty()) return b;
  return a + ", " + b;
}

bool altHeld(Gtk::GestureClick& click) {
  return (click.get_current_event_state() & Gdk::ModifierType::ALT_MASK) == Gdk::ModifierType::ALT_MASK;
}

// A quieter label: addresses and hints.
Gtk::Label& secondary(Gtk::Label& label, const char* cssClass) {
  label.add_css_class(cssClass);
  label.set_xalign(0);
  label.set_ellipsize(Pango::EllipsizeMode::END);
  label.set_single_line_mode(true);
  return label;
}

IconChoice tabIcon(RowHost& host, const Page& page) {
  IconChoice choice;
  if (auto* icons = host.icons()) choice.image = icons->pageIcon(page);
  choice.fallback = page.isPrivate() ? paletteicons::kPrivateTab : paletteicons::kTab;
  return choice;
}

IconChoice pinIcon(RowHost& host, const Pin& pin) { return IconChoice{host.browser().icon(pin), paletteicons::kPin}; }

int pinPosition(const Browser& browser, const std::string& id) {
  const auto& pins = browser.pins.get();
  for (size_t i = 0; i < pins.size(); ++i)
    if (pins[i].id == id) return int(i);
  return -1;
}

// A tab's sound: a speaker while it plays, struck through while muted. A
// click mutes or unmutes it, as Ctrl+M does for the highlighted row.
class SpeakerButton final : public Gtk::Button {
 public:
  explicit SpeakerButton(RowHost& host) {
    add_css_class("flat");
    add_css_class("quillo-palette-speaker");
    set_valign(Gtk::Align::CENTER);
    set_focus_on_click(false);
    set_can_focus(false);
    set_visible(false);
    signal_clicked().connect([this, &host] {
      if (auto page = page_.lock()) host.browser().toggleMuted(page);
    });
  }
  void show(const PagePtr& page) {
    page_ = page;
    const bool muted = page->isMuted.get();
    set_visible(muted || page->isPlayingAudio.get());
    if (!get_visible()) return;
    const std::string label = muted ? "Unmute" : "Mute";
    if (label_ == label) return;
    label_ = label;
    set_icon_name(muted ? "audio-volume-muted-symbolic" : "audio-volume-high-symbolic");
    set_tooltip_text(label + " this tab (" + keyLabel(kCtrl, "M") + ")");
    setAccessibleName(*this, label);
  }
  // What the row says of its sound, for screen readers.
  static std::string state(const Page& page) {
    if (page.isMuted.get()) return "Muted";
    return page.isPlayingAudio.get() ? "Playing sound" : "";
  }

 private:
  std::weak_ptr<Page> page_;
  std::string label_;
};

}  // namespace

// ---- InlineField ----

InlineField::InlineField(std::function<void(const std::optional<std::string>&)> done) : done_(std::move(done)) {
  add_css_class("quillo-palette-field");
  set_hexpand(true);
  set_visible(false);
  signal_activate().connect([this] { finish(std::string(get_text())); });
  auto keys = Gtk::EventControllerKey::create();
  keys->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
  keys->signal_key_pressed().connect(
      [this](guint keyval, guint, Gdk::ModifierType) {
        if (keyval != GDK_KEY_Escape || !active_) return false;
        finish(std::nullopt);
        return true;
      },
      false);
  add_controller(keys);
  auto focus = Gtk::EventControllerFocus::create();
  focus->signal_leave().connect([this] {
    // Clicking elsewhere in the window gives up the edit; the window merely
    // losing the keyboard (another program in front) does not.
    auto* window = dynamic_cast<Gtk::Window*>(get_root());
    if (active_ && window && window->is_active()) finish(std::nullopt);
  });
  add_controller(focus);
}

InlineField::~InlineField() { mapped_.disconnect(); }

void InlineField::begin(const std::string& text) {
  active_ = true;
  set_text(text);
  set_visible(true);
  mapped_.disconnect();
  if (get_mapped())
    takeFocus();
  else
    mapped_ = signal_map().connect([this] {
      mapped_.disconnect();
      takeFocus();
    });
}

void InlineField::takeFocus() {
  if (!active_) return;
  grab_focus();
  select_region(0, -1);
}

void InlineField::end() {
  active_ = false;
  mapped_.disconnect();
  set_visible(false);
}

void InlineField::finish(const std::optional<std::string>& text) {
  if (!active_) return;
  active_ = false;
  done_(text);
}

// ---- PaletteRow ----

PaletteRow::PaletteRow(RowHost& host, Gtk::Orientation orientation) : Gtk::Box(orientation), host_(host) {}

namespace {

// What an item row shows for its item.
struct Look {
  std::string title;
  std::string address;
  std::string hint;
  bool hintIsWarning = false;
  IconChoice icon;
  bool removable = false;
  std::string removeLabel = "Remove from History";
  // A tab's sound ("Playing sound", "Muted"), shown by its speaker.
  std::string sound;
  // A permission row's two choices, the one in force marked.
  bool choices = false;
  std::optional<PermissionDecision> chosen;
};

// An ordinary row: icon, title, the address in its short form, a hint on
// the right; a section heading above it when it starts a section.
class ItemRow final : public PaletteRow {
 public:
  explicit ItemRow(RowHost& host) : PaletteRow(host, Gtk::Orientation::VERTICAL) {
    heading_.add_css_class("quillo-palette-heading");
    heading_.set_xalign(0);
    heading_.set_visible(false);
    setAccessibleRole(heading_, GTK_ACCESSIBLE_ROLE_HEADING);
    append(heading_);

    body_.add_css_class("quillo-palette-row");
    body_.set_spacing(10);
    setAccessibleRole(body_, GTK_ACCESSIBLE_ROLE_LIST_ITEM);
    icon_.set_pixel_size(16);
    icon_.set_valign(Gtk::Align::CENTER);
    title_.set_xalign(0);
    title_.set_ellipsize(Pango::EllipsizeMode::END);
    title_.set_single_line_mode(true);
    title_.add_css_class("quillo-palette-title");
    secondary(address_, "quillo-palette-address");
    address_.set_hexpand(true);
    secondary(hint_, "quillo-palette-hint");
    hint_.set_xalign(1);
    hint_.set_ellipsize(Pango::EllipsizeMode::NONE);
    body_.append(icon_);
    body_.append(title_);
    body_.append(address_);
    body_.append(speaker_);
    body_.append(hint_);
    append(body_);

    auto click = Gtk::GestureClick::create();
    click->set_button(GDK_BUTTON_PRIMARY);
    click->signal_released().connect([this, c = click.get()](int, double x, double y) { clicked(*c, x, y); });
    body_.add_controller(click);
  }

  void show(const Entry& entry, const RowState& state) override {
    std::optional<PaletteItem> download;
    const PaletteItem* item = entry.item();
    if (auto* d = entry.as<Entry::Download>()) item = &download.emplace(d->item);
    if (!item) return;

    if (auto* start = entry.as<Entry::SectionStart>()) {
      setText(heading_, start->heading);
      updateName(heading_, headingName_, start->heading);
      heading_.set_visible(true);
    } else {
      heading_.set_visible(false);
    }

    resultIndex_ = entry.resultIndex();
    const Look look = describe(*item, state);
    setText(title_, look.title);
    setText(address_, look.address);
    setText(hint_, look.hint);
    hint_.set_visible(!look.hint.empty() && !look.choices);
    showChoices(look.choices ? item->permission() : nullptr, look.chosen);
    if (look.hintIsWarning != hint_.has_css_class("warning")) {
      if (look.hintIsWarning)
        hint_.add_css_class("warning");
      else
        hint_.remove_css_class("warning");
    }
    showIcon(icon_, look.icon, host_.textures(), iconShown_);
    showRemoveButton(look.removable && resultIndex_.has_value(), look.removeLabel);
    updateName(body_, name_, joined(look.title, look.address));
    if (auto description = joined(look.hint, look.sound); description_ != description) {
      description_ = description;
      setAccessibleDescription(body_, description);
    }
    if (auto* tab = item->tab())
      speaker_.show(*tab);
    else
      speaker_.set_visible(false);

    const auto id = item->id();
    highlighted_ = state.searching ? (resultIndex_ && resultIndex_ == state.highlightIndex)
                                   : (state.restingHighlight && *state.restingHighlight == id);
    setHighlight(body_, highlighted_);
    showField(*item, id, state);
    item_ = *item;
  }

  Gtk::Widget* highlightedWidget() override { return highlighted_ ? &body_ : nullptr; }
  const Pin* pin() const override { return item_ ? item_->pin() : nullptr; }

 private:
  Look describe(const PaletteItem& item, const RowState& state) {
    Look look;
    switch (item.kind()) {
      case PaletteItem::Kind::pin: {
        const Pin& pin = *item.pin();
        look.title = pin.displayName();
        look.address = Address::display(pin.url);
        look.icon = pinIcon(host_, pin);
        if (state.confirmingDelete == pin.id) {
          look.hint = commands::confirmDeletePinHint();
          look.hintIsWarning = true;
        } else if (int position = pinPosition(host_.browser(), pin.id);
                   position >= 0 && position < state.numberedPins) {
          look.hint = keyLabel(kCtrl, std::to_string(position + 1));
        }
        break;
      }
      case PaletteItem::Kind::tab: {
        const Page& page = **item.tab();
        look.title = page.displayTitle();
        look.address = Address::display(page.savedURL());
        look.icon = tabIcon(host_, page);
        if (page.isPrivate())
          look.hint = "Private";
        else if (!page.split.expired())
          look.hint = "Split";
        look.sound = SpeakerButton::state(page);
        break;
      }
      case PaletteItem::Kind::command: {
        const auto& info = commands::info(*item.command());
        look.title = std::string(info.title);
        look.hint = "/" + std::string(info.names.front());
        look.icon.fallback = paletteicons::forSymbol(info.symbol);
        break;
      }
      case PaletteItem::Kind::login: {
        const Login& login = *item.login();
        look.title = login.title;
        look.address = login.username.value_or("");
        look.icon.fallback = paletteicons::kLogin;
        break;
      }
      case PaletteItem::Kind::history: {
        const HistoryEntry& entry = *item.history();
        look.address = Address::display(entry.url);
        look.title = entry.title.empty() ? look.address : entry.title;
        if (entry.title.empty()) look.address.clear();
        if (auto* icons = host_.icons()) look.icon.image = icons->cachedIcon(entry.url.host());
        look.icon.fallback = paletteicons::kHistory;
        look.removable = true;
        break;
      }
      case PaletteItem::Kind::download: {
        const auto& download = *item.download();
        look.title = download->filename();
        look.address = Address::display(download->source());
        look.icon.fallback = paletteicons::kDownload;
        switch (download->state()) {
          case DownloadItem::State::downloading:
            look.hint = std::to_string(int(download->fraction() * 100)) + "%";
            break;
          case DownloadItem::State::finished:
            look.address += download->isMissing() ? " · moved or deleted since" : " · click to show in folder";
            break;
          case DownloadItem::State::failed:
            look.address = download->failure();
            look.hint = "Failed";
            look.hintIsWarning = true;
            break;
        }
        look.removable = true;
        look.removeLabel = "Remove from List";
        break;
      }
      case PaletteItem::Kind::importSource: {
        const ImportSource& source = *item.importSource();
        look.title = source.title();
        look.address = source.detail();
        look.icon.fallback = paletteicons::kHistory;
        break;
      }
      case PaletteItem::Kind::permission: {
        const SitePermission& permission = *item.permission();
        auto* permissions = host_.permissions();
        look.title = permissions ? permissions->title(permission) : permission.key();
        look.icon.fallback = paletteicons::forPermission(permission);
        if (permissions) {
          auto decision = permissions->decision(permission);
          if (decision && !permissions->savedDecision(permission))
            look.address =
                *decision == PermissionDecision::allow ? "Allowed until Quillo quits" : "Blocked until Quillo quits";
          // Both choices, the one in force marked.
          look.hint = std::string(decision == PermissionDecision::allow ? "● " : "○ ") + "Allow   " +
                      (decision == PermissionDecision::block ? "● " : "○ ") + "Block";
          look.choices = true;
          look.chosen = decision;
        }
        break;
      }
    }
    return look;
  }

  // "Allow" and "Block" as buttons; the one in force is marked and pressed.
  void showChoices(const SitePermission* permission, std::optional<PermissionDecision> chosen) {
    if (!permission) {
      if (choices_) choices_->set_visible(false);
      return;
    }
    if (!choices_) {
      choices_ = std::make_unique<Gtk::Box>(Gtk::Orientation::HORIZONTAL, 2);
      choices_->set_valign(Gtk::Align::CENTER);
      for (auto decision : {PermissionDecision::allow, PermissionDecision::block}) {
        auto* button = Gtk::make_managed<Gtk::Button>();
        button->add_css_class("flat");
        button->add_css_class("quillo-palette-choice");
        button->set_focus_on_click(false);
        button->set_can_focus(false);
        button->signal_clicked().connect([this, decision] {
          if (item_ && item_->permission()) host_.browser().setPermission(decision, *item_->permission());
        });
        choices_->append(*button);
        choiceButtons_.push_back(button);
      }
      body_.insert_child_after(*choices_, hint_);
    }
    const char* names[] = {"Allow", "Block"};
    for (size_t i = 0; i < choiceButtons_.size(); ++i) {
      bool on = chosen == (i == 0 ? PermissionDecision::allow : PermissionDecision::block);
      choiceButtons_[i]->set_label(std::string(on ? "● " : "○ ") + names[i]);
      gtk_accessible_update_state(GTK_ACCESSIBLE(choiceButtons_[i]->gobj()), GTK_ACCESSIBLE_STATE_PRESSED,
                                  on ? GTK_ACCESSIBLE_TRISTATE_TRUE : GTK_ACCESSIBLE_TRISTATE_FALSE, -1);
      setAccessibleName(*choiceButtons_[i], names[i]);
    }
    choices_->set_visible(true);
  }

  void showRemoveButton(bool wanted, const std::string& label) {
    if (!wanted) {
      if (remove_) remove_->set_visible(false);
      return;
    }
    if (!remove_) {
      remove_ = std::make_unique<Gtk::Button>();
      remove_->set_icon_name(paletteicons::kRemove);
      remove_->add_css_class("flat");
      remove_->add_css_class("quillo-palette-remove");
      remove_->set_valign(Gtk::Align::CENTER);
      remove_->set_focus_on_click(false);
      remove_->set_can_focus(false);
      remove_->signal_clicked().connect([this] {
        if (resultIndex_) host_.removeFromHistory(*resultIndex_);
      });
      body_.append(*remove_);
    }
    if (removeLabel_ != label) {
      removeLabel_ = label;
      remove_->set_tooltip_text(label);
      setAccessibleName(*remove_, label);
    }
    remove_->set_visible(true);
  }

  void showField(const PaletteItem& item, const PaletteItemID& id, const RowState& state) {
    std::optional<std::string> text;
    bool isAddress = false;
    if (state.renaming && *state.renaming == id) {
      if (auto* pin = item.pin()) text = pin->displayName();
      if (auto* tab = item.tab()) text = (*tab)->customName.get().value_or((*tab)->title.get());
    } else if (auto* pin = item.pin(); pin && state.editingURL == pin->id) {
      text = pin->url.str();
      isAddress = true;
    }
    if (!text) {
      if (field_ && field_->is_visible()) field_->end();
      title_.set_visible(true);
      address_.set_visible(true);
      return;
    }
    if (!field_) {
      field_ = std::make_unique<InlineField>(
          [this](const std::optional<std::string>& result) { host_.fieldDone(fieldIsAddress_, result); });
      body_.insert_child_after(*field_, address_);
    }
    title_.set_visible(false);
    address_.set_visible(false);
    if (!field_->isActive() || fieldIsAddress_ != isAddress) {
      fieldIsAddress_ = isAddress;
      setAccessibleName(*field_, isAddress ? "Pin address" : "Name");
      field_->begin(*text);
      host_.fieldOpened();
    }
  }

  void clicked(Gtk::GestureClick& click, double x, double y) {
    if (!item_ || host_.isDragging() || (field_ && field_->is_visible())) return;
    for (Gtk::Widget* button : {static_cast<Gtk::Widget*>(remove_.get()), static_cast<Gtk::Widget*>(choices_.get()),
                                static_cast<Gtk::Widget*>(&speaker_)}) {
      if (!button || !button->is_visible()) continue;
      auto* picked = body_.pick(x, y);
      if (picked && (picked == button || picked->is_ancestor(*button))) return;
    }
    PaletteItem item = *item_;  // choosing may rebuild the list
    host_.choose(item, altHeld(click));
  }

  Gtk::Label heading_;
  Gtk::Box body_{Gtk::Orientation::HORIZONTAL};
  Gtk::Image icon_;
  Gtk::Label title_, address_, hint_;
  SpeakerButton speaker_{host_};
  std::unique_ptr<InlineField> field_;
  std::unique_ptr<Gtk::Button> remove_;
  std::unique_ptr<Gtk::Box> choices_;
  std::vector<Gtk::Button*> choiceButtons_;
  std::optional<PaletteItem> item_;
  std::optional<int> resultIndex_;
  uint64_t iconShown_ = 0;
  bool highlighted_ = false;
  bool fieldIsAddress_ = false;
  std::string headingName_, name_, description_, removeLabel_;
};

// The numbered pins as tiles, with their number; a field under the tiles
// while one of them is renamed or its address edited.
class PinGridRow final : public PaletteRow {
 public:
  explicit PinGridRow(RowHost& host) : PaletteRow(host, Gtk::Orientation::VERTICAL) {
    add_css_class("quillo-pin-grid");
    setAccessibleRole(*this, GTK_ACCESSIBLE_ROLE_GROUP);
    setAccessibleName(*this, "Numbered pins");
    flow_.set_selection_mode(Gtk::SelectionMode::NONE);
    flow_.set_homogeneous(true);
    flow_.set_min_children_per_line(3);
    flow_.set_max_children_per_line(9);
    flow_.set_column_spacing(4);
    flow_.set_row_spacing(4);
    flow_.set_can_focus(false);
    append(flow_);

    editRow_.add_css_class("quillo-palette-row");
    editRow_.set_spacing(10);
    editRow_.set_margin_top(4);
    editIcon_.set_pixel_size(16);
    secondary(editLabel_, "quillo-palette-hint");
    editRow_.append(editIcon_);
    editRow_.append(editLabel_);
    editRow_.append(field_);
    editRow_.set_visible(false);
    append(editRow_);
  }

  void show(const Entry& entry, const RowState& state) override {
    pins_ = entry.as<Entry::PinGrid>()->pins;
    while (tiles_.size() > pins_.size()) {
      flow_.remove(tiles_.back()->box);
      tiles_.pop_back();
    }
    while (tiles_.size() < pins_.size()) addTile();
    highlighted_ = nullptr;
    const Pin* edited = nullptr;
    bool editingAddress = false;
    for (size_t i = 0; i < pins_.size(); ++i) {
      const Pin& pin = pins_[i];
      Tile& tile = *tiles_[i];
      const std::string number = std::to_string(i + 1);
      setText(tile.name, pin.displayName());
      setText(tile.number, number);
      showIcon(tile.icon, pinIcon(host_, pin), host_.textures(), tile.iconShown);
      updateName(tile.box, tile.accessibleName,
                 keyLabel(kCtrl, number) + ": " + pin.displayName() + ", " + Address::display(pin.url));
      tile.box.set_tooltip_text(Address::display(pin.url));
      bool lit = !state.searching && state.restingHighlight && *state.restingHighlight == PaletteItemID(pin.id);
      setHighlight(tile.box, lit);
      if (lit) highlighted_ = &tile.box;
      if (state.renaming && *state.renaming == PaletteItemID(pin.id)) edited = &pin;
      if (state.editingURL == pin.id) {
        edited = &pin;
        editingAddress = true;
      }
    }
    showField(edited, editingAddress);
  }

  Gtk::Widget* highlightedWidget() override { return highlighted_; }

 private:
  struct Tile {
    Gtk::Box box{Gtk::Orientation::VERTICAL};
    Gtk::Overlay overlay;
    Gtk::Image icon;
    Gtk::Label number;
    Gtk::Label name;
    uint64_t iconShown = 0;
    std::string accessibleName;
  };

  void addTile() {
    auto tile = std::make_unique<Tile>();
    const size_t index = tiles_.size();
    tile->box.add_css_class("quillo-pin-tile");
    tile->box.set_spacing(4);
    setAccessibleRole(tile->box, GTK_ACCESSIBLE_ROLE_BUTTON);
    tile->icon.set_pixel_size(20);
    tile->icon.add_css_class("quillo-pin-icon");
    tile->icon.set_margin_start(10);
    tile->icon.set_margin_end(10);
    tile->icon.set_margin_top(4);
    tile->overlay.set_child(tile->icon);
    tile->overlay.set_halign(Gtk::Align::CENTER);
    tile->number.add_css_class("quillo-pin-number");
    tile->number.set_halign(Gtk::Align::END);
    tile->number.set_valign(Gtk::Align::START);
    tile->number.set_can_target(false);
    tile->overlay.add_overlay(tile->number);
    tile->name.add_css_class("quillo-pin-name");
    tile->name.set_ellipsize(Pango::EllipsizeMode::END);
    tile->name.set_max_width_chars(12);
    tile->name.set_width_chars(8);
    tile->box.append(tile->overlay);
    tile->box.append(tile->name);
    auto click = Gtk::GestureClick::create();
    click->set_button(GDK_BUTTON_PRIMARY);
    click->signal_released().connect([this, index, c = click.get()](int, double, double) {
      if (index >= pins_.size() || host_.isDragging()) return;
      PaletteItem item(pins_[index]);
      host_.choose(item, altHeld(*c));
    });
    tile->box.add_controller(click);
    flow_.append(tile->box);
    if (auto* child = flow_.get_child_at_index(int(index))) child->set_can_focus(false);
    tiles_.push_back(std::move(tile));
  }

  void showField(const Pin* pin, bool isAddress) {
    if (!pin) {
      if (field_.isActive()) field_.end();
      editRow_.set_visible(false);
      return;
    }
    editRow_.set_visible(true);
    showIcon(editIcon_, pinIcon(host_, *pin), host_.textures(), editIconShown_);
    setText(editLabel_, keyLabel(kCtrl, std::to_string(pinPosition(host_.browser(), pin->id) + 1)));
    if (!field_.isActive() || fieldIsAddress_ != isAddress) {
      fieldIsAddress_ = isAddress;
      setAccessibleName(field_, isAddress ? "Pin address" : "Name");
      field_.begin(isAddress ? pin->url.str() : pin->displayName());
      host_.fieldOpened();
    }
  }

  Gtk::FlowBox flow_;
  std::vector<std::unique_ptr<Tile>> tiles_;
  std::vector<Pin> pins_;
  Gtk::Widget* highlighted_ = nullptr;
  Gtk::Box editRow_{Gtk::Orientation::HORIZONTAL};
  Gtk::Image editIcon_;
  Gtk::Label editLabel_;
  uint64_t editIconShown_ = 0;
  bool fieldIsAddress_ = false;
  InlineField field_{[this](const std::optional<std::string>& text) { host_.fieldDone(fieldIsAddress_, text); }};
};

// The two pages of a split side by side in one row, left then right.
class SplitRow final : public PaletteRow {
 public:
  explicit SplitRow(RowHost& host) : PaletteRow(host, Gtk::Orientation::VERTICAL) {
    body_.add_css_class("quillo-palette-row");
    body_.add_css_class("quillo-split-row");
    body_.set_spacing(6);
    setAccessibleRole(body_, GTK_ACCESSIBLE_ROLE_LIST_ITEM);
    splitIcon_.set_from_icon_name(paletteicons::kSplit);
    splitIcon_.set_pixel_size(14);
    splitIcon_.add_css_class("icon");
    splitIcon_.set_tooltip_text("Split view");
    setup(left_);
    body_.append(left_.box);
    body_.append(splitIcon_);
    setup(right_);
    body_.append(right_.box);
    append(body_);
  }

  void show(const Entry& entry, const RowState& state) override {
    auto* group = entry.as<Entry::SplitGroup>();
    showHalf(left_, group->left, state);
    showHalf(right_, group->right, state);
    updateName(body_, name_, "Split: " + group->left->displayTitle() + " and " + group->right->displayTitle());
    setHighlight(body_, false);
  }

  Gtk::Widget* highlightedWidget() override {
    if (left_.box.has_css_class("highlighted")) return &left_.box;
    if (right_.box.has_css_class("highlighted")) return &right_.box;
    return nullptr;
  }

 private:
  struct Half {
    Gtk::Box box{Gtk::Orientation::HORIZONTAL};
    Gtk::Image icon;
    Gtk::Label title, address;
    std::unique_ptr<SpeakerButton> speaker;
    std::unique_ptr<InlineField> field;
    uint64_t iconShown = 0;
    PagePtr page;
    std::string accessibleName, description;
  };

  void setup(Half& half) {
    half.box.add_css_class("quillo-split-half");
    half.box.set_spacing(8);
    half.box.set_hexpand(true);
    setAccessibleRole(half.box, GTK_ACCESSIBLE_ROLE_BUTTON);
    half.icon.set_pixel_size(16);
    half.title.set_xalign(0);
    half.title.set_ellipsize(Pango::EllipsizeMode::END);
    secondary(half.address, "quillo-palette-address");
    half.address.set_hexpand(true);
    half.box.append(half.icon);
    half.box.append(half.title);
    half.box.append(half.address);
    half.speaker = std::make_unique<SpeakerButton>(host_);
    half.box.append(*half.speaker);
    auto click = Gtk::GestureClick::create();
    click->set_button(GDK_BUTTON_PRIMARY);
    click->signal_released().connect([this, &half, c = click.get()](int, double x, double y) {
      if (!half.page || host_.isDragging() || (half.field && half.field->is_visible())) return;
      if (auto* picked = half.box.pick(x, y);
          half.speaker->is_visible() && picked && (picked == half.speaker.get() || picked->is_ancestor(*half.speaker)))
        return;
      PaletteItem item(half.page);
      host_.choose(item, altHeld(*c));
    });
    half.box.add_controller(click);
  }

  void showHalf(Half& half, const PagePtr& page, const RowState& state) {
    half.page = page;
    setText(half.title, page->displayTitle());
    setText(half.address, Address::display(page->savedURL()));
    showIcon(half.icon, tabIcon(host_, *page), host_.textures(), half.iconShown);
    updateName(half.box, half.accessibleName, joined(page->displayTitle(), Address::display(page->savedURL())));
    half.speaker->show(page);
    if (auto sound = SpeakerButton::state(*page); half.description != sound) {
      half.description = sound;
      setAccessibleDescription(half.box, sound);
    }
    const auto id = PaletteItem::idOf(*page);
    setHighlight(half.box, !state.searching && state.restingHighlight && *state.restingHighlight == id);

    const bool renaming = state.renaming && *state.renaming == id;
    if (!renaming) {
      if (half.field && half.field->is_visible()) half.field->end();
      half.title.set_visible(true);
      half.address.set_visible(true);
      return;
    }
    if (!half.field) {
      half.field = std::make_unique<InlineField>(
          [this](const std::optional<std::string>& text) { host_.fieldDone(false, text); });
      setAccessibleName(*half.field, "Name");
      half.box.append(*half.field);
    }
    half.title.set_visible(false);
    half.address.set_visible(false);
    if (!half.field->isActive()) {
      half.field->begin(page->customName.get().value_or(page->title.get()));
      host_.fieldOpened();
    }
  }

  Gtk::Box body_{Gtk::Orientation::HORIZONTAL};
  Half left_, right_;
  Gtk::Image splitIcon_;
  std::string name_;
};

class NoticeRow final : public PaletteRow {
 public:
  explicit NoticeRow(RowHost& host) : PaletteRow(host, Gtk::Orientation::VERTICAL) {
    setAccessibleRole(*this, GTK_ACCESSIBLE_ROLE_NOTE);
    label_.add_css_class("quillo-palette-notice");
    label_.set_wrap(true);
    label_.set_justify(Gtk::Justification::CENTER);
    append(label_);
  }
  void show(const Entry& entry, const RowState&) override {
    const auto& text = entry.as<Entry::Notice>()->text;
    setText(label_, text);
    updateName(*this, name_, text);
  }

 private:
  Gtk::Label label_;
  std::string name_;
};

class DividerRow final : public PaletteRow {
 public:
  explicit DividerRow(RowHost& host) : PaletteRow(host, Gtk::Orientation::HORIZONTAL) {
    setAccessibleRole(*this, GTK_ACCESSIBLE_ROLE_SEPARATOR);
    setAccessibleName(*this, "Divider");
    line_.add_css_class("quillo-palette-divider");
    line_.set_hexpand(true);
    append(line_);
  }
  void show(const Entry&, const RowState&) override {}

 private:
  Gtk::Separator line_{Gtk::Orientation::HORIZONTAL};
};

// The line between numbered and unnumbered pins, dragged up and down.
class QuickDividerRow final : public PaletteRow {
 public:
  explicit QuickDividerRow(RowHost& host) : PaletteRow(host, Gtk::Orientation::HORIZONTAL) {
    add_css_class("quillo-quick-divider");
    set_spacing(8);
    setAccessibleRole(*this, GTK_ACCESSIBLE_ROLE_SEPARATOR);
    handle_.set_from_icon_name(paletteicons::kDragHandle);
    handle_.add_css_class("icon");
    text_.set_xalign(0);
    text_.set_hexpand(true);
    text_.set_ellipsize(Pango::EllipsizeMode::END);
    secondary(explanation_, "quillo-palette-hint");
    explanation_.set_xalign(1);
    explanation_.set_text(PaletteList::quickDividerExplanation());
    append(handle_);
    append(text_);
    append(explanation_);
    gtk_widget_set_cursor_from_name(GTK_WIDGET(gobj()), "ns-resize");
    setAccessibleDescription(*this, PaletteList::quickDividerExplanation());
  }
  void show(const Entry&, const RowState& state) override {
    const auto text = PaletteList::quickDividerText(state.numberedPins);
    setText(text_, text);
    updateName(*this, name_, text);
  }
  bool isQuickDivider() const override { return true; }

 private:
  Gtk::Image handle_;
  Gtk::Label text_, explanation_;
  std::string name_;
};

}  // namespace

std::unique_ptr<PaletteRow> makeRow(RowHost& host, const Entry& entry) {
  switch (entry.kind()) {
    case Entry::Kind::item:
    case Entry::Kind::sectionStart:
    case Entry::Kind::download: return std::make_unique<ItemRow>(host);
    case Entry::Kind::pinGrid: return std::make_unique<PinGridRow>(host);
    case Entry::Kind::notice: return std::make_unique<NoticeRow>(host);
    case Entry::Kind::splitGroup: return std::make_unique<SplitRow>(host);
    case Entry::Kind::quickDivider: return std::make_unique<QuickDividerRow>(host);
    case Entry::Kind::divider: return std::make_unique<DividerRow>(host);
  }
  return nullptr;
}

}  // namespace quillo
