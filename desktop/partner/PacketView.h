// A packet's bytes, field by field, whatever is wrong with them; and back to the same bytes.
#pragma once

#include <string>
#include <vector>

#include "desktop/partner/RecordJson.h"
#include "desktop/partner/Store.h"

namespace wkt {

struct PacketPart {
  size_t offset = 0;
  Bytes bytes;
  std::string name;
  const char* kind = "";  // "text", "fixed text", "number", "rest"
  std::u16string value;   // up to the terminator
  bool plain = true;      // the value alone gives these bytes again
  std::string meaning;    // for people, may be empty
};

struct PacketView {
  bool isType = false;
  std::vector<PacketPart> parts;
  std::string problem;   // the first thing that is wrong, and where; empty: nothing
  std::string provider;  // what the provider says to these bytes
};

// A packet does not say what it is; the folder that it is sent to does. Without one its second
// field tells: a number, or a word.
enum class PacketKind : uint8_t { Guess, Job, Type };
PacketView ViewPacket(std::span<const uint8_t> bytes, PacketKind kind = PacketKind::Guess);
Json PacketToJson(const PacketView& view);
// Throws Failure (Usage) for JSON of another shape.
Bytes PacketFromJson(const Json& json);

}  // namespace wkt
