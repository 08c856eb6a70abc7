// Renaming rows, editing a pin's address, copying and removing rows.
#include <fstream>

#include "support/browser_test.h"

namespace quillo::test {
namespace {

using RenameEdit = BrowserTest;

TEST_F(RenameEdit, RenamingATabOrAPinAndRenamingToBlanks) {
  auto page = open("https://a.example/", "Title A");
  int sessionSaves = 0;
  auto onSession = page->onSessionChange;
  page->onSessionChange = [&] {
    sessionSaves++;
    onSession();
  };
  // (The window's row field checks starting, ending and trimming.)
  browser->renameCurrent();
  browser->finishRenaming("Reading list \n");
  EXPECT_EQ(page->customName.get(), "Reading list");
  EXPECT_EQ(sessionSaves, 1);

  browser->renameCurrent();
  browser->finishRenaming(std::nullopt);
  EXPECT_EQ(page->customName.get(), "Reading list") << "cancelling changes nothing";

  browser->renameCurrent();
  browser->finishRenaming(" \t ");
  EXPECT_EQ(page->customName.get(), std::nullopt) << "blanks clear the name";

  browser->pin(page);
  browser->renameCurrent();
  auto pin = browser->pins.get()[0];
  EXPECT_EQ(browser->renamingID.get(), PaletteItemID(pin.id)) << "a pinned page renames its pin";
  browser->finishRenaming("Pinned name");
  EXPECT_EQ(browser->pins.get()[0].customName, "Pinned name");
  auto saved = decodePins(nlohmann::json::parse(std::ifstream(home.data("pins.json"))));
  ASSERT_TRUE(saved);
  EXPECT_EQ((*saved)[0].customName, "Pinned name");
  EXPECT_EQ(page->customName.get(), std::nullopt);
}

TEST_F(RenameEdit, EditingAPinsAddress) {
  auto page = open("https://news.example/", "News");
  icons.pages[page.get()] = Bytes{9};
  browser->pin(page);
  auto id = browser->pins.get()[0].id;

  browser->startEditingURL(id);
  browser->finishEditingURL("just some words");
  EXPECT_EQ(browser->flash.get(), "That isn't a web address");
  EXPECT_TRUE(browser->flashIsError.get());
  EXPECT_EQ(browser->pins.get()[0].url, url("https://news.example/"));

  browser->startEditingURL(id);
  browser->finishEditingURL("  news.example/world ");
  EXPECT_EQ(browser->pins.get()[0].url.host(), "news.example");
  EXPECT_EQ(browser->pins.get()[0].url.path(), "/world");
  EXPECT_EQ(browser->icon(browser->pins.get()[0]), Bytes{9}) << "same site, same icon";

  icons.cached["other.example"] = Bytes{7};
  browser->startEditingURL(id);
  browser->finishEditingURL("https://other.example/");
  EXPECT_EQ(browser->icon(browser->pins.get()[0]), Bytes{7}) << "another site: the old icon is dropped";
  EXPECT_EQ(browser->pins.get()[0].iconData, std::nullopt);
}

// (Copying and removing a highlighted row are driven by keys in the window's journeys.)
TEST_F(RenameEdit, CopyingAtRestAndRemovingRowsThatCanGoAndKeepingThoseThatCannot) {
  open("https://tab.example/some/page?x=1", "Tab");
  browser->copyHighlighted();
  ASSERT_EQ(clipboard.texts, Strings{"https://tab.example/some/page?x=1"}) << "at rest: the current page, in full";
  auto& store = remember({entry("https://one.example/", "One", 1, 1), entry("https://two.example/", "Two", 1, 2),
                          entry("https://three.example/", "Three", 1, 3)});

  type("tab");
  browser->copyHighlighted();
  EXPECT_EQ(clipboard.texts.size(), 1u) << "a plain search with nothing highlighted copies nothing";
  browser->selectedResult = 0;
  browser->removeHighlighted();
  EXPECT_EQ(browser->pages->size(), 1u) << "a tab row is not removed";

  browser->enter(PaletteCommand::history);
  browser->selectedResult = 2;
  browser->removeHighlighted();
  EXPECT_EQ(store.find(url("https://three.example/")), nullptr);
  EXPECT_EQ(browser->selectedResult.get(), 1) << "pulled back onto the shortened list";

  // Permissions and downloads are removed by Shift+Delete in the window's journeys.
  browser->enter(PaletteCommand::login);
  logins.list = {{"1", "Mail", std::nullopt, {}}};
  browser->removeHighlighted();
  EXPECT_EQ(logins.list.size(), 1u);
}

}  // namespace
}  // namespace quillo::test
