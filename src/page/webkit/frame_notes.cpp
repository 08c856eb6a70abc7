// Passing the extension's reports of frames loading and going away on to a view's frame origins.
#include "page/webkit/frame_notes.h"

#include "page/extension/protocol.h"

namespace quillo {

bool noteFrame(FrameOrigins& origins, WebKitUserMessage* message) {
  const char* name = webkit_user_message_get_name(message);
  GVariant* parameters = webkit_user_message_get_parameters(message);
  if (g_strcmp0(name, extension::kFrameLoaded) == 0) {
    if (parameters && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(tsb)"))) {
      guint64 frameID = 0;
      const char* url = nullptr;
      gboolean isMain = FALSE;
      g_variant_get(parameters, "(t&sb)", &frameID, &url, &isMain);
      origins.frameLoaded(frameID, url, isMain);
    }
    return true;
  }
  if (g_strcmp0(name, extension::kFrameGone) == 0) {
    if (parameters && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(t)"))) {
      guint64 frameID = 0;
      g_variant_get(parameters, "(t)", &frameID);
      origins.frameGone(frameID);
    }
    return true;
  }
  return false;
}

}  // namespace quillo
