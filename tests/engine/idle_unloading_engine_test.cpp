// Idle unloading on the real engine: typing in a cross-origin frame keeps a page, an unloaded page gives up its web
// process and comes back with its back/forward list; and a restart.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <set>

#include "core/session.h"
#include "engine/support/journey.h"

namespace quillo::test {
namespace {

using namespace std::chrono_literals;

// Live web processes descended from this program (through the sandbox's helpers).
std::set<int> webProcesses() {
  std::map<int, int> parentOf;
  std::set<int> web, ours;
  for (auto& entry : std::filesystem::directory_iterator("/proc")) {
    auto name = entry.path().filename().string();
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    std::string text = readFile(entry.path() / "stat");
    auto open = text.find('('), close = text.rfind(')');
    int parent = 0;
    char state = 0;
    if (open == std::string::npos || close == std::string::npos ||
        sscanf(text.c_str() + close + 2, "%c %d", &state, &parent) != 2 || state == 'Z')
      continue;
    parentOf[std::stoi(name)] = parent;
    if (text.compare(open + 1, 15, "WebKitWebProces") == 0) web.insert(std::stoi(name));
  }
  for (int pid : web)
    for (int p = pid; p > 1; p = parentOf.count(p) ? parentOf[p] : 0)
      if (p == getpid()) ours.insert(pid);
  return ours;
}

bool anyGone(const std::set<int>& before) {
  auto now = webProcesses();
  for (int pid : before)
    if (!now.count(pid)) return true;
  return false;
}

class IdleJourney : public Journey {
 protected:
  void SetUp() override {
    Journey::SetUp();
    if (IsSkipped()) return;
    framed.html("/form",
                "<!doctype html><title>inner</title><form><input id=name value='preset'>"
                "<input type=checkbox id=box><textarea id=notes>kept</textarea></form>"
                "<script>addEventListener('message', e => { if (e.data === 'focus') "
                "document.getElementById('name').focus(); });</script>");
    server.html("/outer",
                "<!doctype html><title>Outer page</title><iframe src='" + framed.url("/form") + "'></iframe>");
    server.html("/one", "<!doctype html><title>One</title><p>one</p>");
    server.html("/two", "<!doctype html><title>Two</title><p>two</p>");
  }
  void ageHidden(const PagePtr& page) { page->lastShown = std::chrono::system_clock::now() - 2h; }
  // What a script answers in each frame of the page, the main one first.
  std::vector<nlohmann::json> inEveryFrame(const PagePtr& page, const std::string& script) {
    std::optional<std::vector<nlohmann::json>> values;
    page->webView().evaluateInEveryFrame(
        script, false, [&](std::vector<nlohmann::json> results, std::string) { values = std::move(results); });
    waitFor([&] { return values.has_value(); });
    return values.value_or(std::vector<nlohmann::json>{});
  }
  std::optional<bool> askIdle(const PagePtr& page) {
    std::optional<bool> answer;
    page->isIdle([&](bool idle) { answer = idle; });
    waitFor([&] { return answer.has_value(); });
    return answer;
  }

  TestServer framed{"127.0.0.2"};
};

TEST_F(IdleJourney, TypingIntoAFrameKeepsThePageAndDefaultsDoNot) {
  auto outer = openPage("/outer");
  ASSERT_TRUE(waitFor([&] { return pageScript(outer, "frames.length") == "1"; }));
  auto plain = openPage("/one");
  key("ctrl+grave");
  ASSERT_TRUE(waitFor([&] { return browser->current() == outer && pageHasFocus(); }));
  ASSERT_EQ(askIdle(outer), std::optional<bool>(true)) << "a form holding only its defaults";
  ASSERT_TRUE(waitFor([&] {
    pageScript(outer, "frames[0].postMessage('focus', '*'); ''");  // again, until the frame listens
    return inEveryFrame(outer, "document.activeElement.id") == std::vector<nlohmann::json>{"", "name"};
  })) << "the field inside the frame has the keyboard";
  type("x");
  key("ctrl+grave");
  ASSERT_TRUE(waitFor([&] { return browser->current() == plain; }));
  ageHidden(outer);
  ASSERT_EQ(askIdle(outer), std::optional<bool>(false)) << "text typed into the cross-origin frame";
  browser->unloadIdlePages();
  runFor(500ms);
  EXPECT_FALSE(outer->isUnloaded());
}

TEST_F(IdleJourney, UnloadedPagesLetTheirProcessesGoAndComeBackWithTheirHistory) {
  auto page = openPage("/one");
  page->load(*Url::parse(url("/two")));
  ASSERT_TRUE(waitFor([&] { return page->title.get() == "Two"; }));
  auto second = openPage("/one");
  auto current = openPage("/one");
  ASSERT_TRUE(waitFor([&] { return webProcesses().size() >= 3; }));
  auto before = webProcesses();

  ageHidden(page);
  ageHidden(second);
  browser->unloadIdlePages();
  ASSERT_TRUE(waitFor([&] { return page->isUnloaded() && second->isUnloaded(); }));
  EXPECT_FALSE(current->isUnloaded());
  // WebKit may keep one emptied process as a spare; the two pages' processes cannot both stay.
  EXPECT_TRUE(waitFor([&] { return anyGone(before); }, 20s))
      << webProcesses().size() << " web processes, " << before.size() << " before";
  EXPECT_EQ(page->displayTitle(), "Two");

  browser->select(second);
  browser->select(current);
  key("ctrl+shift+grave");
  ASSERT_TRUE(waitFor([&] { return browser->current() == page && page->title.get() == "Two"; }));
  EXPECT_EQ(address(), url("/two"));
  ASSERT_TRUE(waitFor([&] { return page->canGoBack.get(); }));
  key("alt+Left");
  EXPECT_TRUE(waitFor([&] { return page->title.get() == "One" && address() == url("/one"); }));
  EXPECT_TRUE(waitFor([&] { return page->canGoForward.get(); }));
}

// Keys typed before the restored page is made stay in the field.
TEST_F(IdleJourney, ARestartShowsThePageAloneAndKeepsWhatWasTypedFirst) {
  openPage("/one");
  openPage("/two");
  ASSERT_TRUE(waitFor([&] { return Session::read().tabs.size() == 2; }, 5s));

  restart();
  ASSERT_TRUE(waitFor([&] { return !browser->isDeferringViews.get() && pageHasFocus(); }));
  EXPECT_TRUE(waitFor([&] { return address() == url("/two"); }));
  EXPECT_EQ(listOpenings, 0) << "the resting list came up over the restored page";
  EXPECT_EQ(browser->pages->front()->liveView(), nullptr) << "the hidden tab made no web view";

  restart(/*pagesWaitForTest=*/true);
  ASSERT_TRUE(waitFor([&] { return fieldHasFocus(); }));
  EXPECT_FALSE(listShown());
  type("one");
  ASSERT_TRUE(waitFor([&] { return rowShown(row("One")); }));
  browser->stopDeferringViews();
  ASSERT_TRUE(waitFor([&] { return browser->current()->liveView() != nullptr; }));
  EXPECT_TRUE(fieldHasFocus());
  EXPECT_EQ(fieldText().substr(0, 3), "one");
  EXPECT_TRUE(listShown());
}

}  // namespace
}  // namespace quillo::test
