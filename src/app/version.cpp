#include "app/version.h"
namespace quillo {
const char* version() { return QUILLO_VERSION; }
}  // namespace quillo
