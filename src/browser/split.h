// Two pages side by side: the pair, the divider's ratio, and the pane widths it gives.
#pragma once
#include <sigc++/connection.h>

#include <functional>
#include <memory>

#include "core/observable.h"

namespace quillo {

class Page;

// Two pages shown side by side; ratio is the left page's share of the width.
class Split {
 public:
  static constexpr double kMinRatio = 0.2;
  static constexpr double kMaxRatio = 0.8;
  static constexpr int kDividerWidth = 7;

  Split(std::shared_ptr<Page> left, std::shared_ptr<Page> right, double ratio = 0.5);
  ~Split();
  Split(const Split&) = delete;
  Split& operator=(const Split&) = delete;

  std::shared_ptr<Page> left;
  std::shared_ptr<Page> right;
  Published<double> ratio;
  // Runs after every change of the ratio (the browser saves the session).
  std::function<void()> onResize;

  const std::shared_ptr<Page>& partner(const Page* page) const { return left.get() == page ? right : left; }
  bool isLeft(const Page* page) const { return left.get() == page; }

  // The ratio a divider dragged to `x` of `totalWidth` asks for: the
  // pointer's share of the width, kept between kMinRatio and kMaxRatio.
  static double ratioForDrag(double x, double totalWidth);
  void drag(double x, double totalWidth) { ratio = ratioForDrag(x, totalWidth); }
  // Keys move the divider by a twentieth of the width, onto that grid, as far
  // as dragging can: `steps` to the right (negative: to the left) of `ratio`.
  static constexpr int kKeySteps = 20;
  static double ratioForSteps(double ratio, int steps);
  // A saved ratio as far as it makes sense: even when unusable, else clamped.
  static double sanitized(double saved);
  // The left pane's width: what the divider leaves, times the ratio.
  static int leftWidth(int totalWidth, double ratio);

 private:
  sigc::connection resized_;
};

}  // namespace quillo
