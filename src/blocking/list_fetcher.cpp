// Downloading filter lists over HTTP(S) with libsoup.
#include "blocking/list_fetcher.h"

#include <libsoup/soup.h>

namespace quillo {

namespace {

struct Request {
  std::function<void(FetchResult)> done;
  SoupMessage* message = nullptr;
  ~Request() { g_clear_object(&message); }
};

class HttpListFetcher final : public ListFetcher {
 public:
  HttpListFetcher()
      // A plain session has no cache and no cookie jar: nothing is kept.
      : session_(soup_session_new_with_options("timeout", 60, "idle-timeout", 60, "user-agent", "Quillo", nullptr)),
        cancellable_(g_cancellable_new()) {}

  ~HttpListFetcher() override {
    // Pending requests finish as cancelled and are dropped without a call.
    g_cancellable_cancel(cancellable_);
    g_object_unref(cancellable_);
    g_object_unref(session_);
  }

  void fetch(const std::string& url, std::function<void(FetchResult)> done) override {
    GError* error = nullptr;
    GUri* uri = g_uri_parse(url.c_str(), G_URI_FLAGS_ENCODED, &error);
    const char* scheme = uri ? g_uri_get_scheme(uri) : nullptr;
    if (!uri || !scheme || (g_ascii_strcasecmp(scheme, "http") && g_ascii_strcasecmp(scheme, "https"))) {
      std::string why = error ? error->message : "not an http or https address";
      g_clear_error(&error);
      if (uri) g_uri_unref(uri);
      fail(std::move(done), "bad address " + url + ": " + why);
      return;
    }
    auto* request = new Request{std::move(done), soup_message_new_from_uri("GET", uri)};
    g_uri_unref(uri);
    soup_session_send_and_read_async(session_, request->message, G_PRIORITY_DEFAULT, cancellable_, &finished, request);
  }

 private:
  // Failing synchronously would surprise callers that expect a later call.
  void fail(std::function<void(FetchResult)> done, std::string why) {
    struct Failure {
      std::function<void(FetchResult)> done;
      std::string why;
      GCancellable* cancellable;
    };
    auto* failure = new Failure{std::move(done), std::move(why), G_CANCELLABLE(g_object_ref(cancellable_))};
    g_idle_add_full(
        G_PRIORITY_DEFAULT,
        [](gpointer data) -> gboolean {
          auto* f = static_cast<Failure*>(data);
          if (!g_cancellable_is_cancelled(f->cancellable)) {
            FetchResult result;
            result.error = std::move(f->why);
            f->done(std::move(result));
          }
          return G_SOURCE_REMOVE;
        },
        failure,
        [](gpointer data) {
          auto* f = static_cast<Failure*>(data);
          g_object_unref(f->cancellable);
          delete f;
        });
  }

  static void finished(GObject* source, GAsyncResult* asyncResult, gpointer data) {
    std::unique_ptr<Request> request(static_cast<Request*>(data));
    GError* error = nullptr;
    GBytes* bytes = soup_session_send_and_read_finish(SOUP_SESSION(source), asyncResult, &error);
    if (error && g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
      g_error_free(error);
      if (bytes) g_bytes_unref(bytes);
      return;
    }
    FetchResult result;
    if (error) {
      result.error = error->message;
      g_error_free(error);
    } else {
      guint status = soup_message_get_status(request->message);
      if (status == SOUP_STATUS_OK) {
        gsize size = 0;
        const char* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
        result.ok = true;
        result.body.assign(data ? data : "", size);
      } else {
        const char* reason = soup_message_get_reason_phrase(request->message);
        result.error = "bad server response: " + std::to_string(status);
        if (reason && *reason) result.error += std::string(" ") + reason;
      }
    }
    if (bytes) g_bytes_unref(bytes);
    request->done(std::move(result));
  }

  SoupSession* session_;
  GCancellable* cancellable_;
};

}  // namespace

std::unique_ptr<ListFetcher> makeHttpListFetcher() { return std::make_unique<HttpListFetcher>(); }

}  // namespace quillo
