// Frame messages: decoding what a page script sent through the web process extension.
#pragma once
#include <cstdint>
#include <functional>
#include <string_view>

#include "page/web_view_port.h"

namespace quillo {

// Builds a frame's message from what the web process extension sent: the
// name the script gave, the frame's id and address (which the extension
// reads itself, so a page cannot claim another frame), and the payload as
// JSON text. A payload that is not JSON, or nests deeper than any of our
// scripts' messages do, arrives as null.
FrameMessage decodeFrameMessage(std::string_view name, uint64_t frameID, std::string_view frameURL, bool isMainFrame,
                                std::string_view payload);

inline constexpr int kMaxPayloadDepth = 32;

// A FrameMessage's reply around the engine's way of answering: `send` runs
// once, with the first answer given or with null when no copy is left.
std::function<void(const nlohmann::json&)> replyOnce(std::function<void(const nlohmann::json&)> send);

}  // namespace quillo
