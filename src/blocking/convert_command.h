// The --convert-filter-list command: an Adblock filter list written out as content-blocker JSON.
#pragma once
#include <iosfwd>
#include <string>

namespace quillo {

// `quillo --convert-filter-list FILE`, for list maintainers: writes the
// content-blocker JSON for an Adblock-syntax filter list to `out` and one
// line "blocking N, exceptions N, skipped N" to `err`. Returns the exit
// status: 0, or 1 with a message when the file can't be read.
int convertFilterListCommand(const std::string& path, std::ostream& out, std::ostream& err);
// The same on standard output and standard error.
int convertFilterListCommand(const std::string& path);

}  // namespace quillo
