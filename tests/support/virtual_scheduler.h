// Virtual time for the model's tests: nothing runs until the test advances the clock.
#pragma once
#include <algorithm>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>

#include "core/scheduler.h"

namespace quillo::test {

class VirtualScheduler final : public Scheduler {
 public:
  VirtualScheduler()
      : start_(Clock::time_point() + std::chrono::hours(1000)),
        now_(start_),
        wallStart_(std::chrono::system_clock::now()) {}
  Clock::time_point now() const override { return now_; }
  WallTime wallNow() const override { return wallStart_ + (now_ - start_); }
  void postFromAnyThread(std::function<void()> work) override;

  // Runs everything due now (including work posted by what runs).
  void runUntilIdle() { advance(Duration::zero()); }
  // Moves the clock forward, running each task at its due time, in order.
  void advance(Duration by);
  // Drains work from worker threads, waiting up to `timeout` for `count` of them.
  void waitForWorkers(int count = 1, std::chrono::milliseconds timeout = std::chrono::seconds(30));
  void setWallNow(WallTime t) { wallStart_ = t - (now_ - start_); }

 protected:
  void schedule(Duration delay, std::shared_ptr<TaskHandle::State> task) override {
    timers_.emplace(std::make_pair(now_ + std::max(delay, Duration::zero()), sequence_++), std::move(task));
  }

 private:
  bool runNextDue(Clock::time_point limit);
  Clock::time_point start_, now_;
  WallTime wallStart_;
  std::multimap<std::pair<Clock::time_point, uint64_t>, std::shared_ptr<TaskHandle::State>> timers_;
  uint64_t sequence_ = 0;
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<std::function<void()>> fromWorkers_;
};

}  // namespace quillo::test
