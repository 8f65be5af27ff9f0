#include "WktCommon/PacketField.h"

#include <bit>
#include <cstring>

#include "WktCommon/Log.h"
#include "WktCommon/OwnedText.h"
#include "WktCommon/Times.h"
#include "WktCommon/WideString.h"

namespace wkt {

namespace {

constexpr size_t kUnitsPerWord = sizeof(uint64_t) / sizeof(WCHAR);
constexpr size_t kBitsPerUnit = 16;
constexpr uint64_t kLowestBits = 0x0001000100010001;
constexpr uint64_t kHighestBits = 0x8000800080008000;
static_assert(std::endian::native == std::endian::little, "packets are little-endian");

// Dates and times of day as the log shows them.
struct TimeLine {
  WideString date;
  WideString clock;
};

enum class Zone { Utc, Local };

TimeLine FormatTime(const FILETIME& time, Zone zone, int clockFlags) {
  const BOOL isLocal = zone == Zone::Local;
  TimeLine line;
  FormatDateText(line.date, time, isLocal, 0);
  FormatTimeText(line.clock, time, isLocal, !isLocal, clockFlags);
  return line;
}

class FieldLogger {
 public:
  FieldLogger(PacketFields rows, const void* object, LineTexts kind)
      : fields(rows), packet(static_cast<const BYTE*>(object)), texts(kind) {}

  void Log(size_t row) const {
    const PacketField& field = fields[row];
    const WCHAR* const format = texts == LineTexts::Encoder ? field.encoderText : field.decoderText;
    switch (field.line) {
      case FieldLine::None:
        return;
      case FieldLine::Text:
        PassToLog(kLogDetail, format, Text(field));
        return;
      case FieldLine::ThreeTexts:
        PassToLog(kLogDetail, format, Text(fields[row - 2]), Text(fields[row - 1]), Text(field));
        return;
      case FieldLine::UtcSeconds: {
        const TimeLine line = FormatTime(Time(field), Zone::Utc, kHoursMinutesSeconds);
        PassToLog(kLogDetail, format, line.date.c_str(), line.clock.c_str());
        return;
      }
      case FieldLine::UtcMinutes: {
        TimeLine line = FormatTime(Time(field), Zone::Utc, kHoursMinutes);
        PassToLog(kLogDetail, format, line.date.Append(u" ").Append(line.clock).c_str());
        return;
      }
      case FieldLine::LocalMinutes: {
        const TimeLine line = FormatTime(Time(field), Zone::Local, kHoursMinutes);
        PassToLog(kLogDetail, format, line.date.c_str(), line.clock.c_str());
        return;
      }
    }
  }

 private:
  [[nodiscard]] const WCHAR* Text(const PacketField& field) const {
    if (field.shape == FieldShape::Variable)
      return reinterpret_cast<const OwnedText*>(packet + field.place)->Get();
    return reinterpret_cast<const WCHAR*>(packet + field.place);
  }
  // The row is that of a low half.
  [[nodiscard]] FILETIME Time(const PacketField& field) const {
    const uint16_t low = texts == LineTexts::Encoder ? field.place : field.decoderShows;
    return ReadTime(*reinterpret_cast<const TimeText*>(packet + low - offsetof(TimeText, low)));
  }

  PacketFields fields;
  const BYTE* packet;
  LineTexts texts;
};

}  // namespace

std::optional<size_t> FindTerminator(const BYTE* bytes, size_t maxUnits) {
  size_t units = 0;
  // Four units at a time; the lowest one that is zero shows in the lowest bit that remains.
  for (; maxUnits - units >= kUnitsPerWord; units += kUnitsPerWord) {
    uint64_t word;
    std::memcpy(&word, bytes + units * sizeof(WCHAR), sizeof(word));
    const uint64_t zeros = (word - kLowestBits) & ~word & kHighestBits;
    if (zeros)
      return units + static_cast<size_t>(std::countr_zero(zeros)) / kBitsPerUnit;
  }
  for (; units < maxUnits; ++units) {
    WCHAR unit;
    std::memcpy(&unit, bytes + units * sizeof(WCHAR), sizeof(WCHAR));
    if (unit == 0)
      return units;
  }
  return std::nullopt;
}

bool FieldsFit(PacketFields fields, const BYTE* bytes, size_t byteCount, size_t referenceUnits) {
  for (const PacketField& field : fields) {
    const size_t width = field.shape == FieldShape::Reference ? referenceUnits : field.unitCount;
    const size_t unitsLeft = byteCount / sizeof(WCHAR);
    const bool isVariable = field.shape == FieldShape::Variable;
    if (!isVariable && unitsLeft < width)
      return false;
    const std::optional<size_t> length = FindTerminator(bytes, isVariable ? unitsLeft : width);
    if (!length)
      return false;
    const size_t used = (isVariable ? *length + 1 : width) * sizeof(WCHAR);
    bytes += used;
    byteCount -= used;
  }
  return true;
}

void LogFields(PacketFields fields, const void* packet, LineTexts texts) {
  if (!IsLogging())
    return;
  const FieldLogger logger(fields, packet, texts);
  for (size_t row = 0; row < fields.size(); ++row)
    logger.Log(row);
}

}  // namespace wkt
