// Pins: the saved sites, their file, their numbers and their live pages.
#include <algorithm>

#include "browser/browser.h"
#include "core/app_support.h"
#include "core/key_label.h"
#include "core/log.h"

namespace quillo {
namespace {
constexpr std::string_view kPinsFile = "pins.json";

// The pin of the palette's highlighted row, while the list is there to see.
std::optional<Pin> highlightedPin(const Browser& browser) {
  if (browser.isFinding.get() || browser.isEditingInList()) return std::nullopt;
  auto row = browser.highlightedRow();
  return row && row->pin() ? std::optional<Pin>(*row->pin()) : std::nullopt;
}

// The highlight stays on a pin that moved, wherever its row went.
void highlightPin(Browser& browser, const std::string& id) {
  auto rows = browser.isSearching() ? browser.results() : browser.restingItems();
  for (size_t i = 0; i < rows.size(); ++i)
    if (auto* pin = rows[i].pin(); pin && pin->id == id) {
      browser.selectedResult = int(i);
      return;
    }
  // No longer numbered, it left the resting list: the current page is lit.
  browser.selectedResult = std::nullopt;
}

std::vector<std::string> idsOf(const std::vector<Pin>& pins) {
  std::vector<std::string> ids;
  for (auto& pin : pins) ids.push_back(pin.id);
  return ids;
}
}  // namespace

void Browser::loadPins() {
  auto read = AppSupport::read(kPinsFile);
  std::vector<Pin> loaded;
  pinsFileUnreadable_ = false;
  if (read.status == AppSupport::ReadResult::Status::unreadable) {
    pinsFileUnreadable_ = true;
    logLine("couldn't read pins.json: " + read.error + "; no pins until it is replaced");
  } else if (read.status == AppSupport::ReadResult::Status::ok) {
    std::string why;
    if (auto decoded = decodePins(read.value, &why)) {
      loaded = std::move(*decoded);
    } else {
      pinsFileUnreadable_ = true;
      logLine("couldn't read pins.json: " + why + "; no pins until it is replaced");
    }
  }
  pinIcons.clear();
  for (auto& pin : loaded)
    if (pin.iconData) pinIcons[pin.id] = *pin.iconData;
  loadingPalette_ = true;
  pins = std::move(loaded);
  loadingPalette_ = false;
}

void Browser::savePins() {
  auto file = AppSupport::file(kPinsFile);
  if (pinsFileUnreadable_) {
    // The file we could not read is the user's: keep it before replacing it.
    std::error_code ec;
    if (std::filesystem::exists(file, ec) && !AppSupport::keepAside(file)) {
      logLine("couldn't save pins.json: the unreadable one could not be kept aside");
      return;
    }
    pinsFileUnreadable_ = false;
  }
  AppSupport::save(encodePins(pins.get()), kPinsFile);
}

bool Browser::hasPin(const std::string& pinID) const { return findPin(pinID) != nullptr; }

const Pin* Browser::findPin(const std::string& pinID) const {
  for (auto& pin : pins.get())
    if (pin.id == pinID) return &pin;
  return nullptr;
}

void Browser::pin(const PagePtr& page) {
  if (page->isPrivate()) {
    show("Private tabs can't be pinned");  // deliberately not an error
    return;
  }
  if (page->pinID && hasPin(*page->pinID)) return;
  auto url = page->savedURL();
  if (!url) return;

  Pin pin{Pin::newID(), *url, page->title.get(), std::nullopt, page->customName.get()};
  if (iconSource_) pin.iconData = iconSource_->pageIcon(*page);
  // The name now lives in the pin.
  page->pinID = pin.id;
  page->customName = std::nullopt;
  if (page->onSessionChange) page->onSessionChange();
  if (pin.iconData) pinIcons[pin.id] = *pin.iconData;

  pages.modify([&](auto& list) { list.erase(std::remove(list.begin(), list.end(), page), list.end()); });
  scheduleSessionSave();
  pinnedPages[pin.id] = page;

  // When every pin is numbered, the new one gets the next number.
  if (quickPinCount.get() == int(pins->size()) && quickPinCount.get() < kMaxQuickPins)
    quickPinCount = quickPinCount.get() + 1;
  pins.modify([&](auto& list) { list.push_back(std::move(pin)); });
}

void Browser::unpin(const Pin& which) {
  const std::string id = which.id;
  const Pin* stored = findPin(id);
  auto customName = stored ? stored->customName : which.customName;

  if (auto live = pinnedPages.find(id); live != pinnedPages.end()) {
    auto page = live->second;
    page->pinID.reset();
    page->customName = customName;
    if (page->onSessionChange) page->onSessionChange();
    pinnedPages.erase(live);
    scheduleSessionSave();
    pages.modify([&](auto& list) { list.push_back(page); });  // stays open, as the last tab
  }
  pinIcons.erase(id);

  const auto& list = pins.get();
  auto at = std::find_if(list.begin(), list.end(), [&](const Pin& p) { return p.id == id; });
  if (at == list.end()) return;
  if (at - list.begin() < quickPinCount.get()) quickPinCount = quickPinCount.get() - 1;
  pins.modify([&](auto& edited) {
    edited.erase(std::remove_if(edited.begin(), edited.end(), [&](const Pin& p) { return p.id == id; }), edited.end());
  });
}

void Browser::togglePinForCurrentTab() {
  auto page = current();
  if (!page || isComposingNewTab.get()) return;
  if (page->pinID)
    if (const Pin* existing = findPin(*page->pinID)) {
      unpin(Pin(*existing));
      return;
    }
  pin(page);
}

void Browser::openPin(int number) {
  int numbered = std::min(quickPinCount.get(), int(pins->size()));
  if (number < 1 || number > numbered) return;
  stopFinding();
  select(livePage(Pin(pins.get()[size_t(number - 1)])));
}

PagePtr Browser::livePage(const Pin& pin) {
  if (auto live = pinnedPages.find(pin.id); live != pinnedPages.end()) return live->second;
  auto page = makePage(false);
  page->pinID = pin.id;
  pinnedPages[pin.id] = page;
  scheduleSessionSave();
  // Every open page is in the recent order; it waits behind the current one
  // until it is selected.
  auto order = recent.get();
  order.insert(order.begin() + std::min<size_t>(order.size(), 1), page);
  setRecent(std::move(order));
  if (isBlockListSettled.get())
    page->load(pin.url);
  else
    page->restore(pin.url, pin.title, std::nullopt);
  return page;
}

void Browser::movePin(const std::string& id, const std::string& target) {
  if (id == target) return;
  const auto& list = pins.get();
  auto position = [&](const std::string& which) {
    return std::find_if(list.begin(), list.end(), [&](const Pin& p) { return p.id == which; }) - list.begin();
  };
  auto from = size_t(position(id)), to = size_t(position(target));
  if (from >= list.size() || to >= list.size()) return;
  pins.modify([&](auto& edited) {
    Pin moved = std::move(edited[from]);
    edited.erase(edited.begin() + long(from));
    edited.insert(edited.begin() + long(to), std::move(moved));
  });
}

void Browser::arrangePins(const std::vector<std::string>& ids, int numbered) {
  std::vector<Pin> arranged;
  for (auto& id : ids) {
    const Pin* pin = findPin(id);
    bool taken = std::any_of(arranged.begin(), arranged.end(), [&](const Pin& p) { return p.id == id; });
    if (pin && !taken) arranged.push_back(*pin);
  }
  // A list that lost a pin on the way is not trusted with the order.
  if (arranged.size() == pins->size()) pins = std::move(arranged);
  quickPinCount = std::clamp(numbered, 0, kMaxQuickPins);
}

// ---- Keys on the highlighted pin row ----

std::optional<PaletteItem> Browser::highlightedRow() const {
  if (isSearching()) {
    auto rows = results();
    auto active = activeResult();
    if (active && *active >= 0 && size_t(*active) < rows.size()) return rows[size_t(*active)];
    return std::nullopt;
  }
  if (auto id = restingHighlightID())
    for (auto& item : restingItems())
      if (item.id() == *id) return item;
  return std::nullopt;
}

bool Browser::moveHighlightedPin(int step) {
  auto pin = highlightedPin(*this);
  if (!pin) return false;
  const auto ids = idsOf(pins.get());
  const long to = long(std::find(ids.begin(), ids.end(), pin->id) - ids.begin()) + step;
  // At either end the key is used up all the same: nothing to pass it on to.
  if (to < 0 || size_t(to) >= ids.size()) return true;
  movePin(pin->id, ids[size_t(to)]);
  highlightPin(*this, pin->id);
  return true;
}

bool Browser::moveQuickDivider(int step) {
  auto pin = highlightedPin(*this);
  if (!pin) return false;
  const int most = std::min(kMaxQuickPins, int(pins->size()));
  const int numbered = std::clamp(quickPinCount.get(), 0, most);
  const int next = std::clamp(numbered + step, 0, most);
  if (next == numbered) return true;
  arrangePins(idsOf(pins.get()), next);
  highlightPin(*this, pin->id);
  return true;
}

bool Browser::editHighlighted(bool address) {
  if (isComposingNewTab.get() || isChoosingSplitPartner.get() || isFinding.get() || isEditingInList()) return false;
  auto row = highlightedRow();
  if (!row || (!row->pin() && (address || !row->tab()))) return false;
  if (auto* pin = row->pin(); pin && isSearching() && !scope.get()) {
    // The search is dropped once the row's field takes the keyboard, and with
    // it a pin the resting list leaves out: the pins list keeps it in sight.
    auto listed = listedPins();
    if (std::none_of(listed.begin(), listed.end(), [&](const Pin& p) { return p.id == pin->id; })) {
      enter(PaletteCommand::pins);
      highlightPin(*this, pin->id);
    }
  }
  if (address)
    startEditingURL(row->pin()->id);
  else
    renamingID = row->id();
  return true;
}

std::optional<std::string> Browser::highlightedRowKeys() const {
  if (scope.get() || isComposingNewTab.get() || isChoosingSplitPartner.get()) return std::nullopt;
  auto pin = highlightedPin(*this);
  if (!pin) return std::nullopt;
  if (confirmingDeletePinID.get() == pin->id) return commands::confirmDeletePinHint();
  std::string keys = keyLabel(kAlt, "↑/↓") + " move · " + keyLabel(kAlt | kShift, "↑/↓") + " numbered pins · " +
                     keyLabel(kCtrl | kShift, "E") + " edit address";
  // Shift+Delete reaches pins in a list of results only.
  if (isSearching()) keys += " · " + keyLabel(kShift, "Delete") + " delete";
  return keys;
}

std::optional<Bytes> Browser::icon(const Pin& pin) const {
  if (auto found = pinIcons.find(pin.id); found != pinIcons.end()) return found->second;
  if (iconSource_ && pin.url.hasHost()) return iconSource_->cachedIcon(pin.url.host());
  return std::nullopt;
}

}  // namespace quillo
