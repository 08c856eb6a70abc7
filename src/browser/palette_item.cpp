// Palette rows' identities and addresses, and the keys and titles of site permissions.
#include "browser/palette_item.h"

#include "page/page.h"

namespace quillo {

PaletteItemID PaletteItem::id() const {
  switch (kind()) {
    case Kind::pin: return pin()->id;
    case Kind::tab: return idOf(**tab());
    case Kind::command: return "command-" + std::string(commands::info(*command()).rawValue);
    case Kind::login: return "login-" + login()->id;
    case Kind::history: return "history-" + history()->url.str();
    case Kind::download: return static_cast<const void*>(download()->get());
    case Kind::permission: return "permission-" + permission()->host + "-" + permission()->key();
    case Kind::importSource: return "import-" + importSource()->folder.string();
  }
  return std::string();
}

std::optional<Url> PaletteItem::address() const {
  switch (kind()) {
    case Kind::pin: return pin()->url;
    case Kind::tab: return (*tab())->savedURL();
    case Kind::history: return history()->url;
    case Kind::download: return (*download())->source();
    case Kind::command:
    case Kind::login:
    case Kind::permission:
    case Kind::importSource: return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace quillo
