// Frame origins: which origins a view's frames show, and whom a JavaScript dialog names as asking.
#include "page/frame_origins.h"

#include <algorithm>
#include <cctype>

#include "core/text.h"
#include "core/url.h"

namespace quillo {

std::string FrameOrigins::origin(std::string_view text) {
  auto url = Url::parse(text);
  if (!url) return {};
  std::string scheme = asciiLower(url->scheme());
  if (scheme == "about") return {};
  if (!url->hasHost()) return scheme + ":" + std::string(text);  // opaque: only equal to itself
  std::string host = asciiLower(url->host());
  int port = url->port();
  return scheme + "://" + host + (port >= 0 ? ":" + std::to_string(port) : "");
}

void FrameOrigins::frameLoaded(uint64_t frameID, std::string_view url, bool isMainFrame) {
  std::string found = origin(url);
  if (isMainFrame) {
    subframes_.clear();
    mainOrigin_ = found;
    return;
  }
  if (found.empty())
    subframes_.erase(frameID);
  else
    subframes_[frameID] = found;
}

void FrameOrigins::frameGone(uint64_t frameID) { subframes_.erase(frameID); }

bool FrameOrigins::hasForeignFrames() const {
  return std::any_of(subframes_.begin(), subframes_.end(),
                     [this](const auto& frame) { return frame.second != mainOrigin_; });
}

std::string FrameOrigins::dialogHeading(std::string_view mainFrameURL) const {
  if (hasForeignFrames()) return "A frame on this page says";
  auto url = Url::parse(mainFrameURL);
  std::string host = url && url->hasHost() ? url->host() : std::string();
  return host.empty() ? "This page says" : host + " says";
}

}  // namespace quillo
