// The browser's tabs and pages: opening, closing, cycling, idle unloading, find, messages, the session, block lists.
#include "browser/browser.h"

#include <algorithm>

#include "core/address.h"
#include "core/log.h"
#include "core/save_delay.h"
#include "page/icon_store.h"
#include "scripts/resources.h"

namespace quillo {

namespace {
constexpr auto kFlashTime = std::chrono::milliseconds(1500);
constexpr auto kErrorFlashTime = std::chrono::milliseconds(2000);
constexpr auto kSessionSaveDelay = std::chrono::seconds(1);

bool trimmedEmpty(const std::string& s) {
  return std::all_of(s.begin(), s.end(), [](char c) { return c == ' ' || c == '\t'; });
}
}  // namespace

Browser::Browser(WebEngine& engine, Scheduler& scheduler) : engine_(engine), scheduler_(scheduler) {
  // Choosing what goes beside a page is a way of composing: it ends with it.
  isComposingNewTab.changed().connect([this] {
    if (isComposingNewTab.get()) return;
    if (isComposingPrivateTab.get()) isComposingPrivateTab = false;
    if (isChoosingSplitPartner.get()) isChoosingSplitPartner = false;
  });
  chrome.scheduler = &scheduler_;
  // A double tap of Ctrl, here or in another program, brings the palette.
  chrome.onDoubleTap = [this] { summon(); };
  chrome.onDoubleTapElsewhere = [this] { summon(); };
  chrome.onCommandReleased = [this] {
    if (!cycleIndex.get()) return;
    auto units = recentUnits();
    int index = *cycleIndex.get();
    cycleIndex = std::nullopt;
    if (index >= 0 && size_t(index) < units.size()) select(units[size_t(index)]);
  };
  initPalette();
  linkWorkers();
  scheduleIdleCheck();
}

Browser::~Browser() {
  currentPageConnection_.disconnect();
  pendingSessionSave_.cancel();
  aliveToken_.reset();
  unlinkWorkers();
  // Pages must not call back into a browser that is going away.
  auto unwire = [](const PagePtr& page) {
    page->openWindow = nullptr;
    page->openInBackground = nullptr;
    page->openBeside = nullptr;
    page->onClose = nullptr;
    page->onSessionChange = nullptr;
    page->onVisit = nullptr;
    page->onTitle = nullptr;
    page->onNeedsAttention = nullptr;
    page->onDownload = nullptr;
    page->onIcon = nullptr;
    page->appLinks = nullptr;
    page->iconStore = nullptr;
  };
  for (auto& page : pages.get()) unwire(page);
  for (auto& [id, page] : pinnedPages) unwire(page);
}

// ---- Pages ----

ViewConfiguration Browser::makeConfiguration(bool isPrivate) {
  if (!isPrivate) return makeConfiguration(engine_.persistentStore());
  if (!privateDataStore_) privateDataStore_ = engine_.makePrivateStore();
  return makeConfiguration(privateDataStore_);
}

ViewConfiguration Browser::makeConfiguration(const std::shared_ptr<DataStore>& store) {
  ViewConfiguration configuration;
  configuration.store = store;
  configuration.filters = blockLists_;
  configuration.scripts.push_back(UserScript{std::string(scripts::resource("hover.js")), true, true, true});
  // Form detection shares its helpers with the fill scripts run later.
  configuration.scripts.push_back(
      UserScript{std::string(scripts::resource("form_helpers.js")) + "\n" + std::string(scripts::resource("forms.js")),
                 true, true, true});
  // Which frame asks for the camera or microphone (page/webkit/webkit_permissions).
  configuration.scripts.push_back(UserScript{std::string(scripts::resource("media-asked.js")), true, true, false});
  configuration.scripts.push_back(UserScript{std::string(scripts::resource("media-asked-relay.js")), true, true, true});
  configuration.scripts.push_back(UserScript{std::string(scripts::resource("video-frames.js")), true, true, true});
  // Web notifications: the page's own Notification is replaced in main
  // frames, and our world carries its messages (features/web_notifications).
  configuration.scripts.push_back(UserScript{std::string(scripts::resource("notifications.js")), false, true, false});
  configuration.scripts.push_back(
      UserScript{std::string(scripts::resource("notifications-relay.js")), false, true, true});
  return configuration;
}

Page::ViewMaker Browser::viewMaker() {
  // Made when the page is first shown, so with the block lists of that moment.
  std::weak_ptr<bool> alive = aliveToken_;
  WebEngine* engine = &engine_;
  return [this, alive, engine](const std::shared_ptr<DataStore>& store) {
    if (alive.expired()) return engine->makeView(ViewConfiguration{store, {}, {}});
    return engine->makeView(makeConfiguration(store));
  };
}

PagePtr Browser::makePage(bool isPrivate) {
  auto store = isPrivate ? makeConfiguration(true).store : engine_.persistentStore();
  auto page = std::make_shared<Page>(std::move(store), viewMaker(), scheduler_);
  wire(page);
  return page;
}

PagePtr Browser::makePage(std::unique_ptr<WebViewPort> webView) {
  auto page = std::make_shared<Page>(std::move(webView), scheduler_, viewMaker());
  wire(page);
  return page;
}

void Browser::wire(const PagePtr& page) {
  std::weak_ptr<Page> weak = page;
  page->lastShown = scheduler_.wallNow();  // a new page counts from its making
  if (siteZoom_) page->attach(*siteZoom_);
  page->openWindow = [this, weak](std::unique_ptr<WebViewPort> child) {
    if (weak.expired()) return false;
    auto opened = makePage(std::move(child));
    isComposingNewTab = false;
    add(opened, true);
    return true;
  };
  page->openInBackground = [this, weak](const Url& url) {
    auto opener = weak.lock();
    auto opened = makePage(opener && opener->isPrivate());
    add(opened, false);
    loadWhenSettled(opened, url);
  };
  page->openBeside = [this, weak](const Url& url) {
    if (auto opener = weak.lock()) openBeside(opener, url);
  };
  page->onClose = [this, weak] {
    if (auto p = weak.lock()) close(p);
  };
  page->appLinks = appLinks_;
  page->iconStore = iconStore_;
  page->loadTimeout = loadTimeout;
  page->onIcon = [this, weak](const Bytes& image) {
    if (auto p = weak.lock()) iconFound(image, p);
  };
  page->onNeedsAttention = [this, weak] {
    auto p = weak.lock();
    if (p && current() != p) select(p);
  };
  std::weak_ptr<bool> alive = aliveToken_;
  page->videoFloats.changed().connect([this, alive, weak] {
    auto p = weak.lock();
    if (p && !alive.expired()) followFloating(p);
  });
  // The palette shows which tabs play sound.
  page->isPlayingAudio.changed().connect([this, alive] {
    if (!alive.expired()) paletteChanged.emit();
  });
  page->onMessage = [this, weak](const FrameMessage& message) {
    auto p = weak.lock();
    if (p && message.name == "quilloNotify" && features.notify) features.notify(p, message);
    // The page was clicked, scrolled or left while its hints showed.
    if (p && message.name == "quilloHintsEnd" && hints_ && hints_->page.lock() == p) endHints();
  };
  if (!page->isPrivate()) {
    // Nothing of a private tab reaches the session or history.
    page->onSessionChange = [this] { scheduleSessionSave(); };
    page->onVisit = [this](const Url& url) {
      if (recordVisit) recordVisit(url);
    };
    page->onTitle = [this](const std::string& title, const Url& url) {
      if (recordTitle) recordTitle(title, url);
    };
  }
}

void Browser::attach(AppLinks& appLinks) {
  appLinks_ = &appLinks;
  auto give = [this](const PagePtr& page) { page->appLinks = appLinks_; };
  for (auto& page : pages.get()) give(page);
  for (auto& [id, page] : pinnedPages) give(page);
}

void Browser::attach(IconStore& icons) {
  iconStore_ = &icons;
  attach(static_cast<IconSource&>(icons));
  for (auto& page : pages.get()) page->iconStore = iconStore_;
  for (auto& [id, page] : pinnedPages) page->iconStore = iconStore_;
}

void Browser::iconFound(const Bytes& image, const PagePtr& page) {
  if (page->pinID && hasPin(*page->pinID) && !pinIcons.count(*page->pinID)) {
    pinIcons[*page->pinID] = image;
    auto list = pins.get();
    for (auto& pin : list)
      if (pin.id == *page->pinID) pin.iconData = image;
    pins = std::move(list);  // saves "pins.json"
  }
  paletteChanged.emit();
}

std::vector<PagePtr> Browser::recentUnits() const {
  std::vector<PagePtr> units;
  std::vector<const Page*> taken;
  for (auto& page : recent.get()) {
    if (auto split = page->split.lock()) {
      auto* partner = split->partner(page.get()).get();
      if (std::find(taken.begin(), taken.end(), partner) != taken.end()) continue;
    }
    units.push_back(page);
    taken.push_back(page.get());
  }
  return units;
}

void Browser::setRecent(std::vector<PagePtr> order) {
  recent = std::move(order);
  auto page = current();
  if (page) page->lastShown = scheduler_.wallNow();
  chrome.update();
  currentPageConnection_.disconnect();
  if (page) currentPageConnection_ = page->changed.connect([this] { currentPageChanged.emit(); });
  currentPageChanged.emit();
  scheduleSessionSave();
}

void Browser::add(const PagePtr& page, bool showing) {
  pages.modify([&](auto& list) { list.push_back(page); });
  scheduleSessionSave();
  auto order = recent.get();
  order.insert(order.begin() + (showing ? 0 : std::min<size_t>(order.size(), 1)), page);
  setRecent(std::move(order));
  if (showing) showCurrent();
}

void Browser::select(const PagePtr& page) {
  isComposingNewTab = false;
  auto order = recent.get();
  auto it = std::find(order.begin(), order.end(), page);
  if (it == order.end() || it == order.begin()) {
    showCurrent();
    return;
  }
  order.erase(it);
  order.insert(order.begin(), page);
  setRecent(std::move(order));
  showCurrent();
}

void Browser::showCurrent() {
  auto page = current();
  if (!page) return;
  chrome.clearHover();
  if (isDeferringViews.get()) return;  // stopDeferringViews shows it
  loadShownIfPending(page);
  std::weak_ptr<Page> weak = page;
  focusTask_ = scheduler_.post([this, weak] {
    auto p = weak.lock();
    if (!p || p != current() || isComposingNewTab.get()) return;
    p->focus();
  });
}

void Browser::newTab() {
  stopFinding();
  scope = std::nullopt;
  selectedResult = std::nullopt;
  query = std::string();
  isComposingNewTab = true;
  addressBarPrefill = std::nullopt;
  addressBarFocusRequests = addressBarFocusRequests.get() + 1;
}

void Browser::newPrivateTab() {
  newTab();
  isComposingPrivateTab = true;
}

void Browser::cancelNewTab() {
  if (isChoosingSplitPartner.get()) {
    isChoosingSplitPartner = false;
    isComposingNewTab = false;
    showCurrent();
    return;
  }
  if (!isComposingNewTab.get()) return;
  if (recent->empty()) {
    hideRequested.emit();
    return;
  }
  isComposingNewTab = false;
  showCurrent();
}

void Browser::closeCurrentTab() {
  if (isComposingNewTab.get()) {
    cancelNewTab();
    return;
  }
  if (auto page = current()) close(page);
}

bool Browser::anyPrivatePage() const {
  auto isPrivate = [](const PagePtr& p) { return p->isPrivate(); };
  if (std::any_of(pages->begin(), pages->end(), isPrivate)) return true;
  return std::any_of(pinnedPages.begin(), pinnedPages.end(), [](auto& entry) { return entry.second->isPrivate(); });
}

void Browser::close(const PagePtr& closing) {
  // The caller's reference may be an element of a list emptied below.
  const PagePtr page = closing;
  page->stopFloating();
  page->dismissDialogs();
  dissolveSplit(page);
  remember(page);
  bool wasCurrent = current() == page;
  bool wasPrivate = page->isPrivate();
  pages.modify([&](auto& list) { list.erase(std::remove(list.begin(), list.end(), page), list.end()); });
  for (auto it = pinnedPages.begin(); it != pinnedPages.end();)
    it = it->second == page ? pinnedPages.erase(it) : std::next(it);
  auto order = recent.get();
  order.erase(std::remove(order.begin(), order.end(), page), order.end());
  setRecent(std::move(order));
  scheduleSessionSave();
  // The private store goes with the last private page, and its cookies with it.
  if (wasPrivate && !anyPrivatePage()) privateDataStore_.reset();
  if (pages->empty()) {
    newTab();
  } else if (wasCurrent) {
    showCurrent();
  }
}

void Browser::remember(const PagePtr& closing) {
  if (closing->isPrivate()) return;
  auto url = closing->savedURL();
  if (!url) return;
  auto position = size_t(std::find(pages->begin(), pages->end(), closing) - pages->begin());
  recentlyClosed.modify([&](auto& list) {
    list.push_back(ClosedTab{*url, closing->customName.get(), closing->navigationState(), position});
    if (list.size() > kClosedTabLimit) list.erase(list.begin(), list.end() - kClosedTabLimit);
  });
}

void Browser::reopenClosedTab() {
  if (recentlyClosed->empty()) return;
  ClosedTab entry = recentlyClosed->back();
  recentlyClosed.modify([](auto& list) { list.pop_back(); });
  auto page = makePage(false);
  // Loaded by showCurrent, with its back/forward list, once the block lists are in.
  page->restore(entry.url, "", entry.navigation);
  page->customName = entry.customName;
  isComposingNewTab = false;
  pages.modify([&](auto& list) { list.insert(list.begin() + std::min(entry.position, list.size()), page); });
  scheduleSessionSave();
  auto order = recent.get();
  order.insert(order.begin(), page);
  setRecent(std::move(order));
  showCurrent();
}

void Browser::cycle(bool backward) {
  auto units = recentUnits();
  int n = int(units.size());
  if (n < 2) return;
  int step = backward ? n - 1 : 1;
  if (!chrome.isCommandHeld.get()) {
    select(units[size_t(step)]);
    return;
  }
  chrome.cancelPendingReveal();
  chrome.commandRevealed = true;
  chrome.update();
  if (trimmedEmpty(query.get())) selectedResult = std::nullopt;
  cycleIndex = (cycleIndex.get().value_or(0) + step) % n;
}

// ---- Idle unloading ----

void Browser::scheduleIdleCheck() {
  idleCheck_ = scheduler_.after(kIdleCheckInterval, [this] {
    scheduleIdleCheck();
    unloadIdlePages();
  });
}

std::vector<PagePtr> Browser::showingPages() const {
  std::vector<PagePtr> showing;
  auto page = current();
  if (!page) return showing;
  showing.push_back(page);
  if (auto split = page->split.lock())
    if (auto& partner = split->partner(page.get())) showing.push_back(partner);
  return showing;
}

bool Browser::isOpen(const PagePtr& page) const {
  return std::find(recent->begin(), recent->end(), page) != recent->end();
}

void Browser::unloadIdlePages() {
  auto now = scheduler_.wallNow();
  auto showing = showingPages();
  auto hidden = [this](const PagePtr& page) {
    auto on = showingPages();
    return std::find(on.begin(), on.end(), page) == on.end();
  };
  std::vector<PagePtr> all = pages.get();
  for (auto& [id, page] : pinnedPages) all.push_back(page);
  for (auto& page : all) {
    if (std::find(showing.begin(), showing.end(), page) != showing.end() || page->isUnloaded()) continue;
    if (now - page->lastShown <= kIdleThreshold) continue;
    std::weak_ptr<Page> weak = page;
    std::weak_ptr<bool> alive = aliveToken_;
    page->isIdle([this, weak, alive, hidden](bool idle) {
      auto p = weak.lock();
      if (!idle || !p || alive.expired()) return;
      // The question took a while: the user may have shown it meanwhile.
      if (!isOpen(p) || !hidden(p)) return;
      if (scheduler_.wallNow() - p->lastShown <= kIdleThreshold) return;
      p->unload();
    });
  }
}

void Browser::openIncoming(const std::vector<Url>& urls) {
  for (auto& url : urls) {
    // Restored tabs not loaded yet and pins' pages count as showing their address.
    PagePtr open;
    for (auto& page : recent.get())
      if (page->savedURL() == url) {
        open = page;
        break;
      }
    if (open) {
      select(open);
      continue;
    }
    auto page = makePage(false);
    loadWhenSettled(page, url);
    isComposingNewTab = false;
    add(page, true);
  }
}

bool Browser::loadTyped(const std::string& text) {
  auto url = Address::url(text);
  if (!url) return false;
  if (isChoosingSplitPartner.get() && current()) {
    // The address opens in a new page beside the current one, private
    // beside a private page.
    auto opened = makePage(isComposingPrivateTab.get() || current()->isPrivate());
    loadWhenSettled(opened, *url);
    add(opened, false);
    showBeside(opened);
    return true;
  }
  if (isComposingNewTab.get() || !current()) {
    auto page = makePage(isComposingNewTab.get() && isComposingPrivateTab.get());
    isComposingNewTab = false;
    loadWhenSettled(page, *url);
    add(page, true);
  } else {
    loadWhenSettled(current(), *url);
    showCurrent();
  }
  return true;
}

void Browser::loadWhenSettled(const PagePtr& page, const Url& url) {
  if (isBlockListSettled.get())
    page->load(url);
  else
    page->restore(url, "", std::nullopt);  // showCurrent loads it once the lists are in
}

// ---- Flash ----

void Browser::show(const std::string& message, bool isError) {
  // Kind first: views redraw when the message changes.
  flashIsError = isError;
  flash = message;
  chrome.update();
  flashTask_ = scheduler_.after(isError ? kErrorFlashTime : kFlashTime, [this] {
    flash = std::nullopt;
    chrome.update();
  });
}

// ---- Find ----

void Browser::startFinding() {
  if (!current()) return;
  selectedResult = std::nullopt;
  isFinding = true;
  findMatched = std::nullopt;
  findCount = std::nullopt;
  findIndex = 0;
  addressBarFocusRequests = addressBarFocusRequests.get() + 1;
}

void Browser::stopFinding() {
  if (!isFinding.get()) return;
  isFinding = false;
  ++findRequests_;
  ++findCounts_;
  findMatched = std::nullopt;
  findCount = std::nullopt;
  findIndex = 0;
  if (auto page = current()) page->finishFind();
}

void Browser::find(const std::string& text) {
  findText = text;
  findAfresh(false);
}

void Browser::findAfresh(bool backwards) {
  const unsigned request = ++findRequests_, counting = ++findCounts_;
  findCount = std::nullopt;
  findIndex = 0;
  auto page = current();
  if (!page || findText->empty()) return;
  std::weak_ptr<bool> alive = aliveToken_;
  // From the end the shown match is the last, known once counted.
  auto last = [this] { return findCount->value_or(0) <= kFindMatchLimit ? findCount->value_or(0) : 0; };
  page->find(findText.get(), backwards, [this, alive, request, backwards, last](bool found) {
    if (alive.expired() || request != findRequests_) return;
    findIndex = found ? (backwards ? last() : 1) : 0;
    findMatched = found;
  });
  page->countMatches(findText.get(), [this, alive, counting, backwards, last](unsigned count) {
    if (alive.expired() || counting != findCounts_) return;
    findCount = count;
    if (backwards && findMatched.get() == true && findIndex.get() == 0) findIndex = last();
  });
}

void Browser::findNext(bool backwards) {
  auto page = current();
  if (!page || findText->empty()) return;
  if (findIndex.get() == 0) return findAfresh(backwards);
  // The engine wraps round; so does the index, when the count is known.
  const unsigned at = findIndex.get(), count = findCount->value_or(0);
  const bool bounded = count > 0 && count <= kFindMatchLimit;
  if (backwards)
    findIndex = at > 1 ? at - 1 : bounded ? count : 1;
  else
    findIndex = bounded && at >= count ? 1 : at + 1;
  const unsigned request = ++findRequests_;
  std::weak_ptr<bool> alive = aliveToken_;
  page->find(findText.get(), backwards, [this, alive, request](bool found) {
    if (alive.expired() || request != findRequests_) return;
    if (!found) findIndex = 0;
    findMatched = found;
  });
}

// ---- Session ----

void Browser::scheduleSessionSave() {
  auto now = scheduler_.now();
  if (!pendingSessionSave_.pending()) firstUnsavedSessionChange_ = now;
  pendingSessionSave_ =
      scheduler_.after(saveDelay(now, firstUnsavedSessionChange_, kSessionSaveDelay), [this] { saveSession(); });
}

void Browser::saveSession() {
  pendingSessionSave_.cancel();
  buildSession().save();
}

Session Browser::buildSession() const {
  std::vector<PagePtr> all = pages.get();
  for (auto& [id, page] : pinnedPages) all.push_back(page);

  Session session;
  std::vector<const Page*> saved;
  for (auto& page : all) {
    if (page->isPrivate()) continue;
    auto url = page->savedURL();
    if (!url) continue;
    Session::Tab tab;
    tab.url = *url;
    tab.title = page->title.get();
    tab.customName = page->customName.get();
    tab.pinID = page->pinID;
    tab.navigation = page->navigationState();
    session.tabs.push_back(std::move(tab));
    saved.push_back(page.get());
  }
  auto indexOf = [&](const Page* page) -> std::optional<int> {
    auto it = std::find(saved.begin(), saved.end(), page);
    if (it == saved.end()) return std::nullopt;
    return int(it - saved.begin());
  };
  for (size_t i = 0; i < saved.size(); ++i) {
    auto split = saved[i]->split.lock();
    if (!split) continue;
    auto partner = indexOf(split->partner(saved[i]).get());
    if (!partner) continue;
    session.tabs[i].splitPartner = size_t(*partner);
    session.tabs[i].splitIsLeft = split->isLeft(saved[i]);
    session.tabs[i].splitRatio = split->ratio.get();
  }
  for (auto& page : recent.get())
    if (auto index = indexOf(page.get())) session.recent.push_back(size_t(*index));
  return session;
}

void Browser::restoreSession() { restoreSession(Session::read()); }

void Browser::restoreSession(const Session& session) {
  std::vector<PagePtr> restored;
  std::vector<PagePtr> tabPages;
  for (auto& tab : session.tabs) {
    auto page = makePage(false);
    page->restore(tab.url, tab.title, tab.navigation);
    page->customName = tab.customName;
    if (tab.pinID && pinExists && pinExists(*tab.pinID)) {
      page->pinID = tab.pinID;
      pinnedPages[*tab.pinID] = page;
    } else {
      tabPages.push_back(page);
    }
    restored.push_back(page);
  }
  std::vector<PagePtr> order;
  for (size_t index : session.recent) {
    if (index >= restored.size()) continue;
    auto& page = restored[index];
    if (std::find(order.begin(), order.end(), page) == order.end()) order.push_back(page);
  }
  for (auto& page : restored)
    if (std::find(order.begin(), order.end(), page) == order.end()) order.push_back(page);

  for (size_t i = 0; i < session.tabs.size(); ++i) {
    auto& tab = session.tabs[i];
    if (!tab.splitPartner || !tab.splitIsLeft.value_or(false)) continue;
    size_t partner = *tab.splitPartner;
    if (partner >= restored.size() || partner == i) continue;
    auto& left = restored[i];
    auto& right = restored[partner];
    if (!left->split.expired() || !right->split.expired()) continue;
    auto split = std::make_shared<Split>(left, right, Split::sanitized(tab.splitRatio.value_or(0.5)));
    split->onResize = [this] { scheduleSessionSave(); };
    left->split = split;
    right->split = split;
    splits.push_back(split);
  }

  pages = std::move(tabPages);
  if (order.empty()) {
    newTab();
    return;
  }
  recent = std::move(order);
  if (auto page = current()) {
    page->lastShown = scheduler_.wallNow();
    currentPageConnection_ = page->changed.connect([this] { currentPageChanged.emit(); });
  }
  currentPageChanged.emit();
}

// ---- Content blocking ----

void Browser::installBlockLists(std::vector<std::shared_ptr<ContentFilter>> lists) {
  blockLists_ = std::move(lists);
  // Pages without a view get the lists when they make one.
  for (auto& page : pages.get())
    if (auto* view = page->liveView()) view->setContentFilters(blockLists_);
  for (auto& [id, page] : pinnedPages)
    if (auto* view = page->liveView()) view->setContentFilters(blockLists_);
}

void Browser::loadShownIfPending(const PagePtr& page) {
  if (!isBlockListSettled.get()) return;
  page->loadIfPending();
  if (auto split = page->split.lock())
    if (auto& partner = split->partner(page.get())) partner->loadIfPending();
}

void Browser::stopDeferringViews() {
  if (!isDeferringViews.get()) return;
  isDeferringViews = false;
  // Whoever already typed in the bar keeps the keyboard; otherwise the page
  // takes it, as at any other showing.
  if (query->empty() && !scope->has_value() && !isFinding.get()) {
    showCurrent();
  } else if (auto page = current()) {
    loadShownIfPending(page);
  }
}

void Browser::settleBlockLists() {
  if (isBlockListSettled.get()) return;
  isBlockListSettled = true;
  showCurrent();
}

}  // namespace quillo
