// The main loop's clock and timers: cancellable posted tasks, and the scheduler that runs them.
#pragma once
#include <chrono>
#include <functional>
#include <memory>

namespace quillo {

using Clock = std::chrono::steady_clock;
using Duration = Clock::duration;
using WallTime = std::chrono::system_clock::time_point;

// A task posted to the main loop. Move-only; cancels the task when destroyed,
// so an owner that dies never gets called back. detach() lets it run anyway.
class TaskHandle {
 public:
  struct State {
    std::function<void()> work;
    bool cancelled = false;
    bool done = false;
  };
  TaskHandle() = default;
  explicit TaskHandle(std::shared_ptr<State> state) : state_(std::move(state)) {}
  TaskHandle(TaskHandle&&) noexcept = default;
  TaskHandle& operator=(TaskHandle&& other) noexcept {
    if (this != &other) {
      cancel();
      state_ = std::move(other.state_);
    }
    return *this;
  }
  TaskHandle(const TaskHandle&) = delete;
  TaskHandle& operator=(const TaskHandle&) = delete;
  ~TaskHandle() { cancel(); }

  void cancel() {
    if (state_) {
      state_->cancelled = true;
      state_->work = nullptr;
      state_.reset();
    }
  }
  void detach() { state_.reset(); }
  bool pending() const { return state_ && !state_->cancelled && !state_->done; }

 private:
  std::shared_ptr<State> state_;
};

// The main loop's clock and timers. Real on the GLib main loop, virtual in
// tests, so debounces, flashes and gestures are tested without sleeping.
class Scheduler {
 public:
  virtual ~Scheduler() = default;
  virtual Clock::time_point now() const = 0;
  // The calendar time, for dates that are stored (visits, updates).
  virtual WallTime wallNow() const = 0;

  // Runs on a later turn of the main loop. Main thread only.
  [[nodiscard]] TaskHandle post(std::function<void()> work) { return after(Duration::zero(), std::move(work)); }
  [[nodiscard]] TaskHandle after(Duration delay, std::function<void()> work);

  // Safe from any thread: runs work on the main loop soon. Used by worker
  // threads to hand results back. Cannot be cancelled.
  virtual void postFromAnyThread(std::function<void()> work) = 0;

 protected:
  virtual void schedule(Duration delay, std::shared_ptr<TaskHandle::State> task) = 0;
  // Implementations call this when a task is due.
  static void run(const std::shared_ptr<TaskHandle::State>& task);
};

// Runs on the default GLib main context.
class GLibScheduler final : public Scheduler {
 public:
  Clock::time_point now() const override { return Clock::now(); }
  WallTime wallNow() const override { return std::chrono::system_clock::now(); }
  void postFromAnyThread(std::function<void()> work) override;

 protected:
  void schedule(Duration delay, std::shared_ptr<TaskHandle::State> task) override;
};

}  // namespace quillo
