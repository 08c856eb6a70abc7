#include "palette/palette_item.h"

#include "page/page.h"

namespace quillo {

std::string SitePermission::key() const {
  switch (kind) {
    case Kind::camera:
      return "camera";
    case Kind::microphone:
      return "microphone";
    case Kind::notifications:
      return "notifications";
    case Kind::app:
      return "app:" + scheme;
  }
  return {};
}

std::string PermissionSource::title(const SitePermission& permission) const {
  switch (permission.kind) {
    case SitePermission::Kind::camera:
      return "Camera";
    case SitePermission::Kind::microphone:
      return "Microphone";
    case SitePermission::Kind::notifications:
      return "Notifications";
    case SitePermission::Kind::app:
      return "Open " + permission.scheme + ": links";
  }
  return {};
}

PaletteItemID PaletteItem::id() const {
  switch (kind()) {
    case Kind::pin:
      return pin()->id;
    case Kind::tab:
      return idOf(**tab());
    case Kind::command:
      return "command-" + std::string(commands::info(*command()).rawValue);
    case Kind::login:
      return "login-" + login()->id;
    case Kind::history:
      return "history-" + history()->url.str();
    case Kind::download:
      return static_cast<const void*>(download()->get());
    case Kind::permission:
      return "permission-" + permission()->host + "-" + permission()->key();
  }
  return std::string();
}

std::optional<Url> PaletteItem::address() const {
  switch (kind()) {
    case Kind::pin:
      return pin()->url;
    case Kind::tab:
      return (*tab())->savedURL();
    case Kind::history:
      return history()->url;
    case Kind::download:
      return (*download())->source();
    case Kind::command:
    case Kind::login:
    case Kind::permission:
      return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace quillo
