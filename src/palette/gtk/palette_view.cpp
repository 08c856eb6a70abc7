// The palette's list over the page: rows kept by identity, updated once per frame, made as scrolled, pins dragged.
#include "palette/gtk/palette_view.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "core/text.h"
#include "palette/gtk/palette_style.h"

namespace quillo {

namespace {

// How far the pointer must travel before a press on a pin becomes a drag.
constexpr double kDragThreshold = 6;
// The list never covers more of the page than this.
constexpr double kMaxShareOfPage = 0.8;
// Rows are made a screenful at a time: enough to fill the list at its
// tallest, a few more, and the next ones when scrolled near.
constexpr size_t kFewestRows = 16;
constexpr size_t kMoreRows = 32;
// Stands in for the height of rows not made yet, so the scroll bar is right.
constexpr int kRowHeightGuess = 34;
constexpr int kShortestRow = 30;
constexpr size_t kSpareRows = 64;

double topOf(Gtk::Widget& widget, Gtk::Widget& in) {
  double x = 0, y = 0;
  widget.translate_coordinates(in, 0, 0, x, y);
  return y;
}

}  // namespace

PaletteView::PaletteView(Browser& browser) : Gtk::Box(Gtk::Orientation::VERTICAL), browser_(browser) {
  ensurePaletteStyle();
  add_css_class("quillo-palette");
  set_valign(Gtk::Align::START);
  scroller_.set_policy(Gtk::PolicyType::NEVER, Gtk::PolicyType::AUTOMATIC);
  scroller_.set_propagate_natural_height(true);
  scroller_.set_max_content_height(100000);
  list_.add_css_class("quillo-palette-list");
  setAccessibleRole(list_, GTK_ACCESSIBLE_ROLE_LIST);
  setAccessibleName(list_, "Palette");
  spacer_.set_can_target(false);
  list_.append(spacer_);
  scroller_.set_child(list_);
  append(scroller_);
  scroller_.get_vadjustment()->signal_value_changed().connect(sigc::mem_fun(*this, &PaletteView::scrolled));
  set_visible(false);

  dragGesture_ = Gtk::GestureDrag::create();
  dragGesture_->set_button(GDK_BUTTON_PRIMARY);
  dragGesture_->signal_drag_begin().connect(sigc::mem_fun(*this, &PaletteView::dragBegin));
  dragGesture_->signal_drag_update().connect([this](double, double dy) { dragUpdate(dy); });
  dragGesture_->signal_drag_end().connect([this](double, double dy) { dragEnd(dy); });
  list_.add_controller(dragGesture_);

  auto later = [this] { scheduleUpdate(); };
  connections_.push_back(browser_.paletteChanged.connect(later));
  connections_.push_back(browser_.chrome.isHeldOpen.changed().connect(later));
  connections_.push_back(browser_.currentPageChanged.connect(later));
  connections_.push_back(browser_.isDeferringViews.changed().connect(later));
  scheduleUpdate();
}

PaletteView::~PaletteView() {
  for (auto& connection : connections_) connection.disconnect();
  for (auto& [page, connection] : pageWatch_) connection.disconnect();
  if (updateSource_) g_source_remove(updateSource_);
  for (auto& [key, row] : rows_)
    if (row->get_parent() == &list_) list_.remove(*row);
  rows_.clear();
  spare_.clear();
}

void PaletteView::setServices(Services services) {
  services_ = std::move(services);
  scheduleUpdate();
}

bool PaletteView::wantsOpen() const {
  // The find field searches the page: a list would cover the matches.
  if (browser_.isFinding.get()) return false;
  // While start-up holds the page back, the field has the keyboard only so
  // that early keys are not lost: the resting list opens once something is
  // typed, not as a flash before the page takes the keyboard.
  const bool heldOpen =
      browser_.chrome.isHeldOpen.get() && !(browser_.isDeferringViews.get() && browser_.query->empty());
  return heldOpen || browser_.isComposingNewTab.get() || browser_.scope.get() || browser_.cycleIndex.get() ||
         browser_.isEditingInList() || browser_.isChoosingSplitPartner.get();
}

void PaletteView::scheduleUpdate() {
  if (updateSource_) return;
  // Above GTK's redraw priority: all the changes of one keystroke are drawn
  // together, in the frame that follows it.
  updateSource_ = g_idle_add_full(
      G_PRIORITY_HIGH_IDLE + 10,
      [](gpointer self) -> gboolean {
        auto* view = static_cast<PaletteView*>(self);
        view->updateSource_ = 0;
        view->update();
        return G_SOURCE_REMOVE;
      },
      this, nullptr);
}

PaletteView::RowKey PaletteView::keyOf(const PaletteList::Entry& entry) {
  using Kind = PaletteList::Entry::Kind;
  int group = 0;
  switch (entry.kind()) {
    case Kind::item:
    case Kind::sectionStart:
    case Kind::download:
      group = 0;  // the same row whether it starts a section or not
      break;
    case Kind::pinGrid: group = 1; break;
    case Kind::notice: group = 2; break;
    case Kind::splitGroup: group = 3; break;
    case Kind::quickDivider: group = 4; break;
    case Kind::divider: group = 5; break;
  }
  return {group, entry.id()};
}

RowState PaletteView::currentState() const {
  RowState state;
  state.searching = browser_.isSearching();
  if (state.searching)
    state.highlightIndex = browser_.highlightIndex();
  else
    state.restingHighlight = browser_.restingHighlightID();
  state.renaming = browser_.renamingID.get();
  state.editingURL = browser_.editingURLPinID.get();
  state.confirmingDelete = browser_.confirmingDeletePinID.get();
  state.numberedPins = int(std::min(size_t(std::max(browser_.quickPinCount.get(), 0)), browser_.pins->size()));
  return state;
}

void PaletteView::update() {
  if (updateSource_) {
    g_source_remove(updateSource_);
    updateSource_ = 0;
  }
  // The list keeps still under the pointer until the drop, which updates it.
  if (drag_.active) return;
  if (editingNow_ && !browser_.isEditingInList()) {
    // The model ended the edit by itself.
    editingNow_ = false;
    browser_.chrome.isEditing = false;
    browser_.chrome.update();
  }
  watchPages();
  auto close = [this] {
    if (get_visible()) {
      set_visible(false);
      updated_.emit();
    }
  };
  if (!wantsOpen()) return close();

  PaletteList::Extras extras;
  if (services_.sessionDownloads) extras.sessionDownloads = services_.sessionDownloads();
  if (services_.loginNotice) extras.loginNotice = services_.loginNotice();
  entries_ = PaletteList::build(browser_, extras);
  // Nothing to list (a first run's resting list): no empty card over the page.
  if (std::all_of(entries_.begin(), entries_.end(),
                  [](const auto& entry) { return entry.kind() == PaletteList::Entry::Kind::divider; }))
    return close();
  const RowState state = currentState();

  // A new query or scope is a new list: it starts at the top, with its first rows.
  const bool fresh = browser_.query.get() != shownQuery_ || browser_.scope.get() != shownScope_;
  if (fresh) {
    shownQuery_ = browser_.query.get();
    shownScope_ = browser_.scope.get();
    limit_ = 0;
  }
  // A screenful: as many of the shortest rows as the list's tallest height holds.
  const int room = get_parent() ? int(get_parent()->get_height() * kMaxShareOfPage) : 0;
  limit_ = std::max(limit_, std::max(kFewestRows, size_t(std::max(room, 0) / kShortestRow) + 4));
  if (auto lit = highlightedEntry(state)) limit_ = std::max(limit_, *lit + kMoreRows / 2);
  made_ = std::min(limit_, entries_.size());

  Gtk::Widget* highlighted = reconcile(state);
  spacer_.set_size_request(-1, int(entries_.size() - made_) * kRowHeightGuess);
  if (fresh) scroller_.get_vadjustment()->set_value(0);
  const bool moved = highlighted != highlighted_;
  highlighted_ = highlighted;
  if (!get_visible()) set_visible(true);
  if (moved) scrollToHighlight();
  updated_.emit();
}

Gtk::Widget* PaletteView::reconcile(const RowState& state) {
  // The entries that get rows, each with its key.
  std::vector<std::pair<size_t, RowKey>> wanted;
  std::set<RowKey> seen;
  for (size_t i = 0; i < made_; ++i) {
    auto key = keyOf(entries_[i]);
    if (seen.insert(key).second) wanted.emplace_back(i, std::move(key));  // never one row twice
  }
  // Rows still wanted stay; item rows that left wait to be reused; the rest go.
  std::map<RowKey, std::unique_ptr<PaletteRow>> kept;
  for (auto& [index, key] : wanted)
    if (auto found = rows_.find(key); found != rows_.end()) {
      kept.emplace(key, std::move(found->second));
      rows_.erase(found);
    }
  for (auto& [key, row] : rows_) {
    list_.remove(*row);
    if (key.first == 0 && spare_.size() < kSpareRows) spare_.push_back(std::move(row));
  }
  rows_ = std::move(kept);

  std::vector<PaletteRow*> order;
  order.reserve(wanted.size());
  Gtk::Widget* highlighted = nullptr;
  for (auto& [index, key] : wanted) {
    auto& row = rows_[key];
    if (!row && key.first == 0 && !spare_.empty()) {
      row = std::move(spare_.back());
      spare_.pop_back();
    }
    if (!row) {
      row = makeRow(*this, entries_[index]);
      ++rowsMade_;
    }
    row->show(entries_[index], state);
    if (!highlighted) highlighted = row->highlightedWidget();
    order.push_back(row.get());
  }
  place(order);
  order_ = std::move(order);
  return highlighted;
}

std::optional<size_t> PaletteView::highlightedEntry(const RowState& state) const {
  for (size_t i = 0; i < entries_.size(); ++i) {
    const auto& entry = entries_[i];
    if (state.searching) {
      if (state.highlightIndex && entry.resultIndex() == state.highlightIndex) return i;
      continue;
    }
    if (!state.restingHighlight) return std::nullopt;
    if (entry.id() == *state.restingHighlight) return i;
    if (auto* split = entry.as<PaletteList::Entry::SplitGroup>();
        split && PaletteItem::idOf(*split->right) == *state.restingHighlight)
      return i;
  }
  return std::nullopt;
}

void PaletteView::scrolled() {
  // Near the end of the rows made: make the next ones.
  if (made_ >= entries_.size()) return;
  auto adjustment = scroller_.get_vadjustment();
  const double shownTo = adjustment->get_value() + adjustment->get_page_size();
  const double madeTo = adjustment->get_upper() - spacer_.get_height();
  if (shownTo + adjustment->get_page_size() < madeTo) return;
  limit_ = made_ + kMoreRows;
  scheduleUpdate();
}

void PaletteView::place(const std::vector<PaletteRow*>& order) {
  Gtk::Widget* previous = nullptr;
  for (auto* row : order) {
    if (row->get_parent() != &list_) {
      if (previous)
        list_.insert_child_after(*row, *previous);
      else
        list_.insert_child_at_start(*row);
    } else if (row->get_prev_sibling() != previous) {
      if (previous)
        list_.reorder_child_after(*row, *previous);
      else
        list_.reorder_child_at_start(*row);
    }
    previous = row;
  }
}

void PaletteView::watchPages() {
  // A tab's title or address changing redraws its row.
  std::map<const Page*, sigc::connection> watched;
  auto watch = [&](const PagePtr& page) {
    if (watched.count(page.get())) return;
    if (auto found = pageWatch_.find(page.get()); found != pageWatch_.end()) {
      watched.emplace(page.get(), found->second);
      pageWatch_.erase(found);
    } else {
      watched.emplace(page.get(), page->changed.connect([this] { scheduleUpdate(); }));
    }
  };
  for (auto& page : browser_.pages.get()) watch(page);
  for (auto& [id, page] : browser_.pinnedPages) watch(page);
  for (auto& [page, connection] : pageWatch_) connection.disconnect();
  pageWatch_ = std::move(watched);
}

void PaletteView::scrollToHighlight() {
  if (scrollTick_) return;
  scrollTries_ = 0;
  // Positions are known once the frame that follows the update was laid out.
  scrollTick_ = add_tick_callback([this](const Glib::RefPtr<Gdk::FrameClock>&) {
    if (++scrollTries_ < 2) return true;
    auto* target = highlighted_;
    if (target && target->get_height() == 0 && scrollTries_ < 5) return true;
    scrollTick_ = 0;
    if (!target) return false;
    auto adjustment = scroller_.get_vadjustment();
    const double top = topOf(*target, list_);
    const double bottom = top + target->get_height();
    if (top < adjustment->get_value())
      adjustment->set_value(top);
    else if (bottom > adjustment->get_value() + adjustment->get_page_size())
      adjustment->set_value(bottom - adjustment->get_page_size());
    return false;
  });
}

std::vector<PaletteRow*> PaletteView::rows() const { return order_; }

PaletteRow* PaletteView::rowFor(const PaletteItemID& id) const {
  for (auto& [key, row] : rows_)
    if (key.second == id) return row.get();
  return nullptr;
}

// ---- What rows ask for ----

void PaletteView::choose(const PaletteItem& item, bool beside) {
  const int focusRequests = browser_.addressBarFocusRequests.get();
  browser_.choose(item, beside);
  // A row that stays in the palette (a scope, a new tab being composed, a
  // split partner being chosen) keeps the field; any other row hands the
  // keyboard to the page, as Return does.
  if (browser_.addressBarFocusRequests.get() != focusRequests || browser_.scope.get() ||
      browser_.isComposingNewTab.get() || browser_.isChoosingSplitPartner.get())
    return;
  if (auto page = browser_.current()) page->focus();
}

void PaletteView::removeFromHistory(int resultIndex) {
  browser_.selectedResult = resultIndex;
  browser_.removeHighlighted();
}

void PaletteView::fieldOpened() {
  if (editingNow_) return;
  editingNow_ = true;
  browser_.chrome.isEditing = true;
  browser_.chrome.update();
}

void PaletteView::fieldDone(bool isAddress, const std::optional<std::string>& text) {
  if (isAddress)
    browser_.finishEditingURL(text);
  else
    browser_.finishRenaming(text);
  if (editingNow_) {
    editingNow_ = false;
    browser_.chrome.isEditing = false;
    browser_.chrome.update();
  }
  if (!browser_.isEditingInList())
    if (auto page = browser_.current()) page->focus();
}

// ---- Dragging pins and the quick divider ----

std::vector<PaletteRow*> PaletteView::pinRows() {
  std::vector<PaletteRow*> pins;
  for (auto* child = list_.get_first_child(); child; child = child->get_next_sibling())
    if (auto* row = dynamic_cast<PaletteRow*>(child); row && row->pin()) pins.push_back(row);
  return pins;
}

void PaletteView::dragBegin(double, double y) {
  drag_ = Drag{};
  if (!browser_.isManagingPins() || !trimSpaces(browser_.query.get()).empty()) {
    dragGesture_->set_state(Gtk::EventSequenceState::DENIED);
    return;
  }
  for (auto* row : order_) {
    const double top = topOf(*row, list_);
    if (y < top || y >= top + row->get_height()) continue;
    if (row->pin() || row->isQuickDivider()) {
      drag_.row = row;
      drag_.startY = y;
      return;
    }
    break;
  }
  dragGesture_->set_state(Gtk::EventSequenceState::DENIED);
}

void PaletteView::dragUpdate(double dy) {
  if (!drag_.row) return;
  if (!drag_.active) {
    if (std::abs(dy) < kDragThreshold) return;
    drag_.active = true;
    dragGesture_->set_state(Gtk::EventSequenceState::CLAIMED);
    drag_.row->add_css_class("dragging");
  }
  const double y = drag_.startY + dy;
  auto pins = pinRows();
  pins.erase(std::remove(pins.begin(), pins.end(), drag_.row), pins.end());
  if (pins.empty()) return;

  if (drag_.row->isQuickDivider()) {
    // The divider falls between the pins whose middles lie above and below the pointer.
    int above = 0;
    for (auto* row : pins)
      if (topOf(*row, list_) + row->get_height() / 2.0 < y) ++above;
    if (above == drag_.divider) return;
    drag_.divider = above;
    if (above > 0) {
      list_.reorder_child_after(*drag_.row, *pins[size_t(above - 1)]);
    } else if (auto* before = pins.front()->get_prev_sibling(); before && before != drag_.row) {
      list_.reorder_child_after(*drag_.row, *before);
    } else if (!before) {
      list_.reorder_child_at_start(*drag_.row);
    }
    return;
  }

  // A dragged pin takes the slot of the pin under the pointer.
  for (auto* row : pins) {
    const double top = topOf(*row, list_);
    if (y < top || y >= top + row->get_height()) continue;
    if (row == drag_.target) return;
    drag_.target = row;
    if (top < topOf(*drag_.row, list_)) {
      if (auto* before = row->get_prev_sibling())
        list_.reorder_child_after(*drag_.row, *before);
      else
        list_.reorder_child_at_start(*drag_.row);
    } else {
      list_.reorder_child_after(*drag_.row, *row);
    }
    return;
  }
}

void PaletteView::dragEnd(double) {
  if (!drag_.active) {
    drag_ = Drag{};
    return;
  }
  PaletteRow* row = drag_.row;
  row->remove_css_class("dragging");
  const int divider = drag_.divider;
  auto pins = pinRows();
  drag_ = Drag{};
  // The release that ends a drag is no click on the row under it.
  drag_.justEnded = true;
  Glib::signal_idle().connect_once([this] { drag_.justEnded = false; });

  if (row->isQuickDivider()) {
    if (divider >= 0) dropQuickDivider(divider);
  } else if (row->pin()) {
    const std::string id = row->pin()->id;
    auto at = std::find(pins.begin(), pins.end(), row) - pins.begin();
    const auto& model = browser_.pins.get();
    if (size_t(at) < model.size()) dropPin(id, model[size_t(at)].id);
  }
  // Whatever the model made of it, the rows follow the model again.
  update();
}

void PaletteView::dropPin(const std::string& id, const std::string& target) { browser_.movePin(id, target); }

void PaletteView::dropQuickDivider(int numbered) {
  std::vector<std::string> ids;
  for (auto& pin : browser_.pins.get()) ids.push_back(pin.id);
  browser_.arrangePins(ids, numbered);
}

// ---- Placing the list in a window ----

PaletteView& installPaletteList(Gtk::Overlay& overlay, Browser& browser) {
  auto* view = Gtk::make_managed<PaletteView>(browser);
  overlay.add_overlay(*view);
  // Full width under the bar, as tall as its rows but never over the whole page.
  overlay.signal_get_child_position().connect(
      [&overlay, view](Gtk::Widget* child, Gdk::Rectangle& allocation) {
        if (child != view) return false;
        const int width = overlay.get_width();
        int minimum = 0, natural = 0, minimumBaseline = 0, naturalBaseline = 0;
        view->measure(Gtk::Orientation::VERTICAL, width, minimum, natural, minimumBaseline, naturalBaseline);
        const int limit = int(overlay.get_height() * kMaxShareOfPage);
        allocation = Gdk::Rectangle(0, 0, width, std::max(minimum, std::min(natural, limit)));
        return true;
      },
      false);
  return *view;
}

PaletteView* findPaletteList(Gtk::Widget& root) {
  if (auto* view = dynamic_cast<PaletteView*>(&root)) return view;
  for (auto* child = root.get_first_child(); child; child = child->get_next_sibling())
    if (auto* view = findPaletteList(*child)) return view;
  return nullptr;
}

}  // namespace quillo
