// The program's version, as set by the build.
#include "app/version.h"
namespace quillo {
const char* version() { return QUILLO_VERSION; }
}  // namespace quillo
