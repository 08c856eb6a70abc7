// WebKitGTK downloads: choosing where each file goes and following it into the downloads list.
#pragma once
#include <webkit/webkit.h>

#include <memory>

namespace quillo {

class Downloads;

// Every download of the engine's network sessions goes into one downloads
// list: we choose its file before WebKit writes anything, and follow its
// progress and end. Downloads of ephemeral sessions are private. While no
// list is set, WebKit's own handling applies.
class WebKitDownloads {
 public:
  explicit WebKitDownloads(Downloads& downloads);
  ~WebKitDownloads();
  WebKitDownloads(const WebKitDownloads&) = delete;
  WebKitDownloads& operator=(const WebKitDownloads&) = delete;

  // Connects a session; the engine calls this for each session it makes.
  static void follow(WebKitNetworkSession* session);

  struct Receiver;

 private:
  std::shared_ptr<Receiver> receiver_;
};

}  // namespace quillo
