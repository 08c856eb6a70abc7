// Passing the extension's reports of frames loading and going away on to a view's frame origins.
#pragma once
#include <webkit/webkit.h>

#include "page/frame_origins.h"

namespace quillo {

// Takes the extension's reports of frames loading and going away. True when
// the message was one of them.
bool noteFrame(FrameOrigins& origins, WebKitUserMessage* message);

}  // namespace quillo
