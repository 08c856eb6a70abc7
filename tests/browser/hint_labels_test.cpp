// Link hints' labels and how typing narrows them.
#include "browser/hint_labels.h"

#include <gtest/gtest.h>

namespace quillo::test {
namespace {

TEST(HintLabels, ShortestFirstAndPrefixFree) {
  struct Row {
    size_t count, ones, twos, threes, fours;
  };
  // 2,000 is more than the 729 three-letter labels: as many stay three letters as can.
  for (auto row : {Row{1, 1, 0, 0, 0}, Row{9, 9, 0, 0, 0}, Row{10, 8, 2, 0, 0}, Row{81, 0, 81, 0, 0},
                   Row{82, 0, 80, 2, 0}, Row{2000, 0, 0, 570, 1430}}) {
    auto labels = hintLabels(row.count);
    ASSERT_EQ(labels.size(), row.count);
    size_t lengths[5] = {};
    for (size_t i = 0; i < labels.size(); ++i) {
      ++lengths[std::min<size_t>(labels[i].size(), 4)];
      if (i) EXPECT_LE(labels[i - 1].size(), labels[i].size()) << row.count << ": shortest first";
      EXPECT_EQ(labels[i].find_first_not_of(kHintLetters), std::string::npos);
    }
    EXPECT_EQ(lengths[1], row.ones) << row.count;
    EXPECT_EQ(lengths[2], row.twos) << row.count;
    EXPECT_EQ(lengths[3], row.threes) << row.count;
    EXPECT_EQ(lengths[4], row.fours) << row.count;
    auto sorted = labels;
    std::sort(sorted.begin(), sorted.end());
    // Sorted, a prefix sits right before a word it begins.
    for (size_t i = 1; i < sorted.size(); ++i) EXPECT_FALSE(sorted[i].starts_with(sorted[i - 1])) << sorted[i];
  }
  EXPECT_EQ(hintLabels(10).front(), "s") << "the first letter is split";
}

TEST(HintLabels, TypingNarrowsByLabelThenByText) {
  std::vector<HintTarget> targets{{"aa", "Home"}, {"as", "Sign in"}, {"ad", "Sign up"}, {"f", "Design"}};
  struct Row {
    const char* typed;
    std::vector<size_t> shown;
    bool byLabel;
  };
  for (auto& row : std::vector<Row>{{"", {0, 1, 2, 3}, true},
                                    {"a", {0, 1, 2}, true},
                                    {"as", {1}, true},
                                    {"sign", {1, 2, 3}, false},
                                    {"SIGN I", {1}, false},
                                    {"zz", {}, false}}) {
    auto matches = matchHints(targets, row.typed);
    EXPECT_EQ(matches.shown, row.shown) << row.typed;
    EXPECT_EQ(matches.byLabel, row.byLabel) << row.typed;
  }
}

}  // namespace
}  // namespace quillo::test
