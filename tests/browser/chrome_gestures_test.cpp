// The Ctrl key's gestures on virtual time: double taps here and elsewhere, the held second press, and what breaks them.
#include <gtest/gtest.h>

#include <cctype>
#include <string>

#include "browser/chrome.h"
#include "support/virtual_scheduler.h"

namespace quillo {
namespace {

// Plays a script of events: D/d Ctrl down here/elsewhere, P Ctrl down with
// Shift held, U Ctrl up, S Shift while Ctrl is down, k a key, b a button,
// digits a pause in milliseconds. Answers what the chrome did: r Ctrl let go,
// R the bar revealed, T a double tap here, E one elsewhere.
std::string play(const std::string& script) {
  test::VirtualScheduler scheduler;
  Chrome chrome;
  chrome.scheduler = &scheduler;
  std::string heard;
  chrome.onCommandReleased = [&] { heard += 'r'; };
  chrome.onDoubleTap = [&] { heard += 'T'; };
  chrome.onDoubleTapElsewhere = [&] { heard += 'E'; };
  chrome.commandRevealed.changed().connect([&] {
    if (chrome.commandRevealed.get()) heard += 'R';
  });
  bool elsewhere = false;
  for (size_t i = 0; i < script.size(); ++i) {
    char c = script[i];
    if (std::isdigit(static_cast<unsigned char>(c))) {
      size_t end = script.find_first_not_of("0123456789", i);
      scheduler.advance(std::chrono::milliseconds(std::stoi(script.substr(i, end - i))));
      i = (end == std::string::npos ? script.size() : end) - 1;
      continue;
    }
    if (c == 'D' || c == 'd' || c == 'P') elsewhere = c == 'd';
    switch (c) {
      case 'D':
      case 'd': chrome.modifiersChanged(true, false, elsewhere); break;
      case 'P': chrome.modifiersChanged(true, true, elsewhere); break;
      case 'U': chrome.modifiersChanged(false, false, elsewhere); break;
      case 'S': chrome.modifiersChanged(true, true, elsewhere); break;
      case 'k': chrome.keyPressed(Chrome::Key::other, elsewhere); break;
      case 'b': chrome.pointerPressed(elsewhere); break;
    }
  }
  return heard;
}

TEST(ChromeGestures, DoubleTapsHeldPressesAndWhatBreaksThem) {
  struct Case {
    const char* script;
    const char* heard;
    const char* why;
  } cases[] = {
      {"D100U200D100U", "rrT", "two quick taps: one double tap, after the release"},
      {"d100U200d100U", "rrE", "the same in another program"},
      {"D100U350D100U200D100U", "rrrT", "a late second press is a new first tap"},
      {"D300U100D100U", "rr", "a long first press"},
      {"D50k50U100D100U", "rr", "Ctrl+C, then one tap"},
      {"P100U100D100U", "rr", "Ctrl pressed with Shift"},
      {"D100U100D50S50U", "rr", "Shift joins the second press"},
      {"D50b50U100D100U", "rr", "a click during the first press"},
      {"D100U100D300U", "rRr", "a held second press shows the bar until Ctrl is let go"},
      {"d100U100d300U", "rr", "held in another program: nothing shown"},
      {"D100U100D100k200U", "rr", "a key before the bar shows: no bar"},
  };
  for (const auto& c : cases) EXPECT_EQ(play(c.script), c.heard) << c.script << ": " << c.why;
}

}  // namespace
}  // namespace quillo
