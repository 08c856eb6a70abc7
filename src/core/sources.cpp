// What the permission rows of the row sources are called, for storage and for people.
#include "core/sources.h"

namespace quillo {

std::string SitePermission::key() const {
  switch (kind) {
    case Kind::camera: return "camera";
    case Kind::microphone: return "microphone";
    case Kind::notifications: return "notifications";
    case Kind::app: return "app:" + scheme;
  }
  return {};
}

std::string PermissionSource::title(const SitePermission& permission) const {
  switch (permission.kind) {
    case SitePermission::Kind::camera: return "Camera";
    case SitePermission::Kind::microphone: return "Microphone";
    case SitePermission::Kind::notifications: return "Notifications";
    case SitePermission::Kind::app: return "Open " + permission.scheme + ": links";
  }
  return {};
}

}  // namespace quillo
