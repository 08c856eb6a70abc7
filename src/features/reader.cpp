// Reader mode: the page's article, extracted inside the page and typeset alone in a second view laid over it.
#include "features/reader.h"

#include <set>
#include <vector>

#include "browser/browser.h"
#include "core/log.h"
#include "core/text.h"
#include "page/page.h"
#include "scripts/resources.h"

namespace quillo::Reader {

namespace {

// Fixed: the article brings no style of its own (the extraction drops every
// attribute that could carry one). The faces are the ones Linux desktops ship.
constexpr std::string_view kStyle = R"css(
:root {
  color-scheme: light dark;
  --text: #1d1d1f; --quiet: #6e6e73; --link: #0a66d1; --rule: #d2d2d7; --background: #fbfaf7;
}
@media (prefers-color-scheme: dark) {
  :root { --text: #e8e6e3; --quiet: #98989d; --link: #64a8ff; --rule: #3a3a3c; --background: #1c1c1e; }
}
html { background: var(--background); }
body {
  max-width: 680px; margin: 0 auto; padding: 56px 32px 96px;
  font: 20px/1.6 ui-serif, "Noto Serif", "DejaVu Serif", Georgia, serif;
  color: var(--text); background: var(--background);
  -webkit-font-smoothing: antialiased;
}
.site {
  font: 600 13px/1.4 system-ui, "Cantarell", "Noto Sans", "DejaVu Sans", sans-serif;
  letter-spacing: .02em; color: var(--quiet); margin: 0 0 12px;
}
h1.title { font-size: 36px; line-height: 1.2; margin: 0 0 32px; }
h1, h2, h3, h4, h5, h6 { line-height: 1.3; margin: 1.6em 0 .5em; }
h1.title { margin-top: 0; }
a { color: var(--link); text-decoration: none; }
a:hover { text-decoration: underline; }
img, video, picture { display: block; max-width: 100%; height: auto; margin: 1.2em auto; border-radius: 4px; }
figure { margin: 1.6em 0; }
figcaption { font: 14px/1.4 system-ui, "Cantarell", "Noto Sans", "DejaVu Sans", sans-serif; color: var(--quiet); margin-top: 6px; }
blockquote { margin-left: 0; padding-left: 20px; border-left: 3px solid var(--rule); color: var(--quiet); }
code, pre { font: 15px/1.5 ui-monospace, "Noto Sans Mono", "DejaVu Sans Mono", monospace; }
pre {
  overflow-x: auto; padding: 14px 16px; border-radius: 6px;
  background: color-mix(in srgb, var(--text) 6%, transparent);
}
table { border-collapse: collapse; width: 100%; font-size: 16px; }
th, td { border: 1px solid var(--rule); padding: 6px 8px; }
hr { border: 0; border-top: 1px solid var(--rule); margin: 2em 0; }
)css";

// Long enough for the first screens to be drawn on a slow machine.
constexpr Duration kRestDelay = std::chrono::milliseconds(100);

bool isString(const nlohmann::json& object, const char* key) {
  auto it = object.find(key);
  return it != object.end() && it->is_string();
}

}  // namespace

std::string_view extractionScript() { return scripts::resource("reader.js"); }

std::optional<Article> decode(const std::optional<nlohmann::json>& result) {
  if (!result || !result->is_string()) return std::nullopt;
  auto object = nlohmann::json::parse(result->get<std::string>(), nullptr, false);
  if (!object.is_object()) return std::nullopt;
  for (const char* key : {"title", "byline", "site", "html"})
    if (!isString(object, key)) return std::nullopt;
  return Article{object["title"], object["byline"], object["site"], object["html"]};
}

void article(WebViewPort& view, std::function<void(std::optional<Article>)> done) {
  view.evaluate(std::string(extractionScript()), 0, true,
                [done = std::move(done)](std::optional<nlohmann::json> result, const std::string& error) {
                  // A page that defeats the script is worth knowing of; a page without an article is not.
                  if (!error.empty()) logLine("reader: the article could not be read: " + error);
                  done(decode(result));
                });
}

std::pair<std::string, std::string> splitForFirstScreen(const std::string& html, size_t firstBytes) {
  // The markup comes from the engine's own serialisation: every element
  // that is not void is closed, and "<" in text is escaped, so tags can be
  // counted without a parser.
  static const std::set<std::string, std::less<>> kVoid = {"area",  "base", "br",   "col",    "embed", "hr", "img",
                                                           "input", "link", "meta", "source", "track", "wbr"};
  static const std::set<std::string, std::less<>> kPlain = {"div", "section", "article", "main"};
  std::vector<std::string> open;
  size_t plainOpen = 0;  // how many of the open elements are plain containers
  size_t at = 0;
  while ((at = html.find('<', at)) != std::string::npos) {
    if (at >= firstBytes && plainOpen == open.size()) return {html.substr(0, at), html.substr(at)};
    if (html.compare(at, 4, "<!--") == 0) {
      at = html.find("-->", at);
      if (at == std::string::npos) break;
      continue;
    }
    bool closing = at + 1 < html.size() && html[at + 1] == '/';
    size_t nameStart = at + (closing ? 2 : 1);
    size_t nameEnd = html.find_first_of(" \t\n/>", nameStart);
    if (nameEnd == std::string::npos) break;
    std::string name = asciiLower(html.substr(nameStart, nameEnd - nameStart));
    // The end of the tag, past quoted attribute values.
    char quote = 0;
    size_t end = nameEnd;
    for (; end < html.size(); ++end) {
      if (quote) {
        if (html[end] == quote) quote = 0;
      } else if (html[end] == '"' || html[end] == '\'') {
        quote = html[end];
      } else if (html[end] == '>') {
        break;
      }
    }
    if (end >= html.size()) break;
    if (closing) {
      if (open.empty() || open.back() != name) break;  // not what it seemed: keep it whole
      plainOpen -= kPlain.count(name);
      open.pop_back();
    } else if (!kVoid.count(name)) {
      open.push_back(name);
      plainOpen += kPlain.count(name);
    }
    at = end + 1;
  }
  return {html, ""};
}

std::string escape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string page(const Article& article) {
  std::string title = escape(article.title);
  std::string html;
  html.reserve(article.html.size() + kStyle.size() + 512);
  html += "<!doctype html><html><head><meta charset=\"utf-8\"><title>";
  html += title;
  html += "</title><meta http-equiv=\"Content-Security-Policy\" content=\"script-src 'none'\"><style>";
  html += kStyle;
  html += "</style></head><body>";
  std::string siteLine;
  for (const std::string* part : {&article.site, &article.byline}) {
    if (part->empty()) continue;
    if (!siteLine.empty()) siteLine += " \u00b7 ";
    siteLine += escape(*part);
  }
  if (!siteLine.empty()) html += "<p class=\"site\">" + siteLine + "</p>";
  html += "<h1 class=\"title\">" + title + "</h1>";
  html += article.html;
  html += "</body></html>";
  return html;
}

void Navigation::webViewDecideNavigation(const NavigationAction& action, PolicyAnswer answer) {
  if (!action.isLinkClick || !action.url) return answer(NavigationPolicy::allow);
  // A jump within the article: the reader's own address and a fragment.
  auto own = ownURL_ ? ownURL_() : std::nullopt;
  if (own && action.url->str().rfind(own->str() + "#", 0) == 0) return answer(NavigationPolicy::allow);
  answer(NavigationPolicy::cancel);
  if (onLink_) onLink_(*action.url);
}

void toggle(Browser& browser, const std::shared_ptr<Page>& page, std::function<void(bool)> done) {
  if (page->readerView.get()) {
    page->closeReader();
    return done(true);
  }
  // A failed load shows its error, not a page: there is nothing to read.
  if (page->loadError.get()) return done(false);
  std::weak_ptr<Page> weak = page;
  std::weak_ptr<bool> alive = browser.aliveToken();
  Browser* hub = &browser;
  article(page->webView(), [weak, alive, hub, done = std::move(done)](std::optional<Article> found) {
    auto page = weak.lock();
    if (!page || alive.expired()) return;
    if (!found) return done(false);
    // A second toggle that finished first already shows one.
    if (page->readerView.get()) return done(true);
    auto& view = page->webView();
    ViewConfiguration configuration;
    configuration.store = view.store();
    configuration.filters = hub->blockLists();
    configuration.javaScript = false;
    // In the page's web process: no process to start (a reader of its own
    // took 300-400 ms to come up on a site not read before, 200 ms here),
    // and no second process's memory while reading.
    configuration.sharesProcessWith = &view;
    std::shared_ptr<WebViewPort> reader = hub->engine().makeView(configuration);
    reader->setZoom(view.zoom());
    std::weak_ptr<WebViewPort> weakReader = reader;
    auto navigation = std::make_unique<Navigation>(
        [weakReader]() -> std::optional<Url> {
          auto shown = weakReader.lock();
          return shown ? shown->url() : std::nullopt;
        },
        [weak, hub, alive](const Url& url) {
          // Later, not inside the reader's own decision: closing drops the view deciding.
          if (alive.expired()) return;
          hub->scheduler().postFromAnyThread([weak, url] {
            auto page = weak.lock();
            if (!page) return;
            page->closeReader();
            page->load(url);
          });
        });
    reader->setEvents(navigation.get());
    // A long article comes in two steps, as a page from the network would:
    // the first screens are drawn before the rest is laid out below them.
    auto [first, rest] = splitForFirstScreen(found->html);
    if (!rest.empty()) {
      found->html = std::move(first);
      auto* events = navigation.get();
      navigation->onCommitted = [events, weakReader, hub, rest = std::move(rest)]() mutable {
        // Once: this closure goes as it is cleared, so everything it holds moves out first.
        auto* scheduler = &hub->scheduler();
        auto* owner = events;
        auto append = [weakReader, rest = std::move(rest)] {
          if (auto shown = weakReader.lock())
            shown->evaluate("document.body.insertAdjacentHTML('beforeend', " + nlohmann::json(rest).dump() + ")", 0,
                            true, [](std::optional<nlohmann::json>, std::string) {});
        };
        owner->onCommitted = nullptr;
        owner->pending = scheduler->after(kRestDelay, std::move(append));
      };
    }
    // Relative addresses in the article resolve as they did on the page.
    auto base = view.url();
    if (base) base = Url::parse(base->str().substr(0, base->str().find('#')));
    reader->loadHTML(Reader::page(*found), base);
    page->showReader(std::move(reader), std::move(navigation));
    done(true);
  });
}

void install(Browser& browser) {
  browser.features.toggleReader = [&browser](const std::shared_ptr<Page>& page, std::function<void(bool)> done) {
    toggle(browser, page, std::move(done));
  };
}

}  // namespace quillo::Reader
