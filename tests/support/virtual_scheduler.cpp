#include "support/virtual_scheduler.h"

namespace quillo::test {

VirtualScheduler::VirtualScheduler()
    : start_(Clock::time_point() + std::chrono::hours(1000)),
      now_(start_),
      wallStart_(std::chrono::system_clock::now()) {}

void VirtualScheduler::schedule(Duration delay, std::shared_ptr<TaskHandle::State> task) {
  if (delay < Duration::zero()) delay = Duration::zero();
  timers_.emplace(std::make_pair(now_ + delay, sequence_++), std::move(task));
}

void VirtualScheduler::postFromAnyThread(std::function<void()> work) {
  {
    std::lock_guard lock(mutex_);
    fromWorkers_.push_back(std::move(work));
  }
  arrived_.notify_all();
}

bool VirtualScheduler::runNextDue(Clock::time_point limit) {
  {
    std::unique_lock lock(mutex_);
    if (!fromWorkers_.empty()) {
      auto work = std::move(fromWorkers_.front());
      fromWorkers_.pop_front();
      lock.unlock();
      work();
      return true;
    }
  }
  if (timers_.empty() || timers_.begin()->first.first > limit) return false;
  auto node = timers_.extract(timers_.begin());
  if (node.key().first > now_) now_ = node.key().first;
  run(node.mapped());
  return true;
}

void VirtualScheduler::runUntilIdle() {
  while (runNextDue(now_)) {
  }
}

void VirtualScheduler::advance(Duration by) {
  auto target = now_ + by;
  while (runNextDue(target)) {
  }
  now_ = target;
}

void VirtualScheduler::waitForWorkers(int count, std::chrono::milliseconds timeout) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  for (int done = 0; done < count;) {
    std::function<void()> work;
    {
      std::unique_lock lock(mutex_);
      if (!arrived_.wait_until(lock, deadline, [&] { return !fromWorkers_.empty(); })) return;
      work = std::move(fromWorkers_.front());
      fromWorkers_.pop_front();
    }
    work();
    ++done;
  }
  runUntilIdle();
}

}  // namespace quillo::test
