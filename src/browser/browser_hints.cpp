// Link hints: asking every frame of the current page for what can be clicked, labelling it, and acting on the choice.
#include <algorithm>
#include <cmath>

#include "browser/browser.h"
#include "scripts/resources.h"

namespace quillo {
namespace {

// One frame's answer to the collecting script.
struct CollectedFrame {
  std::string token, url;
  const nlohmann::json* items = nullptr;
  const nlohmann::json* frames = nullptr;
  std::optional<std::pair<double, double>> offset;  // where it sits in the top viewport
};

double number(const nlohmann::json& value) { return value.is_number() ? value.get<double>() : 0.0; }

const char* modeName(Browser::HintAction action) { return action == Browser::HintAction::follow ? "follow" : "open"; }

}  // namespace

void Browser::startHints(HintAction action) {
  if (hints_) return endHints();
  // The tags are the page's: the palette gives way, as Escape would.
  if (chrome.isHeldOpen.get()) toggleBar();
  auto page = current();
  if (!page || page->isUnloaded()) return;
  const unsigned request = ++hintRequests_;
  hints_ = Hints{page, page->url.get(), action, {}, {}, {}, {}};
  // Switching tabs or navigating takes the tags away.
  hints_->watch = currentPageChanged.connect([this] {
    if (!hints_) return;
    auto shown = hints_->page.lock();
    if (!shown || shown != current() || shown->isUnloaded() || shown->url.get() != hints_->url) endHints();
  });
  hintsShown = true;
  std::weak_ptr<bool> alive = aliveToken_;
  const std::string script = std::string(scripts::resource("hints.js")) + "\nquilloHints.collect(" +
                             (action == HintAction::follow ? "false" : "true") + ")";
  page->webView().evaluateInEveryFrame(script, true,
                                       [this, alive, request](std::vector<nlohmann::json> frames, std::string) {
                                         if (!alive.expired()) hintsCollected(request, std::move(frames));
                                       });
}

void Browser::hintsCollected(unsigned request, std::vector<nlohmann::json> answers) {
  if (!hints_ || request != hintRequests_) return;
  auto page = hints_->page.lock();
  if (!page || page->isUnloaded()) return endHints();
  std::vector<CollectedFrame> frames;
  for (auto& answer : answers) {
    if (!answer.is_object() || !answer.contains("token") || !answer["items"].is_array()) continue;
    frames.push_back({answer["token"].get<std::string>(), answer.value("url", ""), &answer["items"],
                      answer["frames"].is_array() ? &answer["frames"] : nullptr, std::nullopt});
  }
  if (frames.empty()) return endHints();
  // Subframes report their own coordinates; each is placed by the frame
  // element its parent found for its address. The main frame comes first.
  frames.front().offset = std::pair{0.0, 0.0};
  for (bool placed = true; placed;) {
    placed = false;
    for (auto& parent : frames) {
      if (!parent.offset || !parent.frames) continue;
      for (auto& entry : *parent.frames) {
        if (!entry.is_array() || entry.size() < 3 || !entry[0].is_string()) continue;
        auto child = std::find_if(frames.begin(), frames.end(), [&](const CollectedFrame& frame) {
          return !frame.offset && frame.url == entry[0].get<std::string>();
        });
        if (child == frames.end()) continue;
        child->offset = std::pair{parent.offset->first + number(entry[1]), parent.offset->second + number(entry[2])};
        placed = true;
      }
    }
  }
  struct Found {
    double distance;
    size_t frame, index;
    std::string text;
  };
  std::vector<Found> found;
  for (size_t f = 0; f < frames.size(); ++f) {
    // A frame that could not be placed comes after the rest.
    auto [dx, dy] = frames[f].offset.value_or(std::pair{1e6, 1e6});
    size_t index = 0;
    for (auto& item : *frames[f].items) {
      if (item.is_array() && item.size() >= 3)
        found.push_back({std::hypot(dx + number(item[0]), dy + number(item[1])), f, index,
                         item[2].is_string() ? item[2].get<std::string>() : ""});
      ++index;
    }
  }
  if (found.empty()) {
    endHints();
    return show("Nothing to click in view");
  }
  std::stable_sort(found.begin(), found.end(), [](auto& a, auto& b) { return a.distance < b.distance; });
  auto labels = hintLabels(found.size());
  nlohmann::json byFrame = nlohmann::json::object();
  for (auto& frame : frames) byFrame[frame.token] = std::vector<std::string>(frame.items->size());
  for (size_t i = 0; i < found.size(); ++i) {
    auto& token = frames[found[i].frame].token;
    byFrame[token][found[i].index] = labels[i];
    hints_->targets.push_back({labels[i], std::move(found[i].text)});
    hints_->places.emplace_back(token, found[i].index);
  }
  page->webView().evaluateInEveryFrame("quilloHints.show(" + byFrame.dump() + ")", true,
                                       [](std::vector<nlohmann::json>, std::string) {});
  // Keys typed while the page was being asked count now.
  if (!hints_->typed.empty()) narrowHints();
}

void Browser::typeHint(const std::string& text) {
  if (!hints_) return;
  hints_->typed += text;
  if (!hints_->targets.empty()) narrowHints();
}

void Browser::eraseHint() {
  if (!hints_ || hints_->typed.empty()) return;
  auto& typed = hints_->typed;
  // One character, not one byte.
  size_t cut = typed.size() - 1;
  while (cut > 0 && (static_cast<unsigned char>(typed[cut]) & 0xC0) == 0x80) --cut;
  typed.erase(cut);
  if (!hints_->targets.empty()) narrowHints();
}

void Browser::chooseHint() {
  if (!hints_) return;
  auto matches = matchHints(hints_->targets, hints_->typed);
  if (matches.shown.empty()) return;
  actOnHint(matches.shown.front());
}

void Browser::narrowHints() {
  auto page = hints_->page.lock();
  if (!page || page->isUnloaded()) return endHints();
  auto matches = matchHints(hints_->targets, hints_->typed);
  if (matches.byLabel && matches.shown.size() == 1 && hints_->targets[matches.shown.front()].label == hints_->typed)
    return actOnHint(matches.shown.front());
  nlohmann::json byFrame = nlohmann::json::object();
  const size_t typed = matches.byLabel ? hints_->typed.size() : 0;
  for (auto& [token, index] : hints_->places)
    if (!byFrame.contains(token)) byFrame[token] = {{"typed", typed}, {"shown", nlohmann::json::array()}};
  for (size_t i : matches.shown) {
    auto& [token, index] = hints_->places[i];
    byFrame[token]["shown"].push_back(index);
  }
  page->webView().evaluateInEveryFrame("quilloHints.narrow(" + byFrame.dump() + ")", true,
                                       [](std::vector<nlohmann::json>, std::string) {});
}

void Browser::actOnHint(size_t index) {
  auto page = hints_->page.lock();
  const auto action = hints_->action;
  const auto [token, where] = hints_->places[index];
  hints_->watch.disconnect();
  hints_.reset();
  ++hintRequests_;
  hintsShown = false;
  if (!page || page->isUnloaded()) return;
  std::weak_ptr<bool> alive = aliveToken_;
  std::weak_ptr<Page> weak = page;
  const std::string script = "quilloHints.act(" + nlohmann::json(token).dump() + "," + std::to_string(where) + ",\"" +
                             modeName(action) + "\")";
  page->webView().evaluateInEveryFrame(script, true,
                                       [this, alive, weak, action](std::vector<nlohmann::json> answers, std::string) {
                                         auto page = weak.lock();
                                         if (alive.expired() || !page) return;
                                         for (auto& answer : answers) {
                                           if (!answer.is_object()) continue;
                                           const std::string kind = answer.value("kind", "");
                                           std::optional<Url> url;
                                           if (answer.contains("href") && answer["href"].is_string())
                                             url = Url::parse(answer["href"].get<std::string>());
                                           if (kind == "link" && url) {
                                             switch (action) {
                                               case HintAction::follow: page->load(*url); break;
                                               case HintAction::background:
                                                 if (page->openInBackground) page->openInBackground(*url);
                                                 break;
                                               case HintAction::beside: openBeside(page, *url); break;
                                               case HintAction::copy: copy(*url); break;
                                               case HintAction::download: page->webView().download(*url); break;
                                             }
                                           }
                                           // The keyboard goes to the page: a chosen field takes typing at once.
                                           if (action == HintAction::follow && page == current()) page->focus();
                                           return;
                                         }
                                       });
}

void Browser::endHints() {
  if (!hints_) return;
  auto page = hints_->page.lock();
  hints_->watch.disconnect();
  hints_.reset();
  ++hintRequests_;
  hintsShown = false;
  if (page && !page->isUnloaded())
    page->webView().evaluateInEveryFrame("globalThis.quilloHints?.clear()", true,
                                         [](std::vector<nlohmann::json>, std::string) {});
}

}  // namespace quillo
