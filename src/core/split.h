#pragma once
#include <memory>

#include "core/observable.h"

namespace quillo {

class Page;

// Two pages shown side by side; ratio is the left page's share of the width.
class Split {
 public:
  Split(std::shared_ptr<Page> left, std::shared_ptr<Page> right, double ratio)
      : left(std::move(left)), right(std::move(right)), ratio(ratio) {}
  std::shared_ptr<Page> left;
  std::shared_ptr<Page> right;
  Published<double> ratio;

  const std::shared_ptr<Page>& partner(const Page* page) const { return left.get() == page ? right : left; }
  bool isLeft(const Page* page) const { return left.get() == page; }
};

}  // namespace quillo
