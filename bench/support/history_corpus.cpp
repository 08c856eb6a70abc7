// Benchmark data: a realistic history (big sites, a long tail, several scripts) and typical queries.
#include "bench/support/history_corpus.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <random>
#include <string_view>

namespace quillo::bench {
namespace {

// Each site has a shape of address; the big sites come first and are picked
// far more often than the generated long tail.
enum class Shape { news, wiki, code, shop, search, video, forum, docs, blog };

struct Site {
  std::string host;
  Shape shape;
  std::string name;  // what titles end with
};

const std::vector<Site>& bigSites() {
  static const std::vector<Site> sites = {
      {"www.nytimes.com", Shape::news, "The New York Times"},
      {"www.theguardian.com", Shape::news, "The Guardian"},
      {"www.bbc.co.uk", Shape::news, "BBC News"},
      {"news.ycombinator.com", Shape::forum, "Hacker News"},
      {"en.wikipedia.org", Shape::wiki, "Wikipedia"},
      {"de.wikipedia.org", Shape::wiki, "Wikipedia"},
      {"github.com", Shape::code, "GitHub"},
      {"gitlab.com", Shape::code, "GitLab"},
      {"stackoverflow.com", Shape::forum, "Stack Overflow"},
      {"www.reddit.com", Shape::forum, "reddit"},
      {"www.amazon.com", Shape::shop, "Amazon.com"},
      {"www.ebay.com", Shape::shop, "eBay"},
      {"duckduckgo.com", Shape::search, "DuckDuckGo"},
      {"www.google.com", Shape::search, "Google Search"},
      {"www.youtube.com", Shape::video, "YouTube"},
      {"vimeo.com", Shape::video, "Vimeo"},
      {"docs.python.org", Shape::docs, "Python documentation"},
      {"developer.mozilla.org", Shape::docs, "MDN Web Docs"},
      {"en.cppreference.com", Shape::docs, "cppreference.com"},
      {"docs.gtk.org", Shape::docs, "GTK Documentation"},
      {"www.lemonde.fr", Shape::news, "Le Monde"},
      {"www.spiegel.de", Shape::news, "DER SPIEGEL"},
      {"lwn.net", Shape::news, "LWN.net"},
      {"medium.com", Shape::blog, "Medium"},
      {"www.nhk.or.jp", Shape::news, "NHK"},
  };
  return sites;
}

constexpr std::array<std::string_view, 96> kWords = {
    "rust",     "async",    "browser",     "linux",      "kernel",  "python",     "release",   "notes",    "climate",
    "election", "market",   "review",      "guide",      "how",     "to",         "install",   "debian",   "gtk",
    "webkit",   "memory",   "performance", "design",     "history", "search",     "privacy",   "tracker",  "security",
    "update",   "coffee",   "recipe",      "bread",      "garden",  "travel",     "berlin",    "paris",    "tokyo",
    "london",   "football", "league",      "final",      "science", "space",      "telescope", "mars",     "ocean",
    "energy",   "battery",  "electric",    "car",        "bike",    "music",      "album",     "concert",  "film",
    "trailer",  "series",   "season",      "episode",    "book",    "author",     "interview", "economy",  "inflation",
    "rates",    "housing",  "school",      "university", "health",  "sleep",      "running",   "keyboard", "monitor",
    "laptop",   "phone",    "camera",      "lens",       "photo",   "typescript", "compiler",  "database", "sqlite",
    "postgres", "json",     "parser",      "thread",     "queue",   "lambda",     "template",  "error",    "crash",
    "tutorial", "best",     "new",         "why",        "what",    "the"};

constexpr std::array<std::string_view, 12> kForeignTitles = {"Évolution du marché immobilier à Paris",
                                                             "Über die Geschichte der Stadt München",
                                                             "Новости науки и техники",
                                                             "東京の天気予報",
                                                             "Café com leite: receita fácil",
                                                             "Ελληνική κουζίνα για αρχάριους",
                                                             "Zürich: Öffnungszeiten der Bäder",
                                                             "Как выучить язык программирования",
                                                             "スペースシャトルの歴史",
                                                             "Señales de tráfico en España",
                                                             "ÇAĞDAŞ TÜRK EDEBİYATI",
                                                             "Ärzte warnen vor Hitzewelle"};

constexpr std::array<std::string_view, 24> kSyllables = {"ka",  "lo",  "mi",  "ter", "van", "bra", "zu",  "nex",
                                                         "pol", "rin", "sa",  "dor", "fi",  "gle", "hub", "ion",
                                                         "jet", "kor", "lum", "mo",  "nav", "ox",  "pix", "qui"};
constexpr std::array<std::string_view, 10> kTlds = {"com", "org",   "net", "io",  "de",
                                                    "fr",  "co.uk", "dev", "app", "blog"};

class Generator {
 public:
  Generator(uint32_t stream, double now) : random_(stream), now_(now) {
    // A long tail of small sites, some with "www.", some with a subdomain.
    for (int i = 0; i < 4000; ++i) {
      std::string name;
      int parts = 2 + int(random_() % 2);
      for (int p = 0; p < parts; ++p) name += kSyllables[random_() % kSyllables.size()];
      std::string host = name + "." + std::string(kTlds[random_() % kTlds.size()]);
      auto roll = random_() % 10;
      if (roll < 4)
        host = "www." + host;
      else if (roll == 4)
        host = "blog." + host;
      else if (roll == 5)
        host = "shop." + host;
      auto shape = static_cast<Shape>(random_() % 9);
      name[0] = char(name[0] - 'a' + 'A');
      tail_.push_back({host, shape, name});
    }
  }

  HistoryEntry next() {
    const Site& site = pickSite();
    std::string title = makeTitle(site);
    std::string url = "https://" + site.host + makePath(site);
    auto parsed = Url::parse(url);
    HistoryEntry entry{*parsed, title, visits(), lastVisited()};
    if (random_() % 33 == 0) entry.title.clear();  // pages that never reported a title
    return entry;
  }

 private:
  const Site& pickSite() {
    // Roughly half of all addresses are on the big sites, weighted towards
    // the first ones.
    if (random_() % 2 == 0) {
      std::geometric_distribution<int> which(0.15);
      return bigSites()[std::size_t(which(random_)) % bigSites().size()];
    }
    return tail_[random_() % tail_.size()];
  }

  std::string_view word() { return kWords[random_() % kWords.size()]; }

  std::string phrase(int count, char separator) {
    std::string out;
    for (int i = 0; i < count; ++i) {
      if (i) out += separator;
      out += word();
    }
    return out;
  }

  std::string makeTitle(const Site& site) {
    std::string text;
    if (random_() % 30 == 0)
      text = std::string(kForeignTitles[random_() % kForeignTitles.size()]);
    else
      text = phrase(2 + int(random_() % 6), ' ');
    text[0] = char(std::toupper(static_cast<unsigned char>(text[0])));
    return text + " - " + site.name;
  }

  std::string number(int digits) {
    std::string out;
    for (int i = 0; i < digits; ++i) out += char('0' + random_() % 10);
    return out;
  }

  std::string makePath(const Site& site) {
    // A serial number keeps every address unique, as real article ids do.
    std::string id = std::to_string(++serial_);
    switch (site.shape) {
      case Shape::news:
        return "/" + std::to_string(2022 + random_() % 3) + "/" + number(2) + "/" + number(2) + "/" +
               phrase(3 + int(random_() % 4), '-') + "-" + id + ".html";
      case Shape::wiki: {
        std::string page = phrase(1 + int(random_() % 3), '_');
        page[0] = char(std::toupper(static_cast<unsigned char>(page[0])));
        return "/wiki/" + page + "_(" + id + ")";
      }
      case Shape::code:
        return "/" + std::string(word()) + id + "/" + std::string(word()) + "/" +
               (random_() % 2 ? "issues/" : "pull/") + number(4);
      case Shape::shop: return "/dp/B0" + id + "?ref=sr_1_" + number(1) + "&keywords=" + phrase(2, '+');
      case Shape::search: return "/search?q=" + phrase(1 + int(random_() % 4), '+') + "&t=" + id;
      case Shape::video: return "/watch?v=" + number(3) + id + "&list=PL" + number(6);
      case Shape::forum:
        return random_() % 2 ? "/item?id=" + number(4) + id : "/questions/" + id + "/" + phrase(4, '-');
      case Shape::docs: return "/3/library/" + std::string(word()) + ".html?v" + id + "#" + std::string(word());
      case Shape::blog: return "/posts/" + phrase(3, '-') + "-" + id;
    }
    return "/" + id;
  }

  int64_t visits() {
    // Most pages are seen once; a few are returned to again and again.
    std::uniform_real_distribution<double> u(0.0, 1.0);
    double v = std::pow(1.0 - u(random_), -1.0 / 1.2);
    return int64_t(std::min(v, 5000.0));
  }

  double lastVisited() {
    // Recent days are denser than last year.
    std::exponential_distribution<double> ageDays(1.0 / 90.0);
    double age = std::min(ageDays(random_), 730.0);
    return now_ - age * 86400.0;
  }

  std::mt19937 random_;
  double now_;
  std::vector<Site> tail_;
  uint64_t serial_ = 0;
};

}  // namespace

std::vector<HistoryEntry> realisticHistory(std::size_t count, uint32_t stream, double nowReferenceSeconds) {
  Generator generator(stream, nowReferenceSeconds);
  std::vector<HistoryEntry> entries;
  entries.reserve(count);
  for (std::size_t i = 0; i < count; ++i) entries.push_back(generator.next());
  return entries;
}

std::vector<std::string> typicalQueries() {
  return {"github.com/rust",       "news.ycombinator.com/item",
          "wikipedia berlin",      "nytimes election",
          "how to install debian", "stackoverflow async rust",
          "youtube concert",       "docs.python.org/3/lib",
          "www.theguardian.com",   "kalo",
          "climate energy",        "Новости"};
}

}  // namespace quillo::bench
