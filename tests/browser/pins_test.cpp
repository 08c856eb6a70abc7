// Pins: numbering, live pages, order, the two-step delete, and the file.
#include <fstream>

#include "core/log.h"
#include "support/browser_test.h"

namespace quillo::test {
namespace {

using Pins = BrowserTest;

std::string readText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

TEST_F(Pins, PinningMovesATabIntoASavedRestoredPinButPrivateTabsAreRefused) {
  auto secret = open("https://secret.example/", "Secret", true, true);
  browser->pin(secret);
  EXPECT_EQ(browser->flash.get(), "Private tabs can't be pinned");
  EXPECT_FALSE(browser->flashIsError.get()) << "a plain message";
  EXPECT_FALSE(std::filesystem::exists(home.data("pins.json")));
  browser->close(secret);

  auto page = open("https://git.example/repo", "Repo");
  page->customName = "My repo";
  icons.pages[page.get()] = Bytes{0xff, 0x00, 0x10};
  browser->pin(page);
  ASSERT_EQ(browser->pins->size(), 1u);
  const auto pin = browser->pins.get()[0];
  EXPECT_EQ(pin.customName, "My repo");
  EXPECT_TRUE(browser->pages->empty()) << "a pinned page is not a tab";
  EXPECT_EQ(browser->pinnedPages.at(pin.id), page);
  EXPECT_EQ(page->customName.get(), std::nullopt) << "the name lives in the pin now";
  EXPECT_EQ(browser->current(), page) << "still on screen";

  pinned("https://site.example/", "Site");
  auto json = nlohmann::json::parse(readText(home.data("pins.json")));
  ASSERT_EQ(json.size(), 2u);
  EXPECT_EQ(json[0]["iconData"], "/wAQ");
  EXPECT_FALSE(json[1].contains("customName")) << "absent values are left out";
  EXPECT_EQ(decodePins(json), browser->pins.get()) << "every change is saved";

  Browser restarted(engine, scheduler);
  restarted.loadPins();
  EXPECT_EQ(restarted.pins.get(), browser->pins.get());  // the page icon test sees a stored icon come back

  browser->unpin(Pin(pin));
  EXPECT_EQ(browser->pins->size(), 1u);
  ASSERT_EQ(browser->pages->size(), 1u);
  EXPECT_EQ(page->customName.get(), "My repo") << "the tab comes back with the pin's name";
  EXPECT_EQ(browser->pinIcons.count(pin.id), 0u);
}

TEST_F(Pins, NewPinsAreNumberedOnlyWhileEveryPinIsAndTheCountIsStoredClamped) {
  EXPECT_EQ(browser->quickPinCount.get(), 9) << "never stored: nine";
  for (auto& [stored, read] : std::vector<std::pair<nlohmann::json, int>>{{14, 9}, {-3, 0}, {"four", 9}}) {
    settings.set("QuickPinCount", stored);
    Browser restarted(engine, scheduler);
    restarted.attach(settings);
    EXPECT_EQ(restarted.quickPinCount.get(), read) << stored << ": not an integer leaves the default";
  }

  browser->quickPinCount = 0;
  for (int i = 0; i < 3; ++i) pinned("https://p" + std::to_string(i) + ".example/", "P");
  EXPECT_EQ(settings.integer("QuickPinCount"), 3) << "numbered as made, and every change is stored";

  browser->quickPinCount = 2;
  pinned("https://p3.example/", "P");
  EXPECT_EQ(browser->quickPinCount.get(), 2) << "the fourth pin is not numbered";

  browser->quickPinCount = 4;
  for (int i = 4; i < 11; ++i) pinned("https://p" + std::to_string(i) + ".example/", "P");
  EXPECT_EQ(browser->quickPinCount.get(), 9) << "never more than nine";

  browser->unpin(browser->pins.get()[10]);
  EXPECT_EQ(browser->quickPinCount.get(), 9) << "unpinning an unnumbered pin keeps the count";
  browser->unpin(browser->pins.get()[0]);
  EXPECT_EQ(browser->quickPinCount.get(), 8);
}

TEST_F(Pins, OpeningByNumberOnlyReachesNumberedPins) {
  std::vector<Pin> made;
  for (int i = 1; i <= 4; ++i) made.push_back(pinned("https://p" + std::to_string(i) + ".example/", "P"));
  for (auto& pin : made) browser->close(browser->pinnedPages.at(pin.id));
  browser->quickPinCount = 3;
  auto tab = open("https://tab.example/", "Tab");
  size_t views = engine.views().size();

  browser->openPin(5);
  browser->openPin(4);
  browser->openPin(0);
  EXPECT_EQ(browser->current(), tab) << "Ctrl+4 and Ctrl+5 do nothing with three numbered pins";
  EXPECT_EQ(engine.views().size(), views);

  browser->openPin(2);  // the journey's Ctrl+1 shows a pin's page
  EXPECT_EQ(browser->current()->pinID, made[1].id);
  EXPECT_EQ(browser->restingHighlightID(), PaletteItemID(made[1].id)) << "and the palette lights its row";
  browser->openPin(2);
  EXPECT_EQ(engine.views().size(), views + 1) << "the live page is reused";
}

// The window's list drops a pin onto a later one.
TEST_F(Pins, MovingBackAndArranging) {
  std::vector<std::string> ids;
  for (int i = 0; i < 4; ++i) ids.push_back(pinned("https://p" + std::to_string(i) + ".example/", "P").id);
  auto order = [&] {
    std::vector<std::string> out;
    for (auto& pin : browser->pins.get()) out.push_back(pin.id);
    return out;
  };
  const Strings moved{ids[0], ids[3], ids[1], ids[2]};
  browser->movePin(ids[3], ids[1]);
  EXPECT_EQ(order(), moved) << "dropped on a pin, it takes that pin's place";
  browser->movePin("no-such-pin", ids[3]);
  EXPECT_EQ(order(), moved);

  browser->arrangePins({ids[0], ids[1], ids[2]}, 2);
  EXPECT_EQ(order(), moved) << "a list missing a pin keeps the order";
  EXPECT_EQ(browser->quickPinCount.get(), 2) << "but sets the count";
  browser->arrangePins({ids[0], ids[0], ids[1], ids[2]}, 1);
  EXPECT_EQ(order(), moved) << "a repeated id does not stand in for one lost";
  browser->arrangePins({ids[0], ids[1], ids[2], ids[3], "stale-id"}, 12);
  EXPECT_EQ(order(), (Strings{ids[0], ids[1], ids[2], ids[3]}));
  EXPECT_EQ(browser->quickPinCount.get(), 9);
}

TEST_F(Pins, DeletingTakesTwoPressesOnTheSamePin) {
  auto first = pinned("https://first.example/", "First");
  auto second = pinned("https://second.example/", "Second");
  browser->enter(PaletteCommand::pins);

  browser->removeHighlighted();
  EXPECT_EQ(browser->confirmingDeletePinID.get(), first.id);
  EXPECT_EQ(browser->pins->size(), 2u);

  browser->selectedResult = 1;
  EXPECT_EQ(browser->confirmingDeletePinID.get(), std::nullopt) << "moving the highlight cancels";
  browser->removeHighlighted();
  EXPECT_EQ(browser->confirmingDeletePinID.get(), second.id);
  browser->removeHighlighted();
  ASSERT_EQ(browser->pins->size(), 1u);
  EXPECT_EQ(browser->pins.get()[0].id, first.id);
  EXPECT_EQ(browser->selectedResult.get(), 0) << "the highlight stays on the list";
  EXPECT_EQ(browser->pages->size(), 1u) << "the deleted pin's open page became a tab";
}

// What the caption says on a pin's row: the window shows it under the field.
TEST_F(Pins, ThePinRowAndThePinsListNameTheirKeys) {
  const std::string keys = "Alt+↑/↓ move · Alt+Shift+↑/↓ numbered pins · Ctrl+Shift+E edit address";
  pinned("https://news.example/", "News");
  EXPECT_EQ(browser->highlightedRowKeys(), keys) << "at rest on the current page's pin";
  type("news");
  browser->selectedResult = 0;
  EXPECT_EQ(browser->highlightedRowKeys(), keys + " · Shift+Delete delete") << "deleting takes a list of results";
  browser->removeHighlighted();
  EXPECT_EQ(browser->highlightedRowKeys(), "Shift+Delete again to delete this pin");
  open("https://tab.example/", "Tab");
  type("");
  browser->selectedResult = std::nullopt;
  EXPECT_EQ(browser->highlightedRowKeys(), std::nullopt) << "a tab's row";
  browser->enter(PaletteCommand::pins);
  EXPECT_EQ(browser->highlightedRowKeys(), std::nullopt) << "the list's own hint says them";
  EXPECT_EQ(commands::scopeHint(PaletteCommand::pins),
            "Pins · Alt+↑/↓ or drag to reorder · Shift+Delete delete · Ctrl+C copy address");
}

TEST_F(Pins, AnUnreadableFileIsKeptUntilThePinsChange) {
  std::vector<std::string> logged;
  auto previous = setLogSink([&](const std::string& line) { logged.push_back(line); });
  for (const char* text : {"[{\"id\": \"x\", \"url\": 7, \"title\": \"t\"}]", "{not json"}) {
    logged.clear();
    ASSERT_TRUE(AppSupport::writeAtomically(home.data("pins.json"), text, "pins.json"));
    std::filesystem::remove(home.data("pins.json.unreadable"));
    Browser reading(engine, scheduler);
    reading.loadPins();
    EXPECT_TRUE(reading.pins->empty());
    ASSERT_FALSE(logged.empty());
    EXPECT_NE(logged[0].find("pins.json"), std::string::npos) << logged[0];
    reading.quickPinCount = 3;
    reading.openPin(1);
    EXPECT_EQ(readText(home.data("pins.json")), text) << "untouched while the user changes nothing";

    auto page = reading.makePage(false);
    page->load(url("https://new.example/"));
    reading.add(page, true);
    reading.pin(page);
    EXPECT_EQ(readText(home.data("pins.json.unreadable")), text) << "kept aside before being replaced";
    auto saved = decodePins(nlohmann::json::parse(readText(home.data("pins.json"))));
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->size(), 1u);
  }
  setLogSink(previous);
}

}  // namespace
}  // namespace quillo::test
