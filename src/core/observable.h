// Published values: a value that tells the views that draw it about every assignment.
#pragma once
#include <sigc++/signal.h>

#include <utility>

namespace quillo {

// A published value: views connect to changed() and redraw. Every assignment
// notifies, as model side effects are tied to assignment, not to difference.
template <class T>
class Published {
 public:
  Published() = default;
  explicit Published(T value) : value_(std::move(value)) {}
  Published(const Published&) = delete;
  Published& operator=(const Published&) = delete;

  const T& get() const { return value_; }
  operator const T&() const { return value_; }
  const T* operator->() const { return &value_; }

  void set(T value) {
    value_ = std::move(value);
    changed_.emit();
  }
  Published& operator=(T value) {
    set(std::move(value));
    return *this;
  }
  // Edits in place, then notifies once.
  template <class F>
  void modify(F&& edit) {
    edit(value_);
    changed_.emit();
  }
  sigc::signal<void()>& changed() { return changed_; }

 private:
  T value_{};
  sigc::signal<void()> changed_;
};

}  // namespace quillo
