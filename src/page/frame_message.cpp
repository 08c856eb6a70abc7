// Frame messages: decoding what a page script sent through the web process extension.
#include "page/frame_message.h"

#include <memory>
#include <utility>

namespace quillo {

FrameMessage decodeFrameMessage(std::string_view name, uint64_t frameID, std::string_view frameURL, bool isMainFrame,
                                std::string_view payload) {
  FrameMessage message;
  message.name = name;
  message.frameID = frameID;
  message.frameURL = frameURL;
  message.isMainFrame = isMainFrame;
  bool tooDeep = false;
  // depth counts the containers around the one starting.
  auto limitDepth = [&tooDeep](int depth, nlohmann::json::parse_event_t event, nlohmann::json&) {
    using Event = nlohmann::json::parse_event_t;
    if ((event == Event::array_start || event == Event::object_start) && depth >= kMaxPayloadDepth) tooDeep = true;
    return !tooDeep;
  };
  message.payload = nlohmann::json::parse(payload.begin(), payload.end(), limitDepth, false);
  if (tooDeep || message.payload.is_discarded()) message.payload = nullptr;
  return message;
}

std::function<void(const nlohmann::json&)> replyOnce(std::function<void(const nlohmann::json&)> send) {
  struct Once {
    std::function<void(const nlohmann::json&)> send;
    ~Once() {
      if (send) send(nullptr);
    }
  };
  auto once = std::make_shared<Once>();
  once->send = std::move(send);
  return [once](const nlohmann::json& answer) {
    if (auto send = std::exchange(once->send, nullptr)) send(answer);
  };
}

}  // namespace quillo
