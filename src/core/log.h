// The log: one "Quillo: ..." line per message on standard error, or to a test's sink.
#pragma once
#include <functional>
#include <string>
#include <string_view>

namespace quillo {

// Writes one line "Quillo: <message>" to standard error. Failures of
// background work end up here; nothing stops the program.
void logLine(std::string_view message);

// Tests capture log lines instead of printing them. Returns the previous sink.
using LogSink = std::function<void(const std::string&)>;
LogSink setLogSink(LogSink sink);

}  // namespace quillo
