// Palette row icons: site images decoded once and cached, and the theme icons for commands and permissions.
#include "palette/gtk/palette_icons.h"

#include <array>
#include <utility>

namespace quillo {

uint64_t TextureCache::hash(const Bytes& bytes) {
  // FNV-1a over the bytes and their length; favicons are small.
  uint64_t h = 1469598103934665603ull ^ bytes.size();
  for (uint8_t byte : bytes) {
    h ^= byte;
    h *= 1099511628211ull;
  }
  return h ? h : 1;
}

Glib::RefPtr<Gdk::Texture> TextureCache::get(const Bytes& bytes, uint64_t key) {
  auto found = textures_.find(key);
  if (found != textures_.end()) return found->second;
  if (textures_.size() >= kLimit) textures_.clear();
  Glib::RefPtr<Gdk::Texture> texture;
  try {
    auto data = Glib::Bytes::create(bytes.data(), bytes.size());
    texture = Gdk::Texture::create_from_bytes(data);
  } catch (const Glib::Error&) {
    texture.reset();  // kept as "unreadable" so it is not tried again
  }
  textures_.emplace(key, texture);
  return texture;
}

void showIcon(Gtk::Image& image, const IconChoice& choice, TextureCache& cache, uint64_t& shown) {
  if (choice.image && !choice.image->empty()) {
    uint64_t key = TextureCache::hash(*choice.image);
    if (key == shown) return;
    if (auto texture = cache.get(*choice.image, key)) {
      image.set(texture);
      image.remove_css_class("icon");
      shown = key;
      return;
    }
  }
  // Names are told apart from images by a hash of the name with the top bit set.
  uint64_t key = std::hash<std::string>()(choice.fallback) | (1ull << 63);
  if (key == shown) return;
  image.set_from_icon_name(choice.fallback);
  image.add_css_class("icon");
  shown = key;
}

namespace paletteicons {

std::string forSymbol(std::string_view symbol) {
  static const std::array<std::pair<std::string_view, const char*>, 17> table = {{
      {"link", "insert-link-symbolic"},
      {"key.fill", "dialog-password-symbolic"},
      {"hand.raised.fill", "security-high-symbolic"},
      {"rectangle.split.2x1", "view-dual-symbolic"},
      {"rectangle", "view-paged-symbolic"},
      {"speaker.slash.fill", "audio-volume-muted-symbolic"},
      {"pip.enter", "video-display-symbolic"},
      {"doc.plaintext", "x-office-document-symbolic"},
      {"arrow.uturn.backward", "edit-undo-symbolic"},
      {"eye.slash", "view-conceal-symbolic"},
      {"pin.fill", "view-pin-symbolic"},
      {"clock", "document-open-recent-symbolic"},
      {"arrow.down.circle", "folder-download-symbolic"},
      {"square.and.arrow.down", "document-revert-symbolic"},
      {"trash", "user-trash-symbolic"},
      {"globe", "web-browser-symbolic"},
      {"power", "system-shutdown-symbolic"},
  }};
  for (auto& [name, icon] : table)
    if (name == symbol) return icon;
  return "application-x-executable-symbolic";
}

std::string forPermission(const SitePermission& permission) {
  switch (permission.kind) {
    case SitePermission::Kind::camera: return "camera-web-symbolic";
    case SitePermission::Kind::microphone: return "audio-input-microphone-symbolic";
    case SitePermission::Kind::notifications: return "preferences-system-notifications-symbolic";
    case SitePermission::Kind::app: return "application-x-executable-symbolic";
  }
  return "application-x-executable-symbolic";
}

}  // namespace paletteicons
}  // namespace quillo
