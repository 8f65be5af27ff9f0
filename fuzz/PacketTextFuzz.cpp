// Any bytes as the text form of a packet, and as the packet itself: what is shown of bytes gives
// the same bytes again.
#include "desktop/partner/Failure.h"
#include "desktop/partner/JsonText.h"
#include "desktop/partner/PacketView.h"
#include "fuzz/FuzzInput.h"

namespace {

using wkt::fuzz::Require;

void ShowAndRead(std::span<const uint8_t> bytes) {
  const wkt::PacketView view = wkt::ViewPacket(bytes);
  size_t offset = 0;
  for (const wkt::PacketPart& part : view.parts) {
    Require(part.offset == offset, "parts follow each other");
    offset += part.bytes.size();
  }
  Require(offset == bytes.size(), "parts are all there is");
  Require(!view.provider.empty(), "the provider says something");
  Require(view.problem.empty() == (view.provider == "accepted"), "what is refused has a reason");
  const std::string text = wkt::PacketToJson(view).dump();
  int line = 1;
  const wkt::Bytes again = wkt::PacketFromJson(wkt::ParseJson(text, &line));
  Require(std::equal(again.begin(), again.end(), bytes.begin(), bytes.end()),
          "the text gives the same bytes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t byteCount) {
  ShowAndRead({data, byteCount});
  try {
    int line = 1;
    ShowAndRead(wkt::PacketFromJson(
        wkt::ParseJson({reinterpret_cast<const char*>(data), byteCount}, &line)));
  } catch (const wkt::Failure& failure) {
    Require(failure.what()[0] != '\0', "a refusal says why");
  }
  return 0;
}
