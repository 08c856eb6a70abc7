// The modifier keys held during a click.
#pragma once

namespace quillo {

// The modifier keys held during a click, as the window saw them. Decisions
// that want an exact set compare all four.
struct Modifiers {
  bool shift = false;
  bool ctrl = false;
  bool alt = false;
  bool super = false;

  bool onlyShift() const { return shift && !ctrl && !alt && !super; }
};

}  // namespace quillo
