// The WebKitGTK web view behind the page's web view port: loads, policies, scripts, dialogs and downloads.
#include "page/webkit/webkit_view.h"

#include <fcntl.h>
#include <libsoup/soup.h>
#include <unistd.h>

#include <algorithm>

#include "core/log.h"
#include "page/extension/protocol.h"
#include "page/frame_message.h"
#include "page/navigation_policy.h"
#include "page/webkit/frame_notes.h"
#include "page/webkit/webkit_content_filter.h"
#include "page/webkit/webkit_permissions.h"

namespace quillo {

namespace {

using EvaluateDone = std::function<void(std::optional<nlohmann::json>, std::string)>;

// What an asynchronous call needs to come back to: the view may be gone.
struct Pending {
  std::weak_ptr<bool> alive;
  EvaluateDone done;
};

// A JSON text from JavaScriptCore or the extension; no text (undefined) is null.
std::optional<nlohmann::json> parseResult(const char* json) {
  if (!json) return nlohmann::json(nullptr);
  auto value = nlohmann::json::parse(json, nullptr, false);
  if (value.is_discarded()) return std::nullopt;
  return value;
}

[[maybe_unused]] std::string hostOf(const char* uri) {
  if (!uri) return {};
  auto url = Url::parse(uri);
  return url ? url->host() : std::string();
}

constexpr const char* kPortKey = "quillo-port";

// What a certificate's problems mean, for the error view.
std::string describeCertificate(GTlsCertificateFlags problems) {
  std::vector<std::string> reasons;
  if (problems & G_TLS_CERTIFICATE_UNKNOWN_CA) reasons.push_back("it was issued by an authority that isn't trusted");
  if (problems & G_TLS_CERTIFICATE_BAD_IDENTITY) reasons.push_back("it belongs to another site");
  if (problems & G_TLS_CERTIFICATE_NOT_ACTIVATED) reasons.push_back("it isn't valid yet");
  if (problems & G_TLS_CERTIFICATE_EXPIRED) reasons.push_back("it has expired");
  if (problems & G_TLS_CERTIFICATE_REVOKED) reasons.push_back("it has been revoked");
  if (problems & G_TLS_CERTIFICATE_INSECURE) reasons.push_back("it uses an insecure algorithm");
  if (reasons.empty()) reasons.push_back("it could not be checked");
  std::string text = "The site's certificate can't be trusted: ";
  for (size_t i = 0; i < reasons.size(); ++i) {
    if (i) text += i + 1 == reasons.size() ? " and " : ", ";
    text += reasons[i];
  }
  return text + ".";
}

// A download as the model follows it.
class WebKitDownloadItem final : public WebDownload {
 public:
  explicit WebKitDownloadItem(WebKitDownload* download) : download_(WEBKIT_DOWNLOAD(g_object_ref(download))) {}
  ~WebKitDownloadItem() override { g_object_unref(download_); }
  std::optional<Url> source() const override {
    WebKitURIRequest* request = webkit_download_get_request(download_);
    const char* uri = request ? webkit_uri_request_get_uri(request) : nullptr;
    return uri ? Url::parse(uri) : std::nullopt;
  }
  std::string destination() const override {
    const char* path = webkit_download_get_destination(download_);
    return path ? path : "";
  }
  void cancel() override { webkit_download_cancel(download_); }

 private:
  WebKitDownload* download_;
};

// Carries out the browser's answer to one of WebKit's policy questions.
void apply(NavigationPolicy policy, WebKitPolicyDecision* decision) {
  switch (policy) {
    case NavigationPolicy::allow: webkit_policy_decision_use(decision); break;
    case NavigationPolicy::download: webkit_policy_decision_download(decision); break;
    case NavigationPolicy::cancel: webkit_policy_decision_ignore(decision); break;
  }
}

}  // namespace

void watchDownloads(WebKitNetworkSession* session) {
  g_signal_connect(session, "download-started",
                   G_CALLBACK(+[](WebKitNetworkSession*, WebKitDownload* download, gpointer) {
                     if (WebKitWebView* view = webkit_download_get_web_view(download))
                       if (WebKitView* port = WebKitView::from(view)) port->startedDownload(download);
                   }),
                   nullptr);
}

WebKitView* WebKitView::from(WebKitWebView* view) {
  return static_cast<WebKitView*>(g_object_get_data(G_OBJECT(view), kPortKey));
}

void WebKitView::startedDownload(WebKitDownload* download) {
  if (events_) events_->webViewStartedDownload(std::make_shared<WebKitDownloadItem>(download));
}

WebKitView::WebKitView(WebKitWebView* view, std::shared_ptr<DataStore> store,
                       std::vector<std::shared_ptr<ContentFilter>> filters)
    : view_(WEBKIT_WEB_VIEW(g_object_ref_sink(view))), store_(std::move(store)), cancellable_(g_cancellable_new()) {
  for (auto& filter : filters)
    if (filter) filters_[filter->identifier()] = std::move(filter);
  g_object_set_data(G_OBJECT(view_), kPortKey, this);

  auto notify =
      G_CALLBACK(+[](GObject*, GParamSpec*, gpointer self) { static_cast<WebKitView*>(self)->stateChanged(); });
  for (const char* property : {"notify::uri", "notify::title", "notify::is-loading", "notify::estimated-load-progress"})
    connect(view_, property, notify);
  connect(webkit_web_view_get_back_forward_list(view_), "changed",
          G_CALLBACK(+[](WebKitBackForwardList*, WebKitBackForwardListItem*, gpointer, gpointer self) {
            static_cast<WebKitView*>(self)->stateChanged();
          }));
  connect(view_, "load-changed", G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent event, gpointer self) {
            static_cast<WebKitView*>(self)->loadChanged(event);
          }));
  connect(view_, "load-failed",
          G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent, const char* uri, GError* error, gpointer self) {
            static_cast<WebKitView*>(self)->loadFailed(uri, error);
            return gboolean(TRUE);  // our own error view, never WebKit's page
          }));
  connect(
      view_, "load-failed-with-tls-errors",
      G_CALLBACK(+[](WebKitWebView*, const char* uri, GTlsCertificate*, GTlsCertificateFlags problems, gpointer self) {
        static_cast<WebKitView*>(self)->certificateFailed(uri, problems);
        return gboolean(TRUE);
      }));
  connect(view_, "decide-policy",
          G_CALLBACK(+[](WebKitWebView*, WebKitPolicyDecision* decision, WebKitPolicyDecisionType type, gpointer self) {
            return gboolean(static_cast<WebKitView*>(self)->decidePolicy(decision, type));
          }));
  connect(view_, "notify::is-playing-audio", G_CALLBACK(+[](GObject*, GParamSpec*, gpointer self) {
            auto* me = static_cast<WebKitView*>(self);
            if (me->events_) me->events_->webViewAudioChanged();
          }));
  connect(view_, "user-message-received", G_CALLBACK(+[](WebKitWebView*, WebKitUserMessage* message, gpointer self) {
            return gboolean(static_cast<WebKitView*>(self)->receiveMessage(message));
          }));
  connect(view_, "create", G_CALLBACK(+[](WebKitWebView*, WebKitNavigationAction* action, gpointer self) {
            return static_cast<WebKitView*>(self)->createChild(action);
          }));
  connect(view_, "ready-to-show", G_CALLBACK(+[](WebKitWebView*, gpointer self) {
            auto* me = static_cast<WebKitView*>(self);
            if (me->onReadyToShow_) std::exchange(me->onReadyToShow_, nullptr)();
          }));
  connect(view_, "close", G_CALLBACK(+[](WebKitWebView*, gpointer self) {
            auto* me = static_cast<WebKitView*>(self);
            if (me->events_) me->events_->webViewClosed();
          }));
  connect(view_, "web-process-terminated",
          G_CALLBACK(+[](WebKitWebView*, WebKitWebProcessTerminationReason, gpointer self) {
            auto* me = static_cast<WebKitView*>(self);
            if (me->events_) me->events_->webViewCrashed();
          }));
  connect(view_, "script-dialog", G_CALLBACK(+[](WebKitWebView*, WebKitScriptDialog* dialog, gpointer self) {
            return gboolean(static_cast<WebKitView*>(self)->showScriptDialog(dialog));
          }));
  connect(view_, "permission-request",
          G_CALLBACK(+[](WebKitWebView* view, WebKitPermissionRequest* request, gpointer self) {
            auto* me = static_cast<WebKitView*>(self);
            return gboolean(answerPermissionRequest(
                view, request,
                [me, alive = std::weak_ptr<bool>(me->alive_)](const Alert& alert,
                                                              std::function<void(size_t, bool)> answered) {
                  auto tell = [answered](const AlertAnswer& answer) { answered(answer.button, answer.checked); };
                  if (alive.expired()) return tell(AlertAnswer::cancelled(alert));
                  me->ask(alert, tell);
                }));
          }));
  connect(view_, "query-permission-state",
          G_CALLBACK(+[](WebKitWebView* view, WebKitPermissionStateQuery* query, gpointer) {
            return gboolean(answerPermissionQuery(view, query));
          }));
  // Notifications go through the browser's own page script; whatever still
  // reaches WebKit's path (which would post through libnotify) is dropped.
  connect(view_, "show-notification",
          G_CALLBACK(+[](WebKitWebView*, WebKitNotification*, gpointer) { return gboolean(TRUE); }));
  connect(view_, "run-file-chooser", G_CALLBACK(+[](WebKitWebView*, WebKitFileChooserRequest* request, gpointer self) {
            return gboolean(static_cast<WebKitView*>(self)->showFileChooser(request));
          }));

  WebKitFindController* finder = webkit_web_view_get_find_controller(view_);
  connect(finder, "found-text", G_CALLBACK(+[](WebKitFindController*, guint, gpointer self) {
            static_cast<WebKitView*>(self)->finishedFinding(true);
          }));
  connect(finder, "counted-matches", G_CALLBACK(+[](WebKitFindController*, guint count, gpointer self) {
            if (auto done = std::exchange(static_cast<WebKitView*>(self)->countDone_, nullptr))
              done(std::min(count, kFindMatchLimit + 1));  // G_MAXUINT: more than the limit
          }));
  connect(finder, "failed-to-find-text", G_CALLBACK(+[](WebKitFindController*, gpointer self) {
            static_cast<WebKitView*>(self)->finishedFinding(false);
          }));
}

WebKitView::~WebKitView() {
  g_cancellable_cancel(cancellable_);
  g_object_unref(cancellable_);
  for (auto [instance, id] : handlers_) g_signal_handler_disconnect(instance, id);
  closeScriptDialogs();
  // Dropping a chooser unanswered tells the page it was cancelled.
  for (GtkNativeDialog* chooser : std::exchange(choosers_, {})) {
    gtk_native_dialog_destroy(chooser);
    g_object_unref(chooser);
  }
  pendingChildren_.clear();
  g_object_set_data(G_OBJECT(view_), kPortKey, nullptr);
  g_object_unref(view_);
}

void WebKitView::connect(gpointer instance, const char* signal, GCallback callback) {
  handlers_.emplace_back(instance, g_signal_connect(instance, signal, callback, this));
}

void WebKitView::stateChanged() {
  if (events_) events_->webViewStateChanged();
}

std::optional<Url> WebKitView::url() const {
  const char* uri = webkit_web_view_get_uri(view_);
  if (!uri || !*uri) return std::nullopt;
  return Url::parse(uri);
}

std::string WebKitView::title() const {
  const char* title = webkit_web_view_get_title(view_);
  return title ? title : "";
}

bool WebKitView::isLoading() const { return webkit_web_view_is_loading(view_); }
double WebKitView::progress() const { return webkit_web_view_get_estimated_load_progress(view_); }
bool WebKitView::canGoBack() const { return webkit_web_view_can_go_back(view_); }
bool WebKitView::canGoForward() const { return webkit_web_view_can_go_forward(view_); }
bool WebKitView::hasCurrentItem() const {
  return webkit_back_forward_list_get_current_item(webkit_web_view_get_back_forward_list(view_)) != nullptr;
}
bool WebKitView::isPlayingAudio() const { return webkit_web_view_is_playing_audio(view_); }

void WebKitView::load(const Url& url) {
  closeScriptDialogs();
  webkit_web_view_load_uri(view_, url.str().c_str());
}

void WebKitView::loadChanged(WebKitLoadEvent event) {
  if (!events_) return;
  switch (event) {
    case WEBKIT_LOAD_STARTED:
      navigationFailed_ = false;
      events_->webViewStartedNavigation();
      break;
    case WEBKIT_LOAD_COMMITTED: events_->webViewCommitted(); break;
    case WEBKIT_LOAD_FINISHED:
      if (!navigationFailed_) events_->webViewFinishedNavigation();
      break;
    default: break;
  }
}

void WebKitView::loadFailed(const char* failingURI, GError* error) {
  navigationFailed_ = true;
  if (!events_) return;
  LoadFailure failure;
  if (failingURI && *failingURI) failure.failingURL = Url::parse(failingURI);
  failure.message = error && error->message ? error->message : "The page couldn't be loaded.";
  if (error && error->domain == WEBKIT_NETWORK_ERROR && error->code == WEBKIT_NETWORK_ERROR_CANCELLED)
    failure.kind = LoadFailure::Kind::cancelled;
  else if (error && error->domain == WEBKIT_POLICY_ERROR &&
           error->code == WEBKIT_POLICY_ERROR_FRAME_LOAD_INTERRUPTED_BY_POLICY_CHANGE)
    failure.kind = LoadFailure::Kind::interrupted;
  else if (error && error->domain == WEBKIT_MEDIA_ERROR && error->code == WEBKIT_MEDIA_ERROR_WILL_HANDLE_LOAD)
    failure.kind = LoadFailure::Kind::handledElsewhere;
  else if (error && error->domain == WEBKIT_DOWNLOAD_ERROR && error->code == WEBKIT_DOWNLOAD_ERROR_CANCELLED_BY_USER)
    failure.kind = LoadFailure::Kind::cancelled;
  else if (error && error->domain == G_IO_ERROR && error->code == G_IO_ERROR_CANCELLED)
    failure.kind = LoadFailure::Kind::cancelled;
  events_->webViewFailedNavigation(failure);
}

void WebKitView::certificateFailed(const char* failingURI, GTlsCertificateFlags problems) {
  navigationFailed_ = true;
  if (!events_) return;
  LoadFailure failure;
  failure.kind = LoadFailure::Kind::certificate;
  if (failingURI && *failingURI) failure.failingURL = Url::parse(failingURI);
  failure.message = describeCertificate(problems);
  events_->webViewFailedNavigation(failure);
}

bool WebKitView::decidePolicy(WebKitPolicyDecision* decision, WebKitPolicyDecisionType type) {
  if (!events_) return false;
  if (type == WEBKIT_POLICY_DECISION_TYPE_RESPONSE) {
    auto* responseDecision = WEBKIT_RESPONSE_POLICY_DECISION(decision);
    WebKitURIResponse* response = webkit_response_policy_decision_get_response(responseDecision);
    NavigationResponse navigationResponse;
    if (const char* uri = webkit_uri_response_get_uri(response)) navigationResponse.url = Url::parse(uri);
    if (SoupMessageHeaders* headers = webkit_uri_response_get_http_headers(response))
      if (const char* disposition = soup_message_headers_get_one(headers, "Content-Disposition"))
        navigationResponse.contentDisposition = disposition;
    navigationResponse.canShowMIMEType = webkit_response_policy_decision_is_mime_type_supported(responseDecision);
    navigationResponse.isMainFrame = webkit_response_policy_decision_is_main_frame_main_resource(responseDecision);
    apply(events_->webViewDecideResponse(navigationResponse), decision);
    return true;
  }

  WebKitNavigationAction* action =
      webkit_navigation_policy_decision_get_navigation_action(WEBKIT_NAVIGATION_POLICY_DECISION(decision));
  NavigationAction navigation;
  WebKitURIRequest* request = webkit_navigation_action_get_request(action);
  if (const char* uri = request ? webkit_uri_request_get_uri(request) : nullptr) {
    navigation.target = uri;
    navigation.url = Url::parse(uri);
  }
  navigation.isLinkClick = webkit_navigation_action_get_navigation_type(action) == WEBKIT_NAVIGATION_TYPE_LINK_CLICKED;
  navigation.isUserGesture = webkit_navigation_action_is_user_gesture(action);
  navigation.isRedirect = webkit_navigation_action_is_redirect(action);
  guint modifiers = webkit_navigation_action_get_modifiers(action);
  navigation.ctrl = modifiers & GDK_CONTROL_MASK;
  navigation.alt = modifiers & GDK_ALT_MASK;
  navigation.shift = modifiers & GDK_SHIFT_MASK;
  navigation.button = int(webkit_navigation_action_get_mouse_button(action));
  navigation.opensWindow = type == WEBKIT_POLICY_DECISION_TYPE_NEW_WINDOW_ACTION;

  // The answer may come later (the page may ask the user first).
  g_object_ref(decision);
  auto answered = std::make_shared<bool>(false);
  events_->webViewDecideNavigation(navigation, [decision, answered](NavigationPolicy policy) {
    if (*answered) return;
    *answered = true;
    apply(policy, decision);
    g_object_unref(decision);
  });
  return true;
}

void WebKitView::loadFile(const Url& file, const Url& readAccessFolder) {
  // Under WebKitGTK's sandbox file loads are read by the network process,
  // which sees the user's files; the folder needs no grant of its own.
  (void)readAccessFolder;
  closeScriptDialogs();
  webkit_web_view_load_uri(view_, file.str().c_str());
}

void WebKitView::loadHTML(const std::string& html, const std::optional<Url>& base) {
  closeScriptDialogs();
  webkit_web_view_load_html(view_, html.c_str(), base ? base->str().c_str() : nullptr);
}

void WebKitView::reload() {
  closeScriptDialogs();
  webkit_web_view_reload(view_);
}
void WebKitView::stop() { webkit_web_view_stop_loading(view_); }
void WebKitView::goBack() {
  closeScriptDialogs();
  webkit_web_view_go_back(view_);
}
void WebKitView::goForward() {
  closeScriptDialogs();
  webkit_web_view_go_forward(view_);
}

std::string WebKitView::sessionState() const {
  WebKitBackForwardList* list = webkit_web_view_get_back_forward_list(view_);
  if (webkit_back_forward_list_get_length(list) == 0) return {};
  WebKitWebViewSessionState* state = webkit_web_view_get_session_state(view_);
  GBytes* bytes = webkit_web_view_session_state_serialize(state);
  gsize size = 0;
  auto* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
  std::string blob(data, size);
  g_bytes_unref(bytes);
  webkit_web_view_session_state_unref(state);
  return blob;
}

bool WebKitView::restoreSessionState(const std::string& blob) {
  if (blob.empty()) return false;
  GBytes* bytes = g_bytes_new(blob.data(), blob.size());
  WebKitWebViewSessionState* state = webkit_web_view_session_state_new(bytes);
  g_bytes_unref(bytes);
  if (!state) {
    logLine("couldn't restore a tab's back and forward list: the saved data is unreadable");
    return false;
  }
  webkit_web_view_restore_session_state(view_, state);
  webkit_web_view_session_state_unref(state);
  return webkit_back_forward_list_get_current_item(webkit_web_view_get_back_forward_list(view_)) != nullptr;
}

void WebKitView::goToCurrentItem() {
  WebKitBackForwardListItem* item =
      webkit_back_forward_list_get_current_item(webkit_web_view_get_back_forward_list(view_));
  closeScriptDialogs();
  if (item) webkit_web_view_go_to_back_forward_list_item(view_, item);
}

void WebKitView::find(const std::string& text, bool backwards, std::function<void(bool)> done) {
  WebKitFindController* finder = webkit_web_view_get_find_controller(view_);
  // A newer search makes the older answer moot.
  findDone_ = std::move(done);
  if (findText_ == text) {
    // Same text again: step to the next match instead of starting over.
    if (backwards)
      webkit_find_controller_search_previous(finder);
    else
      webkit_find_controller_search_next(finder);
    return;
  }
  guint options = WEBKIT_FIND_OPTIONS_CASE_INSENSITIVE | WEBKIT_FIND_OPTIONS_WRAP_AROUND;
  if (backwards) options |= WEBKIT_FIND_OPTIONS_BACKWARDS;
  findText_ = text;
  webkit_find_controller_search(finder, text.c_str(), options, kFindMatchLimit);
}

void WebKitView::finishedFinding(bool found) {
  if (auto done = std::exchange(findDone_, nullptr)) done(found);
}

void WebKitView::countMatches(const std::string& text, std::function<void(unsigned)> done) {
  countDone_ = std::move(done);
  // The same options as a forward search, which search_next() goes on with.
  webkit_find_controller_count_matches(webkit_web_view_get_find_controller(view_), text.c_str(),
                                       WEBKIT_FIND_OPTIONS_CASE_INSENSITIVE | WEBKIT_FIND_OPTIONS_WRAP_AROUND,
                                       kFindMatchLimit);
}

void WebKitView::finishFind() {
  findDone_ = nullptr;
  countDone_ = nullptr;
  findText_.reset();
  webkit_find_controller_search_finish(webkit_web_view_get_find_controller(view_));
}

void WebKitView::setMuted(bool muted) { webkit_web_view_set_is_muted(view_, muted); }
double WebKitView::zoom() const { return webkit_web_view_get_zoom_level(view_); }
void WebKitView::setZoom(double level) { webkit_web_view_set_zoom_level(view_, level); }

void WebKitView::setContentFilters(const std::vector<std::shared_ptr<ContentFilter>>& filters) {
  WebKitUserContentManager* manager = webkit_web_view_get_user_content_manager(view_);
  std::map<std::string, std::shared_ptr<ContentFilter>> wanted;
  for (const auto& filter : filters)
    if (filter) wanted[filter->identifier()] = filter;
  for (const auto& [identifier, filter] : filters_)
    if (!wanted.count(identifier)) webkit_user_content_manager_remove_filter_by_id(manager, identifier.c_str());
  // Adding a filter replaces one with the same identifier, so a recompiled
  // list takes the old one's place.
  for (const auto& [identifier, filter] : wanted) {
    if (auto* webkitFilter = dynamic_cast<WebKitContentFilter*>(filter.get()))
      webkit_user_content_manager_add_filter(manager, webkitFilter->raw());
  }
  filters_ = std::move(wanted);
}

void WebKitView::evaluate(const std::string& script, uint64_t frameID, bool isolated, EvaluateDone done) {
  if (frameID == 0) {
    auto* pending = new Pending{alive_, std::move(done)};
    webkit_web_view_evaluate_javascript(
        view_, script.c_str(), static_cast<gssize>(script.size()), isolated ? extension::kWorld : nullptr, nullptr,
        cancellable_,
        [](GObject* source, GAsyncResult* result, gpointer data) {
          std::unique_ptr<Pending> pending(static_cast<Pending*>(data));
          GError* error = nullptr;
          JSCValue* value = webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(source), result, &error);
          if (pending->alive.expired()) {
            g_clear_error(&error);
            g_clear_object(&value);
            return;
          }
          if (!value) {
            std::string text = error ? error->message : "the script failed";
            g_clear_error(&error);
            pending->done(std::nullopt, text);
            return;
          }
          char* json = jsc_value_is_undefined(value) ? nullptr : jsc_value_to_json(value, 0);
          auto parsed = parseResult(json);
          g_free(json);
          g_object_unref(value);
          if (parsed)
            pending->done(std::move(parsed), "");
          else
            pending->done(std::nullopt, "the script's result is not JSON");
        },
        pending);
    return;
  }

  WebKitUserMessage* message = webkit_user_message_new(
      extension::kEvalInFrame,
      g_variant_new("(tsb)", static_cast<guint64>(frameID), script.c_str(), isolated ? TRUE : FALSE));
  askPage(message, "the frame", [done = std::move(done)](Answer answer) {
    if (!answer.ok) return done(std::nullopt, answer.text);
    if (auto parsed = parseResult(answer.text.c_str())) return done(std::move(parsed), "");
    done(std::nullopt, "the script's result is not JSON");
  });
}

void WebKitView::evaluateInEveryFrame(const std::string& script, bool isolated,
                                      std::function<void(std::vector<nlohmann::json>, std::string)> done) {
  WebKitUserMessage* message = webkit_user_message_new(extension::kEvalInEveryFrame,
                                                       g_variant_new("(sb)", script.c_str(), isolated ? TRUE : FALSE));
  askPage(message, "the page", [this, script, isolated, done = std::move(done)](Answer answer) {
    if (answer.unhandled) {
      // Without our extension only the main frame can be asked.
      return evaluate(script, 0, isolated, [done](std::optional<nlohmann::json> value, std::string why) {
        if (!value) return done({}, why);
        done({std::move(*value)}, "");
      });
    }
    if (!answer.ok) return done({}, answer.text);
    auto parsed = nlohmann::json::parse(answer.text, nullptr, false);
    if (!parsed.is_array()) return done({}, "the page's answer is not a list");
    done(std::vector<nlohmann::json>(parsed.begin(), parsed.end()), "");
  });
}

void WebKitView::askPage(WebKitUserMessage* message, std::string asked, std::function<void(Answer)> done) {
  struct Asking {
    std::weak_ptr<bool> alive;
    std::string asked;
    std::function<void(Answer)> done;
  };
  webkit_web_view_send_message_to_page(
      view_, message, cancellable_,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        std::unique_ptr<Asking> asking(static_cast<Asking*>(data));
        GError* error = nullptr;
        WebKitUserMessage* reply = webkit_web_view_send_message_to_page_finish(WEBKIT_WEB_VIEW(source), result, &error);
        Answer answer;
        if (!reply) {
          answer.unhandled = error && error->domain == WEBKIT_USER_MESSAGE_ERROR &&
                             error->code == WEBKIT_USER_MESSAGE_UNHANDLED_MESSAGE;
          answer.text = error ? error->message : asking->asked + " did not answer";
        } else if (GVariant* parameters = webkit_user_message_get_parameters(reply);
                   parameters && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(bs)"))) {
          gboolean ok = FALSE;
          const char* text = "";
          g_variant_get(parameters, "(b&s)", &ok, &text);
          answer.ok = ok;
          answer.text = text;
        } else {
          answer.text = asking->asked + "'s answer is malformed";
        }
        g_clear_error(&error);
        g_clear_object(&reply);
        if (!asking->alive.expired()) asking->done(std::move(answer));
      },
      new Asking{alive_, std::move(asked), std::move(done)});
}

bool WebKitView::receiveMessage(WebKitUserMessage* message) {
  if (noteFrame(frames_, message)) return true;
  const bool asks = g_strcmp0(webkit_user_message_get_name(message), extension::kAsk) == 0;
  if (!asks && g_strcmp0(webkit_user_message_get_name(message), extension::kPost) != 0) return false;
  // An ask is always answered, null at the latest when nobody kept it.
  std::function<void(const nlohmann::json&)> reply;
  if (asks)
    reply = replyOnce([message = WEBKIT_USER_MESSAGE(g_object_ref(message))](const nlohmann::json& answer) {
      webkit_user_message_send_reply(
          message,
          webkit_user_message_new(
              extension::kAsk,
              g_variant_new("(s)", answer.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str())));
      g_object_unref(message);
    });
  GVariant* parameters = webkit_user_message_get_parameters(message);
  if (!parameters || !g_variant_is_of_type(parameters, G_VARIANT_TYPE("(stsbs)"))) return true;
  const char *name = nullptr, *frameURL = nullptr, *payload = nullptr;
  guint64 frameID = 0;
  gboolean isMain = FALSE;
  g_variant_get(parameters, "(&st&sb&s)", &name, &frameID, &frameURL, &isMain, &payload);
  auto frameMessage = decodeFrameMessage(name, frameID, frameURL, isMain, payload);
  frameMessage.reply = std::move(reply);
  if (frameMessage.name == "quilloMediaAsked") return noteMediaAsker(view_, frameURL), true;
  if (events_) events_->webViewMessage(frameMessage);
  return true;
}

GtkWidget* WebKitView::createChild(WebKitNavigationAction*) {
  if (!events_) return nullptr;
  // Popups run the opener's scripts whatever manager they get, so they get
  // the opener's, and its settings (which a related view does not inherit).
  auto* childView = WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "related-view", view_, "settings",
                                                 webkit_web_view_get_settings(view_), "user-content-manager",
                                                 webkit_web_view_get_user_content_manager(view_), nullptr));
  std::vector<std::shared_ptr<ContentFilter>> filters;
  for (const auto& [identifier, filter] : filters_) filters.push_back(filter);
  auto child = std::make_unique<WebKitView>(childView, store_, std::move(filters));
  WebKitView* raw = child.get();
  child->onReadyToShow_ = [this, raw] { childReady(raw); };
  pendingChildren_.push_back(std::move(child));
  // WebKit does not take a reference: the child stays ours.
  return GTK_WIDGET(childView);
}

void WebKitView::childReady(WebKitView* child) {
  auto it = std::find_if(pendingChildren_.begin(), pendingChildren_.end(),
                         [child](const auto& pending) { return pending.get() == child; });
  if (it == pendingChildren_.end()) return;
  std::unique_ptr<WebKitView> ready = std::move(*it);
  pendingChildren_.erase(it);
  // A refused child is dropped here, which closes its page.
  if (events_) events_->webViewOpenedWindow(std::move(ready));
}

GtkWindow* WebKitView::window() const {
  GtkRoot* root = gtk_widget_get_root(GTK_WIDGET(view_));
  return GTK_IS_WINDOW(root) ? GTK_WINDOW(root) : nullptr;
}

void WebKitView::closeScriptDialogs() {
  // Closed unanswered, a dialog tells the script "cancelled" (false, or no text).
  for (WebKitScriptDialog* dialog : std::exchange(scriptDialogs_, {})) {
    webkit_script_dialog_close(dialog);
    webkit_script_dialog_unref(dialog);
  }
}

void WebKitView::ask(const Alert& alert, std::function<void(const AlertAnswer&)> answered) {
  if (events_)
    events_->webViewAsk(alert, std::move(answered));
  else
    answered(AlertAnswer::cancelled(alert));
}

bool WebKitView::showScriptDialog(WebKitScriptDialog* dialog) {
  const char* uri = webkit_web_view_get_uri(view_);
  const WebKitScriptDialogType type = webkit_script_dialog_get_dialog_type(dialog);
  Alert alert;
  alert.message = frames_.dialogHeading(uri ? uri : "");
  alert.detail = webkit_script_dialog_get_message(dialog);
  alert.buttons =
      type == WEBKIT_SCRIPT_DIALOG_ALERT ? std::vector<std::string>{"OK"} : std::vector<std::string>{"OK", "Cancel"};
  if (type == WEBKIT_SCRIPT_DIALOG_PROMPT) {
    const char* text = webkit_script_dialog_prompt_get_default_text(dialog);
    alert.field = text ? text : "";
  }
  // The page's script waits until the dialog is closed, however late.
  scriptDialogs_.insert(webkit_script_dialog_ref(dialog));
  std::weak_ptr<bool> alive = alive_;
  ask(alert, [this, alive, dialog, type](const AlertAnswer& answer) {
    // Gone with the view, which answered it as cancelled.
    if (alive.expired() || !scriptDialogs_.erase(dialog)) return;
    const bool ok = answer.button == 0;
    if (type == WEBKIT_SCRIPT_DIALOG_CONFIRM || type == WEBKIT_SCRIPT_DIALOG_BEFORE_UNLOAD_CONFIRM)
      webkit_script_dialog_confirm_set_confirmed(dialog, ok);
    // Without a text the prompt answers null, as for Cancel.
    if (type == WEBKIT_SCRIPT_DIALOG_PROMPT && ok && answer.text)
      webkit_script_dialog_prompt_set_text(dialog, answer.text->c_str());
    webkit_script_dialog_close(dialog);
    webkit_script_dialog_unref(dialog);
  });
  return true;
}

bool WebKitView::showFileChooser(WebKitFileChooserRequest* request) {
  if (events_) events_->webViewNeedsAttention();
  GtkFileChooserNative* chooser =
      gtk_file_chooser_native_new("Open", window(), GTK_FILE_CHOOSER_ACTION_OPEN, "Open", "Cancel");
  gtk_native_dialog_set_modal(GTK_NATIVE_DIALOG(chooser), TRUE);
  gtk_file_chooser_set_select_multiple(GTK_FILE_CHOOSER(chooser),
                                       webkit_file_chooser_request_get_select_multiple(request));
  if (GtkFileFilter* filter = webkit_file_chooser_request_get_mime_types_filter(request))
    gtk_file_chooser_add_filter(GTK_FILE_CHOOSER(chooser), filter);

  g_object_set_data_full(G_OBJECT(chooser), "quillo-request", g_object_ref(request), [](gpointer request) {
    // Unanswered when the chooser goes: the page hears "cancelled".
    if (!g_object_get_data(G_OBJECT(request), "quillo-answered"))
      webkit_file_chooser_request_cancel(WEBKIT_FILE_CHOOSER_REQUEST(request));
    g_object_unref(request);
  });
  struct Context {
    WebKitView* view;
    std::weak_ptr<bool> alive;
  };
  g_signal_connect_data(
      chooser, "response", G_CALLBACK(+[](GtkNativeDialog* chooser, int response, gpointer data) {
        auto* context = static_cast<Context*>(data);
        auto* request = WEBKIT_FILE_CHOOSER_REQUEST(g_object_get_data(G_OBJECT(chooser), "quillo-request"));
        if (response == GTK_RESPONSE_ACCEPT) {
          GListModel* files = gtk_file_chooser_get_files(GTK_FILE_CHOOSER(chooser));
          std::vector<std::string> paths;
          for (guint i = 0; i < g_list_model_get_n_items(files); ++i) {
            auto* file = G_FILE(g_list_model_get_item(files, i));
            if (char* path = g_file_get_path(file)) {
              paths.emplace_back(path);
              g_free(path);
            }
            g_object_unref(file);
          }
          g_object_unref(files);
          std::vector<const char*> list;
          for (const auto& path : paths) list.push_back(path.c_str());
          list.push_back(nullptr);
          if (!paths.empty()) {
            webkit_file_chooser_request_select_files(request, list.data());
            g_object_set_data(G_OBJECT(request), "quillo-answered", GINT_TO_POINTER(1));
          }
        }
        if (!context->alive.expired()) context->view->choosers_.erase(chooser);
        gtk_native_dialog_destroy(chooser);
        g_object_unref(chooser);
      }),
      new Context{this, alive_}, [](gpointer data, GClosure*) { delete static_cast<Context*>(data); },
      GConnectFlags(0));
  choosers_.insert(GTK_NATIVE_DIALOG(chooser));
  gtk_native_dialog_show(GTK_NATIVE_DIALOG(chooser));
  return true;
}

void WebKitView::focus() { gtk_widget_grab_focus(GTK_WIDGET(view_)); }

void WebKitView::download(const Url& url) {
  // The session's download-started signal hands it to the downloads list.
  g_object_unref(webkit_web_view_download_uri(view_, url.str().c_str()));
}

void WebKitView::print() {
  WebKitPrintOperation* operation = webkit_print_operation_new(view_);
  auto* root = gtk_widget_get_root(GTK_WIDGET(view_));
  webkit_print_operation_run_dialog(operation, GTK_IS_WINDOW(root) ? GTK_WINDOW(root) : nullptr);
  g_object_unref(operation);
}

}  // namespace quillo
