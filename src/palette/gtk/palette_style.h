#pragma once

namespace quillo {

// Loads the palette's look into the default display, once.
void ensurePaletteStyle();

}  // namespace quillo
