#pragma once
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/browser.h"
#include "support/fake_web_view.h"
#include "support/temp_home.h"
#include "support/virtual_scheduler.h"

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

// A browser on the fake engine, with virtual time, its own XDG folders and
// the block lists already in.
class BrowserTest : public ::testing::Test {
 protected:
  BrowserTest() : browser(engine, scheduler) { browser.settleBlockLists(); }

  PagePtr open(const std::string& address, bool showing = true, bool isPrivate = false) {
    auto page = browser.makePage(isPrivate);
    page->load(*Url::parse(address));
    browser.add(page, showing);
    return page;
  }
  // The page's view, made if it has none.
  static FakeWebView& view(const PagePtr& page) { return static_cast<FakeWebView&>(page->webView()); }

  TempHome home;
  VirtualScheduler scheduler;
  FakeEngine engine;
  Browser browser;
};

}  // namespace quillo::test
