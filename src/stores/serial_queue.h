// A serial queue: one worker thread that runs jobs one at a time, in order.
#pragma once
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace quillo {

// One worker thread that runs jobs one at a time, in the order they were
// given: writes to one file land in order, and a synchronous job waits
// behind every earlier one.
class SerialQueue {
 public:
  explicit SerialQueue(std::string name);
  ~SerialQueue();  // runs what is queued, then stops
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  void async(std::function<void()> job);
  // Returns once the job has run. Never call from a job on this queue.
  void sync(std::function<void()> job);

 private:
  void run();
  std::string name_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> jobs_;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace quillo
