// The menu-bar item's menu in each desktop state, and the login item's file: its rules, its quoting and its modes.
#include "app/tray_menu.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "app/autostart.h"
#include "support/fake_filter_store.h"
#include "support/temp_home.h"

namespace quillo {
namespace {

// One line an entry: "---" a separator, "(…)" a disabled line, "[x] …" a check item.
std::string rendered(const std::vector<TrayEntry>& entries) {
  std::string text;
  for (const auto& entry : entries) {
    if (entry.kind == TrayEntry::Kind::separator)
      text += "---";
    else if (entry.kind == TrayEntry::Kind::check)
      text += (entry.checked ? "[x] " : "[ ] ") + entry.label;
    else
      text += entry.enabled() ? entry.label : "(" + entry.label + ")";
    text += "\n";
  }
  return text;
}

TEST(TrayMenu, ShowsTheDefaultBrowserTheLoginItemAndTheDoubleTapAsTheDesktopHasThem) {
  struct Case {
    TrayState state;
    std::string menu;
  } cases[] = {
      {{DefaultBrowserStatus::notInstalled, false, true},
       "Open Quillo\nNew Tab\nNew Private Tab\n---\nMake Quillo the default browser\n"
       "(Double-tap Ctrl anywhere to open Quillo)\n[ ] Open at Login\n---\nQuit Quillo\n"},
      {{DefaultBrowserStatus::canBecomeDefault, true, false},
       "Open Quillo\nNew Tab\nNew Private Tab\n---\nMake Quillo the default browser\n"
       "(Double-tap Ctrl works inside Quillo only on Wayland)\n[x] Open at Login\n---\nQuit Quillo\n"},
      {{DefaultBrowserStatus::isDefault, false, true},
       "Open Quillo\nNew Tab\nNew Private Tab\n---\n(Quillo is the default browser)\n"
       "(Double-tap Ctrl anywhere to open Quillo)\n[ ] Open at Login\n---\nQuit Quillo\n"},
  };
  for (const auto& test : cases) EXPECT_EQ(rendered(trayMenu(test.state)), test.menu);
}

TEST(Autostart, AnEntryStartsAtLoginUnlessHiddenOrSwitchedOff) {
  struct Case {
    const char* text;
    bool starts;
  } cases[] = {
      {"[Desktop Entry]\nType=Application\nExec=quillo\n", true},
      {"[Desktop Entry]\nHidden=true\n", false},
      {"[Desktop Entry]\nX-GNOME-Autostart-enabled = false\n", false},
      {"[Desktop Entry]\nX-GNOME-Autostart-enabled=true\nHidden=false\n", true},
      {"[Desktop Entry]\n# Hidden=true\n[Desktop Action quit]\nHidden=true\n", true},
      {"Hidden=false\n", false},
      {"", false},
  };
  for (const auto& test : cases) EXPECT_EQ(Autostart::startsAtLogin(test.text), test.starts) << test.text;
  EXPECT_TRUE(Autostart::startsAtLogin(Autostart::entry("/usr/bin/quillo")));
}

TEST(Autostart, ExecWordsAreQuotedOnlyWhenTheDesktopWouldSplitOrExpandThem) {
  struct Case {
    const char* word;
    const char* exec;  // as written in the file
  } cases[] = {
      {"/usr/bin/quillo", "/usr/bin/quillo"},
      {"/home/a b/quillo", "\"/home/a b/quillo\""},
      {"/opt/$x/100%/quillo", "\"/opt/\\\\$x/100%%/quillo\""},
      {"/opt/back\\slash", "\"/opt/back\\\\\\\\slash\""},
  };
  for (const auto& test : cases) EXPECT_EQ(Autostart::execWord(test.word), test.exec) << test.word;
}

TEST(Autostart, SwitchingOnWritesAUserOnlyEntryAndSwitchingOffRemovesIt) {
  test::TempHome home;
  test::CapturedLog log;
  auto modeOf = [](const std::filesystem::path& path) {
    struct stat info {};
    stat(path.c_str(), &info);
    return info.st_mode & 07777;
  };
  const auto file = home.root() / "config" / "autostart" / "org.quillo.Quillo.desktop";
  EXPECT_EQ(Autostart::file(), file);
  EXPECT_FALSE(Autostart::isEnabled());
  ASSERT_TRUE(Autostart::setEnabled(true, "/opt/quillo/quillo"));
  EXPECT_TRUE(Autostart::isEnabled());
  EXPECT_EQ(modeOf(file), 0600u);
  EXPECT_EQ(modeOf(file.parent_path()), 0700u);
  EXPECT_NE(test::TempHome::read(file).find("\nExec=/opt/quillo/quillo --background\n"), std::string::npos);
  ASSERT_TRUE(Autostart::setEnabled(false, "/opt/quillo/quillo"));
  EXPECT_FALSE(std::filesystem::exists(file));
  EXPECT_TRUE(Autostart::setEnabled(false, "/opt/quillo/quillo")) << "already off";
  EXPECT_TRUE(log.lines.empty());
}

}  // namespace
}  // namespace quillo
