// Running 1Password's op tool on a worker thread, with a time limit, and ending it when the call is cancelled.
#include "features/one_password_tool.h"

#include <gio/gio.h>
#include <signal.h>
#include <string.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <mutex>

namespace quillo::OnePassword {

struct Tool::Call::State {
  Done done;                          // main thread only
  TaskHandle timeout;                 // main thread only
  bool timedOut = false;              // main thread only
  std::atomic<bool> finished{false};  // the worker is done

  // Ends the tool from any thread, with whatever it started: its pipes
  // close and the worker's read returns. (Cancelling the read itself from
  // another thread can deadlock GLib's synchronous communicate.)
  void stop() {
    std::lock_guard lock(mutex);
    stopped = true;
    endGroup();
  }
  // The worker's running tool; ended at once when already stopped.
  void started(GSubprocess* running) {
    std::lock_guard lock(mutex);
    process = running;
    if (stopped) endGroup();
  }
  // Whether it was stopped while it ran.
  bool ended() {
    std::lock_guard lock(mutex);
    process = nullptr;
    return stopped;
  }

 private:
  // The tool leads a process group of its own; no identifier once reaped.
  void endGroup() {
    const char* id = process ? g_subprocess_get_identifier(process) : nullptr;
    if (id) kill(-pid_t(std::atoi(id)), SIGKILL);
  }
  std::mutex mutex;
  GSubprocess* process = nullptr;
  bool stopped = false;
};

Tool::Call& Tool::Call::operator=(Call&& other) noexcept {
  if (this != &other) {
    cancel();
    state_ = std::move(other.state_);
  }
  return *this;
}

void Tool::Call::cancel() {
  if (!state_) return;
  state_->done = nullptr;
  state_->timeout.cancel();
  state_->stop();
  state_.reset();
}

bool Tool::Call::pending() const { return state_ && state_->done; }

namespace {

// Takes the bytes out of a GBytes the worker owns alone, wiping the original.
std::string take(GBytes* bytes) {
  if (!bytes) return {};
  gsize size = 0;
  auto* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
  std::string text(data ? data : "", size);
  if (data && size) explicit_bzero(const_cast<char*>(data), size);
  g_bytes_unref(bytes);
  return text;
}

struct Result {
  bool started = false;
  bool cancelled = false;
  int exitStatus = -1;
  std::string output;
  std::string error;
};

template <class State>
Result runToEnd(const std::string& program, const std::vector<std::string>& arguments, State& state) {
  Result result;
  std::vector<const char*> argv{program.c_str()};
  for (const auto& argument : arguments) argv.push_back(argument.c_str());
  argv.push_back(nullptr);
  GError* error = nullptr;
  // Standard input is a pipe closed at once: the tool never waits on ours.
  GSubprocessLauncher* launcher = g_subprocess_launcher_new(GSubprocessFlags(
      G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_PIPE | G_SUBPROCESS_FLAGS_STDERR_PIPE));
  // A group of its own, so stopping it ends what it started too.
  g_subprocess_launcher_set_child_setup(
      launcher, [](gpointer) { setpgid(0, 0); }, nullptr, nullptr);
  GSubprocess* process = g_subprocess_launcher_spawnv(launcher, argv.data(), &error);
  g_object_unref(launcher);
  if (!process) {
    result.error = error ? error->message : "couldn't start the 1Password CLI";
    g_clear_error(&error);
    return result;
  }
  result.started = true;
  state.started(process);
  GBytes* out = nullptr;
  GBytes* err = nullptr;
  // Reads both pipes together to their end, so neither can fill and stall the tool.
  GBytes* nothing = g_bytes_new(nullptr, 0);
  const bool finished = g_subprocess_communicate(process, nothing, nullptr, &out, &err, &error);
  g_bytes_unref(nothing);
  result.cancelled = state.ended();
  if (!finished) {
    g_clear_error(&error);
    g_subprocess_force_exit(process);
    g_subprocess_wait(process, nullptr, nullptr);
    take(out);
    take(err);
    g_object_unref(process);
    if (!result.cancelled) result.error = "the 1Password CLI stopped unexpectedly";
    return result;
  }
  g_subprocess_wait(process, nullptr, nullptr);
  result.exitStatus = g_subprocess_get_if_exited(process) ? g_subprocess_get_exit_status(process) : -1;
  result.output = take(out);
  result.error = take(err);
  g_object_unref(process);
  return result;
}

}  // namespace

Tool::Tool(Scheduler& scheduler, std::function<std::optional<std::string>()> findTool, Duration limit)
    : scheduler_(scheduler), findTool_(std::move(findTool)), limit_(limit) {}

Tool::~Tool() {
  for (auto& worker : workers_) {
    worker.state->done = nullptr;
    worker.state->stop();
  }
  for (auto& worker : workers_)
    if (worker.thread.joinable()) worker.thread.join();
}

void Tool::reapFinished() {
  std::erase_if(workers_, [](Worker& worker) {
    if (!worker.state->finished) return false;
    worker.thread.join();
    return true;
  });
}

Tool::Call Tool::run(std::vector<std::string> arguments, Done done) {
  reapFinished();
  auto state = std::make_shared<Call::State>();
  state->done = std::move(done);
  auto program = findTool_ ? findTool_() : std::nullopt;
  if (!program) {
    std::weak_ptr<Call::State> weak = state;
    scheduler_
        .post([weak] {
          auto s = weak.lock();
          if (s && s->done) std::exchange(s->done, nullptr)(Outcome::failed({Failure::Kind::notInstalled, {}}));
        })
        .detach();
    return Call(state);
  }

  std::weak_ptr<Call::State> weak = state;
  state->timeout = scheduler_.after(limit_, [weak] {
    if (auto s = weak.lock()) {
      s->timedOut = true;
      s->stop();
    }
  });
  Scheduler* scheduler = &scheduler_;
  std::thread thread([state, scheduler, program = *program, arguments = std::move(arguments)]() mutable {
    auto result = std::make_shared<Result>(runToEnd(program, arguments, *state));
    std::weak_ptr<Call::State> weak = state;
    // The scheduler outlives this thread: the tool joins it before going.
    scheduler->postFromAnyThread([weak, result] {
      auto s = weak.lock();
      if (!s || !s->done) {
        wipe(result->output);
        return;
      }
      s->timeout.cancel();
      auto done = std::exchange(s->done, nullptr);
      if (s->timedOut) {
        wipe(result->output);
        done(Outcome::failed(Failure::op(kTimedOut)));
      } else if (result->cancelled) {
        wipe(result->output);  // cancelled by its owner, who wants no answer
      } else if (!result->started) {
        done(Outcome::failed(Failure::op(result->error)));
      } else if (result->exitStatus == 0) {
        done(Outcome::success(std::move(result->output)));
      } else {
        wipe(result->output);
        done(Outcome::failed(failureFromError(result->error)));
      }
    });
    state->finished = true;
  });
  workers_.push_back({std::move(thread), state});
  return Call(state);
}

}  // namespace quillo::OnePassword
