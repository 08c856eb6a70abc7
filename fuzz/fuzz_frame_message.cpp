// What frames send through the web process extension, as the view decodes
// it and the page handles it: any name, frame and payload text.
#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz_support.h"
#include "page/frame_message.h"
#include "page/page.h"
#include "support/fake_web_view.h"
#include "support/virtual_scheduler.h"

using namespace quillo;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::quietLog();
  static test::VirtualScheduler scheduler;
  static test::FakeEngine engine;
  static auto page = std::make_shared<Page>(engine.makeView({}), scheduler);

  FuzzedDataProvider input(data, size);
  static const char* kNames[] = {"quilloHover", "quilloForms", "quilloVideo", "quilloNotify"};
  std::string name =
      input.ConsumeBool() ? kNames[input.ConsumeIntegralInRange<size_t>(0, 3)] : input.ConsumeRandomLengthString(32);
  uint64_t frameID = input.ConsumeIntegral<uint64_t>();
  bool isMain = input.ConsumeBool();
  std::string frameURL = input.ConsumeRandomLengthString(256);
  std::string payload = input.ConsumeRemainingBytesAsString();

  auto message = decodeFrameMessage(name, frameID, frameURL, isMain, payload);
  fuzz::check(message.name == name && message.frameID == frameID, "the extension's own fields pass unchanged");
  page->webViewMessage(message);
  if (page->hoveredLink) fuzz::check(Url::parse(page->hoveredLink->str()).has_value(), "a hovered link is a URL");
  return 0;
}
