// Link hints' labels and narrowing: which tag each clickable gets and which stay shown as keys are typed.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quillo {

// The letters labels are made of: the home row, under the fingers at rest.
inline constexpr std::string_view kHintLetters = "asdfghjkl";

// `count` labels, none a prefix of another, as short as the count allows;
// the shortest come first, so the nearest elements get them.
std::vector<std::string> hintLabels(size_t count);

// One tagged element as the narrowing sees it.
struct HintTarget {
  std::string label;
  std::string text;  // its visible text, for typing part of it instead
};

// What typed text leaves shown: the targets whose label begins with it, or,
// when it begins no label, those whose text contains it (case aside). The
// indices in target order; `byLabel` says which way it matched.
struct HintMatches {
  std::vector<size_t> shown;
  bool byLabel = true;
};
HintMatches matchHints(const std::vector<HintTarget>& targets, std::string_view typed);

}  // namespace quillo
