#pragma once
#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

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

// Everything a new web view is made with.
struct ViewConfiguration {
  std::shared_ptr<DataStore> store;
  std::vector<std::shared_ptr<ContentFilter>> filters;
  std::vector<UserScript> scripts;
};

// A message a page script sent from some frame of a view. Scripts in the
// "quillo" world call quillo.post(name, payload); the engine says which
// frame sent it, so subframes can be told apart and answered.
struct FrameMessage {
  std::string name;  // e.g. "quilloHover"
  uint64_t frameID = 0;
  std::string frameURL;
  bool isMainFrame = true;
  nlohmann::json payload;
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
  // A dialog or file chooser is about to show: bring this tab forward first.
  virtual void webViewNeedsAttention() = 0;
  // The web process died. The page decides whether to reload.
  virtual void webViewCrashed() = 0;
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
  virtual bool isPlayingAudio() const = 0;
  virtual const std::shared_ptr<DataStore>& store() const = 0;

  // Loads with a 60 s time-out where the engine allows one.
  virtual void load(const Url& url) = 0;
  // Loads a file URL with read access to the folder given.
  virtual void loadFile(const Url& file, const Url& readAccessFolder) = 0;
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
  virtual void evaluateInEveryFrame(const std::string& script, bool isolated,
                                    std::function<void(std::vector<nlohmann::json> results, std::string error)> done) = 0;

  virtual void focus() = 0;
  // Shows the desktop's print dialog for the page.
  virtual void print() = 0;
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
