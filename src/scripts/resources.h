// The page scripts and templates built into the program, looked up by file name.
#pragma once
#include <string_view>

namespace quillo::scripts {
// The text of an embedded page script or template by file name
// ("hover.js"); empty when there is none.
std::string_view resource(std::string_view name);
}  // namespace quillo::scripts
