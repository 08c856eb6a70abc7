// The rows the palette's list is drawn from: section headings, notices, the quick divider, the resting layout.
#include "palette/palette_list.h"

#include "browser/split.h"
#include "support/browser_test.h"

namespace quillo::test {
namespace {

class PaletteListTest : public BrowserTest {
 protected:
  std::vector<PaletteList::Entry> entries(const PaletteList::Extras& extras = {}) const {
    return PaletteList::build(*browser, extras);
  }
  // Each entry as a short line: "Tabs> tab:A" starts a section, "  tab:B"
  // continues it, the rest say what they are.
  Strings outline(const PaletteList::Extras& extras = {}) const {
    using E = PaletteList::Entry;
    Strings lines;
    for (auto& entry : entries(extras)) {
      if (auto* start = entry.as<E::SectionStart>()) {
        lines.push_back(start->heading + "> " + describe(start->item));
      } else if (auto* item = entry.as<E::Item>()) {
        lines.push_back("  " + describe(item->item));
      } else if (auto* grid = entry.as<E::PinGrid>()) {
        std::string line = "grid:";
        for (auto& pin : grid->pins) line += " " + pin.displayName();
        lines.push_back(line);
      } else if (auto* notice = entry.as<E::Notice>()) {
        lines.push_back("notice: " + notice->text);
      } else if (auto* split = entry.as<E::SplitGroup>()) {
        lines.push_back("split: " + split->left->title.get() + " | " + split->right->title.get());
      } else if (auto* download = entry.as<E::Download>()) {
        lines.push_back("download: " + download->item->filename());
      } else {
        lines.push_back(entry.as<E::QuickDivider>() ? "quick divider" : "divider");
      }
    }
    return lines;
  }
};

TEST_F(PaletteListTest, CommandListIsGroupedIntoThisPageTabsAndQuillo) {
  type("/");
  auto list = entries();
  ASSERT_EQ(list.size(), 21u) << "one entry per command, headings ride on the first of each section";
  EXPECT_EQ(list[20].resultIndex(), 20);
  EXPECT_EQ(list[20].id(), browser->results()[20].id()) << "a row is known by its item";
  Strings starts;
  for (auto& line : outline())
    if (line[0] != ' ') starts.push_back(line);
  EXPECT_EQ(starts, (Strings{"This page> command:login", "Tabs> command:reopen", "Quillo> command:pins"}));

  // Where other programs' keys cannot be heard, the list says how to summon Quillo anyway.
  browser->chrome.hearsOnlyItsWindow = true;
  EXPECT_EQ(outline().back(), std::string("notice: ") + PaletteList::kCtrlInsideOnly);
}

TEST_F(PaletteListTest, PermissionsAreGroupedBySiteAndAnEmptyScopeExplainsItself) {
  type("nothing like it");
  EXPECT_EQ(outline(), Strings{"notice: No matches"});
  browser->enter(PaletteCommand::permissions);  // the window shows its notice with nothing asked yet
  type("zzz");
  EXPECT_EQ(outline(), Strings{"notice: No sites match"});
  decide("meet.example", "camera", PermissionDecision::allow);
  decide("meet.example", "microphone", PermissionDecision::block);
  decide("chat.example", "notifications", PermissionDecision::allow);
  type("");
  EXPECT_EQ(outline(),
            (Strings{"chat.example> permission:chat.example/notifications",
                     "meet.example> permission:meet.example/camera", "  permission:meet.example/microphone"}));

  using Empty = std::tuple<PaletteCommand, std::string, std::string>;  // scope, nothing yet, nothing matches
  for (auto& [scope, nothing, noMatch] :
       {Empty{PaletteCommand::downloads, "Nothing downloaded yet", "No downloads match"},
        Empty{PaletteCommand::pins, "No pins yet · Ctrl+D pins the page you are on", "No pins match"}}) {
    SCOPED_TRACE(nothing);
    browser->leaveScope();
    browser->enter(scope);
    EXPECT_EQ(outline(), Strings{"notice: " + nothing});
    type("report");
    EXPECT_EQ(outline(), Strings{"notice: " + noMatch});
  }

  browser->leaveScope();
  browser->enter(PaletteCommand::login);
  EXPECT_EQ(outline(), Strings{"notice: Open a site first, then use /login there."});
  open("https://www.bank.example/login", "Bank");
  EXPECT_EQ(outline(), Strings{"notice: No logins in 1Password for bank.example"});
  PaletteList::Extras asking;
  asking.loginNotice = "Asking 1Password…";
  EXPECT_EQ(outline(asking), Strings{"notice: Asking 1Password…"}) << "the login source knows better";
}

TEST_F(PaletteListTest, QuickDividerSitsAfterTheNumberedPinsAndSaysHowMany) {
  EXPECT_EQ(PaletteList::quickDividerText(1), "Ctrl+1 above · pins below show only when you search")
      << "one numbered pin is no range (the window shows a range)";

  for (auto name : {"One", "Two", "Three"}) pinned("https://" + std::string(name) + ".example/", name);
  browser->enter(PaletteCommand::pins);
  browser->quickPinCount = 0;
  EXPECT_EQ(outline(), (Strings{"quick divider", "Pins> pin:One", "  pin:Two", "  pin:Three"}))
      << "with nothing numbered the divider sits above every pin";
  browser->quickPinCount = 9;
  EXPECT_EQ(outline().back(), "quick divider") << "more numbers than pins: all are above";

  type("th");
  EXPECT_EQ(outline(), (Strings{"Pins> pin:Three"})) << "a search has no divider";
}

TEST_F(PaletteListTest, RestingListHasTheGridOpenPinsTabsWithSplitsAndThisSessionsDownloads) {
  for (int i = 1; i <= 3; ++i) pinned("https://pin" + std::to_string(i) + ".example/", "Pin " + std::to_string(i));
  auto a = open("https://a.example/", "A");
  auto b = open("https://b.example/", "B");
  auto c = open("https://c.example/", "C");
  for (auto& pin : browser->pins.get()) browser->close(browser->pinnedPages.at(pin.id));
  browser->quickPinCount = 2;
  // A split of C and A keeps them adjacent, in the order of whichever comes
  // first in the tab order.
  auto split = std::make_shared<Split>(c, a, 0.5);
  a->split = split;
  c->split = split;
  browser->splits.push_back(split);
  type("");
  EXPECT_EQ(describe(browser->restingItems()), (Strings{"pin:Pin 1", "pin:Pin 2", "tab:A", "tab:C", "tab:B"}))
      << "an unnumbered pin shows at rest only while open";

  browser->livePage(browser->pins.get()[2]);
  EXPECT_EQ(outline(), (Strings{"grid: Pin 1 Pin 2", "  pin:Pin 3", "split: C | A", "  tab:B", "divider"}));
  for (auto& entry : entries()) EXPECT_EQ(entry.resultIndex(), std::nullopt) << "resting rows are not results";

  PaletteList::Extras extras;
  extras.sessionDownloads = {std::make_shared<TestDownload>("report.pdf", url("https://a.example/report.pdf")),
                             std::make_shared<TestDownload>("song.mp3", std::nullopt)};
  auto lines = outline(extras);
  EXPECT_EQ(Strings(lines.end() - 4, lines.end()),
            (Strings{"divider", "download: report.pdf", "download: song.mp3", "divider"}));

  // Identities are stable and distinct, so the views can keep their rows.
  auto list = entries(extras);
  for (size_t i = 0; i < list.size(); ++i)
    for (size_t j = i + 1; j < list.size(); ++j) EXPECT_NE(list[i].id(), list[j].id()) << i << " and " << j;
  EXPECT_EQ(list[2].id(), PaletteItem::idOf(*c)) << "a split row is known by its left page";
}

}  // namespace
}  // namespace quillo::test
