// Importing from other browsers: finding their profiles, reading one off the main thread, and merging it in.
#include <cmath>
#include <mutex>
#include <thread>

#include "browser/browser.h"
#include "stores/history.h"

namespace quillo {

// Shared with worker threads, which may finish after the browser is gone.
struct Browser::WorkerLink {
  std::mutex mutex;
  Scheduler* scheduler = nullptr;  // null once the browser is gone

  void post(std::function<void()> work) {
    std::lock_guard lock(mutex);
    if (scheduler) scheduler->postFromAnyThread(std::move(work));
  }
};

namespace {
std::shared_ptr<bool> alive(const std::weak_ptr<bool>& token) { return token.lock(); }
}  // namespace

void Browser::findImportSources() {
  importSources = std::nullopt;
  auto link = workers_;
  std::weak_ptr<bool> token = aliveToken_;
  std::thread([this, link, token] {
    auto found = std::make_shared<std::vector<ImportSource>>(quillo::findImportSources());
    // A profile that cannot be counted is still offered: importing it says why.
    for (auto& source : *found) countImportSource(source);
    link->post([this, token, found] {
      if (alive(token)) importSources = std::move(*found);
    });
  }).detach();
}

void Browser::importFrom(const ImportSource& source, std::function<void(const ImportResult&)> done) {
  if (isImporting.get()) {
    if (done) done(ImportResult{0, 0, "An import is already under way"});
    return;
  }
  isImporting = true;
  const std::string from = source.browser;
  show("Importing from " + from + "… 0 %");
  auto link = workers_;
  std::weak_ptr<bool> token = aliveToken_;
  std::thread([this, link, token, source, from, done = std::move(done)] {
    auto progress = [this, link, token, from](double fraction) {
      int percent = int(std::floor(fraction * 100));
      link->post([this, token, from, percent] {
        if (alive(token) && isImporting.get()) show("Importing from " + from + "… " + std::to_string(percent) + " %");
      });
    };
    auto read = std::make_shared<std::variant<ImportedData, std::string>>(readImportSource(source, progress));
    link->post([this, token, from, read, done] {
      if (!alive(token)) return;
      ImportResult result;
      if (auto* error = std::get_if<std::string>(&*read)) {
        result.error = *error;
        show(*error, true);
      } else {
        auto& data = std::get<ImportedData>(*read);
        // Everything at once, so each file is written once and a failed
        // read above has changed nothing.
        std::vector<Pin> edited = pins.get();
        result.pins = addToolbarPins(edited, data.bookmarks);
        if (result.pins) {
          // Like pinning by hand: while every pin is numbered, new ones are too.
          int numbered = quickPinCount.get();
          if (numbered == int(pins->size())) quickPinCount = std::min(kMaxQuickPins, numbered + int(result.pins));
          pins = std::move(edited);
        }
        result.pages = data.pages.size();
        auto finished = [this, token, from, result, done](std::size_t) {
          if (!alive(token)) return;
          show(importedSummary(result.pages, result.pins, from));
          isImporting = false;
          if (done) done(result);
        };
        if (history_)
          history_->merge(importedHistory(std::move(data)), finished);
        else
          finished(0);
        return;
      }
      isImporting = false;
      if (done) done(result);
    });
  }).detach();
}

void Browser::linkWorkers() {
  workers_ = std::make_shared<WorkerLink>();
  workers_->scheduler = &scheduler_;
}

void Browser::unlinkWorkers() {
  std::lock_guard lock(workers_->mutex);
  workers_->scheduler = nullptr;
}

}  // namespace quillo
