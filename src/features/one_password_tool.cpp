#include "features/one_password_tool.h"

#include <gio/gio.h>
#include <string.h>

#include <atomic>

namespace quillo::OnePassword {

struct Tool::Call::State {
  GCancellable* cancellable = g_cancellable_new();
  Done done;                         // main thread only
  TaskHandle timeout;                // main thread only
  bool timedOut = false;             // main thread only
  std::atomic<bool> finished{false};  // the worker is done
  ~State() { g_object_unref(cancellable); }
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
  g_cancellable_cancel(state_->cancellable);
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

Result runToEnd(const std::string& program, const std::vector<std::string>& arguments, GCancellable* cancellable) {
  Result result;
  std::vector<const char*> argv{program.c_str()};
  for (const auto& argument : arguments) argv.push_back(argument.c_str());
  argv.push_back(nullptr);
  GError* error = nullptr;
  // Standard input is a pipe closed at once: the tool never waits on ours.
  GSubprocess* process = g_subprocess_newv(
      argv.data(), GSubprocessFlags(G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_PIPE |
                                    G_SUBPROCESS_FLAGS_STDERR_PIPE),
      &error);
  if (!process) {
    result.error = error ? error->message : "couldn't start the 1Password CLI";
    g_clear_error(&error);
    return result;
  }
  result.started = true;
  GBytes* out = nullptr;
  GBytes* err = nullptr;
  // Reads both pipes together to their end, so neither can fill and stall the tool.
  GBytes* nothing = g_bytes_new(nullptr, 0);
  const bool finished = g_subprocess_communicate(process, nothing, cancellable, &out, &err, &error);
  g_bytes_unref(nothing);
  if (!finished) {
    result.cancelled = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
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
    g_cancellable_cancel(worker.state->cancellable);
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
    scheduler_.post([weak] {
      auto s = weak.lock();
      if (s && s->done) std::exchange(s->done, nullptr)(Outcome::failed({Failure::Kind::notInstalled, {}}));
    }).detach();
    return Call(state);
  }

  std::weak_ptr<Call::State> weak = state;
  state->timeout = scheduler_.after(limit_, [weak] {
    if (auto s = weak.lock()) {
      s->timedOut = true;
      g_cancellable_cancel(s->cancellable);
    }
  });
  Scheduler* scheduler = &scheduler_;
  std::thread thread([state, scheduler, program = *program, arguments = std::move(arguments)]() mutable {
    auto result = std::make_shared<Result>(runToEnd(program, arguments, state->cancellable));
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
