// The built-in tracker hosts, the block rules made from them, and the check whether a host is one.
#include "blocking/content_blocker.h"

namespace quillo::ContentBlocker {

const std::array<std::string_view, 42> domains = {
    // Advertising
    "doubleclick.net",
    "googlesyndication.com",
    "googleadservices.com",
    "adnxs.com",
    "criteo.com",
    "taboola.com",
    "outbrain.com",
    "amazon-adsystem.com",
    "pubmatic.com",
    "rubiconproject.com",
    "adsrvr.org",
    "casalemedia.com",
    "moatads.com",
    "ads.linkedin.com",
    "bat.bing.com",
    "connect.facebook.net",
    "static.ads-twitter.com",
    // Web analytics
    "google-analytics.com",
    "googletagmanager.com",
    "scorecardresearch.com",
    "quantserve.com",
    "chartbeat.com",
    "mixpanel.com",
    "api.segment.io",
    "cdn.segment.com",
    "amplitude.com",
    "analytics.tiktok.com",
    "nr-data.net",
    // Session recording
    "hotjar.com",
    "fullstory.com",
    "mouseflow.com",
    "crazyegg.com",
    "luckyorange.com",
    "clarity.ms",
    "inspectlet.com",
    // Audience data
    "bluekai.com",
    "krxd.net",
    "demdex.net",
    "exelator.com",
    "crwdcntrl.net",
    "rlcdn.com",
    "tapad.com",
};

std::string rulesJSON() {
  // Built by hand: the names are plain ASCII host names, so there is nothing
  // to escape beyond the regular-expression dots, and nothing can fail.
  std::string json = "[";
  for (size_t i = 0; i < domains.size(); ++i) {
    if (i) json += ',';
    json += R"({"trigger":{"url-filter":"^https?://([^/]+\\.)?)";
    for (char c : domains[i]) {
      if (c == '.') json += R"(\\)";
      json += c;
    }
    json += R"([:/]","load-type":["third-party"]},"action":{"type":"block"}})";
  }
  json += ']';
  return json;
}

bool isTracker(std::string_view host) {
  for (std::string_view domain : domains) {
    if (host.size() < domain.size() || host.substr(host.size() - domain.size()) != domain) continue;
    if (host.size() == domain.size() || host[host.size() - domain.size() - 1] == '.') return true;
  }
  return false;
}

}  // namespace quillo::ContentBlocker
