// An in-memory web engine for the model's tests: views, their back/forward lists and data stores.
#pragma once
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "page/web_view_port.h"

namespace quillo::test {

class FakeEngine;

// Private stores are numbered from 1 in the order they were made; the persistent one is 0.
class FakeDataStore final : public DataStore {
 public:
  FakeDataStore(bool persistent, int serial, std::shared_ptr<int> liveCount)
      : persistent_(persistent), serial_(serial), liveCount_(std::move(liveCount)) {
    if (liveCount_) ++*liveCount_;
  }
  ~FakeDataStore() override {
    if (liveCount_) --*liveCount_;
  }
  bool isPersistent() const override { return persistent_; }
  int serial() const { return serial_; }

 private:
  bool persistent_;
  int serial_;
  std::shared_ptr<int> liveCount_;
};

struct FakeContentFilter final : ContentFilter {
  explicit FakeContentFilter(std::string identifier) : name(std::move(identifier)) {}
  const std::string& identifier() const override { return name; }
  std::string name;
};

// Behaves like WebKitGTK where the model can see it; loads finish synchronously once committed.
class FakeWebView final : public WebViewPort {
 public:
  struct Entry {
    Url url;
    std::string title;
  };
  struct Evaluation {
    std::string script;
    uint64_t frameID = 0;
    bool isolated = true;
  };
  using EvaluationDone = std::function<void(std::optional<nlohmann::json>, std::string)>;
  using EveryFrameDone = std::function<void(std::vector<nlohmann::json>, std::string)>;

  FakeWebView(FakeEngine* engine, ViewConfiguration configuration);
  ~FakeWebView() override;
  FakeWebView(const FakeWebView&) = delete;
  FakeWebView& operator=(const FakeWebView&) = delete;

  void setEvents(WebViewEvents* events) override { events_ = events; }
  std::optional<Url> url() const override { return provisional_ ? provisional_ : url_; }
  std::string title() const override { return title_; }
  bool isLoading() const override { return loading_; }
  double progress() const override { return progress_; }
  bool canGoBack() const override { return current_ > 0; }
  bool canGoForward() const override { return current_ >= 0 && current_ + 1 < int(entries_.size()); }
  bool hasCurrentItem() const override { return current_ >= 0; }
  bool isPlayingAudio() const override { return playingAudio_; }
  const std::shared_ptr<DataStore>& store() const override { return configuration_.store; }
  void load(const Url& url) override;
  void loadFile(const Url& file, const Url& readAccess) override {
    readAccessFolder = readAccess;
    load(file);
  }
  void loadHTML(const std::string& html, const std::optional<Url>& base) override {
    loadedHTML = html;
    url_ = base;
  }
  // Like WebKit, a view that shows nothing (restored, never loaded) has nothing to reload.
  void reload() override {
    if (url_) startLoad(*url_);
  }
  void stop() override;
  void goBack() override {
    if (canGoBack()) startLoad(entries_[size_t(--current_)].url);
  }
  void goForward() override {
    if (canGoForward()) startLoad(entries_[size_t(++current_)].url);
  }
  std::string sessionState() const override;
  bool restoreSessionState(const std::string& blob) override;
  void goToCurrentItem() override {
    if (current_ >= 0) startLoad(entries_[size_t(current_)].url);
  }
  void find(const std::string&, bool, std::function<void(bool)> done) override {
    findActive = true;
    if (done) done(matchCount > 0);
  }
  void countMatches(const std::string&, std::function<void(unsigned)> done) override {
    if (done) done(matchCount);
  }
  void finishFind() override { findActive = false; }
  void setMuted(bool muted) override { muted_ = muted; }
  double zoom() const override { return zoom_; }
  void setZoom(double level) override { zoom_ = level; }
  void setContentFilters(const std::vector<std::shared_ptr<ContentFilter>>& filters) override {
    configuration_.filters = filters;
  }
  void evaluate(const std::string& script, uint64_t frameID, bool isolated, EvaluationDone done) override;
  void evaluateInEveryFrame(const std::string& script, bool isolated, EveryFrameDone done) override;
  void focus() override {}
  void print() override {}
  void download(const Url&) override {}

  const ViewConfiguration& configuration() const { return configuration_; }
  const std::vector<Entry>& entries() const { return entries_; }
  int currentIndex() const { return current_; }  // -1 with an empty list
  bool muted() const { return muted_; }
  // Every address a load started for, in order: a view that was only restored has none.
  std::vector<Url> loads;
  std::optional<Url> readAccessFolder;  // of the last loadFile
  std::string loadedHTML;               // of the last loadHTML
  std::vector<Evaluation> evaluations;
  bool findActive = false;
  unsigned matchCount = 0;  // of whatever find looks for

  // Answers evaluate(); unset, every script answers nothing and no error.
  std::function<void(const Evaluation&, EvaluationDone)> evaluator;
  // Answers evaluateInEveryFrame(); unset, each frame answers its value in frameAnswers at once.
  std::function<void(const Evaluation&, EveryFrameDone)> everyFrameEvaluator;
  std::vector<nlohmann::json> frameAnswers{nullptr};

  struct Decision {
    NavigationAction action;
    std::optional<NavigationPolicy> policy;
  };
  std::vector<Decision> decisions;

  // A navigation the page decides on first (a click, a redirect).
  void navigate(NavigationAction action);
  // The response of the navigation in progress arrived; returns the page's decision.
  NavigationPolicy respond(NavigationResponse response);
  // The navigation in progress fails; nothing is committed.
  void failLoad(const LoadFailure& failure);
  // Commits the navigation held by the engine's holdCommits.
  void commitLoad();
  void setPageTitle(const std::string& title) {
    title_ = title;
    if (current_ >= 0) entries_[size_t(current_)].title = title;
    emit([](WebViewEvents& e) { e.webViewStateChanged(); });
  }
  void emitMessage(const FrameMessage& message) {
    emit([&](WebViewEvents& e) { e.webViewMessage(message); });
  }
  void emitMessage(const std::string& name, nlohmann::json payload) {
    emitMessage(FrameMessage{name, 0, url_ ? url_->str() : std::string(), true, std::move(payload)});
  }
  // A script's quillo.ask from the main frame (by default at the view's address): the answer lands in the
  // record, as the real view sends it (once; null when nobody kept the message).
  struct Asked {
    int replies = 0;
    nlohmann::json answer;
  };
  std::shared_ptr<Asked> ask(const std::string& name, nlohmann::json payload, std::optional<std::string> frameURL = {});
  // The site opens a window; the child (engine.views().back()) lives only if this returns true.
  bool openChildWindow(const std::optional<Url>& url = std::nullopt);
  void closeWindow() {
    emit([](WebViewEvents& e) { e.webViewClosed(); });
  }
  void requestAttention() {
    emit([](WebViewEvents& e) { e.webViewNeedsAttention(); });
  }
  // The site asks the user something; the answer lands in the record once given.
  std::shared_ptr<std::optional<AlertAnswer>> askUser(const Alert& alert) {
    auto answer = std::make_shared<std::optional<AlertAnswer>>();
    emit([&](WebViewEvents& e) { e.webViewAsk(alert, [answer](const AlertAnswer& given) { *answer = given; }); });
    return answer;
  }
  // The web process dies: loading stops, the list and address stay.
  void crash() {
    loading_ = false;
    emit([](WebViewEvents& e) { e.webViewCrashed(); });
  }
  void setPlayingAudio(bool playing) {
    playingAudio_ = playing;
    emit([](WebViewEvents& e) { e.webViewAudioChanged(); });
  }

 private:
  friend class FakeEngine;
  void startLoad(const Url& url);  // of entries_[current_]
  void commit(const Url& url);
  void finishLoad();  // the title comes from engine.titles
  void dropProvisional();
  // Calls the events if set; false when the call destroyed this view.
  bool emit(const std::function<void(WebViewEvents&)>& call) {
    auto alive = alive_;
    if (events_) call(*events_);
    return *alive;
  }

  FakeEngine* engine_;
  ViewConfiguration configuration_;
  WebViewEvents* events_ = nullptr;
  std::vector<Entry> entries_;
  int current_ = -1;
  std::optional<Url> url_;
  std::string title_;
  bool loading_ = false;
  double progress_ = 0;
  bool playingAudio_ = false;
  bool muted_ = false;
  bool committed_ = true;  // the load in progress has committed
  std::optional<Url> provisional_;
  double zoom_ = 1.0;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

class FakeEngine final : public WebEngine {
 public:
  FakeEngine() = default;
  // Views may outlive the engine in a test's teardown; they then stand alone.
  ~FakeEngine() override {
    for (auto* view : views_) view->engine_ = nullptr;
  }
  FakeEngine(const FakeEngine&) = delete;
  FakeEngine& operator=(const FakeEngine&) = delete;

  std::shared_ptr<DataStore> persistentStore() override { return persistent_; }
  std::shared_ptr<DataStore> makePrivateStore() override {
    return std::make_shared<FakeDataStore>(false, ++privateSerial_, livePrivate_);
  }
  std::unique_ptr<WebViewPort> makeView(const ViewConfiguration& configuration) override {
    return std::make_unique<FakeWebView>(this, configuration);
  }

  // Title each address gets when its load finishes; others get none.
  std::map<std::string, std::string> titles;
  // When set, loads stay provisional (nothing committed) until the view's
  // commitLoad() or failLoad().
  bool holdCommits = false;

  // Views alive now, oldest first (site-opened children included).
  const std::vector<FakeWebView*>& views() const { return views_; }
  FakeWebView* lastView() const { return views_.empty() ? nullptr : views_.back(); }
  int privateStoresMade() const { return privateSerial_; }
  int livePrivateStores() const { return *livePrivate_; }

 private:
  friend class FakeWebView;
  std::shared_ptr<int> livePrivate_ = std::make_shared<int>(0);
  int privateSerial_ = 0;
  std::shared_ptr<DataStore> persistent_ = std::make_shared<FakeDataStore>(true, 0, nullptr);
  std::vector<FakeWebView*> views_;
};

}  // namespace quillo::test
