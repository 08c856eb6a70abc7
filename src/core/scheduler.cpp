// Running posted tasks on the GLib main loop when they come due.
#include "core/scheduler.h"

#include <glib.h>

namespace quillo {

TaskHandle Scheduler::after(Duration delay, std::function<void()> work) {
  auto state = std::make_shared<TaskHandle::State>();
  state->work = std::move(work);
  schedule(delay, state);
  return TaskHandle(state);
}

void Scheduler::run(const std::shared_ptr<TaskHandle::State>& task) {
  if (task->cancelled || task->done) return;
  task->done = true;
  auto work = std::move(task->work);
  task->work = nullptr;
  if (work) work();
}

namespace {
gboolean runTask(gpointer data) {
  auto* task = static_cast<std::shared_ptr<TaskHandle::State>*>(data);
  if (!(*task)->cancelled && !(*task)->done) {
    (*task)->done = true;
    auto work = std::move((*task)->work);
    if (work) work();
  }
  return G_SOURCE_REMOVE;
}
void freeTask(gpointer data) { delete static_cast<std::shared_ptr<TaskHandle::State>*>(data); }

gboolean runOnce(gpointer data) {
  (*static_cast<std::function<void()>*>(data))();
  return G_SOURCE_REMOVE;
}
void freeWork(gpointer data) { delete static_cast<std::function<void()>*>(data); }
}  // namespace

void GLibScheduler::schedule(Duration delay, std::shared_ptr<TaskHandle::State> task) {
  auto* boxed = new std::shared_ptr<TaskHandle::State>(std::move(task));
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(delay).count();
  if (ms <= 0)
    g_idle_add_full(G_PRIORITY_DEFAULT, runTask, boxed, freeTask);
  else
    g_timeout_add_full(G_PRIORITY_DEFAULT, guint(ms), runTask, boxed, freeTask);
}

void GLibScheduler::postFromAnyThread(std::function<void()> work) {
  // g_idle_add is thread-safe and, unlike invoking, never runs inline.
  g_idle_add_full(G_PRIORITY_DEFAULT, runOnce, new std::function<void()>(std::move(work)), freeWork);
}

}  // namespace quillo
