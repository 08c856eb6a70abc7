// The fixture of the browser model's tests: a Browser on the fake engine with every service attached.
#pragma once
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "browser/browser.h"
#include "core/app_support.h"
#include "core/settings.h"
#include "stores/history.h"
#include "stores/permissions.h"
#include "support/fake_web_view.h"
#include "support/service_doubles.h"
#include "support/temp_home.h"
#include "support/virtual_scheduler.h"

namespace quillo {
// Readable failures: addresses print as their text.
inline void PrintTo(const Url& url, std::ostream* os) { *os << url.str(); }
}  // namespace quillo

namespace quillo::test {

// A session of plain tabs at these addresses, recent in tab order.
inline Session sessionOf(const std::vector<std::string>& addresses) {
  Session session;
  for (const auto& address : addresses) {
    Session::Tab tab;
    tab.url = *Url::parse(address);
    session.recent.push_back(session.tabs.size());
    session.tabs.push_back(tab);
  }
  return session;
}

// Block lists already in, so pages load at once.
class BrowserTest : public ::testing::Test {
 protected:
  using Strings = std::vector<std::string>;

  BrowserTest() {
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

  static Url url(const std::string& text) {
    auto parsed = Url::parse(text);
    EXPECT_TRUE(parsed) << text;
    return parsed ? *parsed : *Url::parse("https://invalid.example/");
  }
  PagePtr open(const std::string& address, const std::string& title = "", bool showing = true, bool isPrivate = false) {
    if (!title.empty()) engine.titles[address] = title;
    auto page = browser->makePage(isPrivate);
    page->load(url(address));
    browser->add(page, showing);
    return page;
  }
  Pin pinned(const std::string& address, const std::string& title) {
    browser->pin(open(address, title));
    EXPECT_FALSE(browser->pins->empty());
    return browser->pins->back();
  }
  static FakeWebView& view(const PagePtr& page) { return static_cast<FakeWebView&>(page->webView()); }

  void decide(const std::string& host, const std::string& key, std::optional<PermissionDecision> decision) {
    auto permission = Permissions::parse(host, key);
    ASSERT_TRUE(permission) << key;
    permissions.set(decision, *permission);
  }
  // Read from its file, as at start-up.
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

  void type(const std::string& text) { browser->query = text; }
  static std::string describe(const PaletteItem& item) {
    switch (item.kind()) {
      case PaletteItem::Kind::pin: return "pin:" + item.pin()->displayName();
      case PaletteItem::Kind::tab: return "tab:" + (*item.tab())->title.get();
      case PaletteItem::Kind::command: return "command:" + std::string(commands::info(*item.command()).rawValue);
      case PaletteItem::Kind::login: return "login:" + item.login()->title;
      case PaletteItem::Kind::history: return "history:" + item.history()->url.str();
      case PaletteItem::Kind::download: return "download:" + (*item.download())->filename();
      case PaletteItem::Kind::permission:
        return "permission:" + item.permission()->host + "/" + item.permission()->key();
      case PaletteItem::Kind::importSource: return "import:" + item.importSource()->title();
    }
    return "?";
  }
  static Strings describe(const std::vector<PaletteItem>& items) {
    Strings out;
    for (auto& item : items) out.push_back(describe(item));
    return out;
  }
  Strings results() const { return describe(browser->results()); }

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
