// WebKitGTK downloads: choosing where each file goes and following it into the downloads list.
#include "stores/webkit/webkit_downloads.h"

#include "core/log.h"
#include "stores/downloads.h"

namespace quillo {

struct WebKitDownloads::Receiver {
  Downloads* downloads;
};

namespace {

// The list that receives downloads now; none while no one listens.
std::weak_ptr<WebKitDownloads::Receiver>& current() {
  static std::weak_ptr<WebKitDownloads::Receiver> receiver;
  return receiver;
}

class Job final : public DownloadJob {
 public:
  explicit Job(WebKitDownload* download) : download_(WEBKIT_DOWNLOAD(g_object_ref(download))) {}
  ~Job() override { g_object_unref(download_); }
  void cancel() override { webkit_download_cancel(download_); }

 private:
  WebKitDownload* download_;
};

// Kept on the download for its life.
struct Tracker {
  std::weak_ptr<WebKitDownloads::Receiver> receiver;
  Downloads::ItemPtr item;
  bool failed = false;

  Downloads* list() const {
    auto alive = receiver.lock();
    return alive ? alive->downloads : nullptr;
  }
};

Tracker* trackerOf(WebKitDownload* download) {
  return static_cast<Tracker*>(g_object_get_data(G_OBJECT(download), "quillo-download"));
}

gboolean decideDestination(WebKitDownload* download, const char* suggested, gpointer) {
  Tracker* tracker = trackerOf(download);
  Downloads* list = tracker ? tracker->list() : nullptr;
  if (!list) return FALSE;
  if (auto path = list->chooseDestination(tracker->item, suggested ? suggested : "")) {
    // The file is our own empty placeholder, made to claim the name.
    webkit_download_set_allow_overwrite(download, TRUE);
    webkit_download_set_destination(download, path->c_str());
  } else {
    tracker->failed = true;
    list->fail(tracker->item, "Couldn't save in " + list->folder().string(), false);
    webkit_download_cancel(download);
  }
  return TRUE;
}

void createdDestination(WebKitDownload* download, const char* destination, gpointer) {
  Tracker* tracker = trackerOf(download);
  Downloads* list = tracker ? tracker->list() : nullptr;
  if (!list || !destination) return;
  std::string path = destination;
  if (path.rfind("file:", 0) == 0) {
    char* local = g_filename_from_uri(destination, nullptr, nullptr);
    path = local ? local : "";
    g_free(local);
  }
  list->adoptDestination(tracker->item, path);
}

void receivedData(WebKitDownload* download, guint64, gpointer) {
  Tracker* tracker = trackerOf(download);
  if (Downloads* list = tracker ? tracker->list() : nullptr)
    list->progress(tracker->item, webkit_download_get_estimated_progress(download));
}

void failed(WebKitDownload* download, GError* error, gpointer) {
  Tracker* tracker = trackerOf(download);
  if (!tracker || tracker->failed) return;
  tracker->failed = true;
  bool cancelled =
      error && ((error->domain == WEBKIT_DOWNLOAD_ERROR && error->code == WEBKIT_DOWNLOAD_ERROR_CANCELLED_BY_USER) ||
                (error->domain == WEBKIT_NETWORK_ERROR && error->code == WEBKIT_NETWORK_ERROR_CANCELLED));
  if (Downloads* list = tracker->list())
    list->fail(tracker->item, error && error->message ? error->message : "", cancelled);
}

void finished(WebKitDownload* download, gpointer) {
  Tracker* tracker = trackerOf(download);
  // WebKit says finished after a failure too.
  if (!tracker || tracker->failed) return;
  if (Downloads* list = tracker->list()) list->finish(tracker->item);
}

void started(WebKitNetworkSession* session, WebKitDownload* download, gpointer) {
  auto receiver = current().lock();
  if (!receiver) return;
  std::optional<Url> source;
  if (WebKitURIRequest* request = webkit_download_get_request(download))
    if (const char* uri = webkit_uri_request_get_uri(request)) source = Url::parse(uri);
  auto* tracker = new Tracker{receiver, nullptr, false};
  tracker->item = receiver->downloads->start(std::make_shared<Job>(download), std::move(source),
                                             webkit_network_session_is_ephemeral(session));
  g_object_set_data_full(G_OBJECT(download), "quillo-download", tracker,
                         [](gpointer data) { delete static_cast<Tracker*>(data); });
  g_signal_connect(download, "decide-destination", G_CALLBACK(decideDestination), nullptr);
  g_signal_connect(download, "created-destination", G_CALLBACK(createdDestination), nullptr);
  g_signal_connect(download, "received-data", G_CALLBACK(receivedData), nullptr);
  g_signal_connect(download, "failed", G_CALLBACK(failed), nullptr);
  g_signal_connect(download, "finished", G_CALLBACK(finished), nullptr);
}

}  // namespace

WebKitDownloads::WebKitDownloads(Downloads& downloads) : receiver_(std::make_shared<Receiver>(Receiver{&downloads})) {
  current() = receiver_;
}

WebKitDownloads::~WebKitDownloads() {
  if (current().lock() == receiver_) current().reset();
}

void WebKitDownloads::follow(WebKitNetworkSession* session) {
  g_signal_connect(session, "download-started", G_CALLBACK(started), nullptr);
}

}  // namespace quillo
