// The page's floating video: which frames show videos, floating the main one or bringing it back, and where the
// keyboard goes meanwhile.
#include <algorithm>

#include "page/page.h"
#include "scripts/resources.h"

namespace quillo {

namespace {

// The float script, given the address of the iframe to float in its stead
// (none: a video of the frame itself), or only bringing a floated one back.
std::string floatScript(const std::optional<std::string>& frameURL, bool returning = false) {
  nlohmann::json argument = frameURL ? nlohmann::json(*frameURL) : nlohmann::json(nullptr);
  return "(" + std::string(scripts::resource("float-video.js")) + ")(" + argument.dump() + ", " +
         (returning ? "true" : "false") + ")";
}

bool answered(const std::optional<nlohmann::json>& result, const char* word) {
  return result && result->is_string() && result->get<std::string>() == word;
}

}  // namespace

void Page::noteVideoFrame(uint64_t frame, const std::string& frameURL) {
  // A frame reloaded at the same address replaces its entry: each address is asked once.
  std::erase_if(videoFrames, [&](const VideoFrame& known) { return known.key == frameURL || known.frame == frame; });
  videoFrames.push_back({frameURL, frame});
}

void Page::togglePictureInPicture(std::function<void(bool)> done) {
  if (videoFloats.get()) {
    stopFloating();
    return done(true);
  }
  if (!webView_) return done(false);
  std::vector<uint64_t> frames{0};
  for (const auto& known : videoFrames) frames.push_back(known.frame);
  floatFrom(std::move(frames), 0, std::move(done));
}

// Asks one frame after another, never two at once, until one floats a video.
void Page::floatFrom(std::vector<uint64_t> frames, size_t next, std::function<void(bool)> done) {
  if (next >= frames.size() || !webView_) return done(false);
  const uint64_t frame = frames[next];
  std::weak_ptr<Page> weak = weak_from_this();
  webView_->evaluate(floatScript(std::nullopt), frame, true,
                     [weak, frames = std::move(frames), next, frame, done = std::move(done)](
                         std::optional<nlohmann::json> result, std::string) mutable {
                       auto page = weak.lock();
                       if (!page) return;
                       // A video still floated by a document the page lost track of came back: done.
                       if (answered(result, "returned")) return done(true);
                       if (!answered(result, "floated"))
                         return page->floatFrom(std::move(frames), next + 1, std::move(done));
                       page->floatedFrame_ = frame;
                       if (frame != 0) {
                         // The frame's video fills the frame; its iframe must fill the view.
                         auto found = std::find_if(page->videoFrames.begin(), page->videoFrames.end(),
                                                   [frame](const VideoFrame& known) { return known.frame == frame; });
                         if (found != page->videoFrames.end() && page->webView_)
                           page->webView_->evaluate(floatScript(found->key), 0, true, [](auto, auto) {});
                       }
                       page->videoFloats = true;
                       done(true);
                     });
}

void Page::focus() {
  if (dialog.get())
    focusDialog.emit();
  else if (auto& reader = readerView.get())
    reader->focus();
  else if (videoFloats.get())
    focusPlaceholder.emit();
  else
    webView().focus();
}

void Page::stopFloating() {
  if (!videoFloats.get()) return;
  if (webView_) {
    auto ignore = [](std::optional<nlohmann::json>, std::string) {};
    webView_->evaluate(floatScript(std::nullopt, true), floatedFrame_, true, ignore);
    if (floatedFrame_ != 0) webView_->evaluate(floatScript(std::nullopt, true), 0, true, ignore);
  }
  floatedFrame_ = 0;
  videoFloats = false;
}

}  // namespace quillo
