// The web view port: what a page sees of its web view, the engine that makes views, and their data stores.
#pragma once
#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/alert.h"
#include "core/url.h"

namespace quillo {

// A website data store (cookies, storage, cache). Opaque to the model: the
// engine hands them out, pages hold them, and the last holder frees it.
class DataStore {
 public:
  virtual ~DataStore() = default;
  virtual bool isPersistent() const = 0;
};

// A compiled content-blocking rule list, ready to add to a page.
class ContentFilter {
 public:
  virtual ~ContentFilter() = default;
  virtual const std::string& identifier() const = 0;
};

// A script put into every page. Isolated scripts run in the browser's own
// world ("quillo") where pages cannot see or call them.
struct UserScript {
  std::string source;
  bool allFrames = true;
  bool atDocumentStart = true;
  bool isolated = true;
};

class WebViewPort;

// Matches are counted up to this many: beyond, only "more" is known.
constexpr unsigned kFindMatchLimit = 1000;

// Everything a new web view is made with.
struct ViewConfiguration {
  std::shared_ptr<DataStore> store;
  std::vector<std::shared_ptr<ContentFilter>> filters;
  std::vector<UserScript> scripts;
  // Whether the content's own scripts may run (the browser's always can).
  bool javaScript = true;
  // A view whose web process the new one shares (WebKit's related view):
  // no process to start, and the same network session. Read only while the
  // new view is made.
  const WebViewPort* sharesProcessWith = nullptr;
};

// A message a page script sent from some frame of a view. Scripts in the
// "quillo" world call quillo.post(name, payload), or quillo.ask(name,
// payload, callback) for an answer; the engine says which frame sent it, so
// subframes can be told apart and answered.
struct FrameMessage {
  std::string name;  // e.g. "quilloHover"
  uint64_t frameID = 0;
  std::string frameURL;
  bool isMainFrame = true;
  nlohmann::json payload;
  // Answers an ask (empty for a post). Copies share one answer: the first
  // call sends it, later ones do nothing, and an ask left unanswered when
  // the last copy goes answers null.
  std::function<void(const nlohmann::json&)> reply = nullptr;
};

// A navigation the page decides on before anything is requested.
struct NavigationAction {
  std::string target;      // the address asked for, as the engine gave it
  std::optional<Url> url;  // the same, parsed; none when it is not a URL
  bool isLinkClick = false;
  bool isUserGesture = false;
  bool isRedirect = false;
  // Modifier keys and the mouse button (1 primary, 2 middle, 0 none) of the click.
  bool ctrl = false, alt = false, shift = false;
  int button = 0;
  // The site asks for a new window: there is no target frame yet.
  bool opensWindow = false;
  // Whether it navigates the main frame; none when the engine cannot say.
  std::optional<bool> isMainFrame;
  // The engine itself wants this saved rather than shown (a download link).
  bool shouldPerformDownload = false;
};

enum class NavigationPolicy { allow, cancel, download };
// Answers a navigation decision; called exactly once, possibly later.
using PolicyAnswer = std::function<void(NavigationPolicy)>;

// A response arrived for a frame's navigation.
struct NavigationResponse {
  std::optional<Url> url;
  // The "Content-Disposition" header of an HTTP response, else empty.
  std::string contentDisposition;
  bool canShowMIMEType = true;
  bool isMainFrame = true;
};

// Why a navigation failed, in the model's terms.
struct LoadFailure {
  enum class Kind {
    cancelled,         // replaced by another navigation, stopped, or turned into a download
    interrupted,       // the policy changed the load (cancelled it or made it a download)
    handledElsewhere,  // a plug-in or media player took the load over
    certificate,       // the site's TLS certificate was refused
    other,
  };
  Kind kind = Kind::other;
  std::optional<Url> failingURL;
  std::string message;  // the engine's description, for people
};

// A file being saved from the web. The engine chooses where; the downloads
// list follows it through this.
class WebDownload {
 public:
  virtual ~WebDownload() = default;
  virtual std::optional<Url> source() const = 0;
  // The file it is written to; empty until the engine chose one.
  virtual std::string destination() const = 0;
  virtual void cancel() = 0;
};

class WebViewPort;

// What the engine tells the page. All calls arrive on the main thread.
class WebViewEvents {
 public:
  virtual ~WebViewEvents() = default;
  // Address, title, loading, progress, back or forward changed.
  virtual void webViewStateChanged() = 0;
  // A navigation committed (the address is now the new page's).
  virtual void webViewCommitted() = 0;
  virtual void webViewAudioChanged() = 0;
  virtual void webViewMessage(const FrameMessage& message) = 0;
  // The site opened a window. The child shares this view's engine state and
  // data store. Return false to refuse it (the child is then dropped).
  virtual bool webViewOpenedWindow(std::unique_ptr<WebViewPort> child) = 0;
  // The site closed its window (window.close()).
  virtual void webViewClosed() = 0;
  // A file chooser is about to show: bring this tab forward first.
  virtual void webViewNeedsAttention() = 0;
  // The site asks the user something (a script's alert, confirm or prompt,
  // a camera or microphone request), shown over the page in its turn.
  // `answered` is called once; with no page to ask, at once, as cancelled.
  virtual void webViewAsk(const Alert& alert, std::function<void(const AlertAnswer&)> answered) {
    answered(AlertAnswer::cancelled(alert));
  }
  // The web process died. The page decides whether to reload.
  virtual void webViewCrashed() = 0;

  // Navigation policy. Without an answer of their own, views allow.
  virtual void webViewDecideNavigation(const NavigationAction& action, PolicyAnswer answer) {
    (void)action;
    answer(NavigationPolicy::allow);
  }
  virtual NavigationPolicy webViewDecideResponse(const NavigationResponse& response) {
    return response.canShowMIMEType ? NavigationPolicy::allow : NavigationPolicy::download;
  }
  // The main frame started a new navigation (nothing is committed yet).
  virtual void webViewStartedNavigation() {}
  // The main frame's navigation finished loading without failing.
  virtual void webViewFinishedNavigation() {}
  // The main frame's navigation failed, before or after it committed.
  virtual void webViewFailedNavigation(const LoadFailure& failure) { (void)failure; }
  // A navigation of this view became a download.
  virtual void webViewStartedDownload(std::shared_ptr<WebDownload> download) { (void)download; }
};

// One web view, as the model sees it. The WebKitGTK implementation lives in
// page/webkit; tests use an in-memory fake.
class WebViewPort {
 public:
  virtual ~WebViewPort() = default;
  virtual void setEvents(WebViewEvents* events) = 0;

  // Mirrored state.
  virtual std::optional<Url> url() const = 0;
  virtual std::string title() const = 0;
  virtual bool isLoading() const = 0;
  virtual double progress() const = 0;
  virtual bool canGoBack() const = 0;
  virtual bool canGoForward() const = 0;
  // The back/forward list has a current item (the view has shown something).
  virtual bool hasCurrentItem() const = 0;
  virtual bool isPlayingAudio() const = 0;
  virtual const std::shared_ptr<DataStore>& store() const = 0;

  // Starts loading the address; the page keeps its own time-out.
  virtual void load(const Url& url) = 0;
  // Loads a file URL with read access to the folder given.
  virtual void loadFile(const Url& file, const Url& readAccessFolder) = 0;
  // Shows an HTML document of the browser's own; relative addresses in it
  // resolve against `base`, which the view then reports as its address.
  virtual void loadHTML(const std::string& html, const std::optional<Url>& base) = 0;
  virtual void reload() = 0;
  virtual void stop() = 0;
  virtual void goBack() = 0;
  virtual void goForward() = 0;

  // The back/forward list as an opaque blob, empty when there is none.
  virtual std::string sessionState() const = 0;
  // Restores a blob without loading. True when the restored list has a
  // current item (goToCurrentItem() then loads it).
  virtual bool restoreSessionState(const std::string& blob) = 0;
  virtual void goToCurrentItem() = 0;

  // Finds text (case-insensitive, wrapping); calls back with whether it matched.
  virtual void find(const std::string& text, bool backwards, std::function<void(bool)> done) = 0;
  // Counts the matches of text as find() sees them; more than
  // kFindMatchLimit are reported as kFindMatchLimit + 1.
  virtual void countMatches(const std::string& text, std::function<void(unsigned)> done) = 0;
  virtual void finishFind() = 0;

  virtual void setMuted(bool muted) = 0;
  // Page zoom, 1.0 at actual size.
  virtual double zoom() const = 0;
  virtual void setZoom(double level) = 0;
  virtual void setContentFilters(const std::vector<std::shared_ptr<ContentFilter>>& filters) = 0;

  // Runs a script in a frame (0: the main frame), in the "quillo" world or
  // the page's own, and calls back with its JSON result or an error text.
  virtual void evaluate(const std::string& script, uint64_t frameID, bool isolated,
                        std::function<void(std::optional<nlohmann::json> result, std::string error)> done) = 0;
  // Runs a script in every frame of the page and calls back with each
  // frame's JSON result (main frame first), or an error text when the page
  // could not be asked.
  virtual void evaluateInEveryFrame(
      const std::string& script, bool isolated,
      std::function<void(std::vector<nlohmann::json> results, std::string error)> done) = 0;

  virtual void focus() = 0;
  // Shows the desktop's print dialog for the page.
  virtual void print() = 0;
  // Saves an address as a download of this view, as a download link would.
  virtual void download(const Url& url) = 0;
};

// Makes web views and data stores.
class WebEngine {
 public:
  virtual ~WebEngine() = default;
  virtual std::shared_ptr<DataStore> persistentStore() = 0;
  // A fresh non-persistent store; it lives while anything holds it.
  virtual std::shared_ptr<DataStore> makePrivateStore() = 0;
  virtual std::unique_ptr<WebViewPort> makeView(const ViewConfiguration& configuration) = 0;
};

}  // namespace quillo
