#pragma once
#include <sigc++/connection.h>
#include <sigc++/signal.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "core/observable.h"
#include "core/scheduler.h"
#include "core/url.h"
#include "page/web_view_port.h"

namespace quillo {

class SiteZoom;
class Split;

// One tab around one web view. Mirrors the view's state into published
// values the views draw, and reports what the browser must know through
// closures the browser installs when it makes the page.
//
// A page that is not on screen need not own a view: restored and unloaded
// pages keep their address, title, back/forward list and zoom, and make
// their view from the maker the browser gave them when first asked for it.
class Page : public WebViewEvents, public std::enable_shared_from_this<Page> {
 public:
  // Makes a view for the page's data store, with the browser's configuration.
  using ViewMaker = std::function<std::unique_ptr<WebViewPort>(const std::shared_ptr<DataStore>& store)>;

  // A live page around a view the engine already made.
  Page(std::unique_ptr<WebViewPort> webView, Scheduler& scheduler, ViewMaker makeView = nullptr);
  // A page without a view yet; it keeps `store` (and so a private store's
  // cookies) for the view it makes later.
  Page(std::shared_ptr<DataStore> store, ViewMaker makeView, Scheduler& scheduler);
  ~Page() override;
  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;

  // The page's view, made now when the page has none: asking for it is
  // what showing or loading a page does.
  WebViewPort& webView();
  // The view when the page has one; never makes it.
  WebViewPort* liveView() { return webView_.get(); }
  const WebViewPort* liveView() const { return webView_.get(); }
  bool isPrivate() const;
  // No view, or a view that has not loaded what the page holds pending.
  bool isUnloaded() const;
  // Drops the view, keeping the address, back/forward list and zoom as
  // pending; loadIfPending brings them back in a new view.
  void unload();
  // Whether the page can be unloaded without losing anything: no typed
  // input or fullscreen element in any frame, no audio playing. Answers
  // asynchronously, never after the page is gone.
  void isIdle(std::function<void(bool idle)> done);
  // The zoom level of the view, or the one kept while there is none.
  double zoom() const;

  // Closures set once by the browser. Unset ones are simply not called.
  std::function<bool(std::unique_ptr<WebViewPort>)> openWindow;
  std::function<void(const Url&)> openInBackground;
  std::function<void(const Url&)> openBeside;
  std::function<void()> onClose;
  std::function<void()> onSessionChange;
  std::function<void(const Url&)> onVisit;
  std::function<void(const std::string& title, const Url& url)> onTitle;
  std::function<void()> onNeedsAttention;

  // Not published: owned by other parts of the browser.
  std::optional<std::string> pinID;
  std::weak_ptr<Split> split;
  WallTime lastShown{};
  std::optional<Url> hoveredLink;
  std::optional<Url> pendingURL;
  std::optional<std::string> pendingNavigation;

  // A subframe that reported a login form or a one-time-code field.
  struct FormFrame {
    uint64_t frame = 0;
    std::string host;  // lower case, as the frame's address gives it
    bool hasLogin = false;
    bool hasCode = false;
  };
  // By frame id; emptied when the page commits a new address.
  std::map<uint64_t, FormFrame> formFrames;
  void noteFormFrame(uint64_t frame, const std::string& frameURL, bool hasLogin, bool hasCode);

  // Published state.
  Published<std::optional<Url>> url;
  Published<std::string> title;
  Published<bool> isLoading{false};
  Published<double> progress{0.0};
  Published<bool> canGoBack{false};
  Published<bool> canGoForward{false};
  Published<bool> isPlayingAudio{false};
  Published<bool> isMuted{false};
  Published<std::optional<std::string>> customName;
  // Fires once after any of the published state above changed.
  sigc::signal<void()> changed;

  // Resolves typed text to an address and loads it; false when it names nothing.
  bool load(const std::string& text);
  void load(const Url& url);
  // Loads a local file with read access to its folder.
  void loadFile(const Url& file);
  void find(const std::string& text, bool backwards, std::function<void(bool found)> done);
  void applyMuted();

  // Fills a login into one frame (0: the main frame) that still shows
  // `host`; answers whether a username and a password field took a value.
  // The secrets go to that frame only and are not kept here.
  struct FillResult {
    bool username = false;
    bool password = false;
  };
  void fill(const std::optional<std::string>& username, const std::optional<std::string>& password,
            uint64_t frame, const std::string& host, std::function<void(FillResult)> done);
  // With no code, whether the frame shows a one-time-code field; with one,
  // fills it and answers whether it could.
  void oneTimeCodeField(const std::optional<std::string>& code, uint64_t frame, const std::string& host,
                        std::function<void(bool)> done);

  // Site zoom: the page follows the store's level for its site from now on.
  void attach(SiteZoom& siteZoom);
  // Zooms the view and, when the address has a site, records the level for it.
  void setZoom(double level);
  // Sets the view to the level remembered for the address's site, if it has one.
  void applySiteZoom();

  // Restored or unloaded pages keep what to load until first shown.
  void restore(const Url& url, const std::string& title, std::optional<std::string> navigation);
  void loadIfPending();
  // The back/forward list to save: live when loaded, else what is pending.
  std::optional<std::string> navigationState() const;
  // The address to save: live, else the pending one.
  std::optional<Url> savedURL() const;

  // The name shown for this tab: the custom name, the title, or the address.
  std::string displayTitle() const;

  // WebViewEvents
  void webViewStateChanged() override;
  void webViewCommitted() override;
  void webViewAudioChanged() override;
  void webViewMessage(const FrameMessage& message) override;
  bool webViewOpenedWindow(std::unique_ptr<WebViewPort> child) override;
  void webViewClosed() override;
  void webViewNeedsAttention() override;
  void webViewCrashed() override;

 private:
  void sync();
  void setUp();
  std::shared_ptr<DataStore> store_;
  ViewMaker makeView_;
  double keptZoom_ = 1.0;
  std::unique_ptr<WebViewPort> webView_;
  Scheduler& scheduler_;
  TaskHandle crashReload_;
  SiteZoom* siteZoom_ = nullptr;
  sigc::connection siteZoomLink_;
};

}  // namespace quillo
