#include "page/page.h"

#include "core/address.h"
#include "core/log.h"
#include "page/site_zoom.h"
#include "scripts/resources.h"

namespace quillo {

Page::Page(std::unique_ptr<WebViewPort> webView, Scheduler& scheduler, ViewMaker makeView)
    : store_(webView->store()), makeView_(std::move(makeView)), webView_(std::move(webView)), scheduler_(scheduler) {
  setUp();
}

Page::Page(std::shared_ptr<DataStore> store, ViewMaker makeView, Scheduler& scheduler)
    : store_(std::move(store)), makeView_(std::move(makeView)), scheduler_(scheduler) {}

Page::~Page() {
  siteZoomLink_.disconnect();
  if (webView_) webView_->setEvents(nullptr);
}

void Page::setUp() {
  webView_->setEvents(this);
  applyMuted();
  if (keptZoom_ != 1.0) webView_->setZoom(keptZoom_);
}

WebViewPort& Page::webView() {
  if (!webView_) {
    webView_ = makeView_(store_);
    setUp();
  }
  return *webView_;
}

bool Page::isPrivate() const { return store_ && !store_->isPersistent(); }

bool Page::isUnloaded() const { return !webView_ || (pendingURL && !webView_->url()); }

void Page::unload() {
  if (!webView_ || !makeView_) return;
  if (!pendingURL) {
    auto address = webView_->url();
    if (!address) address = url.get();
    if (address) {
      pendingURL = address;
      auto state = webView_->sessionState();
      pendingNavigation = state.empty() ? std::nullopt : std::optional<std::string>(std::move(state));
    }
  }
  keptZoom_ = webView_->zoom();
  crashReload_.cancel();
  webView_->setEvents(nullptr);
  webView_.reset();
  // What the view reported last stays: the page is listed and saved as before.
  isLoading = false;
  progress = 0.0;
  isPlayingAudio = false;
  changed.emit();
}

void Page::isIdle(std::function<void(bool)> done) {
  if (isUnloaded()) return done(true);
  if (webView_->isPlayingAudio()) return done(false);
  std::weak_ptr<Page> weak = weak_from_this();
  webView_->evaluateInEveryFrame(std::string(scripts::resource("idle.js")), true,
                                 [weak, done = std::move(done)](std::vector<nlohmann::json> results, std::string error) {
                                   if (weak.expired()) return;
                                   // A page that cannot be asked may hold typing: keep it.
                                   if (!error.empty()) return done(false);
                                   for (auto& busy : results)
                                     if (busy.is_boolean() && busy.get<bool>()) return done(false);
                                   done(true);
                                 });
}

double Page::zoom() const { return webView_ ? webView_->zoom() : keptZoom_; }

bool Page::load(const std::string& text) {
  auto target = Address::url(text);
  if (!target) return false;
  load(*target);
  return true;
}

void Page::load(const Url& target) {
  pendingURL.reset();
  pendingNavigation.reset();
  if (target.scheme() == "file")
    loadFile(target);
  else
    webView().load(target);
}

void Page::loadFile(const Url& file) {
  pendingURL.reset();
  pendingNavigation.reset();
  webView().loadFile(file, file.deletingLastPathComponent());
}

void Page::find(const std::string& text, bool backwards, std::function<void(bool)> done) {
  webView().find(text, backwards, std::move(done));
}

void Page::applyMuted() {
  if (webView_) webView_->setMuted(isMuted.get());
}

void Page::attach(SiteZoom& siteZoom) {
  siteZoomLink_.disconnect();
  siteZoom_ = &siteZoom;
  siteZoomLink_ = siteZoom.changed().connect([this](const std::string& site) {
    if (SiteZoom::site(savedURL()) == site) applySiteZoom();
  });
  applySiteZoom();
}

void Page::setZoom(double level) {
  webView().setZoom(level);
  if (!siteZoom_) return;
  if (auto site = SiteZoom::site(webView_->url())) siteZoom_->set(level, *site, isPrivate());
}

void Page::applySiteZoom() {
  if (!siteZoom_) return;
  auto site = SiteZoom::site(webView_ ? webView_->url() : savedURL());
  if (!site) return;
  keptZoom_ = siteZoom_->level(*site, isPrivate());
  if (webView_) webView_->setZoom(keptZoom_);
}

void Page::restore(const Url& restoredURL, const std::string& restoredTitle, std::optional<std::string> navigation) {
  pendingURL = restoredURL;
  pendingNavigation = std::move(navigation);
  title = restoredTitle;
  changed.emit();
}

void Page::loadIfPending() {
  if (!pendingURL) return;
  auto target = *pendingURL;
  auto navigation = std::move(pendingNavigation);
  pendingURL.reset();
  pendingNavigation.reset();
  bool restored = navigation && !navigation->empty() && webView().restoreSessionState(*navigation);
  if (restored)
    webView_->goToCurrentItem();
  else if (target.scheme() == "file")
    loadFile(target);
  else
    webView().load(target);
}

std::optional<std::string> Page::navigationState() const {
  if (pendingURL || !webView_) return pendingNavigation;
  auto state = webView_->sessionState();
  if (state.empty()) return std::nullopt;
  return state;
}

std::optional<Url> Page::savedURL() const {
  if (url.get()) return url.get();
  return pendingURL;
}

std::string Page::displayTitle() const {
  if (customName.get() && !customName.get()->empty()) return *customName.get();
  if (!title.get().empty()) return title.get();
  if (auto u = savedURL()) return Address::display(*u);
  return "New Tab";
}

void Page::sync() {
  auto newURL = webView_->url();
  auto newTitle = webView_->title();
  bool urlChanged = newURL != url.get();
  bool pageChanged = urlChanged || newTitle != title.get();
  bool titleChanged = newTitle != title.get();
  if (urlChanged) url = newURL;
  if (titleChanged) title = newTitle;
  if (titleChanged && newURL && onTitle) onTitle(newTitle, *newURL);
  if (pageChanged && onSessionChange) onSessionChange();
  if (isLoading.get() != webView_->isLoading()) isLoading = webView_->isLoading();
  if (progress.get() != webView_->progress()) progress = webView_->progress();
  if (canGoBack.get() != webView_->canGoBack()) canGoBack = webView_->canGoBack();
  if (canGoForward.get() != webView_->canGoForward()) canGoForward = webView_->canGoForward();
  changed.emit();
}

void Page::webViewStateChanged() {
  // A page that loads on its own (a site's window, a reload) is no longer pending.
  if (webView_->url()) {
    pendingURL.reset();
    pendingNavigation.reset();
  }
  sync();
}

void Page::webViewCommitted() {
  hoveredLink.reset();
  formFrames.clear();
  applySiteZoom();
  sync();
  if (auto current = webView_->url(); current && onVisit) onVisit(*current);
}

void Page::webViewAudioChanged() {
  isPlayingAudio = webView_->isPlayingAudio();
  changed.emit();
}

void Page::webViewMessage(const FrameMessage& message) {
  if (message.name == "quilloHover") {
    if (message.payload.is_string() && !message.payload.get<std::string>().empty())
      hoveredLink = Url::parse(message.payload.get<std::string>());
    else
      hoveredLink.reset();
  } else if (message.name == "quilloForms" && !message.isMainFrame && message.payload.is_object()) {
    auto flag = [&](const char* key) {
      auto found = message.payload.find(key);
      return found != message.payload.end() && found->is_boolean() && found->get<bool>();
    };
    noteFormFrame(message.frameID, message.frameURL, flag("login"), flag("code"));
  }
}

bool Page::webViewOpenedWindow(std::unique_ptr<WebViewPort> child) {
  if (!openWindow) return false;
  return openWindow(std::move(child));
}

void Page::webViewClosed() {
  if (onClose) onClose();
}

void Page::webViewNeedsAttention() {
  if (onNeedsAttention) onNeedsAttention();
}

void Page::webViewCrashed() {
  // Bring the page back rather than leave a dead view; on the next turn, so
  // the engine has finished tearing the old process down.
  logLine("web page crashed; reloading " + (url.get() ? url.get()->str() : std::string("a blank page")));
  std::weak_ptr<Page> weak = weak_from_this();
  crashReload_ = scheduler_.post([weak] {
    if (auto page = weak.lock(); page && page->webView_) page->webView_->reload();
  });
}

}  // namespace quillo
