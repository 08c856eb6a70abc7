// How the current page is viewed: its zoom, remembered for its site, reader mode, and its floating video.
#include "browser/browser.h"
#include "page/site_zoom.h"

namespace quillo {

void Browser::attach(SiteZoom& siteZoom) {
  siteZoom_ = &siteZoom;
  for (auto& page : pages.get()) page->attach(siteZoom);
  for (auto& [id, page] : pinnedPages) page->attach(siteZoom);
}

void Browser::zoomIn() {
  if (auto page = current()) page->setZoom(SiteZoom::zoomedIn(page->webView().zoom()));
}

void Browser::zoomOut() {
  if (auto page = current()) page->setZoom(SiteZoom::zoomedOut(page->webView().zoom()));
}

void Browser::actualSize() {
  if (auto page = current()) page->setZoom(SiteZoom::actualSize());
}

void Browser::toggleReader() {
  auto page = current();
  if (!page || !features.toggleReader) return;
  std::weak_ptr<bool> alive = aliveToken_;
  features.toggleReader(page, [this, alive](bool shown) {
    if (!alive.expired() && !shown) show("No article on this page to read", true);
  });
}

void Browser::closeReader() {
  if (auto page = current()) page->closeReader();
}

void Browser::pictureInPicture() {
  chrome.clearHover();
  search("");
  auto page = current();
  if (!page) return;
  if (auto floating = floatingVideo.get(); floating && floating != page) floating->stopFloating();
  std::weak_ptr<bool> alive = aliveToken_;
  page->togglePictureInPicture([this, alive](bool found) {
    if (!alive.expired() && !found) show("No video on this page to float", true);
  });
}

void Browser::endFloating() {
  if (auto floating = floatingVideo.get()) floating->stopFloating();
}

void Browser::followFloating(const PagePtr& page) {
  if (page->videoFloats.get())
    floatingVideo = page;
  else if (floatingVideo.get() == page)
    floatingVideo = nullptr;
}

}  // namespace quillo
