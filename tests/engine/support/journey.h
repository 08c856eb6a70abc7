#pragma once
#include <gtest/gtest.h>
#include <gtkmm.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "chrome/gtk/browser_window.h"
#include "core/browser.h"
#include "core/scheduler.h"
#include "engine/support/engine_support.h"
#include "palette/gtk/palette_view.h"
#include "stores/history.h"
#include "support/temp_home.h"
#include "support/test_server.h"

namespace quillo::test {

// Real input, as the X server delivers it: xdotool under Xvfb. Each call
// waits until xdotool is done and the window has every event it sent,
// without ever blocking the main loop (a blocked loop drops keys).
bool xdotool(const std::vector<std::string>& arguments);
// The same with the arguments as one line ("key ctrl+e", "type --delay 40 x").
bool xdotool(const std::string& arguments);

// The browser as a user meets it: the real window on the real engine, with
// history, completion and session saving wired as the application wires
// them, in a temporary home, over pages from the test's own server. Tests
// drive it only by keys and clicks and read what a user would see.
class Journey : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // ---- Input ----
  void key(const std::string& keys);  // "ctrl+e", "Return", "alt+Return"
  void type(const std::string& text);
  // Presses and releases a mouse button at a point of a widget, with the
  // modifier keys given ("shift", "ctrl+shift") held around the click.
  void click(Gtk::Widget& widget, double x, double y, int button = 1, const std::string& modifiers = "");
  // Moves the pointer to a point of a widget (hovering there).
  void pointTo(Gtk::Widget& widget, double x, double y);
  // Presses the first button at one point of a widget, moves to another
  // (in the same widget's coordinates) and releases there.
  void drag(Gtk::Widget& widget, double x, double y, double toX, double toY);

  // ---- Waiting ----
  // Lets the window draw this many frames (pointer moves arrive with them).
  bool nextFrames(int count = 1);
  bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds timeout = std::chrono::seconds(10));

  // ---- Setting the scene (before the journey starts) ----
  // Opens a page of the server in a new tab and waits for its title.
  PagePtr openPage(const std::string& path);
  bool waitLoaded(const PagePtr& page);
  // Quits and starts again: a new browser and window from the files the
  // last one left (nothing is saved here: what the browser wrote counts).
  // Pages wait for the window as at start-up; with `pagesWaitForTest` they
  // wait until the test calls stopDeferringViews, as if the user typed first.
  void restart(bool pagesWaitForTest = false);

  // ---- What the user sees ----
  std::string address() const;  // the current page's address, "" without one
  std::string fieldText();
  std::string caption();
  bool fieldHasFocus();
  bool pageHasFocus();
  bool listShown();
  // How many web views are on screen, and how wide a page's view is drawn
  // (0 when it is not on screen).
  int viewsShown();
  int shownWidth(const PagePtr& page);
  // A row of the palette list with this accessible name is on screen.
  bool rowShown(const std::string& name);
  // The lit row reads as this.
  bool highlightIs(const std::string& name);
  // A row with this name is on screen and its hint reads as `description`.
  bool rowDescribed(const std::string& name, const std::string& description);
  std::string url(const std::string& path) const { return server.url(path); }
  // A page's palette row of the local test server ("Alpha page, 127.0.0.1").
  static std::string row(const std::string& title) { return title + ", 127.0.0.1"; }
  // The text of a page's script result (the page world), for reading the page.
  std::string pageScript(const PagePtr& page, const std::string& script);

  TestAccessibility a11y_;  // rows are read through their accessible names
  TempHome home;
  GLibScheduler scheduler;
  TestServer server;
  std::unique_ptr<History> history;
  std::unique_ptr<Browser> browser;
  std::unique_ptr<BrowserWindow> window;
  PaletteView* list = nullptr;
  int listOpenings = 0;  // times the list came on screen since the window opened

 private:
  void makeWindow();
  void showWindow();
  // The point of a widget in the window's X coordinates.
  std::pair<std::string, std::string> screenPoint(Gtk::Widget& widget, double x, double y);
  std::string windowID();
};

}  // namespace quillo::test
