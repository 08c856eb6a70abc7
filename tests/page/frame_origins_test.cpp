// Who may be named as the asker of a page's dialog, and what frames' messages carry.
#include "page/frame_origins.h"

#include <gtest/gtest.h>

#include "page/frame_message.h"

namespace quillo {
namespace {

TEST(FrameOrigins, ADialogNamesTheHostOnlyWhileNoFrameOfAnotherSchemeHostOrPortCouldHaveAsked) {
  EXPECT_EQ(FrameOrigins::origin("HTTPS://Example.COM/a?b"), "https://example.com");
  EXPECT_EQ(FrameOrigins::origin("http://127.0.0.1:8080/x"), "http://127.0.0.1:8080");
  EXPECT_EQ(FrameOrigins::origin("not a url"), "");

  // Frames of the same site or another, and a new main document forgetting the frames, are played out on the real
  // engine.
  FrameOrigins frames;
  const std::string top = "https://bank.example/login";
  frames.frameLoaded(1, top, true);
  frames.frameLoaded(2, "about:blank", false);  // a frame's first, empty document
  EXPECT_EQ(frames.dialogHeading(top), "bank.example says");

  frames.frameLoaded(2, "data:text/html,<p>hi", false);  // the empty frame navigates away
  EXPECT_EQ(frames.dialogHeading(top), "A frame on this page says") << "opaque documents are another origin";
  frames.frameGone(2);
  EXPECT_EQ(frames.dialogHeading(top), "bank.example says");

  frames.frameLoaded(1, "file:///home/me/page.html", true);
  EXPECT_EQ(frames.dialogHeading("file:///home/me/page.html"), "This page says");
}

TEST(FrameMessages, ThePayloadIsJSONOfBoundedDepthOrNull) {
  // The fields of real frames' messages pass through in the engine's extension tests.
  auto payload = [](const std::string& text) { return decodeFrameMessage("x", 1, "", true, text).payload; };
  auto nested = [](int depth) { return std::string(depth, '[') + "1" + std::string(depth, ']'); };
  EXPECT_TRUE(payload("{not json").is_null());
  EXPECT_TRUE(payload(nested(kMaxPayloadDepth + 1)).is_null());
  EXPECT_TRUE(payload(nested(kMaxPayloadDepth)).is_array());
}

}  // namespace
}  // namespace quillo
