// Filling a login the way a user does, by keys in the real window: the
// login scope lists the site's logins from the tests' stand-in for the
// 1Password tool, and Return fills the highlighted one into the page as
// typing would.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include "engine/support/engine_support.h"
#include "engine/support/journey.h"
#include "features/one_password_logins.h"
#include "palette/gtk/palette_view.h"
#include "support/fake_op.h"

namespace quillo::test {
namespace {

class LoginJourney : public Journey {
 protected:
  void SetUp() override {
    Journey::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    server.html("/login",
                "<!doctype html><title>Router sign-in</title><style>body{font:16px sans-serif;margin:40px}"
                "input{display:block;margin:8px 0;padding:6px;width:280px}</style><h1>Router</h1>"
                "<form action='/in'><label>User <input id=user name=username></label>"
                "<label>Password <input id=pass type=password name=password></label><button>Sign in</button></form>"
                "<script>window.seen = []; document.addEventListener('input', e => seen.push(e.target.id));"
                "document.addEventListener('change', e => seen.push('change:' + e.target.id));</script>");
    logins = std::make_unique<OnePasswordLogins>(*browser, tool);
    browser->attach(*logins);
    PaletteView::Services services;
    services.loginNotice = [this] { return logins->notice(); };
    list->setServices(services);
    page = browser->makePage(false);
    page->load(*Url::parse(server.url("/login")));
    browser->add(page, true);
    ASSERT_TRUE(waitFor([&] { return !page->isLoading.get() && page->title.get() == "Router sign-in"; }));
  }
  void TearDown() override {
    page.reset();
    logins.reset();  // it holds on to the browser
    Journey::TearDown();
  }

  std::string field(const std::string& id) { return pageScript(page, "document.getElementById('" + id + "').value"); }
  // Ctrl+E, "/login", Return: the scope opens with the keyboard in the field.
  void openLoginScope() {
    key("ctrl+e");
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
  EXPECT_FALSE(logins->notice());
  key("Down");
  ASSERT_TRUE(waitFor([&] { return browser->selectedResult.get() == std::optional<int>(1); }));
  key("Return");
  ASSERT_TRUE(waitFor([&] { return field("pass") == "b4ckup-p@ss"; })) << browser->flash.get().value_or("");
  EXPECT_EQ(field("user"), "backup");
  EXPECT_EQ(pageScript(page, "seen.join(' ')"), "user change:user pass change:pass") << "as typing would";
  EXPECT_EQ(pageScript(page, "[typeof quilloSet, typeof quilloFormInputs, typeof quillo].join()"),
            "undefined,undefined,undefined")
      << "the page sees none of the fill scripts";
  EXPECT_FALSE(browser->scope.get()) << "the palette closed";
  EXPECT_TRUE(pageHasFocus()) << "the keyboard is back in the page";
}

TEST_F(LoginJourney, TheToolsTroubleIsTheScopesNotice) {
  op.fail("[ERROR] account is not signed in\n");
  openLoginScope();
  ASSERT_TRUE(waitFor([&] { return listShows("[ERROR] account is not signed in"); }))
      << logins->notice().value_or("");
  key("Escape");
  EXPECT_TRUE(waitFor([&] { return !browser->scope.get(); }));
}

}  // namespace
}  // namespace quillo::test
