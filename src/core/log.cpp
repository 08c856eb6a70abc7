// The log: one "Quillo: ..." line per message on standard error, or to a test's sink.
#include "core/log.h"

#include <cstdio>
#include <mutex>

namespace quillo {
namespace {
std::mutex sinkMutex;
LogSink& sink() {
  static LogSink s;
  return s;
}
}  // namespace

void logLine(std::string_view message) {
  std::string line = "Quillo: ";
  line += message;
  std::lock_guard lock(sinkMutex);
  if (sink()) {
    sink()(line);
    return;
  }
  std::fprintf(stderr, "%s\n", line.c_str());
}

LogSink setLogSink(LogSink s) {
  std::lock_guard lock(sinkMutex);
  auto old = std::move(sink());
  sink() = std::move(s);
  return old;
}

}  // namespace quillo
