// The benchmarks' main loop: turning it until something is done, sleeping between events.
#include "bench/support/main_loop.h"

#include <glib.h>

namespace quillo::bench {

bool runUntil(const std::function<bool()>& done, int timeoutMs) {
  bool timedOut = false;
  guint deadline = g_timeout_add(
      guint(timeoutMs),
      +[](gpointer flag) -> gboolean {
        *static_cast<bool*>(flag) = true;
        return G_SOURCE_REMOVE;
      },
      &timedOut);
  while (!done() && !timedOut) g_main_context_iteration(nullptr, TRUE);
  if (!timedOut) g_source_remove(deadline);
  return done();
}

}  // namespace quillo::bench
