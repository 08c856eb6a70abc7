// Pins: the saved sites, their file, their numbers and their live pages.
#include <algorithm>

#include "browser/browser.h"
#include "core/app_support.h"
#include "core/log.h"

namespace quillo {
namespace {
constexpr std::string_view kPinsFile = "pins.json";
}

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

std::optional<Bytes> Browser::icon(const Pin& pin) const {
  if (auto found = pinIcons.find(pin.id); found != pinIcons.end()) return found->second;
  if (iconSource_ && pin.url.hasHost()) return iconSource_->cachedIcon(pin.url.host());
  return std::nullopt;
}

}  // namespace quillo
