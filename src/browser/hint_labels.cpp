// Link hints' labels and narrowing.
#include "browser/hint_labels.h"

#include <deque>

#include "core/text.h"

namespace quillo {

std::vector<std::string> hintLabels(size_t count) {
  if (count == 0) return {};
  // Start from the single letters and keep splitting the first (shortest)
  // label into its nine longer ones until there are enough: what is left
  // stays prefix-free and ordered shortest first.
  std::deque<std::string> labels;
  for (char letter : kHintLetters) labels.emplace_back(1, letter);
  while (labels.size() < count) {
    std::string first = std::move(labels.front());
    labels.pop_front();
    for (char letter : kHintLetters) labels.push_back(first + letter);
  }
  return {labels.begin(), labels.begin() + std::ptrdiff_t(count)};
}

HintMatches matchHints(const std::vector<HintTarget>& targets, std::string_view typed) {
  HintMatches matches;
  for (size_t i = 0; i < targets.size(); ++i)
    if (targets[i].label.starts_with(typed)) matches.shown.push_back(i);
  if (!matches.shown.empty() || typed.empty()) return matches;
  matches.byLabel = false;
  const std::string needle = foldCase(typed);
  for (size_t i = 0; i < targets.size(); ++i)
    if (foldedContains(targets[i].text, needle)) matches.shown.push_back(i);
  return matches;
}

}  // namespace quillo
