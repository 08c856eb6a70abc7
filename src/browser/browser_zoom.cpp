// Zooming the current page; the level is remembered for its site.
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

}  // namespace quillo
