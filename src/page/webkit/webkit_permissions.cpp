// WebKitGTK permission requests and queries: which site asks for the camera, microphone or notifications.
#include "page/webkit/webkit_permissions.h"

#include <memory>
#include <optional>
#include <string>

#include "stores/permissions.h"

namespace quillo {

namespace {

Permissions*& store() {
  static Permissions* permissions = nullptr;
  return permissions;
}

// Whether the page holds a frame of another origin (one whose location it
// cannot read). Run in our own world, where the page cannot tamper with it.
constexpr const char* kHoldsForeignFrame = R"JS((() => {
  const foreign = (w) => {
    for (let i = 0; i < w.frames.length; i++) {
      try {
        if (w.frames[i].location.origin !== location.origin || foreign(w.frames[i])) return true;
      } catch (e) {
        return true;
      }
    }
    return false;
  };
  return foreign(window);
})())JS";

std::string hostOf(const char* uri) {
  if (!uri) return {};
  GUri* parsed = g_uri_parse(uri, G_URI_FLAGS_NONE, nullptr);
  if (!parsed) return {};
  std::string host = g_uri_get_host(parsed) ? g_uri_get_host(parsed) : "";
  g_uri_unref(parsed);
  return host;
}

bool isPersistent(WebKitWebView* view) {
  WebKitNetworkSession* session = webkit_web_view_get_network_session(view);
  return session && !webkit_network_session_is_ephemeral(session);
}

constexpr const char* kAskingHost = "quillo-asking-host";
constexpr const char* kWaitingForWord = "quillo-waiting-for-asker";

// The frame's word and WebKit's request travel by different routes, so
// either may come first. Word waits for its request a short while, then is
// forgotten so that it can never name the asker of a later request; a
// request without word waits for it as long.
constexpr gint64 kWordLifetimeMicroseconds = 1'000'000;
constexpr guint kWaitForWordMilliseconds = 300;

struct Word {
  std::string host;
  gint64 saidAt;
};

// Without word, the page's host is named only when no frame of another
// origin could be the one asking; otherwise the host is left empty: "a frame
// embedded in this page" asks, and nothing is remembered for anyone.
void guessAskingHost(WebKitWebView* view, std::function<void(std::string)> done) {
  struct Pending {
    std::function<void(std::string)> done;
    std::string host;
  };
  auto* pending = new Pending{std::move(done), hostOf(webkit_web_view_get_uri(view))};
  webkit_web_view_evaluate_javascript(
      view, kHoldsForeignFrame, -1, "quillo", nullptr, nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        std::unique_ptr<Pending> pending(static_cast<Pending*>(data));
        GError* error = nullptr;
        JSCValue* value = webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(source), result, &error);
        bool foreign = true;  // when it cannot be told, assume the worst
        if (value) {
          foreign = !jsc_value_is_boolean(value) || jsc_value_to_boolean(value);
          g_object_unref(value);
        }
        g_clear_error(&error);
        pending->done(foreign ? std::string() : pending->host);
      },
      pending);
}

// A request waiting for its frame's word. It belongs to the view: whichever
// of the word, the time limit or the view's end comes first settles it.
struct Waiting {
  WebKitWebView* view;
  std::function<void(std::string)> done;
  guint timeout = 0;
  ~Waiting() {
    if (timeout) g_source_remove(timeout);
    // The view is going: its dialogs go with it, so the request is refused.
    if (done) done(std::string());
  }
};

void settle(WebKitWebView* view, std::optional<std::string> host) {
  auto* waiting = static_cast<Waiting*>(g_object_steal_data(G_OBJECT(view), kWaitingForWord));
  if (!waiting) return;
  auto done = std::move(waiting->done);
  waiting->done = nullptr;
  delete waiting;
  if (host && !host->empty())
    done(*host);
  else
    guessAskingHost(view, std::move(done));
}

// WebKit does not say which frame asks (its permission queries carry the
// page's origin even for a frame's request), so the frame that said it was
// about to ask is named.
void askingHost(WebKitWebView* view, std::function<void(std::string)> done) {
  if (auto* word = static_cast<Word*>(g_object_steal_data(G_OBJECT(view), kAskingHost))) {
    std::unique_ptr<Word> said(word);  // one request each
    if (g_get_monotonic_time() - said->saidAt <= kWordLifetimeMicroseconds && !said->host.empty())
      return done(said->host);
  }
  if (g_object_get_data(G_OBJECT(view), kWaitingForWord)) return guessAskingHost(view, std::move(done));
  auto* waiting = new Waiting{view, std::move(done)};
  waiting->timeout = g_timeout_add(
      kWaitForWordMilliseconds,
      [](gpointer data) -> gboolean {
        auto* waiting = static_cast<Waiting*>(data);
        waiting->timeout = 0;
        settle(waiting->view, std::nullopt);
        return G_SOURCE_REMOVE;
      },
      waiting);
  g_object_set_data_full(G_OBJECT(view), kWaitingForWord, waiting,
                         [](gpointer data) { delete static_cast<Waiting*>(data); });
}

}  // namespace

void usePermissions(Permissions* permissions) { store() = permissions; }

void noteMediaAsker(WebKitWebView* view, const char* frameURL) {
  if (g_object_get_data(G_OBJECT(view), kWaitingForWord)) return settle(view, hostOf(frameURL));
  g_object_set_data_full(G_OBJECT(view), kAskingHost, new Word{hostOf(frameURL), g_get_monotonic_time()},
                         [](gpointer data) { delete static_cast<Word*>(data); });
}

bool answerPermissionRequest(WebKitWebView* view, WebKitPermissionRequest* request, siteprompts::Ask ask) {
  bool media = WEBKIT_IS_USER_MEDIA_PERMISSION_REQUEST(request);
  // Notifications are the browser's own script's business: WebKit's path
  // stays shut, so no site can get around the browser's answer.
  if (WEBKIT_IS_NOTIFICATION_PERMISSION_REQUEST(request)) {
    webkit_permission_request_deny(request);
    return true;
  }
  if (!media) return false;
  Permissions* permissions = store();
  if (!permissions) {
    webkit_permission_request_deny(request);
    return true;
  }
  g_object_ref(request);
  auto answer = [request](bool grant) {
    if (grant)
      webkit_permission_request_allow(request);
    else
      webkit_permission_request_deny(request);
    g_object_unref(request);
  };
  auto* mediaRequest = WEBKIT_USER_MEDIA_PERMISSION_REQUEST(request);
  if (webkit_user_media_permission_is_for_display_device(mediaRequest)) {
    // Screen sharing is not one of the site permissions.
    answer(false);
    return true;
  }
  siteprompts::MediaRequest asked;
  asked.camera = webkit_user_media_permission_is_for_video_device(mediaRequest);
  asked.microphone = webkit_user_media_permission_is_for_audio_device(mediaRequest);
  asked.persistent = isPersistent(view);
  askingHost(view, [asked, ask = std::move(ask), answer](std::string host) mutable {
    Permissions* permissions = store();
    if (!permissions) return answer(false);
    asked.host = std::move(host);
    siteprompts::decideMedia(*permissions, asked, ask, answer);
  });
  return true;
}

bool answerPermissionQuery(WebKitWebView* view, WebKitPermissionStateQuery* query) {
  std::string name = webkit_permission_state_query_get_name(query);
  // WebKit's notifications are off (a page's own query is answered by the
  // browser's script): what WebKit itself is asked about, it may not do.
  if (name == "notifications") {
    webkit_permission_state_query_finish(query, WEBKIT_PERMISSION_STATE_DENIED);
    return true;
  }
  Permissions* permissions = store();
  if (!permissions) return false;
  SitePermission permission;
  if (name == "camera")
    permission.kind = SitePermission::Kind::camera;
  else if (name == "microphone")
    permission.kind = SitePermission::Kind::microphone;
  else
    return false;
  if (WebKitSecurityOrigin* origin = webkit_permission_state_query_get_security_origin(query))
    if (const char* host = webkit_security_origin_get_host(origin)) permission.host = host;
  if (permission.host.empty()) permission.host = hostOf(webkit_web_view_get_uri(view));
  auto decision = permissions->decision(permission);
  webkit_permission_state_query_finish(query, !decision ? WEBKIT_PERMISSION_STATE_PROMPT
                                              : *decision == PermissionDecision::allow
                                                  ? WEBKIT_PERMISSION_STATE_GRANTED
                                                  : WEBKIT_PERMISSION_STATE_DENIED);
  return true;
}

}  // namespace quillo
