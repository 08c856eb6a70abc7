// Site icons: ranking a page's declared icons, fetching them over the network, and caching one per host.
#pragma once
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/sources.h"
#include "core/url.h"

typedef struct _SoupSession SoupSession;

namespace quillo {

// One icon a page declares, as the icon-link script reports it.
struct IconLink {
  std::string href;
  std::string sizes;
  std::string type;

  // SVG, or declared for any size: the image loader may not draw it.
  bool isSVG() const;
  // The largest width among the "WxH" entries of sizes; 0 when none reads.
  int size() const;
};

// The addresses to try for a page's icon, best first: the smallest bitmap
// of at least 32 pixels, then bitmaps of unknown size as declared, then
// smaller ones largest first, then SVG; and last the site's "/favicon.ico".
std::vector<Url> rankIcons(const std::vector<IconLink>& links, const Url& pageURL);

// Reads the icon-link script's answer; anything unreadable is no links.
std::vector<IconLink> decodeIconLinks(const std::string& json);

// Gets icon files from the network.
class IconFetcher {
 public:
  virtual ~IconFetcher() = default;
  // Calls back on the main loop with the HTTP status (0 when there was no
  // answer) and the body.
  virtual void fetch(const Url& url, std::function<void(int status, Bytes body)> done) = 0;
};

// Fetches with its own session: nothing cached, no cookies sent or kept,
// 10 s to answer.
class SoupIconFetcher final : public IconFetcher {
 public:
  SoupIconFetcher();
  ~SoupIconFetcher() override;
  SoupIconFetcher(const SoupIconFetcher&) = delete;
  SoupIconFetcher& operator=(const SoupIconFetcher&) = delete;
  void fetch(const Url& url, std::function<void(int, Bytes)> done) override;

 private:
  SoupSession* session_;
};

// Site icons found this run, one per host, shared by all pages. A host is
// fetched once however many pages ask; one without a usable icon is not
// tried again until the next run. Main thread only.
class IconStore final : public IconSource {
 public:
  // `isImage` says whether bytes decode as an image the views can draw;
  // `isTracker` whether a host (lower case) serves trackers, never asked.
  IconStore(IconFetcher& fetcher, std::function<bool(const Bytes&)> isImage,
            std::function<bool(std::string_view host)> isTracker);

  std::optional<Bytes> cached(const std::string& host) const;
  // The host's icon: cached, else the first candidate that gives an image.
  // Trackers' addresses are never fetched. Calls back on the main loop
  // (at once when the answer is known).
  void icon(const std::string& host, const std::vector<Url>& candidates,
            std::function<void(std::optional<Bytes>)> done);

  // IconSource
  std::optional<Bytes> pageIcon(const Page& page) const override;
  std::optional<Bytes> cachedIcon(const std::string& host) const override { return cached(host); }

 private:
  void tryNext(const std::string& host, std::vector<Url> candidates, size_t index);
  void finish(const std::string& host, std::optional<Bytes> image);

  IconFetcher& fetcher_;
  std::function<bool(const Bytes&)> isImage_;
  std::function<bool(std::string_view)> isTracker_;
  std::map<std::string, Bytes> icons_;
  std::set<std::string> misses_;
  // Hosts being fetched, with everyone waiting for them.
  std::map<std::string, std::vector<std::function<void(std::optional<Bytes>)>>> pending_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace quillo
