#pragma once

#include "WktCommon/PacketField.h"
#include "WktCommon/WktTypePacket.h"

namespace wkt {

struct TypePacketLayout {
  static constexpr PacketField kFields[] = {
      FixedField(offsetof(CWktTypePacket, magic), kMagicUnits),
      FixedField(offsetof(CWktTypePacket, typeOfType), kNumberUnits, u"Type = %s"),
      VariableField(offsetof(CWktTypePacket, id), u"Id = '%s'"),
      FixedField(offsetof(CWktTypePacket, versionNumber), kVersionUnits, u"Version number = %s"),
      TimeHighField(offsetof(CWktTypePacket, modificationTime)),
      TimeLowField(offsetof(CWktTypePacket, modificationTime), FieldLine::UtcSeconds,
                   u"Modification time = %s %s"),
      TimeHighField(offsetof(CWktTypePacket, creationTime)),
      TimeLowField(offsetof(CWktTypePacket, creationTime), FieldLine::UtcSeconds,
                   u"Creation time = %s %s"),
      FixedField(offsetof(CWktTypePacket, useCount), kNumberUnits, u"Use count = %s"),
      VariableField(offsetof(CWktTypePacket, name1), u"Name1 = '%s'"),
      VariableField(offsetof(CWktTypePacket, name2), u"Name2 = '%s'"),
      VariableField(offsetof(CWktTypePacket, comment), u"Comment = '%s'"),
      FixedField(offsetof(CWktTypePacket, flags), kNumberUnits, u"Flags = '%s'"),
      VariableField(offsetof(CWktTypePacket, unused1), u"Unused1 = '%s'"),
      VariableField(offsetof(CWktTypePacket, unused2), u"Unused2 = '%s'"),
      FixedField(offsetof(CWktTypePacket, unused3), kNumberUnits, u"Unused3 = %s"),
      FixedField(offsetof(CWktTypePacket, unused4), kNumberUnits, u"Unused4 = %s"),
      TimeHighField(offsetof(CWktTypePacket, unused5)),
      // Kept: the decoder's line shows the modification time; the field itself is read as it is.
      TimeLowField(offsetof(CWktTypePacket, unused5), FieldLine::UtcSeconds, u"Unused5 = %s %s",
                   offsetof(CWktTypePacket, modificationTime)),
  };
  static constexpr size_t kKindRow = 1;
};
static_assert(FixedBytes(TypePacketLayout::kFields) == 468);

}  // namespace wkt
