// The palette's list: the rows, headings, pin grid and notices the views draw, rebuilt from the browser.
#include "palette/palette_list.h"

#include <algorithm>
#include <unordered_set>

#include "browser/browser.h"
#include "browser/split.h"
#include "core/address.h"
#include "core/key_label.h"
#include "core/text.h"

namespace quillo {

using Entry = PaletteList::Entry;

const PaletteItem* Entry::item() const {
  if (auto* row = as<Item>()) return &row->item;
  if (auto* start = as<SectionStart>()) return &start->item;
  return nullptr;
}

std::optional<int> Entry::resultIndex() const {
  if (auto* row = as<Item>()) return row->resultIndex;
  if (auto* start = as<SectionStart>()) return start->resultIndex;
  return std::nullopt;
}

PaletteItemID Entry::id() const {
  switch (kind()) {
    case Kind::item:
    case Kind::sectionStart: return item()->id();
    case Kind::pinGrid: return std::string("pin-grid");
    case Kind::notice: return std::string("notice");
    case Kind::splitGroup: return PaletteItem::idOf(*as<SplitGroup>()->left);
    case Kind::download: return static_cast<const void*>(as<Download>()->item.get());
    case Kind::quickDivider: return std::string("quick-divider");
    case Kind::divider: return "divider-" + std::to_string(as<Divider>()->which);
  }
  return std::string();
}

std::optional<std::string> PaletteList::heading(const PaletteItem& item) {
  switch (item.kind()) {
    case PaletteItem::Kind::pin: return "Pins";
    case PaletteItem::Kind::tab: return "Tabs";
    case PaletteItem::Kind::history: return "History";
    case PaletteItem::Kind::permission: return item.permission()->host;
    case PaletteItem::Kind::login:
    case PaletteItem::Kind::download:
    case PaletteItem::Kind::importSource: return std::nullopt;
    case PaletteItem::Kind::command:
      switch (*item.command()) {
        case PaletteCommand::login:
        case PaletteCommand::permissions:
        case PaletteCommand::split:
        case PaletteCommand::unsplit:
        case PaletteCommand::mute:
        case PaletteCommand::pictureInPicture:
        case PaletteCommand::reader:
        case PaletteCommand::hint:
        case PaletteCommand::hintBackground:
        case PaletteCommand::hintBeside:
        case PaletteCommand::hintCopy:
        case PaletteCommand::hintDownload: return "This page";
        case PaletteCommand::reopen:
        case PaletteCommand::privateTab: return "Tabs";
        case PaletteCommand::pins:
        case PaletteCommand::history:
        case PaletteCommand::downloads:
        case PaletteCommand::importHistory:
        case PaletteCommand::clearHistory:
        case PaletteCommand::makeDefault:
        case PaletteCommand::exit: return "Quillo";
      }
  }
  return std::nullopt;
}

std::string PaletteList::quickDividerExplanation() {
  return "Drag to choose which pins are numbered " + keyLabel(kCtrl, "1–9");
}

std::string PaletteList::quickDividerText(int numbered) {
  if (numbered <= 0) return "No pins numbered · drag this down to give some " + keyLabel(kCtrl, "1–9");
  const std::string range = numbered == 1 ? "1" : "1–" + std::to_string(numbered);
  return keyLabel(kCtrl, range) + " above · pins below show only when you search";
}

std::optional<std::string> PaletteList::emptyNotice(const Browser& browser, const Extras& extras) {
  auto scope = browser.scope.get();
  const bool typed = !trimSpaces(browser.query.get()).empty();
  // Typed text that matches nothing says so (Return still goes to it);
  // an empty list with nothing typed shows nothing at all.
  if (!scope) return typed ? std::optional<std::string>("No matches") : std::nullopt;
  switch (*scope) {
    case PaletteCommand::permissions:
      return typed ? "No sites match" : "No site has asked for anything yet · open a site to set its permissions";
    case PaletteCommand::downloads: return typed ? "No downloads match" : "Nothing downloaded yet";
    // An empty list must still say why it is empty.
    case PaletteCommand::history: return typed ? "No history matches" : "Nothing in history yet";
    case PaletteCommand::importHistory:
      if (!browser.importSources.get()) return "Looking for other browsers…";
      return typed ? "No browsers match" : "No other browser's history found";
    case PaletteCommand::pins:
      return typed ? "No pins match" : "No pins yet · " + keyLabel(kCtrl, "D") + " pins the page you are on";
    case PaletteCommand::login: {
      if (extras.loginNotice) return extras.loginNotice;
      auto page = browser.current();
      auto url = page ? page->savedURL() : std::nullopt;
      if (!url || url->host().empty()) return "Open a site first, then use /login there.";
      return "No logins in 1Password for " + Address::display(url);
    }
    default: return std::nullopt;
  }
}

namespace {

void addResults(const Browser& browser, const PaletteList::Extras& extras, std::vector<Entry>& out) {
  auto results = browser.results();
  if (results.empty()) {
    if (auto notice = PaletteList::emptyNotice(browser, extras)) out.emplace_back(Entry::Notice{*notice});
    return;
  }
  // Managing pins with nothing typed: the line between numbered and the rest.
  std::optional<size_t> dividerAt;
  if (browser.isManagingPins() && trimSpaces(browser.query.get()).empty())
    dividerAt = std::min(size_t(std::max(browser.quickPinCount.get(), 0)), results.size());

  out.reserve(results.size() + 2);
  std::optional<std::string> previous;
  for (size_t i = 0; i < results.size(); ++i) {
    if (dividerAt == i) out.emplace_back(Entry::QuickDivider{});
    auto heading = PaletteList::heading(results[i]);
    const bool starts = heading && (i == 0 || heading != previous);
    if (starts)
      out.emplace_back(Entry::SectionStart{*heading, std::move(results[i]), int(i)});
    else
      out.emplace_back(Entry::Item{std::move(results[i]), int(i)});
    previous = std::move(heading);
  }
  if (dividerAt == results.size()) out.emplace_back(Entry::QuickDivider{});
  if (browser.isChoosingCommand() && browser.chrome.hearsOnlyItsWindow.get())
    out.emplace_back(Entry::Notice{PaletteList::kCtrlInsideOnly});
}

void addResting(const Browser& browser, const PaletteList::Extras& extras, std::vector<Entry>& out) {
  const auto& pins = browser.pins.get();
  const size_t numbered = std::min(size_t(std::max(browser.quickPinCount.get(), 0)), pins.size());
  if (numbered > 0) out.emplace_back(Entry::PinGrid{std::vector<Pin>(pins.begin(), pins.begin() + long(numbered))});
  std::unordered_set<std::string_view> inGrid;
  for (size_t i = 0; i < numbered; ++i) inGrid.insert(pins[i].id);

  auto rows = browser.restingItems();
  for (size_t i = 0; i < rows.size(); ++i) {
    auto& row = rows[i];
    if (auto* pin = row.pin()) {
      if (!inGrid.count(pin->id)) out.emplace_back(Entry::Item{std::move(row), std::nullopt});
      continue;
    }
    if (auto* tab = row.tab()) {
      // The resting items keep a split's pages adjacent: draw them as one row.
      auto split = (*tab)->split.lock();
      if (split && i + 1 < rows.size() && rows[i + 1].tab() &&
          rows[i + 1].tab()->get() == split->partner(tab->get()).get()) {
        out.emplace_back(Entry::SplitGroup{split->left, split->right});
        ++i;
        continue;
      }
    }
    out.emplace_back(Entry::Item{std::move(row), std::nullopt});
  }
  out.emplace_back(Entry::Divider{0});
  if (extras.sessionDownloads.empty()) return;
  for (auto& download : extras.sessionDownloads) out.emplace_back(Entry::Download{download});
  out.emplace_back(Entry::Divider{1});
}

}  // namespace

std::vector<Entry> PaletteList::build(const Browser& browser, const Extras& extras) {
  std::vector<Entry> out;
  if (browser.isSearching())
    addResults(browser, extras, out);
  else
    addResting(browser, extras, out);
  return out;
}

}  // namespace quillo
