// Running 1Password's op tool on a worker thread, with a time limit, and ending it when the call is cancelled.
#pragma once
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/scheduler.h"
#include "features/one_password.h"

namespace quillo::OnePassword {

// Runs the 1Password command-line tool: found afresh for each call, started
// with an argument vector (never through a shell), its standard output and
// error both drained while it runs, on a worker thread of its own. The
// outcome comes back on the main thread through the scheduler. A call that
// takes longer than the limit is ended and fails with a message; a
// cancelled call ends the process and never answers.
class Tool {
 public:
  using Done = std::function<void(Outcome)>;
  // The answer to one call; dropping or cancelling it ends the call.
  class Call {
   public:
    Call() = default;
    Call(Call&&) noexcept = default;
    Call& operator=(Call&& other) noexcept;
    ~Call() { cancel(); }
    void cancel();
    bool pending() const;

   private:
    friend class Tool;
    struct State;
    explicit Call(std::shared_ptr<State> state) : state_(std::move(state)) {}
    std::shared_ptr<State> state_;
  };

  static constexpr std::chrono::seconds kTimeLimit{30};

  // findTool is asked for the executable at every call (nullopt: not installed).
  explicit Tool(Scheduler& scheduler, std::function<std::optional<std::string>()> findTool = executable,
                Duration limit = kTimeLimit);
  ~Tool();
  Tool(const Tool&) = delete;
  Tool& operator=(const Tool&) = delete;

  [[nodiscard]] Call run(std::vector<std::string> arguments, Done done);

 private:
  void reapFinished();
  Scheduler& scheduler_;
  std::function<std::optional<std::string>()> findTool_;
  Duration limit_;
  struct Worker {
    std::thread thread;
    std::shared_ptr<Call::State> state;
  };
  std::vector<Worker> workers_;
};

}  // namespace quillo::OnePassword
