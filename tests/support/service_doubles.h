// Stand-ins for the desktop services and stores: downloads, logins, clipboard, alerts, app links, icons.
#pragma once
#include <algorithm>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/sources.h"
#include "core/url.h"
#include "page/app_links.h"
#include "page/icon_store.h"
#include "page/page.h"
#include "stores/downloads.h"

namespace quillo {
class Page;
}

namespace quillo::test {

struct TestDownload final : DownloadItem {
  TestDownload(std::string name, std::optional<Url> from, bool missing = false)
      : name(std::move(name)), from(std::move(from)), missing(missing) {}
  std::string filename() const override { return name; }
  std::optional<Url> source() const override { return from; }
  bool isMissing() const override { return missing; }
  std::string name;
  std::optional<Url> from;
  bool missing;
};

struct TestDownloads final : DownloadSource {
  std::vector<DownloadItemPtr> list;
  std::vector<DownloadItemPtr> revealed;
  std::vector<DownloadItemPtr> items() const override { return list; }
  void remove(const DownloadItemPtr& item) override {
    list.erase(std::remove(list.begin(), list.end(), item), list.end());
  }
  void reveal(const DownloadItemPtr& item) override { revealed.push_back(item); }
};

struct TestLogins final : LoginSource {
  std::vector<Login> list;
  int loads = 0;
  std::vector<Login> logins() const override { return list; }
  void load() override { loads++; }
  void fill(const Login&) override {}
};

struct TestClipboard final : Clipboard {
  std::vector<std::string> texts;
  void setText(const std::string& text) override { texts.push_back(text); }
};

// Records each question; the last one's answer waits in `answer`.
struct TestAlerts final : Alerts {
  std::vector<Alert> asked;
  std::function<void(size_t)> answer;
  void ask(const Alert& alert, std::function<void(size_t)> answered) override {
    asked.push_back(alert);
    answer = std::move(answered);
  }
};

// The question in front over a page, answered with `button` and the box
// ticked or not; what it asked ("none" when none showed).
inline Alert answerDialog(Page& page, size_t button, bool checked = false) {
  auto shown = page.dialog.get();
  if (!shown) return {"none", "", {}};
  Alert asked = *shown;
  page.answerDialog(shown, {button, checked});
  return asked;
}

// Apps for link schemes, and the "always allow" choices saved for sites.
struct TestAppLinks final : AppLinks {
  std::map<std::string, std::string> apps;  // scheme -> program
  std::map<std::pair<std::string, std::string>, bool> saved;
  std::vector<std::string> opened;
  std::optional<std::string> appName(const Url& url) override {
    auto found = apps.find(url.scheme());
    return found == apps.end() ? std::nullopt : std::optional<std::string>(found->second);
  }
  void open(const Url& url) override { opened.push_back(url.str()); }
  std::optional<bool> savedDecision(const std::string& site, const std::string& scheme) override {
    auto found = saved.find({site, scheme});
    return found == saved.end() ? std::nullopt : std::optional<bool>(found->second);
  }
  void saveAllowed(const std::string& site, const std::string& scheme) override { saved[{site, scheme}] = true; }
};

struct TestIcons final : IconSource {
  std::map<const Page*, Bytes> pages;
  std::map<std::string, Bytes> cached;
  std::optional<Bytes> pageIcon(const Page& page) const override {
    return pages.count(&page) ? std::optional(pages.at(&page)) : std::nullopt;
  }
  std::optional<Bytes> cachedIcon(const std::string& host) const override {
    return cached.count(host) ? std::optional(cached.at(host)) : std::nullopt;
  }
};

// Cancelling a running download is played out by the engine's tests.
struct TestJob final : DownloadJob {
  void cancel() override {}
};

struct TestDesktop final : DownloadsDesktop {
  std::vector<int> counts;
  std::vector<std::filesystem::path> arrived, revealed;
  void setRunningCount(int count) override { counts.push_back(count); }
  void fileArrived(const std::filesystem::path& file) override { arrived.push_back(file); }
  void reveal(const std::filesystem::path& file) override { revealed.push_back(file); }
};

// Icon fetches held until the test answers them, each by its address.
struct HeldFetcher final : IconFetcher {
  std::map<std::string, std::pair<int, Bytes>> answers;  // by address; others get 404
  std::vector<std::string> asked;
  std::deque<std::function<void()>> held;
  void fetch(const Url& url, std::function<void(int, Bytes)> done) override {
    asked.push_back(url.str());
    auto found = answers.find(url.str());
    auto answer = found == answers.end() ? std::make_pair(404, Bytes{}) : found->second;
    held.push_back([done, answer] { done(answer.first, answer.second); });
  }
  // Answers until nothing is left, the fetches the answers start included.
  void answerAll() {
    while (!held.empty()) {
      auto next = std::move(held.front());
      held.pop_front();
      next();
    }
  }
};

}  // namespace quillo::test
