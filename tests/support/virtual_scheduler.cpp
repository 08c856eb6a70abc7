// Virtual time: timers run in due order as the test moves the clock; workers' posts run between them.
#include "support/virtual_scheduler.h"

namespace quillo::test {

void VirtualScheduler::postFromAnyThread(std::function<void()> work) {
  {
    std::lock_guard lock(mutex_);
    fromWorkers_.push_back(std::move(work));
  }
  arrived_.notify_all();
}

bool VirtualScheduler::runNextDue(Clock::time_point limit) {
  std::unique_lock lock(mutex_);
  if (!fromWorkers_.empty()) {
    auto work = std::move(fromWorkers_.front());
    fromWorkers_.pop_front();
    lock.unlock();
    work();
    return true;
  }
  lock.unlock();
  if (timers_.empty() || timers_.begin()->first.first > limit) return false;
  auto node = timers_.extract(timers_.begin());
  if (node.key().first > now_) now_ = node.key().first;
  run(node.mapped());
  return true;
}

void VirtualScheduler::advance(Duration by) {
  auto target = now_ + by;
  while (runNextDue(target)) continue;
  now_ = target;
}

void VirtualScheduler::waitForWorkers(int count, std::chrono::milliseconds timeout) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  for (int done = 0; done < count; ++done) {
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_until(lock, deadline, [&] { return !fromWorkers_.empty(); })) return;
    auto work = std::move(fromWorkers_.front());
    fromWorkers_.pop_front();
    lock.unlock();
    work();
  }
  runUntilIdle();
}

}  // namespace quillo::test
