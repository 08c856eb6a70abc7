// The fake engine's views: loads, commits, the back/forward list and its saved state.
#include "support/fake_web_view.h"

#include <algorithm>

#include "page/frame_message.h"

namespace quillo::test {

FakeWebView::FakeWebView(FakeEngine* engine, ViewConfiguration configuration)
    : engine_(engine), configuration_(std::move(configuration)) {
  if (engine_) engine_->views_.push_back(this);
}

FakeWebView::~FakeWebView() {
  *alive_ = false;
  if (engine_) std::erase(engine_->views_, this);
}

void FakeWebView::load(const Url& url) {
  // Loading the address already shown replaces its entry, as WebKit does;
  // anything else drops the forward entries and adds one.
  if (current_ < 0 || entries_[size_t(current_)].url != url) {
    entries_.resize(size_t(current_ + 1));
    entries_.push_back({url, ""});
    current_ = int(entries_.size()) - 1;
  }
  startLoad(url);
}

void FakeWebView::stop() {
  if (!loading_) return;
  loading_ = false;
  dropProvisional();
  emit([](WebViewEvents& e) { e.webViewStateChanged(); });
}

void FakeWebView::startLoad(const Url& url) {
  loads.push_back(url);
  loading_ = true;
  progress_ = 0.1;
  committed_ = false;
  if (!emit([](WebViewEvents& e) { e.webViewStartedNavigation(); })) return;
  if (!engine_ || !engine_->holdCommits) return commit(url);
  // WebKit shows the address being loaded while it is provisional.
  provisional_ = url;
  emit([](WebViewEvents& e) { e.webViewStateChanged(); });
}

void FakeWebView::commitLoad() {
  if (committed_ || !provisional_) return;
  auto url = *provisional_;
  provisional_.reset();
  commit(url);
}

void FakeWebView::commit(const Url& url) {
  url_ = url;
  title_.clear();
  committed_ = true;
  if (!emit([](WebViewEvents& e) { e.webViewStateChanged(); })) return;
  if (!emit([](WebViewEvents& e) { e.webViewCommitted(); })) return;
  finishLoad();
}

void FakeWebView::failLoad(const LoadFailure& failure) {
  if (!loading_) return;
  loading_ = false;
  dropProvisional();
  if (!emit([](WebViewEvents& e) { e.webViewStateChanged(); })) return;
  emit([&](WebViewEvents& e) { e.webViewFailedNavigation(failure); });
}

void FakeWebView::dropProvisional() {
  if (committed_) return;
  // Nothing was shown: the list drops the entry the load had added.
  if (current_ >= 0 && provisional_ && entries_[size_t(current_)].url == *provisional_ &&
      entries_[size_t(current_)].title.empty()) {
    entries_.erase(entries_.begin() + current_);
    current_ = std::min(current_, int(entries_.size())) - 1;
  }
  provisional_.reset();
  committed_ = true;
}

void FakeWebView::navigate(NavigationAction action) {
  decisions.push_back({action, std::nullopt});
  size_t index = decisions.size() - 1;
  auto alive = alive_;
  auto answer = [this, alive, index, action](NavigationPolicy policy) {
    if (!*alive) return;
    decisions[index].policy = policy;
    if (policy == NavigationPolicy::allow && action.url && !action.opensWindow) load(*action.url);
    if (policy == NavigationPolicy::download) emit([](WebViewEvents& e) { e.webViewStartedDownload(nullptr); });
  };
  if (events_)
    events_->webViewDecideNavigation(action, answer);
  else
    answer(NavigationPolicy::allow);
}

NavigationPolicy FakeWebView::respond(NavigationResponse response) {
  NavigationPolicy policy = events_ ? events_->webViewDecideResponse(response) : NavigationPolicy::allow;
  if (policy == NavigationPolicy::download) {
    // The navigation becomes the download: nothing is committed.
    if (!committed_) {
      loading_ = false;
      dropProvisional();
    }
    emit([](WebViewEvents& e) { e.webViewStartedDownload(nullptr); });
  }
  return policy;
}

void FakeWebView::finishLoad() {
  if (!loading_ || !url_) return;
  std::string title = current_ >= 0 ? entries_[size_t(current_)].title : std::string();
  if (engine_)
    if (auto it = engine_->titles.find(url_->str()); it != engine_->titles.end()) title = it->second;
  title_ = title;
  if (current_ >= 0) entries_[size_t(current_)].title = title;
  loading_ = false;
  progress_ = 1.0;
  if (!emit([](WebViewEvents& e) { e.webViewStateChanged(); })) return;
  emit([](WebViewEvents& e) { e.webViewFinishedNavigation(); });
}

std::string FakeWebView::sessionState() const {
  if (entries_.empty()) return {};
  nlohmann::json list = nlohmann::json::array();
  for (const auto& entry : entries_) list.push_back({{"url", entry.url.str()}, {"title", entry.title}});
  return nlohmann::json{{"entries", list}, {"current", current_}}.dump();
}

bool FakeWebView::restoreSessionState(const std::string& blob) {
  // A blob the engine can't read changes nothing, as with WebKit's session_state_new returning NULL.
  auto state = nlohmann::json::parse(blob, nullptr, false);
  if (!state.is_object() || !state.contains("entries") || !state.contains("current")) return false;
  auto &list = state["entries"], &current = state["current"];
  if (!list.is_array() || list.empty() || !current.is_number_integer()) return false;
  std::vector<Entry> restored;
  for (const auto& item : list) {
    if (!item.is_object() || !item.contains("url") || !item["url"].is_string()) return false;
    auto url = Url::parse(item["url"].get<std::string>());
    if (!url) return false;
    restored.push_back({*url, item.value("title", std::string())});
  }
  auto index = current.get<int64_t>();
  if (index < 0 || index >= int64_t(restored.size())) return false;

  // Restoring loads nothing: the view has a list but no address yet.
  entries_ = std::move(restored);
  current_ = int(index);
  url_.reset();
  title_.clear();
  loading_ = false;
  progress_ = 0;
  emit([](WebViewEvents& e) { e.webViewStateChanged(); });
  return true;
}

void FakeWebView::evaluate(const std::string& script, uint64_t frameID, bool isolated, EvaluationDone done) {
  Evaluation evaluation{script, frameID, isolated};
  evaluations.push_back(evaluation);
  if (evaluator)
    evaluator(evaluation, std::move(done));
  else if (done)
    done(std::nullopt, std::string());
}

void FakeWebView::evaluateInEveryFrame(const std::string& script, bool isolated, EveryFrameDone done) {
  Evaluation evaluation{script, 0, isolated};
  evaluations.push_back(evaluation);
  if (everyFrameEvaluator)
    everyFrameEvaluator(evaluation, std::move(done));
  else if (done)
    done(frameAnswers, std::string());
}

bool FakeWebView::openChildWindow(const std::optional<Url>& url) {
  // The child shares this view's configuration and store, as WebKit's related views do.
  auto child = std::make_unique<FakeWebView>(engine_, configuration_);
  FakeWebView* raw = child.get();
  bool accepted = false;
  emit([&](WebViewEvents& e) { accepted = e.webViewOpenedWindow(std::move(child)); });
  if (accepted && url) raw->load(*url);
  return accepted;
}

std::shared_ptr<FakeWebView::Asked> FakeWebView::ask(const std::string& name, nlohmann::json payload,
                                                     std::optional<std::string> frameURL) {
  auto asked = std::make_shared<Asked>();
  FrameMessage message{name, 0, frameURL ? *frameURL : (url_ ? url_->str() : ""), true, std::move(payload)};
  message.reply = replyOnce([asked](const nlohmann::json& answer) {
    ++asked->replies;
    asked->answer = answer;
  });
  emitMessage(message);
  return asked;
}

}  // namespace quillo::test
