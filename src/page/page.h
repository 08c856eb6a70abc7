// The page: one tab around one web view, mirroring its state for the views and deciding its navigations.
#pragma once
#include <sigc++/connection.h>
#include <sigc++/signal.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/observable.h"
#include "core/scheduler.h"
#include "core/url.h"
#include "page/load_error.h"
#include "page/web_view_port.h"

namespace quillo {

class AppLinks;
class IconStore;
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
  std::function<void(std::shared_ptr<WebDownload>)> onDownload;
  // A site icon was found for the page (image bytes).
  std::function<void(const std::vector<uint8_t>&)> onIcon;
  // A script's message the page does not handle itself (a feature's).
  std::function<void(const FrameMessage&)> onMessage;

  // Services shared by all pages, set by the browser; unset ones do nothing.
  AppLinks* appLinks = nullptr;
  IconStore* iconStore = nullptr;
  // Loads the browser starts that have not committed by then are stopped.
  static constexpr Duration kLoadTimeout = std::chrono::seconds(60);
  Duration loadTimeout = kLoadTimeout;

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

  // ---- Floating video (page_video.cpp) ----
  // Subframes that showed a video, oldest first, one per address, so an
  // embedded player's video can be floated; emptied on every commit.
  struct VideoFrame {
    std::string key;  // the frame's address
    uint64_t frame = 0;
  };
  std::vector<VideoFrame> videoFrames;
  void noteVideoFrame(uint64_t frame, const std::string& frameURL);
  // Floats the page's video (a playing one before a paused one, the larger
  // first; the main frame's before those of subframes), or brings a
  // floating one back. Answers whether there was a video to float or bring back.
  void togglePictureInPicture(std::function<void(bool found)> done);
  // Brings a floating video back into the page.
  void stopFloating();

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
  // The failure shown instead of the page, if any.
  Published<std::optional<LoadError>> loadError;
  // The site icon's image bytes, when one was found.
  Published<std::optional<std::vector<uint8_t>>> icon;
  // Reader mode: a second view laid over this one, showing its article.
  // Present while reader mode is on; it goes with a commit or an unload.
  Published<std::shared_ptr<WebViewPort>> readerView;
  // The view shows only the floated video and belongs in the floating window.
  Published<bool> videoFloats{false};
  // Fires once after any of the published state above changed.
  sigc::signal<void()> changed;

  // Resolves typed text to an address and loads it; false when it names nothing.
  bool load(const std::string& text);
  void load(const Url& url);
  // Loads a local file with read access to its folder.
  void loadFile(const Url& file);
  // Loads the page again; after a failure, tries the failed address again.
  void reload();
  void find(const std::string& text, bool backwards, std::function<void(bool found)> done);
  // Counts the matches of text where find() looks.
  void countMatches(const std::string& text, std::function<void(unsigned)> done) {
    (readerView.get() ? *readerView.get() : webView()).countMatches(text, std::move(done));
  }
  void finishFind();
  void applyMuted();
  // Mutes a page that is not muted and unmutes one that is. The page's
  // own: it lasts across its navigations, not across restarts.
  void toggleMuted();

  // Fills a login into one frame (0: the main frame) that still shows
  // `host`; answers whether a username and a password field took a value.
  // The secrets go to that frame only and are not kept here.
  struct FillResult {
    bool username = false;
    bool password = false;
  };
  void fill(const std::optional<std::string>& username, const std::optional<std::string>& password, uint64_t frame,
            const std::string& host, std::function<void(FillResult)> done);
  // With no code, whether the frame shows a one-time-code field; with one,
  // fills it and answers whether it could.
  void oneTimeCodeField(const std::optional<std::string>& code, uint64_t frame, const std::string& host,
                        std::function<void(bool)> done);

  // ---- Navigation policy ----
  // Hosts whose plain-HTTP addresses are loaded as they are, for every page,
  // until the program quits ("Continue to HTTP").
  static std::set<std::string> insecureHosts;
  // The plain-HTTP address the navigation in progress was upgraded from.
  std::optional<Url> upgradedFrom;
  // Hands a link of another scheme to its program, asking first.
  void openInApp(const Url& url, const NavigationAction& action);
  // Closes a tab that was opened only to receive a download.
  void closeIfOnlyForDownload();

  // ---- Load errors ----
  void record(const LoadFailure& failure);
  // "Try Again": the failed address again, else the page's own.
  void retryAfterError();
  // "Continue to HTTP": the plain address, and its host is not upgraded again.
  void continueInsecurely();

  // ---- Site icons ----
  // Finds the page's icon: the store's for its host, else the best the page
  // declares (or its site's "/favicon.ico"); sets `icon` and reports it.
  void findIcon();

  // Site zoom: the page follows the store's level for its site from now on.
  void attach(SiteZoom& siteZoom);
  // Zooms the view and, when the address has a site, records the level for it.
  void setZoom(double level);
  // Sets the view to the level remembered for the address's site, if it has one.
  void applySiteZoom();

  // Lays the reader view over the page; `navigation` decides its
  // navigations and lives as long as it is shown.
  void showReader(std::shared_ptr<WebViewPort> view, std::unique_ptr<WebViewEvents> navigation);
  void closeReader();

  // Gives the keyboard to what the tab shows: its question while one shows
  // (the stage hears `focusDialog`), else the article under a reader,
  // else the page; while its video floats, to what stands in for it (the
  // stage showing the page hears `focusPlaceholder`).
  void focus();
  sigc::signal<void()> focusPlaceholder;

  // ---- Dialogs (page_dialogs.cpp) ----
  using DialogAnswered = std::function<void(const AlertAnswer&)>;
  // Puts a question to the user over this page. One shows at a time, the
  // rest wait in the order asked, and the tab is brought forward
  // (onNeedsAttention) as each comes to the front. Each is answered once: by
  // the user, or as cancelled when the page closes, drops its view or starts
  // or commits a navigation to a new document first.
  void ask(Alert alert, DialogAnswered answered);
  // The question in front, drawn over the page; none while none waits.
  Published<std::shared_ptr<const Alert>> dialog;
  // The user's answer to `shown`, ignored unless it is still in front.
  void answerDialog(const std::shared_ptr<const Alert>& shown, const AlertAnswer& answer);
  // Answers every waiting question as cancelled (the page closed).
  void dismissDialogs();
  // focus() while a question shows: the stage showing the page puts the
  // keyboard on it.
  sigc::signal<void()> focusDialog;

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
  void webViewAsk(const Alert& alert, std::function<void(const AlertAnswer&)> answered) override;
  void webViewCrashed() override;
  void webViewDecideNavigation(const NavigationAction& action, PolicyAnswer answer) override;
  NavigationPolicy webViewDecideResponse(const NavigationResponse& response) override;
  void webViewStartedNavigation() override;
  void webViewFinishedNavigation() override;
  void webViewFailedNavigation(const LoadFailure& failure) override;
  void webViewStartedDownload(std::shared_ptr<WebDownload> download) override;

 private:
  void sync();
  // Loads an address on the browser's behalf, under the time-out.
  void startLoad(const Url& target);
  void armTimeout(std::optional<Url> target);
  void timedOut();
  bool navigatesMainFrame(const NavigationAction& action) const;
  void setError(LoadError error);
  // The engine ended the browser's own load as cancelled with nothing
  // replacing it: tried once more, then shown, never left blank.
  void loadAbandoned(const Url& failing);
  // The address of the browser's own load in progress, until it commits.
  std::optional<Url> expectedLoad_;
  TaskHandle abandonedCheck_;
  bool retriedAbandoned_ = false;
  std::optional<Url> timeoutURL_;
  TaskHandle timeout_;
  TaskHandle closeTask_;
  TaskHandle iconTask_;
  // Whether the last hovered link was in a subframe.
  bool hoveredInSubframe_ = false;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
  void setUp();
  std::shared_ptr<DataStore> store_;
  ViewMaker makeView_;
  double keptZoom_ = 1.0;
  std::unique_ptr<WebViewPort> webView_;
  Scheduler& scheduler_;
  TaskHandle crashReload_;
  SiteZoom* siteZoom_ = nullptr;
  std::unique_ptr<WebViewEvents> readerNavigation_;
  sigc::connection siteZoomLink_;
  // The frame whose video floats (0: the main frame).
  uint64_t floatedFrame_ = 0;
  void floatFrom(std::vector<uint64_t> frames, size_t next, std::function<void(bool)> done);
  struct Question {
    std::shared_ptr<const Alert> alert;
    DialogAnswered answered;
  };
  std::deque<Question> questions_;
  // Publishes the question now in front (or none), after bringing the tab forward.
  void showFrontQuestion();
};

}  // namespace quillo
