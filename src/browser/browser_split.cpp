// Split view: two tabs shown side by side, made from the palette, by a
// Shift+click on a link, or restored with the session.
#include <algorithm>

#include "browser/browser.h"

namespace quillo {

void Browser::startSplit() {
  if (pages->empty() && pinnedPages.empty()) return;
  isChoosingSplitPartner = true;
  newTab();
}

void Browser::showBeside(const PagePtr& page) {
  auto left = current();
  if (!page || !left) return;
  if (page == left) {
    // Nothing to put beside: the palette stays open for another choice.
    show("This page is already shown · choose another");
    return;
  }
  // A page is in one split at most: whatever either side was part of goes.
  if (auto old = left->split.lock()) dissolve(old);
  if (auto old = page->split.lock()) dissolve(old);
  auto split = std::make_shared<Split>(left, page, 0.5);
  split->onResize = [this] { scheduleSessionSave(); };
  left->split = split;
  page->split = split;
  splits.push_back(split);
  isChoosingSplitPartner = false;
  scheduleSessionSave();
  // The new side is current; select() also ends composing.
  select(page);
  splitsChanged.emit();
  paletteChanged.emit();
}

void Browser::dissolve(const std::shared_ptr<Split>& split) {
  if (!split) return;
  auto it = std::find(splits.begin(), splits.end(), split);
  if (it == splits.end()) return;
  // Held here: the pages and the split may have no other owner right now.
  auto keep = split;
  splits.erase(it);
  keep->onResize = nullptr;
  if (keep->left->split.lock() == keep) keep->left->split.reset();
  if (keep->right->split.lock() == keep) keep->right->split.reset();
  scheduleSessionSave();
  splitsChanged.emit();
  paletteChanged.emit();
}

void Browser::dissolveSplit(const PagePtr& page) {
  if (auto split = page->split.lock()) dissolve(split);
}

std::shared_ptr<Split> Browser::currentSplit() const {
  auto page = current();
  return page ? page->split.lock() : nullptr;
}

void Browser::moveDivider(int steps) {
  // Through the ratio, as a drag goes: the view follows and the session is saved.
  if (auto split = currentSplit()) {
    const double next = Split::ratioForSteps(split->ratio.get(), steps);
    if (next != split->ratio.get()) split->ratio = next;
  }
}

void Browser::centreDivider() {
  if (auto split = currentSplit(); split && split->ratio.get() != 0.5) split->ratio = 0.5;
}

void Browser::openBeside(const PagePtr& opener, const Url& url) {
  if (!opener) return;
  // The click came from the opener; it is the side the new page joins.
  if (current() != opener) select(opener);
  if (current() != opener) return;  // not a page of this window any more
  auto opened = makePage(opener->isPrivate());
  loadWhenSettled(opened, url);
  add(opened, false);
  showBeside(opened);
}

bool Browser::openLinkBeside(const Modifiers& modifiers, const Page* clicked) {
  if (!modifiers.onlyShift()) return false;
  auto page = current();
  if (!page || page.get() != clicked || !page->hoveredLink) return false;
  openBeside(page, *page->hoveredLink);
  return true;
}

void Browser::focusSideUnderPointer(const Page* clicked) {
  auto page = current();
  if (!page || !clicked) return;
  auto split = page->split.lock();
  if (!split) return;
  const auto& other = split->partner(page.get());
  if (other.get() != clicked) return;
  // Finding belongs to the side it was started on.
  stopFinding();
  select(other);
}

}  // namespace quillo
