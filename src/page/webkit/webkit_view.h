// The WebKitGTK web view behind the page's web view port.
#pragma once
#include <gtk/gtk.h>
#include <webkit/webkit.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "page/frame_origins.h"
#include "page/web_view_port.h"

namespace quillo {

// One WebKitWebView behind the model's port. Owns a reference to the view and
// its signal connections; both end with this object. The window puts
// widget() into its tree and takes it out again before dropping the port.
class WebKitView final : public WebViewPort {
 public:
  // Adopts `view` (sinking a floating reference). `filters` are the ones the
  // view's content manager was made with.
  WebKitView(WebKitWebView* view, std::shared_ptr<DataStore> store,
             std::vector<std::shared_ptr<ContentFilter>> filters = {});
  ~WebKitView() override;
  WebKitView(const WebKitView&) = delete;
  WebKitView& operator=(const WebKitView&) = delete;

  GtkWidget* widget() const { return GTK_WIDGET(view_); }
  WebKitWebView* raw() const { return view_; }

  void setEvents(WebViewEvents* events) override { events_ = events; }

  std::optional<Url> url() const override;
  std::string title() const override;
  bool isLoading() const override;
  double progress() const override;
  bool canGoBack() const override;
  bool canGoForward() const override;
  bool hasCurrentItem() const override;
  bool isPlayingAudio() const override;
  const std::shared_ptr<DataStore>& store() const override { return store_; }

  void load(const Url& url) override;
  void loadFile(const Url& file, const Url& readAccessFolder) override;
  void loadHTML(const std::string& html, const std::optional<Url>& base) override;
  void reload() override;
  void stop() override;
  void goBack() override;
  void goForward() override;

  std::string sessionState() const override;
  bool restoreSessionState(const std::string& blob) override;
  void goToCurrentItem() override;

  void find(const std::string& text, bool backwards, std::function<void(bool)> done) override;
  void countMatches(const std::string& text, std::function<void(unsigned)> done) override;
  void finishFind() override;

  void setMuted(bool muted) override;
  double zoom() const override;
  void setZoom(double level) override;
  void setContentFilters(const std::vector<std::shared_ptr<ContentFilter>>& filters) override;

  void evaluate(const std::string& script, uint64_t frameID, bool isolated,
                std::function<void(std::optional<nlohmann::json>, std::string)> done) override;
  void evaluateInEveryFrame(const std::string& script, bool isolated,
                            std::function<void(std::vector<nlohmann::json>, std::string)> done) override;

  void focus() override;
  void print() override;
  void download(const Url& url) override;

  // The port around a WebKit view, when it is one of ours.
  static WebKitView* from(WebKitWebView* view);
  // A download of this view started (the engine hears of every download).
  void startedDownload(WebKitDownload* download);

 private:
  void connect(gpointer instance, const char* signal, GCallback callback);
  void stateChanged();
  void finishedFinding(bool found);
  GtkWidget* createChild(WebKitNavigationAction* action);
  void childReady(WebKitView* child);
  bool showScriptDialog(WebKitScriptDialog* dialog);
  // Puts a question over the page; cancelled at once without one, or when
  // the view has gone by then.
  void ask(const Alert& alert, std::function<void(const AlertAnswer&)> answered);
  // A script waiting on its dialog holds up every navigation of the view:
  // the browser's own close them first (the page drops their questions when
  // the navigation starts).
  void closeScriptDialogs();
  bool showFileChooser(WebKitFileChooserRequest* request);
  bool receiveMessage(WebKitUserMessage* message);
  // What our web process extension answers a question: whether it went
  // well, and the result or why not; `unhandled` when nothing in the page
  // took the question (no extension).
  struct Answer {
    bool ok = false, unhandled = false;
    std::string text;
  };
  // Sends the message to the page; `done` gets the answer, unless this view
  // went away meanwhile. `asked` names who failed to answer ("the frame").
  void askPage(WebKitUserMessage* message, std::string asked, std::function<void(Answer)> done);
  bool decidePolicy(WebKitPolicyDecision* decision, WebKitPolicyDecisionType type);
  void loadChanged(WebKitLoadEvent event);
  void loadFailed(const char* failingURI, GError* error);
  void certificateFailed(const char* failingURI, GTlsCertificateFlags problems);
  GtkWindow* window() const;

  WebKitWebView* view_;
  std::shared_ptr<DataStore> store_;
  WebViewEvents* events_ = nullptr;
  std::vector<std::pair<gpointer, gulong>> handlers_;
  GCancellable* cancellable_;
  // Outstanding asynchronous work checks this before touching the view.
  // (Only its lifetime matters: it expires with the view.)
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
  std::function<void(bool)> findDone_;
  std::function<void(unsigned)> countDone_;
  std::optional<std::string> findText_;  // the search in progress, if any
  std::map<std::string, std::shared_ptr<ContentFilter>> filters_;
  // Windows a site opened, kept until WebKit says they are ready to show.
  std::vector<std::unique_ptr<WebKitView>> pendingChildren_;
  std::function<void()> onReadyToShow_;
  // Script dialogs waiting for the user, answered as cancelled if the view
  // goes first; file choosers on screen, closed with it.
  std::set<WebKitScriptDialog*> scriptDialogs_;
  std::set<GtkNativeDialog*> choosers_;
  // The main frame's navigation in progress has failed.
  bool navigationFailed_ = false;
  // Which origins the view's frames show, for naming who a dialog is from.
  FrameOrigins frames_;
};

// Every download of a network session is handed to its view's page (which
// closes a tab opened only for it). Where the file goes is the downloads
// list's choice.
void watchDownloads(WebKitNetworkSession* session);

}  // namespace quillo
