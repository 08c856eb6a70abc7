// The palette side of the browser: the rows it lists, the highlight, and
// what choosing a row or running a command does.
#include <algorithm>
#include <array>
#include <unordered_set>

#include "browser/browser.h"
#include "core/address.h"
#include "core/settings.h"
#include "core/text.h"
#include "stores/history.h"

namespace quillo {
namespace {

// The schemes the browser loads itself; a page on any other has no site.
constexpr std::array<std::string_view, 7> kWebSchemes = {"http", "https", "file",      "about",
                                                         "data", "blob",  "javascript"};

constexpr size_t kHistoryAsked = 12;
constexpr size_t kHistoryShown = 8;
constexpr int kHistoryScopeLimit = 100;

const std::string& tabName(const Page& page) {
  return page.customName.get() ? *page.customName.get() : page.title.get();
}

bool pinMatches(const Pin& pin, std::string_view text) {
  return foldedContains(pin.displayName(), text) || foldedContains(pin.url.str(), text);
}

// The page's address, live or still pending, without copying it.
const Url* addressOf(const Page& page) {
  if (page.url.get()) return &*page.url.get();
  return page.pendingURL ? &*page.pendingURL : nullptr;
}

bool tabMatches(const Page& page, std::string_view text) {
  if (foldedContains(tabName(page), text)) return true;
  const Url* url = addressOf(page);
  return url && foldedContains(url->str(), text);
}

}  // namespace

void Browser::initPalette() {
  selectedResult.changed().connect([this] {
    if (confirmingDeletePinID.get()) confirmingDeletePinID = std::nullopt;
  });
  auto editingChanged = [this] {
    chrome.isRenaming = isEditingInList();
    chrome.update();
  };
  renamingID.changed().connect(editingChanged);
  editingURLPinID.changed().connect(editingChanged);
  pins.changed().connect([this] {
    if (!loadingPalette_) savePins();
  });
  quickPinCount.changed().connect([this] {
    if (settings_ && !loadingPalette_) settings_->set("QuickPinCount", quickPinCount.get());
  });

  auto notify = [this] { paletteChanged.emit(); };
  for (auto* signal :
       {&query.changed(), &selectedResult.changed(), &confirmingDeletePinID.changed(), &renamingID.changed(),
        &editingURLPinID.changed(), &isChoosingSplitPartner.changed(), &pages.changed(), &recent.changed(),
        &cycleIndex.changed(), &isComposingNewTab.changed(), &pins.changed(), &quickPinCount.changed(),
        &scope.changed(), &isFinding.changed(), &findCount.changed(), &findIndex.changed(), &importSources.changed()})
    signal->connect(notify);
}

// ---- Stores and services ----

void Browser::attach(History& history) {
  history_ = &history;
  storeLinks_.add(history.changed().connect([this] { paletteChanged.emit(); }));
  if (!recordVisit) recordVisit = [&history](const Url& url) { history.recordVisit(url); };
  if (!recordTitle)
    recordTitle = [&history](const std::string& title, const Url& url) { history.updateTitle(title, url); };
}

void Browser::attach(Settings& settings) {
  settings_ = &settings;
  auto stored = settings.value("QuickPinCount");
  if (stored && (stored->is_number_integer() || stored->is_number_unsigned())) {
    long long count = std::clamp<long long>(stored->get<long long>(), 0, kMaxQuickPins);
    loadingPalette_ = true;
    quickPinCount = int(count);
    loadingPalette_ = false;
  }
}

void Browser::attach(LoginSource& logins) {
  loginSource_ = &logins;
  storeLinks_.add(logins.changed.connect([this] { paletteChanged.emit(); }));
}

void Browser::attach(PermissionSource& permissions) {
  permissionSource_ = &permissions;
  storeLinks_.add(permissions.changed.connect([this] { paletteChanged.emit(); }));
}

void Browser::attach(DownloadSource& downloads) {
  downloadSource_ = &downloads;
  storeLinks_.add(downloads.changed.connect([this] { paletteChanged.emit(); }));
}

void Browser::attach(Clipboard& clipboard) { clipboard_ = &clipboard; }
void Browser::attach(Alerts& alerts) { alerts_ = &alerts; }
void Browser::attach(IconSource& icons) { iconSource_ = &icons; }

// ---- Derived state ----

bool Browser::isChoosingCommand() const { return !scope.get() && !query->empty() && query->front() == '/'; }

bool Browser::isSearching() const {
  if (scope.get() || isChoosingCommand()) return true;
  return !trimSpaces(query.get()).empty();
}

std::string Browser::searchText() const {
  std::string_view text = query.get();
  if (isChoosingCommand()) text.remove_prefix(1);
  return foldCase(trimSpaces(text));
}

std::vector<PaletteItem> Browser::results() const {
  const std::string text = searchText();
  std::vector<PaletteItem> rows;

  if (auto current = scope.get()) {
    switch (*current) {
      case PaletteCommand::login:
        if (loginSource_)
          for (auto& login : loginSource_->logins())
            if (text.empty() || foldedContains(login.title, text) ||
                (login.username && foldedContains(*login.username, text)))
              rows.emplace_back(login);
        return rows;
      case PaletteCommand::permissions: {
        if (!permissionSource_) return rows;
        auto host = permissionsHost();
        std::vector<SitePermission> candidates;
        if (host) candidates = permissionSource_->listed(*host);
        for (auto& permission : permissionSource_->all())
          if (!host || permission.host != *host) candidates.push_back(permission);
        for (auto& permission : candidates)
          if (text.empty() || foldedContains(permission.host, text) ||
              foldedContains(permissionSource_->title(permission), text))
            rows.emplace_back(permission);
        return rows;
      }
      case PaletteCommand::pins:
        for (auto& pin : pins.get())
          if (pinMatches(pin, text)) rows.emplace_back(pin);
        return rows;
      case PaletteCommand::history:
        // The store splits and folds the words itself; it gets the text as typed.
        if (history_)
          for (auto& entry : history_->recent(trimSpaces(query.get()), kHistoryScopeLimit))
            rows.emplace_back(std::move(entry));
        return rows;
      case PaletteCommand::importHistory:
        if (importSources.get())
          for (auto& source : *importSources.get())
            if (foldedContains(source.title(), text)) rows.emplace_back(source);
        return rows;
      case PaletteCommand::downloads:
        if (downloadSource_)
          for (auto& item : downloadSource_->items())
            if (foldedContains(item->filename(), text)) rows.emplace_back(item);
        return rows;
      default: break;  // not a scope of its own: the ordinary palette
    }
  }

  if (isChoosingCommand()) {
    for (auto command : commands::matching(text)) rows.emplace_back(command);
    return rows;
  }
  if (text.empty()) return rows;

  rows.reserve(pins->size() + pages->size() + kHistoryShown);
  for (auto& pin : pins.get())
    if (pinMatches(pin, text)) rows.emplace_back(pin);
  for (auto& page : pages.get())
    if (tabMatches(*page, text)) rows.emplace_back(page);
  if (!history_) return rows;
  auto found = history_->matches(text, int(kHistoryAsked));
  if (found.empty()) return rows;
  // History never repeats an address that is open or pinned.
  std::unordered_set<std::string_view> onScreen;
  for (auto& page : recent.get())
    if (const Url* url = addressOf(*page)) onScreen.insert(url->str());
  for (auto& pin : pins.get()) onScreen.insert(pin.url.str());
  size_t shown = 0;
  for (auto& entry : found) {
    if (onScreen.count(entry.url.str())) continue;
    rows.emplace_back(std::move(entry));
    if (++shown == kHistoryShown) break;
  }
  return rows;
}

std::vector<Pin> Browser::listedPins() const {
  std::vector<Pin> listed;
  const size_t numbered = std::min(size_t(std::max(quickPinCount.get(), 0)), pins->size());
  for (size_t i = 0; i < pins->size(); ++i) {
    const auto& pin = pins.get()[i];
    if (i < numbered || pinnedPages.count(pin.id)) listed.push_back(pin);
  }
  return listed;
}

std::vector<PaletteItem> Browser::restingItems() const {
  std::vector<PaletteItem> rows;
  for (auto& pin : listedPins()) rows.emplace_back(pin);
  std::unordered_set<const Page*> emitted;
  const auto& list = pages.get();
  for (auto& page : list) {
    if (!emitted.insert(page.get()).second) continue;
    rows.emplace_back(page);
    // The two sides of a split stay together.
    auto split = page->split.lock();
    if (!split) continue;
    const auto& partner = split->partner(page.get());
    if (partner && std::find(list.begin(), list.end(), partner) != list.end() && emitted.insert(partner.get()).second)
      rows.emplace_back(partner);
  }
  return rows;
}

PagePtr Browser::highlighted() const {
  if (auto index = cycleIndex.get()) {
    auto units = recentUnits();
    return *index >= 0 && size_t(*index) < units.size() ? units[size_t(*index)] : nullptr;
  }
  if (isComposingNewTab.get()) return nullptr;
  return current();
}

PagePtr Browser::highlightedTab(bool paletteHasKeyboard) const {
  if (!paletteHasKeyboard) return current();
  std::optional<PaletteItem> row;
  if (isSearching()) {
    auto rows = results();
    if (auto active = activeResult(); active && size_t(*active) < rows.size()) row = rows[size_t(*active)];
  } else if (auto id = restingHighlightID()) {
    for (auto& item : restingItems())
      if (item.id() == *id) row = item;
  }
  if (!row) return nullptr;
  if (auto* tab = row->tab()) return *tab;
  if (auto* pin = row->pin())
    if (auto open = pinnedPages.find(pin->id); open != pinnedPages.end()) return open->second;
  return nullptr;
}

void Browser::toggleMuted(const PagePtr& page) {
  if (!page) return;
  page->toggleMuted();
  paletteChanged.emit();
}

std::optional<PaletteItemID> Browser::restingHighlightID() const {
  if (auto selected = selectedResult.get(); selected && *selected >= 0) {
    auto rows = restingItems();
    if (size_t(*selected) < rows.size()) return rows[size_t(*selected)].id();
  }
  auto page = highlighted();
  if (!page) return std::nullopt;
  // A page opened from a pin lights up its pin row.
  if (page->pinID) return PaletteItemID(*page->pinID);
  return PaletteItem::idOf(*page);
}

std::optional<int> Browser::highlightIndex() const {
  if (selectedResult.get()) return selectedResult.get();
  if (scope.get() || isChoosingCommand()) return results().empty() ? std::nullopt : std::optional<int>(0);
  if (isSearching()) return std::nullopt;  // nothing until the user moves the highlight
  auto id = restingHighlightID();
  if (!id) return std::nullopt;
  auto rows = restingItems();
  for (size_t i = 0; i < rows.size(); ++i)
    if (rows[i].id() == *id) return int(i);
  return std::nullopt;
}

std::optional<int> Browser::activeResult() const {
  if (selectedResult.get()) return selectedResult.get();
  if ((scope.get() || isChoosingCommand()) && !results().empty()) return 0;
  return std::nullopt;
}

std::optional<std::string> Browser::permissionsHost() const {
  auto page = current();
  if (!page) return std::nullopt;
  auto url = page->savedURL();
  if (!url || std::find(kWebSchemes.begin(), kWebSchemes.end(), url->scheme()) == kWebSchemes.end())
    return std::nullopt;
  if (url->host().empty()) return std::nullopt;
  return url->host();
}

std::optional<std::string> Browser::completion(const std::string& typed) const {
  if (isChoosingCommand() || (!typed.empty() && typed.front() == '/')) return std::nullopt;
  if (!history_) return std::nullopt;
  return history_->completion(typed);
}

// ---- Modes ----

void Browser::enter(PaletteCommand command) {
  if (!commands::info(command).opensScope) return;
  scope = command;
  query = std::string();
  selectedResult = std::nullopt;
  confirmingDeletePinID = std::nullopt;
  addressBarPrefill = std::string();
  addressBarFocusRequests = addressBarFocusRequests.get() + 1;
  if (command == PaletteCommand::login && loginSource_) loginSource_->load();
  if (command == PaletteCommand::importHistory) findImportSources();
}

void Browser::leaveScope() {
  auto left = scope.get();
  if (!left) return;
  scope = std::nullopt;
  // Back on the command line with the command still typed: Return re-enters it.
  addressBarPrefill = "/" + std::string(commands::mainName(*left));
  addressBarFocusRequests = addressBarFocusRequests.get() + 1;
}

void Browser::showCommands() {
  stopFinding();
  cycleIndex = std::nullopt;
  scope = std::nullopt;
  addressBarPrefill = std::string("/");
  addressBarFocusRequests = addressBarFocusRequests.get() + 1;
}

void Browser::summon() {
  bringForwardRequested.emit();
  openPalette();
}

void Browser::openPalette() {
  stopFinding();
  cycleIndex = std::nullopt;
  scope = std::nullopt;
  selectedResult = std::nullopt;
  confirmingDeletePinID = std::nullopt;
  addressBarPrefill = std::nullopt;
  addressBarFocusRequests = addressBarFocusRequests.get() + 1;
}

void Browser::toggleBar() {
  // While finding, the field is the find field: Ctrl+E turns it into the palette.
  if (chrome.isHeldOpen.get() && !isFinding.get()) {
    if (isComposingNewTab.get()) {
      cancelNewTab();
    } else {
      stopFinding();
      scope = std::nullopt;
      query = std::string();
      selectedResult = std::nullopt;
      showCurrent();
    }
    return;
  }
  openPalette();
}

void Browser::search(const std::string& text) {
  if (isFinding.get()) {
    find(text);
    return;
  }
  if (!scope.get() && !text.empty() && text.front() == '/') {
    auto name = foldCase(trimSpaces(std::string_view(text).substr(1)));
    if (auto named = commands::scopeNamed(name)) {
      enter(*named);
      return;
    }
  }
  query = std::string();
  selectedResult = std::nullopt;
  confirmingDeletePinID = std::nullopt;
  loadTyped(text);
}

bool Browser::submit(const std::string& fieldText, bool beside) {
  const int focusRequests = addressBarFocusRequests.get();
  const bool searching = isSearching();
  const auto rows = searching ? results() : restingItems();
  const auto active = searching ? activeResult() : selectedResult.get();
  bool changesInPlace = false;
  if (active && *active >= 0 && size_t(*active) < rows.size()) {
    const auto& row = rows[size_t(*active)];
    // A permission walks its decision and a download shows its file: the
    // list they belong to stays. A login stays until it is filled: the fill
    // closes the palette itself, and leaving the scope would cancel it.
    changesInPlace = row.kind() == PaletteItem::Kind::permission || row.kind() == PaletteItem::Kind::download ||
                     row.kind() == PaletteItem::Kind::login;
    choose(row, beside);
  } else if (!trimSpaces(fieldText).empty()) {
    search(fieldText);
  } else if (isComposingNewTab.get() || scope.get()) {
    return true;  // nothing to open yet
  }
  // Whatever stays in the palette keeps the keyboard there.
  if (changesInPlace || addressBarFocusRequests.get() != focusRequests || isComposingNewTab.get() ||
      isChoosingSplitPartner.get() || isEditingInList() || isFinding.get())
    return true;
  scope = std::nullopt;
  query = std::string();
  selectedResult = std::nullopt;
  showCurrent();
  return false;
}

// ---- Choosing and opening rows ----

void Browser::choose(const PaletteItem& item, bool beside) {
  if (!isChoosingSplitPartner.get() && !beside) {
    open(item);
    return;
  }
  switch (item.kind()) {
    case PaletteItem::Kind::pin: showBeside(livePage(*item.pin())); return;
    case PaletteItem::Kind::tab: showBeside(*item.tab()); return;
    case PaletteItem::Kind::history: {
      auto last = current();
      bool isPrivate = (isComposingNewTab.get() && isComposingPrivateTab.get()) || (last && last->isPrivate());
      auto page = makePage(isPrivate);
      add(page, false);
      loadWhenSettled(page, item.history()->url);
      showBeside(page);
      return;
    }
    default: open(item); return;
  }
}

void Browser::open(const PaletteItem& item) {
  switch (item.kind()) {
    case PaletteItem::Kind::pin: select(livePage(*item.pin())); return;
    case PaletteItem::Kind::tab: {
      auto page = *item.tab();
      select(page);
      cycleIndex = std::nullopt;
      return;
    }
    case PaletteItem::Kind::command: run(*item.command()); return;
    case PaletteItem::Kind::login:
      if (loginSource_) loginSource_->fill(*item.login());
      return;
    case PaletteItem::Kind::history: search(item.history()->url.str()); return;
    case PaletteItem::Kind::download: {
      const auto& download = *item.download();
      if (downloadSource_ && !download->isMissing()) downloadSource_->reveal(download);
      return;
    }
    case PaletteItem::Kind::importSource: importFrom(*item.importSource()); return;
    case PaletteItem::Kind::permission: {
      if (!permissionSource_) return;
      // Ask -> Allow -> Block -> Ask, so Return changes the row in place.
      const auto& permission = *item.permission();
      auto saved = permissionSource_->savedDecision(permission);
      std::optional<PermissionDecision> next;
      if (!saved)
        next = PermissionDecision::allow;
      else if (*saved == PermissionDecision::allow)
        next = PermissionDecision::block;
      setPermission(next, permission);
      return;
    }
  }
}

void Browser::run(PaletteCommand command) {
  auto page = current();
  switch (command) {
    case PaletteCommand::login:
    case PaletteCommand::permissions:
    case PaletteCommand::pins:
    case PaletteCommand::history:
    case PaletteCommand::downloads:
    case PaletteCommand::importHistory: enter(command); return;
    case PaletteCommand::split: startSplit(); return;
    case PaletteCommand::unsplit:
      if (page && page->split.lock()) {
        dissolveSplit(page);
        scheduleSessionSave();
      }
      return;
    case PaletteCommand::mute: toggleMuted(page); return;
    case PaletteCommand::pictureInPicture: pictureInPicture(); return;
    case PaletteCommand::reader: toggleReader(); return;
    case PaletteCommand::hint: startHints(HintAction::follow); return;
    case PaletteCommand::hintBackground: startHints(HintAction::background); return;
    case PaletteCommand::hintBeside: startHints(HintAction::beside); return;
    case PaletteCommand::hintCopy: startHints(HintAction::copy); return;
    case PaletteCommand::hintDownload: startHints(HintAction::download); return;
    case PaletteCommand::reopen: reopenClosedTab(); return;
    case PaletteCommand::privateTab: newPrivateTab(); return;
    case PaletteCommand::clearHistory: confirmClearingHistory(); return;
    case PaletteCommand::makeDefault:
      if (features.makeDefault) features.makeDefault();
      return;
    case PaletteCommand::exit: quitRequested.emit(); return;
  }
}

void Browser::confirmClearingHistory() {
  if (!alerts_) return;
  Alert alert{
      "Clear all history?", "Every page visited is forgotten. Pins and open tabs stay.", {"Clear History", "Cancel"}};
  std::weak_ptr<bool> alive = aliveToken_;
  alerts_->ask(alert, [this, alive](size_t button) {
    if (alive.expired() || button != 0) return;
    if (history_) history_->clear();
  });
}

void Browser::setPermission(std::optional<PermissionDecision> decision, const SitePermission& permission) {
  if (permissionSource_) permissionSource_->set(decision, permission);
}

// ---- Rename and edit ----

void Browser::renameCurrent() {
  auto page = current();
  if (!page || isComposingNewTab.get()) return;
  if (page->pinID && hasPin(*page->pinID))
    renamingID = PaletteItemID(*page->pinID);
  else
    renamingID = PaletteItem::idOf(*page);
}

void Browser::finishRenaming(const std::optional<std::string>& name) {
  auto target = renamingID.get();
  if (name && target) {
    auto trimmed = trimWhitespace(*name);
    std::optional<std::string> customName;
    if (!trimmed.empty()) customName = trimmed;
    if (auto* pinID = std::get_if<std::string>(&*target)) {
      if (hasPin(*pinID))
        pins.modify([&](auto& list) {
          for (auto& pin : list)
            if (pin.id == *pinID) pin.customName = customName;
        });
    } else if (auto* object = std::get_if<const void*>(&*target)) {
      for (auto& page : pages.get())
        if (page.get() == *object) {
          page->customName = customName;
          if (page->onSessionChange) page->onSessionChange();
        }
    }
  }
  renamingID = std::nullopt;
}

void Browser::startEditingURL(const std::string& pinID) {
  if (hasPin(pinID)) editingURLPinID = pinID;
}

void Browser::finishEditingURL(const std::optional<std::string>& text) {
  auto pinID = editingURLPinID.get();
  if (text && pinID && hasPin(*pinID)) {
    auto trimmed = trimWhitespace(*text);
    auto url = Address::url(trimmed);
    // Words resolve to a search; a pin needs a real address.
    if (!url || *url == Address::searchURL(trimmed)) {
      show("That isn't a web address", true);
    } else {
      pins.modify([&](auto& list) {
        for (auto& pin : list) {
          if (pin.id != *pinID) continue;
          if (pin.url.host() != url->host()) {
            // Another site: its icon is found afresh.
            pinIcons.erase(pin.id);
            pin.iconData.reset();
          }
          pin.url = *url;
        }
      });
    }
  }
  editingURLPinID = std::nullopt;
}

void Browser::copyHighlighted() {
  std::optional<Url> address;
  if (isSearching()) {
    if (auto index = activeResult(); index && *index >= 0) {
      auto rows = results();
      if (size_t(*index) < rows.size()) address = rows[size_t(*index)].address();
    }
  } else {
    auto rows = restingItems();
    auto selected = selectedResult.get();
    if (selected && *selected >= 0 && size_t(*selected) < rows.size())
      address = rows[size_t(*selected)].address();
    else if (auto page = highlighted())
      address = page->savedURL();
  }
  if (address) copy(*address);
}

void Browser::copy(const Url& url) {
  if (!clipboard_) return;
  clipboard_->setText(url.str());
  show("Copied " + Address::display(url));
}

void Browser::pullSelectionBack() {
  auto selected = selectedResult.get();
  if (!selected) return;
  auto count = int(results().size());
  if (*selected < count) return;
  selectedResult = count > 0 ? std::optional<int>(count - 1) : std::nullopt;
}

void Browser::removeHighlighted() {
  auto index = selectedResult.get();
  if (!index && (scope.get() || isChoosingCommand())) index = 0;
  if (!index || *index < 0) return;
  auto rows = results();
  if (size_t(*index) >= rows.size()) return;
  const auto& item = rows[size_t(*index)];
  switch (item.kind()) {
    case PaletteItem::Kind::pin: {
      const Pin& pin = *item.pin();
      if (confirmingDeletePinID.get() != pin.id) {
        confirmingDeletePinID = pin.id;  // the second press deletes
        return;
      }
      unpin(pin);
      confirmingDeletePinID = std::nullopt;
      pullSelectionBack();
      return;
    }
    case PaletteItem::Kind::history:
      if (history_) history_->remove(item.history()->url);
      pullSelectionBack();
      return;
    case PaletteItem::Kind::download:
      if (downloadSource_) downloadSource_->remove(*item.download());
      pullSelectionBack();
      return;
    case PaletteItem::Kind::permission: setPermission(std::nullopt, *item.permission()); return;
    case PaletteItem::Kind::tab:
    case PaletteItem::Kind::command:
    case PaletteItem::Kind::login:
    case PaletteItem::Kind::importSource: return;
  }
}

}  // namespace quillo
