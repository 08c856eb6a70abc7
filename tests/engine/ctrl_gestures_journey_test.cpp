// The double tap of Ctrl as a user meets it: in Quillo, and from another program's window on X11.
#include <gtest/gtest.h>

#include "engine/support/journey.h"

namespace quillo::test {
namespace {

// Taps with xdotool's own pauses, well inside the gesture's times.
constexpr const char* kDoubleTap = "keydown ctrl sleep 0.05 keyup ctrl sleep 0.1 keydown ctrl sleep 0.05 keyup ctrl";

class CtrlGestures : public Journey {
 protected:
  void SetUp() override {
    Journey::SetUp();
    if (IsSkipped()) return;
    if (!g_find_program_in_path("xmessage")) GTEST_SKIP() << "xmessage is not installed";
    summons_ = browser->bringForwardRequested.connect([this] { ++summoned; });
  }
  void TearDown() override {
    summons_.disconnect();
    if (other_) {
      kill(other_, SIGTERM);
      g_spawn_close_pid(other_);
    }
    Journey::TearDown();
  }
  // Another program's window, with the keyboard.
  void focusAnotherProgram() {
    if (!other_) {
      const char* argv[] = {"xmessage", "-geometry", "+700+500", "-name", "quillo-other", "another program", nullptr};
      ASSERT_TRUE(g_spawn_async(nullptr, const_cast<char**>(argv), nullptr, G_SPAWN_SEARCH_PATH, nullptr, nullptr,
                                &other_, nullptr));
    }
    ASSERT_TRUE(waitFor([&] {
      return xdotool("search --sync --classname quillo-other windowfocus --sync") && !window->is_active();
    })) << "the other window has the keyboard";
  }
  int summoned = 0;

 private:
  GPid other_ = 0;
  sigc::connection summons_;
};

TEST_F(CtrlGestures, ADoubleTapSummonsThePaletteHereAndFromAnotherProgram) {
  openPage("/alpha.html");
  ASSERT_TRUE(waitFor([&] { return pageHasFocus(); }));
  ASSERT_TRUE(xdotool(kDoubleTap));
  ASSERT_TRUE(waitFor([&] { return fieldHasFocus() && listShown(); })) << "in Quillo: the palette, ready to type";
  key("Escape");

  focusAnotherProgram();
  ASSERT_TRUE(xdotool(kDoubleTap));
  EXPECT_TRUE(waitFor([&] { return window->is_active() && fieldHasFocus(); }))
      << "Quillo comes forward with the palette field focused";
  EXPECT_EQ(summoned, 2);
}

TEST_F(CtrlGestures, CtrlWithAKeyOrASlowSecondPressSummonsNothing) {
  openPage("/alpha.html");
  focusAnotherProgram();
  ASSERT_TRUE(xdotool("keydown ctrl key c keyup ctrl sleep 0.1 keydown ctrl sleep 0.05 keyup ctrl"));
  ASSERT_TRUE(xdotool("sleep 0.4 keydown ctrl sleep 0.05 keyup ctrl sleep 0.5 keydown ctrl sleep 0.05 keyup ctrl"));
  ASSERT_TRUE(xdotool("sleep 0.4 keydown ctrl sleep 0.3 keyup ctrl sleep 0.1 keydown ctrl sleep 0.05 keyup ctrl"));
  // Then a real one: the only summons.
  ASSERT_TRUE(xdotool("sleep 0.4"));
  ASSERT_TRUE(xdotool(kDoubleTap));
  ASSERT_TRUE(waitFor([&] { return window->is_active() && fieldHasFocus(); }));
  EXPECT_EQ(summoned, 1) << "Ctrl+C then a tap, a slow second press, a long first press: none of them";
}

}  // namespace
}  // namespace quillo::test
