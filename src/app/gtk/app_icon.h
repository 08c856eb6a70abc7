// The application's icon on the desktop: its name in the icon theme, and finding it when Quillo is not installed.
#pragma once
#include <string>

namespace quillo {

// The icon's name in the hicolor theme (data/icons); with "-symbolic" the one-colour one for panels.
inline constexpr const char* kAppIconName = "org.quillo.Quillo";

// Makes the icon every window's icon. A run from the build tree, with no
// icon installed, finds it in the source folder. Returns that folder when it
// was needed (a tray can pass it on as its icon theme path), else "".
std::string useAppIcon();

}  // namespace quillo
