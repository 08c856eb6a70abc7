// Checking that fetched icon bytes decode as an image GTK can draw.
#include "page/gtk/icon_decoding.h"

#include <gtk/gtk.h>

namespace quillo {

bool decodesAsImage(const Bytes& bytes) {
  if (bytes.empty()) return false;
  GBytes* data = g_bytes_new(bytes.data(), bytes.size());
  GError* error = nullptr;
  GdkTexture* texture = gdk_texture_new_from_bytes(data, &error);
  g_bytes_unref(data);
  g_clear_error(&error);
  if (!texture) return false;
  bool drawable = gdk_texture_get_width(texture) > 0 && gdk_texture_get_height(texture) > 0;
  g_object_unref(texture);
  return drawable;
}

}  // namespace quillo
