// The palette's look (CSS), loaded into the display once.
#pragma once

namespace quillo {

// Loads the palette's look into the default display, once.
void ensurePaletteStyle();

}  // namespace quillo
