// Reader mode: the page's article, extracted inside the page and typeset alone in a second view laid over it.
#include "features/reader.h"

#include "browser/browser.h"
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
  view.evaluate(
      std::string(extractionScript()), 0, true,
      [done = std::move(done)](std::optional<nlohmann::json> result, const std::string&) { done(decode(result)); });
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
    // The page's own web process draws it: none to start, so it comes up at once.
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
