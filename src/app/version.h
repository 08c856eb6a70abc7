// The program's version string.
#pragma once
namespace quillo {
// The program's version, for the user agent and --version.
const char* version();
}  // namespace quillo
