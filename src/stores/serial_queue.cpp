// A serial queue: one worker thread that runs jobs one at a time, in order.
#include "stores/serial_queue.h"

#include <pthread.h>

#include <future>

#include "core/log.h"

namespace quillo {

SerialQueue::SerialQueue(std::string name) : name_(std::move(name)) {
  thread_ = std::thread([this] { run(); });
}

SerialQueue::~SerialQueue() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_one();
  thread_.join();
}

void SerialQueue::async(std::function<void()> job) {
  {
    std::lock_guard lock(mutex_);
    jobs_.push_back(std::move(job));
  }
  wake_.notify_one();
}

void SerialQueue::sync(std::function<void()> job) {
  std::promise<void> done;
  auto finished = done.get_future();
  async([&] {
    struct Signal {
      std::promise<void>& done;
      ~Signal() { done.set_value(); }  // also when the job throws
    } signal{done};
    job();
  });
  finished.wait();
}

void SerialQueue::run() {
  // Thread names are limited to 15 characters: "Quillo.History.writes"
  // shows as "History.writes" in a debugger.
  std::string shown = name_;
  while (shown.size() > 15 && shown.find('.') != std::string::npos) shown.erase(0, shown.find('.') + 1);
  pthread_setname_np(pthread_self(), shown.substr(0, 15).c_str());
  for (;;) {
    std::function<void()> job;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [&] { return stopping_ || !jobs_.empty(); });
      if (jobs_.empty()) return;  // stopping, and nothing left to write
      job = std::move(jobs_.front());
      jobs_.pop_front();
    }
    try {
      job();
    } catch (const std::exception& e) {
      logLine(name_ + ": " + e.what());
    }
  }
}

}  // namespace quillo
