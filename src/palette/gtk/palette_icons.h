// Palette row icons: site images decoded once and cached, and the theme icons for commands and permissions.
#pragma once
#include <gtkmm.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "core/sources.h"

namespace quillo {

// What a row's icon shows: a site's own image, or a symbolic icon of the theme.
struct IconChoice {
  std::optional<Bytes> image;
  std::string fallback;  // a theme icon name, used when there is no image or it can't be read
};

// Site images decoded once and kept by their content, so rebuilding rows on
// every keystroke never decodes the same icon twice.
class TextureCache {
 public:
  // None for bytes no image loader understands.
  Glib::RefPtr<Gdk::Texture> get(const Bytes& bytes, uint64_t hash);
  static uint64_t hash(const Bytes& bytes);

 private:
  static constexpr size_t kLimit = 512;
  std::unordered_map<uint64_t, Glib::RefPtr<Gdk::Texture>> textures_;
};

// Shows an icon choice in an image, touching the image only when the choice
// changed since the last call (remembered in `shown`).
void showIcon(Gtk::Image& image, const IconChoice& choice, TextureCache& cache, uint64_t& shown);

namespace paletteicons {

// The theme's symbolic icon standing for a command's symbol name.
std::string forSymbol(std::string_view symbol);
std::string forPermission(const SitePermission& permission);
inline constexpr const char* kTab = "web-browser-symbolic";
inline constexpr const char* kPrivateTab = "view-conceal-symbolic";
inline constexpr const char* kPin = "view-pin-symbolic";
inline constexpr const char* kHistory = "document-open-recent-symbolic";
inline constexpr const char* kLogin = "dialog-password-symbolic";
inline constexpr const char* kDownload = "folder-download-symbolic";
inline constexpr const char* kDragHandle = "list-drag-handle-symbolic";
inline constexpr const char* kSplit = "view-dual-symbolic";
inline constexpr const char* kRemove = "edit-delete-symbolic";

}  // namespace paletteicons
}  // namespace quillo
