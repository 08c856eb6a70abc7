// Two pages side by side: the divider's ratio, kept within bounds, and the pane widths it gives.
#include "browser/split.h"

#include <algorithm>
#include <cmath>

namespace quillo {

Split::Split(std::shared_ptr<Page> left, std::shared_ptr<Page> right, double ratio)
    : left(std::move(left)), right(std::move(right)), ratio(ratio) {
  resized_ = this->ratio.changed().connect([this] {
    if (onResize) onResize();
  });
}

Split::~Split() { resized_.disconnect(); }

double Split::ratioForDrag(double x, double totalWidth) {
  if (!(totalWidth > 0) || !std::isfinite(x)) return 0.5;
  return std::clamp(x / totalWidth, kMinRatio, kMaxRatio);
}

double Split::ratioForSteps(double ratio, int steps) {
  if (!std::isfinite(ratio)) ratio = 0.5;
  // A dragged ratio between two marks goes first to the next mark its way.
  const double at = ratio * kKeySteps;
  const double from = steps > 0 ? std::floor(at + 1e-6) : std::ceil(at - 1e-6);
  return std::clamp((from + steps) / kKeySteps, kMinRatio, kMaxRatio);
}

double Split::sanitized(double saved) {
  if (!std::isfinite(saved)) return 0.5;
  return std::clamp(saved, kMinRatio, kMaxRatio);
}

int Split::leftWidth(int totalWidth, double ratio) {
  const int panes = std::max(totalWidth - kDividerWidth, 0);
  return std::clamp(int(std::lround(panes * ratio)), 0, panes);
}

}  // namespace quillo
