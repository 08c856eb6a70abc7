// A question put to the user over a page or the window, and the answer the user gave.
#pragma once
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace quillo {

// A question put to the user. The first button is the default one, the last
// the one that cancels.
struct Alert {
  std::string message;
  std::string detail;
  std::vector<std::string> buttons;
  // A check box under the text ("Always allow …"); none for no box.
  std::optional<std::string> checkbox = std::nullopt;
  // A text field holding this text at first (a script's prompt); none for no field.
  std::optional<std::string> field = std::nullopt;
};

struct AlertAnswer {
  size_t button = 0;
  // The check box was shown and ticked.
  bool checked = false;
  // The field's text; none without a field or when nobody answered.
  std::optional<std::string> text = std::nullopt;
  bool operator==(const AlertAnswer&) const = default;

  // What a question gets that goes unanswered (its page or view went): the
  // last button, no box, no text.
  static AlertAnswer cancelled(const Alert& alert) { return {alert.buttons.empty() ? 0 : alert.buttons.size() - 1}; }
};

}  // namespace quillo
