// Reader mode: the page's article, extracted inside the page and typeset alone in a second view laid over it.
#pragma once
#include <nlohmann/json.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/scheduler.h"
#include "core/url.h"
#include "page/web_view_port.h"

namespace quillo {
class Browser;
class Page;
}  // namespace quillo

namespace quillo::Reader {

struct Article {
  std::string title;
  std::string byline;  // at most 120 characters, possibly empty
  std::string site;    // possibly empty
  std::string html;    // the cleaned body, already safe to show
  bool operator==(const Article&) const = default;
};

// The extraction script: one expression whose value is the article as JSON
// text, or null when the page has none.
std::string_view extractionScript();
// The script's result decoded: none unless it is JSON text of an object
// holding all four fields as strings.
std::optional<Article> decode(const std::optional<nlohmann::json>& result);
// Extracts the article of the view's main frame, in the "quillo" world
// where the page's own scripts cannot see or change the extraction.
void article(WebViewPort& view, std::function<void(std::optional<Article>)> done);

// A long article split in two: the first part, of at least `firstBytes`,
// ends where only plain containers (div, section, article, main) are open,
// so the rest appended at the end of the body looks as if it had been there
// all along. The rest is empty when the article is short or has no such place.
std::pair<std::string, std::string> splitForFirstScreen(const std::string& html, size_t firstBytes = 32 * 1024);

// Text made safe for HTML text and attribute values.
std::string escape(std::string_view text);
// The whole document the reader view shows.
std::string page(const Article& article);

// The reader view's navigation decisions: a jump within the article
// scrolls; any other link click is cancelled and handed to `onLink`.
class Navigation final : public WebViewEvents {
 public:
  Navigation(std::function<std::optional<Url>()> ownURL, std::function<void(const Url&)> onLink)
      : ownURL_(std::move(ownURL)), onLink_(std::move(onLink)) {}
  // Called when the reader's document has committed.
  std::function<void()> onCommitted;
  // Work to do for the reader later; cancelled when it closes.
  TaskHandle pending;

  void webViewDecideNavigation(const NavigationAction& action, PolicyAnswer answer) override;
  // The reader shows no windows a page asks for and saves nothing.
  bool webViewOpenedWindow(std::unique_ptr<WebViewPort>) override { return false; }
  NavigationPolicy webViewDecideResponse(const NavigationResponse&) override { return NavigationPolicy::allow; }
  void webViewStateChanged() override {}
  void webViewCommitted() override {
    if (onCommitted) onCommitted();
  }
  void webViewAudioChanged() override {}
  void webViewMessage(const FrameMessage&) override {}
  void webViewClosed() override {}
  void webViewNeedsAttention() override {}
  void webViewCrashed() override {}

 private:
  std::function<std::optional<Url>()> ownURL_;
  std::function<void(const Url&)> onLink_;
};

// Turns reader mode on for the page, or off when it is on. `done` hears
// false only when there was no article; it is not called once the page or
// the browser is gone.
void toggle(Browser& browser, const std::shared_ptr<Page>& page, std::function<void(bool shown)> done);
// Gives the browser's reader command and keys this feature.
void install(Browser& browser);

}  // namespace quillo::Reader
