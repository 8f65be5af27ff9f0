#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "WktCommon/PacketText.h"
#include "platform/Types.h"

// One table per packet kind: its fields in wire order. Size, encoding, decoding, the check of
// foreign bytes and the lines of the log all walk it, and nothing else computes with addresses
// inside packets.
namespace wkt {

enum class FieldShape : uint8_t {
  Fixed,      // a text in a field of fixed width, copied whole
  Reference,  // the same; partners with the older layout send it narrower
  Variable,   // a text and its terminator
};

// How the line of a field shows it. Times are told at the row of their low half.
enum class FieldLine : uint8_t {
  None,
  Text,
  ThreeTexts,    // this field and the two before it
  UtcSeconds,    // date and time of day as two texts
  UtcMinutes,    // date and time of day as one text
  LocalMinutes,  // the same as two texts, of a time that is local already
};

struct PacketField {
  FieldShape shape;
  FieldLine line = FieldLine::None;
  uint16_t unitCount;         // width of a fixed field
  uint16_t place;             // of the member inside the packet object
  uint16_t decoderShows = 0;  // the member that the decoder's line is made from
  const WCHAR* encoderText = nullptr;
  const WCHAR* decoderText = nullptr;
};

using PacketFields = std::span<const PacketField>;

constexpr PacketField FixedField(size_t place, size_t unitCount, const WCHAR* text = nullptr) {
  const uint16_t at = static_cast<uint16_t>(place);
  return {FieldShape::Fixed,
          text ? FieldLine::Text : FieldLine::None,
          static_cast<uint16_t>(unitCount),
          at,
          at,
          text,
          text};
}
constexpr PacketField VariableField(size_t place, const WCHAR* encoderText,
                                    const WCHAR* decoderText) {
  const uint16_t at = static_cast<uint16_t>(place);
  return {FieldShape::Variable, FieldLine::Text, 0, at, at, encoderText, decoderText};
}
constexpr PacketField VariableField(size_t place, const WCHAR* text) {
  return VariableField(place, text, text);
}
constexpr PacketField ReferenceField(size_t place, FieldLine line = FieldLine::None,
                                     const WCHAR* text = nullptr) {
  const uint16_t at = static_cast<uint16_t>(place);
  return {FieldShape::Reference, line, kReferenceUnits, at, at, text, text};
}
constexpr PacketField TimeHighField(size_t place) {
  return FixedField(place + offsetof(TimeText, high), kNumberUnits);
}
constexpr PacketField TimeLowField(size_t place, FieldLine line, const WCHAR* text,
                                   size_t decoderShows) {
  PacketField field = FixedField(place + offsetof(TimeText, low), kNumberUnits, text);
  field.line = line;
  field.decoderShows = static_cast<uint16_t>(decoderShows + offsetof(TimeText, low));
  return field;
}
constexpr PacketField TimeLowField(size_t place, FieldLine line, const WCHAR* text) {
  return TimeLowField(place, line, text, place);
}

// What a packet measures without the characters and terminators of its variable texts.
constexpr size_t FixedBytes(PacketFields fields) {
  size_t units = 0;
  for (const PacketField& field : fields)
    units += field.unitCount;
  return units * sizeof(WCHAR);
}

// Units before the first zero unit; nothing when `maxUnits` pass without one. Reads whole words, so
// up to three units behind the zero one, as far as `maxUnits` reach.
[[nodiscard]] std::optional<size_t> FindTerminator(const BYTE* bytes, size_t maxUnits);

// Do all fields lie inside the bytes, each terminated?
[[nodiscard]] bool FieldsFit(PacketFields fields, const BYTE* bytes, size_t byteCount,
                             size_t referenceUnits);

enum class LineTexts { Encoder, Decoder };
void LogFields(PacketFields fields, const void* packet, LineTexts texts);

}  // namespace wkt
