// Site icons: ranking a page's declared icons, fetching them over the network, and caching one per host.
#include "page/icon_store.h"

#include <libsoup/soup.h>
#include <nlohmann/json.hpp>

#include <algorithm>

#include "core/text.h"
#include "page/page.h"

namespace quillo {

namespace {

constexpr guint kFetchTimeoutSeconds = 10;

bool endsWith(const std::string& text, const std::string& suffix) {
  return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

}  // namespace

bool IconLink::isSVG() const {
  return type.find("svg") != std::string::npos || sizes == "any" || endsWith(asciiLower(href), ".svg");
}

int IconLink::size() const {
  int largest = 0;
  size_t at = 0;
  while (at < sizes.size()) {
    size_t end = sizes.find(' ', at);
    if (end == std::string::npos) end = sizes.size();
    std::string entry = asciiLower(sizes.substr(at, end - at));
    size_t x = entry.find('x');
    if (x != std::string::npos && x > 0 && x + 1 < entry.size()) {
      auto digits = [](const std::string& s) { return std::all_of(s.begin(), s.end(), ::isdigit); };
      std::string width = entry.substr(0, x), height = entry.substr(x + 1);
      if (digits(width) && digits(height) && width.size() < 6) largest = std::max(largest, std::stoi(width));
    }
    at = end + 1;
  }
  return largest;
}

std::vector<Url> rankIcons(const std::vector<IconLink>& links, const Url& pageURL) {
  auto tier = [](const IconLink& link) {
    if (link.isSVG()) return 3;
    int size = link.size();
    if (size >= 32) return 0;
    return size == 0 ? 1 : 2;
  };
  std::vector<IconLink> ordered = links;
  std::stable_sort(ordered.begin(), ordered.end(), [&](const IconLink& a, const IconLink& b) {
    int ta = tier(a), tb = tier(b);
    if (ta != tb) return ta < tb;
    if (ta == 0) return a.size() < b.size();
    if (ta == 2) return a.size() > b.size();
    return false;  // as declared
  });
  std::vector<Url> candidates;
  for (const auto& link : ordered)
    if (auto url = Url::parse(link.href); url && (url->scheme() == "http" || url->scheme() == "https"))
      candidates.push_back(*url);
  std::string origin = pageURL.scheme() + "://" + pageURL.host();
  if (pageURL.port() >= 0) origin += ":" + std::to_string(pageURL.port());
  if (auto fallback = Url::parse(origin + "/favicon.ico")) candidates.push_back(*fallback);
  return candidates;
}

std::vector<IconLink> decodeIconLinks(const std::string& json) {
  auto list = nlohmann::json::parse(json, nullptr, false);
  std::vector<IconLink> links;
  if (!list.is_array()) return links;
  for (const auto& item : list) {
    if (!item.is_object()) continue;
    auto text = [&](const char* key) {
      auto found = item.find(key);
      return found != item.end() && found->is_string() ? found->get<std::string>() : std::string();
    };
    IconLink link{text("href"), text("sizes"), text("type")};
    if (!link.href.empty()) links.push_back(std::move(link));
  }
  return links;
}

// ---- SoupIconFetcher ----

SoupIconFetcher::SoupIconFetcher() {
  // A session of its own: no cookie jar, no cache, so icon fetches carry
  // nothing of the user's and leave nothing behind.
  session_ =
      soup_session_new_with_options("timeout", kFetchTimeoutSeconds, "idle-timeout", kFetchTimeoutSeconds, nullptr);
}

SoupIconFetcher::~SoupIconFetcher() {
  soup_session_abort(session_);
  g_object_unref(session_);
}

void SoupIconFetcher::fetch(const Url& url, std::function<void(int, Bytes)> done) {
  SoupMessage* message = soup_message_new("GET", url.str().c_str());
  if (!message) {
    done(0, {});
    return;
  }
  struct Fetch {
    std::function<void(int, Bytes)> done;
    SoupMessage* message;
  };
  auto* fetch = new Fetch{std::move(done), message};
  soup_session_send_and_read_async(
      session_, message, G_PRIORITY_LOW, nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        std::unique_ptr<Fetch> fetch(static_cast<Fetch*>(data));
        GError* error = nullptr;
        GBytes* body = soup_session_send_and_read_finish(SOUP_SESSION(source), result, &error);
        int status = body ? int(soup_message_get_status(fetch->message)) : 0;
        Bytes bytes;
        if (body) {
          gsize size = 0;
          auto* data = static_cast<const uint8_t*>(g_bytes_get_data(body, &size));
          bytes.assign(data, data + size);
          g_bytes_unref(body);
        }
        g_clear_error(&error);
        g_object_unref(fetch->message);
        fetch->done(status, std::move(bytes));
      },
      fetch);
}

// ---- IconStore ----

IconStore::IconStore(IconFetcher& fetcher, std::function<bool(const Bytes&)> isImage,
                     std::function<bool(std::string_view)> isTracker)
    : fetcher_(fetcher), isImage_(std::move(isImage)), isTracker_(std::move(isTracker)) {}

std::optional<Bytes> IconStore::cached(const std::string& host) const {
  auto found = icons_.find(host);
  if (found == icons_.end()) return std::nullopt;
  return found->second;
}

std::optional<Bytes> IconStore::pageIcon(const Page& page) const { return page.icon.get(); }

void IconStore::icon(const std::string& host, const std::vector<Url>& candidates,
                     std::function<void(std::optional<Bytes>)> done) {
  if (auto found = icons_.find(host); found != icons_.end()) {
    done(found->second);
    return;
  }
  if (misses_.count(host)) {
    done(std::nullopt);
    return;
  }
  auto& waiting = pending_[host];
  waiting.push_back(std::move(done));
  if (waiting.size() > 1) return;  // already being fetched
  tryNext(host, candidates, 0);
}

void IconStore::tryNext(const std::string& host, std::vector<Url> candidates, size_t index) {
  // Icons served by trackers are never asked for, whoever's page it is.
  while (index < candidates.size() && candidates[index].host() != host &&
         isTracker_(asciiLower(candidates[index].host())))
    ++index;
  if (index >= candidates.size()) {
    finish(host, std::nullopt);
    return;
  }
  std::weak_ptr<bool> alive = alive_;
  Url next = candidates[index];
  fetcher_.fetch(next, [this, alive, host, candidates = std::move(candidates), index](int status, Bytes body) {
    if (alive.expired()) return;
    if (status == 200 && !body.empty() && isImage_ && isImage_(body)) {
      finish(host, std::move(body));
      return;
    }
    tryNext(host, candidates, index + 1);
  });
}

void IconStore::finish(const std::string& host, std::optional<Bytes> image) {
  if (image)
    icons_[host] = *image;
  else
    misses_.insert(host);
  auto waiting = std::move(pending_[host]);
  pending_.erase(host);
  for (auto& done : waiting)
    if (done) done(image);
}

}  // namespace quillo
