#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/app_support.h"
#include "core/browser.h"
#include "core/settings.h"
#include "stores/history.h"
#include "stores/permissions.h"
#include "support/fake_web_view.h"
#include "support/temp_home.h"
#include "support/virtual_scheduler.h"

namespace quillo {
// Readable failures: addresses print as their text.
inline void PrintTo(const Url& url, std::ostream* os) { *os << url.str(); }
}  // namespace quillo

namespace quillo::test {

// Stand-ins for the stores and services the palette reads, holding what a
// test puts in them and recording what the palette asked of them.
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

struct TestAlerts final : Alerts {
  std::vector<Alert> asked;
  std::function<void(size_t)> answer;
  void ask(const Alert& alert, std::function<void(size_t)> answered) override {
    asked.push_back(alert);
    answer = std::move(answered);
  }
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

// A browser on the fake engine and virtual time, in a temporary home, with
// every palette service attached.
class PaletteTest : public ::testing::Test {
 protected:
  PaletteTest() {
    scheduler.setWallNow(std::chrono::system_clock::from_time_t(1717200000));  // 2024-06-01
    browser = std::make_unique<Browser>(engine, scheduler);
    browser->settleBlockLists();
    browser->attach(permissions);
    browser->attach(downloads);
    browser->attach(logins);
    browser->attach(clipboard);
    browser->attach(alerts);
    browser->attach(icons);
    browser->attach(settings);
  }

  // Saves a decision for a host's permission named by its storage key.
  void decide(const std::string& host, const std::string& key, std::optional<PermissionDecision> decision) {
    auto permission = Permissions::parse(host, key);
    ASSERT_TRUE(permission) << key;
    permissions.set(decision, *permission);
  }

  static Url url(const std::string& text) {
    auto parsed = Url::parse(text);
    EXPECT_TRUE(parsed) << text;
    return parsed ? *parsed : *Url::parse("https://invalid.example/");
  }

  PagePtr open(const std::string& address, const std::string& title = "", bool showing = true,
               bool isPrivate = false) {
    if (!title.empty()) engine.titles[address] = title;
    auto page = browser->makePage(isPrivate);
    page->load(url(address));
    browser->add(page, showing);
    return page;
  }

  // A history of these entries, read from its file as at start-up.
  History& remember(const std::vector<HistoryEntry>& entries) {
    EXPECT_TRUE(AppSupport::writeAtomically(AppSupport::file("history.json"), encodeHistory(entries), "history.json"));
    history = std::make_unique<History>(scheduler);
    scheduler.waitForWorkers(1);
    EXPECT_TRUE(history->isLoaded());
    browser->attach(*history);
    return *history;
  }
  HistoryEntry entry(const std::string& address, const std::string& title, int64_t visits = 1,
                     double daysAgo = 1) const {
    return HistoryEntry{url(address), title, visits, toReferenceSeconds(scheduler.wallNow()) - daysAgo * 86400};
  }

  // What the field does with the query: the palette reads it as typed.
  void type(const std::string& text) { browser->query = text; }

  static std::string describe(const PaletteItem& item) {
    switch (item.kind()) {
      case PaletteItem::Kind::pin:
        return "pin:" + item.pin()->displayName();
      case PaletteItem::Kind::tab:
        return "tab:" + (*item.tab())->title.get();
      case PaletteItem::Kind::command:
        return "command:" + std::string(commands::info(*item.command()).rawValue);
      case PaletteItem::Kind::login:
        return "login:" + item.login()->title;
      case PaletteItem::Kind::history:
        return "history:" + item.history()->url.str();
      case PaletteItem::Kind::download:
        return "download:" + (*item.download())->filename();
      case PaletteItem::Kind::permission:
        return "permission:" + item.permission()->host + "/" + item.permission()->key();
    }
    return "?";
  }
  static std::vector<std::string> describe(const std::vector<PaletteItem>& items) {
    std::vector<std::string> out;
    for (auto& item : items) out.push_back(describe(item));
    return out;
  }
  std::vector<std::string> results() const { return describe(browser->results()); }
  std::vector<std::string> resting() const { return describe(browser->restingItems()); }

  // Pins a page opened at address and returns the new pin.
  Pin pinned(const std::string& address, const std::string& title) {
    auto page = open(address, title);
    browser->pin(page);
    EXPECT_FALSE(browser->pins->empty());
    return browser->pins->back();
  }

  using Strings = std::vector<std::string>;

  TempHome home;
  VirtualScheduler scheduler;
  FakeEngine engine;
  Settings settings{Settings::defaultFile()};
  Permissions permissions{nullptr, [](const std::string&) { return std::optional<std::string>(); }};
  TestDownloads downloads;
  TestLogins logins;
  TestClipboard clipboard;
  TestAlerts alerts;
  TestIcons icons;
  std::unique_ptr<History> history;
  std::unique_ptr<Browser> browser;
};

}  // namespace quillo::test
