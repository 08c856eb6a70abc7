// The page: loading, restoring and unloading a tab's web view, deciding its navigations, and its load errors.
#include "page/page.h"

#include <cctype>

#include "core/address.h"
#include "core/log.h"
#include "core/text.h"
#include "page/app_links.h"
#include "page/icon_store.h"
#include "page/navigation_policy.h"
#include "page/site_zoom.h"
#include "scripts/resources.h"

namespace quillo {

std::set<std::string> Page::insecureHosts;

namespace {
// Whether the engine's address for a navigation is the one the browser asked
// for; the engine may have tidied it (case, a default port).
bool sameTarget(const Url& a, const Url& b) {
  auto path = [](const Url& u) { return u.path().empty() ? std::string("/") : u.path(); };
  return asciiLower(a.host()) == asciiLower(b.host()) && path(a) == path(b) && a.query() == b.query();
}
}  // namespace

Page::Page(std::unique_ptr<WebViewPort> webView, Scheduler& scheduler, ViewMaker makeView)
    : store_(webView->store()), makeView_(std::move(makeView)), webView_(std::move(webView)), scheduler_(scheduler) {
  setUp();
}

Page::Page(std::shared_ptr<DataStore> store, ViewMaker makeView, Scheduler& scheduler)
    : store_(std::move(store)), makeView_(std::move(makeView)), scheduler_(scheduler) {}

Page::~Page() {
  // Whoever waits for an answer gets "cancelled"; nothing is drawn any more.
  for (auto& question : std::exchange(questions_, {}))
    if (question.answered) question.answered(AlertAnswer::cancelled(*question.alert));
  *alive_ = false;
  siteZoomLink_.disconnect();
  if (webView_) webView_->setEvents(nullptr);
  if (readerView.get()) readerView.get()->setEvents(nullptr);
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
  dismissDialogs();
  closeReader();
  stopFloating();
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
  if (webView_->isPlayingAudio() || videoFloats.get() || dialog.get()) return done(false);
  std::weak_ptr<Page> weak = weak_from_this();
  webView_->evaluateInEveryFrame(
      std::string(scripts::resource("idle.js")), true,
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
  upgradedFrom.reset();
  // The error goes at once, not when the engine starts the new load.
  if (loadError.get()) {
    loadError = std::nullopt;
    changed.emit();
  }
  if (target.scheme() == "file")
    loadFile(target);
  else
    startLoad(target);
}

void Page::loadFile(const Url& file) {
  pendingURL.reset();
  pendingNavigation.reset();
  armTimeout(file);
  webView().loadFile(file, file.deletingLastPathComponent());
}

void Page::reload() {
  if (loadError.get()) {
    retryAfterError();
    return;
  }
  // An unloaded page reloads by loading what it kept.
  if (pendingURL) {
    loadIfPending();
    return;
  }
  webView().reload();
}

void Page::startLoad(const Url& target) {
  // Refused here, with a reason: the engine would show an empty page.
  if (navigation::isRestrictedPort(target.port()) && target.hasHost()) {
    webView();  // the page shows its error, so it has a view behind it
    return setError(LoadError{target, LoadError::restrictedPort(target.port()), std::nullopt});
  }
  armTimeout(target);
  webView().load(target);
}

void Page::armTimeout(std::optional<Url> target) {
  abandonedCheck_.cancel();
  retriedAbandoned_ = false;
  expectedLoad_ = target;
  timeoutURL_ = std::move(target);
  std::weak_ptr<bool> alive = alive_;
  timeout_ = scheduler_.after(loadTimeout, [this, alive] {
    if (!alive.expired()) timedOut();
  });
}

void Page::timedOut() {
  auto target = timeoutURL_ ? timeoutURL_ : webView_ ? webView_->url() : url.get();
  if (webView_) webView_->stop();
  std::optional<Url> insecure;
  if (upgradedFrom && navigation::sameHost(upgradedFrom, target)) insecure = upgradedFrom;
  upgradedFrom.reset();
  setError(LoadError{target, LoadError::kTimedOut, insecure});
}

void Page::setError(LoadError error) {
  timeout_.cancel();
  abandonedCheck_.cancel();
  expectedLoad_.reset();
  loadError = std::move(error);
  changed.emit();
}

void Page::find(const std::string& text, bool backwards, std::function<void(bool)> done) {
  // What is found is what is read: the article while the reader is up.
  auto& target = readerView.get() ? *readerView.get() : webView();
  target.find(text, backwards, std::move(done));
}

void Page::finishFind() {
  if (webView_) webView_->finishFind();
  if (readerView.get()) readerView.get()->finishFind();
}

void Page::applyMuted() {
  if (webView_) webView_->setMuted(isMuted.get());
}

void Page::toggleMuted() {
  isMuted = !isMuted.get();
  applyMuted();
  changed.emit();
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
  if (readerView.get()) readerView.get()->setZoom(level);
  if (!siteZoom_) return;
  if (auto site = SiteZoom::site(webView_->url())) siteZoom_->set(level, *site, isPrivate());
}

void Page::applySiteZoom() {
  if (!siteZoom_) return;
  auto site = SiteZoom::site(webView_ ? webView_->url() : savedURL());
  if (!site) return;
  keptZoom_ = siteZoom_->level(*site, isPrivate());
  if (webView_) webView_->setZoom(keptZoom_);
  if (readerView.get()) readerView.get()->setZoom(keptZoom_);
}

void Page::showReader(std::shared_ptr<WebViewPort> view, std::unique_ptr<WebViewEvents> navigation) {
  readerNavigation_ = std::move(navigation);
  readerView = std::move(view);
  changed.emit();
}

void Page::closeReader() {
  if (!readerView.get()) return;
  // The view goes first: it must not call into its delegate once that is gone.
  auto view = readerView.get();
  view->setEvents(nullptr);
  readerView = nullptr;
  readerNavigation_.reset();
  changed.emit();
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
  if (restored) {
    armTimeout(std::nullopt);
    webView_->goToCurrentItem();
  } else if (target.scheme() == "file") {
    loadFile(target);
  } else {
    startLoad(target);
  }
}

std::optional<std::string> Page::navigationState() const {
  if (pendingURL || !webView_) return pendingNavigation;
  auto state = webView_->sessionState();
  if (state.empty()) return std::nullopt;
  return state;
}

std::optional<Url> Page::savedURL() const {
  // After a failure, the address that failed: the one to correct or retry.
  if (loadError.get() && loadError.get()->url) return loadError.get()->url;
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
  // Questions of the document that was go with it.
  dismissDialogs();
  // The engine gives up on some addresses by showing an empty page: shown
  // as the failure it is.
  if (auto shown = webView_->url();
      expectedLoad_ && shown && shown->str() == "about:blank" && expectedLoad_->str() != "about:blank") {
    return setError(LoadError{*expectedLoad_, LoadError::kRefusedByEngine, std::nullopt});
  }
  timeout_.cancel();
  abandonedCheck_.cancel();
  expectedLoad_.reset();
  upgradedFrom.reset();
  if (loadError.get()) loadError = std::nullopt;
  {
    // The new site's icon when one is known already; none until found.
    auto current = webView_->url();
    std::optional<std::vector<uint8_t>> known;
    if (iconStore && current && current->hasHost()) known = iconStore->cached(current->host());
    if (known != icon.get()) icon = std::move(known);
  }
  hoveredLink.reset();
  formFrames.clear();
  videoFrames.clear();
  // The floated video went with its document.
  if (videoFloats.get()) videoFloats = false;
  // The reader showed the page that was; the new one has its own article.
  closeReader();
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
    hoveredInSubframe_ = hoveredLink && !message.isMainFrame;
  } else if (message.name == "quilloForms" && !message.isMainFrame && message.payload.is_object()) {
    auto flag = [&](const char* key) {
      auto found = message.payload.find(key);
      return found != message.payload.end() && found->is_boolean() && found->get<bool>();
    };
    noteFormFrame(message.frameID, message.frameURL, flag("login"), flag("code"));
  } else if (message.name == "quilloVideo" && !message.isMainFrame) {
    noteVideoFrame(message.frameID, message.frameURL);
  } else if (onMessage) {
    onMessage(message);
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
  if (videoFloats.get()) videoFloats = false;
  std::weak_ptr<Page> weak = weak_from_this();
  crashReload_ = scheduler_.post([weak] {
    if (auto page = weak.lock(); page && page->webView_) page->webView_->reload();
  });
}

// ---- Navigation policy ----

bool Page::navigatesMainFrame(const NavigationAction& action) const {
  if (action.isMainFrame) return *action.isMainFrame;
  // WebKitGTK does not say which frame a navigation is for. The browser's own
  // loads are the main frame's; so is an upgraded load's redirect; a click is
  // unless the link under the pointer was in a subframe. Anything else is
  // left alone, which at worst skips an upgrade.
  if (action.url && expectedLoad_ && sameTarget(*action.url, *expectedLoad_)) return true;
  if (action.isRedirect && upgradedFrom) return true;
  if (action.isLinkClick) return !(hoveredInSubframe_ && hoveredLink == action.url);
  return false;
}

void Page::webViewDecideNavigation(const NavigationAction& action, PolicyAnswer answer) {
  std::string scheme = action.url ? action.url->scheme() : navigation::schemeOf(action.target);
  if (!scheme.empty() && !navigation::isWebScheme(scheme)) {
    answer(NavigationPolicy::cancel);
    if (action.url) openInApp(*action.url, action);
    return;
  }
  bool opensTab = action.isLinkClick && (action.ctrl || action.button == 2);
  if (opensTab && action.alt) {
    answer(NavigationPolicy::cancel);
    if (openBeside && action.url) openBeside(*action.url);
    return;
  }
  if (opensTab) {
    answer(NavigationPolicy::cancel);
    if (openInBackground && action.url) openInBackground(*action.url);
    return;
  }
  if (action.shouldPerformDownload || (action.isLinkClick && action.alt)) {
    answer(NavigationPolicy::download);
    return;
  }
  if (action.opensWindow || !navigatesMainFrame(action) || !action.url) {
    answer(NavigationPolicy::allow);
    return;
  }
  const Url& url = *action.url;
  if (upgradedFrom && url.scheme() == "http" && navigation::sameHost(url, upgradedFrom)) {
    // The upgraded request was sent back to plain HTTP: stop rather than loop.
    answer(NavigationPolicy::cancel);
    upgradedFrom.reset();
    setError(LoadError{url, LoadError::kSentBack, url});
    return;
  }
  if (auto secure = navigation::upgrade(url, insecureHosts)) {
    answer(NavigationPolicy::cancel);
    upgradedFrom = url;
    startLoad(*secure);
    return;
  }
  answer(NavigationPolicy::allow);
}

NavigationPolicy Page::webViewDecideResponse(const NavigationResponse& response) {
  return navigation::responsePolicy(response);
}

void Page::openInApp(const Url& url, const NavigationAction& action) {
  // A subframe cannot launch a program by itself, nor can a script without
  // the user's gesture.
  if (!action.isLinkClick && !action.isUserGesture) return;
  if (!appLinks) return;
  std::string scheme = url.scheme();
  auto current = webView_->url();
  std::string site = current && current->hasHost() ? asciiLower(current->host()) : std::string();
  std::weak_ptr<bool> alive = alive_;
  auto openIt = [this, alive, url, site, scheme](bool remember) {
    if (alive.expired() || !appLinks) return;
    if (remember) appLinks->saveAllowed(site, scheme);
    appLinks->open(url);
  };
  if (!site.empty()) {
    if (auto saved = appLinks->savedDecision(site, scheme)) {
      if (*saved) openIt(false);
      return;
    }
  }
  auto name = appLinks->appName(url);
  if (!name) {
    Alert none;
    none.message = "No app on this computer opens \u201c" + scheme + ":\u201d links";
    none.buttons = {"OK"};
    ask(std::move(none), nullptr);
    return;
  }
  Alert alert;
  alert.message = "Open " + *name + "?";
  alert.detail = site.empty() ? "This link opens in " + *name + "." : site + " wants to open " + *name + ".";
  alert.buttons = {"Open " + *name, "Cancel"};
  bool offersAlways = !site.empty() && !isPrivate();
  if (offersAlways) alert.checkbox = "Always allow " + site + " to open " + *name;
  ask(std::move(alert), [openIt, offersAlways](const AlertAnswer& answer) {
    if (answer.button == 0) openIt(offersAlways && answer.checked);
  });
}

void Page::closeIfOnlyForDownload() {
  if (webView_->hasCurrentItem() || pendingURL) return;
  // Later: the engine is still inside its download signal.
  std::weak_ptr<Page> weak = weak_from_this();
  closeTask_ = scheduler_.post([weak] {
    auto page = weak.lock();
    if (page && !page->webView_->hasCurrentItem() && !page->pendingURL && page->onClose) page->onClose();
  });
}

void Page::webViewStartedNavigation() {
  // Questions of the document being left go now: a script waiting on one
  // holds up the navigation until it is answered.
  dismissDialogs();
  if (loadError.get()) {
    loadError = std::nullopt;
    changed.emit();
  }
}

void Page::webViewFinishedNavigation() {
  std::weak_ptr<bool> alive = alive_;
  iconTask_ = scheduler_.post([this, alive] {
    if (!alive.expired()) findIcon();
  });
}

void Page::findIcon() {
  if (!webView_) return;  // unloaded meanwhile
  auto current = webView_->url();
  if (!iconStore || !current || !current->hasHost()) return;
  if (current->scheme() != "http" && current->scheme() != "https") return;
  std::string host = current->host();
  std::weak_ptr<bool> alive = alive_;
  auto found = [this, alive, host](std::optional<std::vector<uint8_t>> image) {
    if (alive.expired() || !image) return;
    // The page may have moved on to another site meanwhile.
    auto now = webView_->url();
    if (!now || now->host() != host) return;
    if (icon.get() != image) {
      icon = *image;
      changed.emit();
    }
    if (onIcon) onIcon(*image);
  };
  if (auto cached = iconStore->cached(host)) {
    found(std::move(cached));
    return;
  }
  Url pageURL = *current;
  webView_->evaluate(std::string(scripts::resource("icon_links.js")), 0, true,
                     [this, alive, host, pageURL, found](std::optional<nlohmann::json> result, std::string) {
                       if (alive.expired() || !iconStore) return;
                       std::vector<IconLink> links;
                       if (result && result->is_string()) links = decodeIconLinks(result->get<std::string>());
                       iconStore->icon(host, rankIcons(links, pageURL), found);
                     });
}

void Page::webViewFailedNavigation(const LoadFailure& failure) { record(failure); }

void Page::webViewStartedDownload(std::shared_ptr<WebDownload> download) {
  if (onDownload) onDownload(std::move(download));
  closeIfOnlyForDownload();
}

// ---- Load errors ----

void Page::record(const LoadFailure& failure) {
  using Kind = LoadFailure::Kind;
  // Replaced, stopped, or turned into a download: nothing went wrong.
  // Unless it was the browser's own load and nothing took its place: the
  // engine at times gives up on a site that way (one whose certificate it
  // does not trust, now and then), which would leave the page blank.
  if (failure.kind == Kind::cancelled && expectedLoad_ && failure.failingURL &&
      sameTarget(*failure.failingURL, *expectedLoad_))
    return loadAbandoned(*failure.failingURL);
  if (failure.kind == Kind::cancelled || failure.kind == Kind::interrupted || failure.kind == Kind::handledElsewhere)
    return;
  std::optional<Url> insecure;
  if (upgradedFrom && navigation::sameHost(upgradedFrom, failure.failingURL)) insecure = upgradedFrom;
  upgradedFrom.reset();
  setError(LoadError{failure.failingURL, failure.message, insecure});
}

void Page::loadAbandoned(const Url& failing) {
  // A load that replaces it starts at once; this looks once the engine has
  // had a moment to start one.
  abandonedCheck_ = scheduler_.after(std::chrono::milliseconds(200), [this, failing] {
    if (!webView_ || !expectedLoad_ || !sameTarget(failing, *expectedLoad_) || webView_->isLoading()) return;
    if (!retriedAbandoned_) {
      retriedAbandoned_ = true;
      webView_->load(failing);
      return;
    }
    std::optional<Url> insecure;
    if (upgradedFrom && navigation::sameHost(upgradedFrom, failing)) insecure = upgradedFrom;
    upgradedFrom.reset();
    setError(LoadError{failing, LoadError::kAbandoned, insecure});
  });
}

void Page::retryAfterError() {
  std::optional<Url> target = loadError.get() ? loadError.get()->url : std::nullopt;
  if (!target) target = url.get();
  if (!target) return;
  loadError = std::nullopt;
  changed.emit();
  upgradedFrom.reset();
  if (target->scheme() == "file")
    loadFile(*target);
  else
    startLoad(*target);
}

void Page::continueInsecurely() {
  auto error = loadError.get();
  if (!error || !error->insecureURL || !error->insecureURL->hasHost()) return;
  insecureHosts.insert(asciiLower(error->insecureURL->host()));
  loadError = std::nullopt;
  changed.emit();
  upgradedFrom.reset();
  startLoad(*error->insecureURL);
}

}  // namespace quillo
