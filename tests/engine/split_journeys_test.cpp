// Journeys through split view: made by clicks, "/split" and Alt on rows; the divider; the keyboard; a restart.
#include <cmath>

#include "engine/support/journey.h"
#include "page/webkit/webkit_view.h"

namespace quillo::test {
namespace {

using namespace std::chrono_literals;

class SplitJourney : public Journey {
 protected:
  void SetUp() override {
    Journey::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    server.html("/links.html",
                "<title>Links page</title><style>a{display:block;font-size:40px;margin:30px}</style>"
                "<a id=beta href='/beta.html'>To beta</a>");
  }
  Gtk::Widget& viewOf(const PagePtr& page) { return *Glib::wrap(dynamic_cast<WebKitView&>(page->webView()).widget()); }
  // Both pages on screen side by side, as wide as the ratio says.
  bool splitShown(const PagePtr& left, const PagePtr& right) {
    auto split = left->split.lock();
    if (!split || split->right != right || viewsShown() != 2) return false;
    const int total = window->pageArea().get_width();
    return shownWidth(left) == Split::leftWidth(total, split->ratio.get()) &&
           shownWidth(left) + Split::kDividerWidth + shownWidth(right) == total;
  }
  bool aloneOnScreen(const PagePtr& page) {
    return viewsShown() == 1 && shownWidth(page) == window->pageArea().get_width();
  }
  std::pair<double, double> linkCentre(const PagePtr& page) {
    auto text = pageScript(page,
                           "const r = document.getElementById('beta').getBoundingClientRect();"
                           "JSON.stringify([r.left + 40, r.top + r.height / 2])");
    auto point = nlohmann::json::parse(text, nullptr, false);
    EXPECT_TRUE(point.is_array()) << text;
    if (!point.is_array()) return {0, 0};
    return {point[0].get<double>(), point[1].get<double>()};
  }
  // Points at the link from elsewhere, so the page sees the pointer arrive, until the browser knows the link.
  bool hoverLink(const PagePtr& page, double x, double y) {
    pointTo(viewOf(page), x, y + 200);
    if (!waitFor([&] { return !page->hoveredLink; })) return false;
    pointTo(viewOf(page), x, y);
    return waitFor([&] { return page->hoveredLink && page->hoveredLink->str() == url("/beta.html"); });
  }
};

TEST_F(SplitJourney, ShiftClickOnALinkOpensItBesideAndCtrlShiftDoesNot) {
  // Ctrl+Shift is not Shift: no split, whatever else the click does.
  auto links = openPage("/links.html?ctrl-shift");
  auto [x, y] = linkCentre(links);
  const int asked = server.count("/beta.html");
  ASSERT_TRUE(hoverLink(links, x, y));
  click(viewOf(links), x, y, 1, "ctrl+shift");
  ASSERT_TRUE(waitFor([&] { return server.count("/beta.html") > asked; })) << "the click reached the page";
  EXPECT_TRUE(browser->splits.empty());
  EXPECT_EQ(viewsShown(), 1);

  links = openPage("/links.html?shift");
  const size_t tabs = browser->pages->size();
  ASSERT_TRUE(hoverLink(links, x, y));
  click(viewOf(links), x, y, 1, "shift");
  ASSERT_TRUE(waitFor([&] { return browser->splits.size() == 1; }));
  auto beside = browser->current();
  ASSERT_NE(beside, links);
  EXPECT_EQ(browser->pages->size(), tabs + 1);
  ASSERT_TRUE(waitLoaded(beside));
  EXPECT_EQ(address(), url("/beta.html"));
  EXPECT_EQ(links->savedURL()->str(), url("/links.html?shift")) << "the click was used up: the page stayed";
  EXPECT_TRUE(waitFor([&] { return splitShown(links, beside); }))
      << viewsShown() << " views, " << shownWidth(links) << " + " << shownWidth(beside);
  EXPECT_TRUE(waitFor([&] { return pageHasFocus(); })) << "the new side has the keyboard";

  // Shift+click on a link of the other side: the link opens beside that side.
  ASSERT_TRUE(hoverLink(links, x, y));
  click(viewOf(links), x, y, 1, "shift");
  ASSERT_TRUE(waitFor([&] {
    auto now = browser->current();
    return now != beside && now != links && splitShown(links, now) && !now->isLoading.get();
  }));
  EXPECT_TRUE(beside->split.expired()) << "the first page beside is an ordinary tab again";
  EXPECT_EQ(address(), url("/beta.html"));
  EXPECT_EQ(browser->pages->size(), tabs + 2);
}

TEST_F(SplitJourney, SplitFromThePaletteClicksCtrlTabAndCtrlW) {
  auto alpha = openPage("/alpha.html");
  auto beta = openPage("/beta.html");
  auto gamma = openPage("/gamma.html");

  auto startSplit = [&] {
    openPalette();
    type("/split");
    ASSERT_TRUE(waitFor([&] { return highlightIs("Split view: open something beside this page"); }));
    key("Return");
    ASSERT_TRUE(waitFor([&] { return browser->isChoosingSplitPartner.get() && fieldHasFocus() && listShown(); }));
  };
  startSplit();
  EXPECT_EQ(caption(), "Open beside this page · Esc to cancel");
  key("Escape");
  ASSERT_TRUE(waitFor([&] { return !listShown() && pageHasFocus(); }));
  EXPECT_TRUE(aloneOnScreen(gamma));

  startSplit();
  key("Down");
  ASSERT_TRUE(waitFor([&] { return highlightIs(row("Alpha page")); }));
  key("Return");
  ASSERT_TRUE(waitFor([&] { return splitShown(gamma, alpha) && !listShown(); }));
  EXPECT_TRUE(waitFor([&] { return browser->current() == alpha && pageHasFocus(); }));

  key("ctrl+e");
  ASSERT_TRUE(waitFor([&] { return listShown() && rowShown("Split: Gamma page and Alpha page"); }));
  EXPECT_TRUE(highlightIs(row("Alpha page"))) << "the current side is lit";
  EXPECT_EQ(viewsShown(), 2) << "the split stays under the palette";
  key("Escape");
  ASSERT_TRUE(waitFor([&] { return !listShown() && pageHasFocus(); }));

  // A click on a field of the other side gives it the keyboard.
  ASSERT_EQ(pageScript(gamma, "document.body.innerHTML += '<input id=typed style=\"position:fixed;inset:0\">'; 'ok'"),
            "ok");
  click(window->pageArea(), 100, 300);
  ASSERT_TRUE(waitFor([&] { return browser->current() == gamma && pageHasFocus(); }));
  EXPECT_EQ(window->get_title(), "Gamma page — Quillo") << "the title follows the current side";
  EXPECT_TRUE(splitShown(gamma, alpha)) << "nothing moves";
  // The page takes the click in its own time: type once the caret is in the field, as a user would.
  ASSERT_TRUE(waitFor([&] { return pageScript(gamma, "document.activeElement.id") == "typed"; }));
  type("left");
  EXPECT_TRUE(waitFor([&] { return pageScript(gamma, "document.getElementById('typed').value") == "left"; }))
      << "typing goes to the side that was clicked";

  key("ctrl+Tab");
  ASSERT_TRUE(waitFor([&] { return browser->current() == beta && aloneOnScreen(beta); }));
  key("ctrl+Tab");
  ASSERT_TRUE(waitFor([&] { return browser->current() == gamma && splitShown(gamma, alpha); }))
      << "back to the pair, at the side last used";

  // Ctrl+W on the right side: the left one is an ordinary tab again.
  click(window->pageArea(), window->pageArea().get_width() - 100, 300);
  ASSERT_TRUE(waitFor([&] { return browser->current() == alpha && pageHasFocus(); }));
  key("ctrl+w");
  ASSERT_TRUE(waitFor([&] { return browser->current() == gamma && aloneOnScreen(gamma); }));
  EXPECT_EQ(browser->pages->size(), 2u);
  EXPECT_TRUE(waitFor([&] { return pageHasFocus(); }));
}

TEST_F(SplitJourney, AltOnRowsTheDividerAndARestartKeepTheRatio) {
  auto alpha = openPage("/alpha.html");
  auto beta = openPage("/beta.html");
  auto gamma = openPage("/gamma.html");

  key("ctrl+e");
  type("alpha");
  key("Down");
  ASSERT_TRUE(waitFor([&] { return highlightIs(row("Alpha page")); }));
  key("alt+Return");
  ASSERT_TRUE(waitFor([&] { return splitShown(gamma, alpha) && !listShown(); }));

  // Alt+click on a row too: beta goes beside alpha, gamma is on its own again.
  key("ctrl+e");
  ASSERT_TRUE(waitFor([&] { return listShown() && rowShown(row("Beta page")); }));
  auto* betaRow = list->rowFor(PaletteItem::idOf(*beta));
  ASSERT_NE(betaRow, nullptr);
  ASSERT_TRUE(nextFrames(2));  // laid out where it will be clicked
  click(*betaRow, 60, betaRow->get_height() / 2.0, 1, "alt");
  ASSERT_TRUE(waitFor([&] { return splitShown(alpha, beta) && !listShown(); }));
  EXPECT_TRUE(gamma->split.expired());
  auto split = browser->splits.at(0);

  // The divider dragged to the far left stops at a fifth.
  auto& divider = window->pageArea().divider();
  const int total = window->pageArea().get_width();
  drag(divider, 3, 300, -double(divider.get_allocation().get_x()) + 2, 300);
  ASSERT_TRUE(waitFor([&] { return split->ratio.get() == Split::kMinRatio && splitShown(alpha, beta); }))
      << split->ratio.get();
  EXPECT_EQ(shownWidth(alpha), Split::leftWidth(total, 0.2));
  drag(divider, 3, 300, 0.3 * total - divider.get_allocation().get_x(), 300);
  ASSERT_TRUE(waitFor([&] { return std::abs(split->ratio.get() - 0.3) < 0.01 && splitShown(alpha, beta); }))
      << split->ratio.get();
  const double ratio = split->ratio.get();

  // The ratio reaches the session file on its own.
  ASSERT_TRUE(waitFor(
      [&] {
        auto saved = Session::read();
        for (auto& tab : saved.tabs)
          if (tab.splitIsLeft == std::optional<bool>(true)) return tab.splitRatio == std::optional<double>(ratio);
        return false;
      },
      5s));

  restart();
  ASSERT_EQ(browser->splits.size(), 1u);
  auto restored = browser->splits[0];
  EXPECT_DOUBLE_EQ(restored->ratio.get(), ratio);
  EXPECT_EQ(restored->left->savedURL()->str(), url("/alpha.html"));
  EXPECT_EQ(browser->current(), restored->right);
  ASSERT_TRUE(waitLoaded(restored->left) && waitLoaded(restored->right)) << "both sides load together";
  EXPECT_TRUE(waitFor([&] { return splitShown(restored->left, restored->right); }))
      << shownWidth(restored->left) << " + " << shownWidth(restored->right);
  EXPECT_EQ(browser->pages->size(), 3u);
}

TEST_F(SplitJourney, CtrlAltArrowsStepTheDividerCtrlAlt0CentresItAndTheSessionKeepsIt) {
  auto alpha = openPage("/alpha.html");
  auto beta = openPage("/beta.html");
  auto enabled = [&] { return window->lookup_action("divider-right")->get_enabled(); };
  EXPECT_FALSE(enabled()) << "greyed in the menu without a split";
  browser->select(alpha);
  browser->showBeside(beta);
  ASSERT_TRUE(waitFor([&] { return splitShown(alpha, beta) && pageHasFocus(); }));
  EXPECT_TRUE(enabled());
  ASSERT_EQ(
      pageScript(
          beta,
          "window.seen = 0; addEventListener('keydown', e => seen += e.key.startsWith('Arrow') || e.key == '0'); 'ok'"),
      "ok");
  auto savedRatio = [&] {
    for (auto& tab : Session::read().tabs)
      if (tab.splitIsLeft == std::optional<bool>(true)) return tab.splitRatio;
    return std::optional<double>();
  };

  key("ctrl+alt+Right ctrl+alt+Right");
  EXPECT_TRUE(waitFor([&] { return savedRatio() == std::optional<double>(0.6); }, 5s)) << savedRatio().value_or(-1);
  EXPECT_TRUE(waitFor([&] { return splitShown(alpha, beta); })) << "the panes follow";
  key("ctrl+alt+0");
  EXPECT_TRUE(waitFor([&] { return savedRatio() == std::optional<double>(0.5); }, 5s)) << savedRatio().value_or(-1);
  EXPECT_EQ(pageScript(beta, "String(seen)"), "0") << "the page never saw the keys";
}

}  // namespace
}  // namespace quillo::test
