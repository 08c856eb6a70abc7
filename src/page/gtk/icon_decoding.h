// Checking that fetched icon bytes decode as an image GTK can draw.
#pragma once
#include "core/sources.h"

namespace quillo {

// Whether the bytes decode as an image the views can draw (PNG, ICO, JPEG…):
// what makes a fetched icon usable.
bool decodesAsImage(const Bytes& bytes);

}  // namespace quillo
