// The browser as a user meets it: the real window on the real engine, driven by real keys and clicks under Xvfb.
#pragma once
#include <gtest/gtest.h>
#include <gtkmm.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "browser/browser.h"
#include "chrome/gtk/browser_window.h"
#include "core/scheduler.h"
#include "engine/support/engine_support.h"
#include "palette/gtk/palette_view.h"
#include "stores/history.h"
#include "support/temp_home.h"
#include "support/test_server.h"

namespace quillo::test {

// Runs xdotool ("key ctrl+e", or one argument a word) and returns once the window has every event it sent, without
// blocking the main loop (a blocked loop drops keys).
bool xdotool(const std::vector<std::string>& arguments);
bool xdotool(const std::string& words);

// History, completion and session saving wired as the application wires them, in a temporary home, over pages of the
// test's own server ("/alpha.html", "/beta.html", "/gamma.html"). Tests read only what a user would see.
class Journey : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  void key(const std::string& keys);  // "ctrl+e", "Return", "alt+Return"
  void type(const std::string& text);
  // A click at a point of a widget, with modifiers ("shift", "ctrl+shift") held around it.
  void click(Gtk::Widget& widget, double x, double y, int button = 1, const std::string& modifiers = "");
  void pointTo(Gtk::Widget& widget, double x, double y);
  // Presses the first button at one point of a widget and releases it at another, moving in steps.
  void drag(Gtk::Widget& widget, double x, double y, double toX, double toY);
  // Ctrl+E, and the palette is there with the keyboard; with `typed` typed into it and Return pressed.
  void openPalette();
  void enter(const std::string& typed);

  // Lets the window draw this many frames (pointer moves arrive with them).
  bool nextFrames(int count = 1);
  bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    return runUntil(condition, timeout);
  }

  PagePtr openPage(const std::string& path);
  bool waitLoaded(const PagePtr& page);
  // Quits and starts again from the files the last browser left, as the application starts. With `pagesWaitForTest`
  // pages wait until the test calls stopDeferringViews, as if the user typed first.
  void restart(bool pagesWaitForTest = false);

  std::string address() const;  // the current page's, "" without one
  std::string fieldText();
  std::string caption();
  bool fieldHasFocus();
  bool pageHasFocus();
  bool listShown();
  int viewsShown();
  int shownWidth(const PagePtr& page);  // 0 when not on screen
  // Palette rows on screen, by their accessible name (and description).
  bool rowShown(const std::string& name);
  bool highlightIs(const std::string& name);
  bool rowDescribed(const std::string& name, const std::string& description);
  std::string url(const std::string& path) const { return server.url(path); }
  static std::string row(const std::string& title) { return title + ", 127.0.0.1"; }
  std::string pageScript(const PagePtr& page, const std::string& script);

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
  std::pair<std::string, std::string> screenPoint(Gtk::Widget& widget, double x, double y);
  std::string windowID();
};

}  // namespace quillo::test
