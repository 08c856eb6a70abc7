// Logins filled by the real engine, in the main frame and cross-origin frames, with the stand-in for 1Password's tool.
#include <gtest/gtest.h>

#include "browser/browser.h"
#include "engine/support/journey.h"
#include "features/one_password_logins.h"
#include "page/webkit/webkit_engine.h"
#include "palette/gtk/palette_view.h"
#include "support/fake_op.h"

namespace quillo::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kLoginForm =
    "<form action='/signed-in'><input id=user name=username><input id=pass type=password>"
    "<button>Sign in</button></form>";

const Login kFramed{"fr3q7x2mk5w8pv4nz6rj2cb4ya", "Framed shop", std::nullopt, {"127.0.0.2"}};
const Login kCamera{"cm5x8q2wk3p7vz4nr6jt2db4ua", "Camera", std::nullopt, {"127.0.0.1"}};

class LoginForms : public ::testing::Test {
 protected:
  LoginForms() {
    ensureGtk();
    browser.settleBlockLists();
    browser.attach(logins);
  }
  ~LoginForms() override {
    while (!browser.pages->empty()) browser.close(browser.pages->front());
    runFor(50ms);
  }

  PagePtr open(const std::string& address) {
    auto page = browser.makePage(false);
    page->load(mustParse(address));
    browser.add(page, true);
    EXPECT_TRUE(runUntil([&] { return page->url.get() && !page->isLoading.get(); }));
    return page;
  }

  // A field's value as the page itself sees it, in a frame (0: the main one).
  std::string value(const PagePtr& page, const std::string& id, uint64_t frame = 0) {
    return evaluateText(page->webView(), "document.getElementById('" + id + "').value", frame);
  }
  std::string flash() const { return browser.flash.get().value_or(""); }

  uint64_t loginFrame(const PagePtr& page) {
    uint64_t found = 0;
    EXPECT_TRUE(runUntil([&] {
      for (const auto& [id, frame] : page->formFrames)
        if (frame.hasLogin) found = id;
      return found != 0;
    })) << "the frame reported its form";
    return found;
  }

  FakeOp op;
  GLibScheduler scheduler;
  Browser browser{sharedEngine(), scheduler};
  OnePassword::Tool tool{scheduler};
  OnePasswordLogins logins{browser, tool};
  TestServer top;
  TestServer other{"127.0.0.2"};
};

TEST_F(LoginForms, FillsALoginInACrossOriginFrameAndNowhereElse) {
  other.html("/frame", std::string("<!doctype html><title>framed</title>") + kLoginForm);
  top.html("/host", std::string("<!doctype html><title>host</title>") + kLoginForm + "<iframe src='" +
                        other.url("/frame") + "'></iframe>");
  auto page = open(top.url("/host"));
  uint64_t frame = loginFrame(page);
  ASSERT_NE(frame, 0u);
  EXPECT_EQ(page->formFrames[frame].host, "127.0.0.2");
  EXPECT_FALSE(page->formFrames[frame].hasCode);

  browser.enter(PaletteCommand::login);
  ASSERT_TRUE(runUntil([&] { return logins.logins().size() == 4; })) << "the frame's site adds its login";
  logins.fill(kFramed);
  ASSERT_TRUE(runUntil([&] { return value(page, "pass", frame) == "fr@med"; })) << flash();
  EXPECT_EQ(value(page, "user", frame), "frame-user");
  EXPECT_EQ(value(page, "user"), "") << "the top page is another site: it gets nothing";
  EXPECT_EQ(value(page, "pass"), "");
}

TEST_F(LoginForms, FindsANamedCodeFieldAndSixSingleCharacterBoxes) {
  top.html("/named",
           "<!doctype html><title>Code</title><input id=code autocomplete=one-time-code name=c>"
           "<input type=email id=mail>");
  top.html(
      "/boxes", "<!doctype html><title>Code</title><input id=find type=search>" + [] {
        std::string boxes;
        for (int i = 0; i < 6; ++i) boxes += "<input maxlength=1 id=b" + std::to_string(i) + ">";
        return boxes;
      }());

  auto ask = [&](const PagePtr& page, std::optional<std::string> code) {
    std::optional<bool> answer;
    page->oneTimeCodeField(code, 0, "127.0.0.1", [&](bool found) { answer = found; });
    EXPECT_TRUE(runUntil([&] { return answer.has_value(); }));
    return answer.value_or(false);
  };
  auto named = open(top.url("/named"));
  EXPECT_TRUE(ask(named, "123456"));
  EXPECT_EQ(value(named, "code"), "123456");
  EXPECT_EQ(value(named, "mail"), "");

  // Filling a login whose item has a code, on a page that asks for the code.
  auto boxes = open(top.url("/boxes"));
  logins.fill(kCamera);
  ASSERT_TRUE(runUntil([&] { return value(boxes, "b5") == "4"; })) << flash();
  std::string typed;
  for (int i = 0; i < 6; ++i) typed += value(boxes, "b" + std::to_string(i));
  EXPECT_EQ(typed, "615204");
  EXPECT_EQ(value(boxes, "find"), "");
}

// Filling a login by keys in the real window.
class LoginJourney : public Journey {
 protected:
  void SetUp() override {
    Journey::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    server.html("/login",
                "<!doctype html><title>Router sign-in</title>"
                "<form action='/find'><input id=usersearch name=q placeholder='Search users'></form>"
                "<form action='/in'><label>User <input id=user "
                "name=username></label>"
                "<label>Password <input id=pass type=password name=password></label><button>Sign in</button></form>"
                "<script>window.seen = []; document.addEventListener('input', e => seen.push(e.target.id));"
                "document.addEventListener('change', e => seen.push('change:' + e.target.id));</script>");
    logins = std::make_unique<OnePasswordLogins>(*browser, tool);
    browser->attach(*logins);
    PaletteView::Services services;
    services.loginNotice = [this] { return logins->notice(); };
    list->setServices(services);
    page = openPage("/login");
  }
  void TearDown() override {
    page.reset();
    logins.reset();  // it holds on to the browser
    Journey::TearDown();
  }

  std::string field(const std::string& id) { return pageScript(page, "document.getElementById('" + id + "').value"); }
  void openLoginScope() {
    openPalette();
    type("/login");
    ASSERT_TRUE(waitFor([&] { return browser->query.get() == "/login"; })) << browser->query.get();
    key("Return");
    ASSERT_TRUE(waitFor([&] { return browser->isChoosingLogin() && fieldHasFocus(); }));
  }
  bool listShows(const std::string& notice) {
    if (!listShown()) return false;
    for (const auto& entry : list->entries())
      if (auto* shown = entry.as<PaletteList::Entry::Notice>(); shown && shown->text == notice) return true;
    return false;
  }

  FakeOp op;
  OnePassword::Tool tool{scheduler};
  std::unique_ptr<OnePasswordLogins> logins;
  PagePtr page;
};

TEST_F(LoginJourney, DownAndReturnFillTheSecondLoginIntoThePage) {
  openLoginScope();
  ASSERT_TRUE(waitFor([&] { return browser->results().size() == 3 && list->rows().size() >= 3; }))
      << logins->notice().value_or("");
  key("Down");
  ASSERT_TRUE(waitFor([&] { return browser->selectedResult.get() == std::optional<int>(1); }));
  key("Return");
  ASSERT_TRUE(waitFor([&] { return field("pass") == "b4ckup-p@ss"; })) << browser->flash.get().value_or("");
  EXPECT_EQ(field("user"), "backup");
  EXPECT_EQ(pageScript(page, "seen.join(' ')"), "user change:user pass change:pass")
      << "as typing would, past the search box before the form";
  EXPECT_EQ(pageScript(page, "[typeof quilloSet, typeof quilloFormInputs, typeof quillo].join()"),
            "undefined,undefined,undefined")
      << "the page sees none of the fill scripts";
  EXPECT_FALSE(browser->scope.get()) << "the palette closed";
  EXPECT_TRUE(pageHasFocus()) << "the keyboard is back in the page";
}

TEST_F(LoginJourney, TheToolsTroubleIsTheScopesNotice) {
  op.fail("[ERROR] account is not signed in\n");
  openLoginScope();
  ASSERT_TRUE(waitFor([&] { return listShows("[ERROR] account is not signed in"); })) << logins->notice().value_or("");
  key("Escape");
  EXPECT_TRUE(waitFor([&] { return !browser->scope.get(); }));
}

}  // namespace
}  // namespace quillo::test
