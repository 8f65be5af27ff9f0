#pragma once

#include "WktCommon/JobPacket.h"
#include "WktCommon/PacketField.h"

namespace wkt {

struct JobPacketLayout {
  static constexpr PacketField kFields[] = {
      FixedField(offsetof(CJobPacket, magic), kMagicUnits),
      FixedField(offsetof(CJobPacket, typeText), kJobTypeUnits),
      VariableField(offsetof(CJobPacket, jobId), u"Job id = '%s'", u"Job Id = '%s'"),
      FixedField(offsetof(CJobPacket, versionNumber), kVersionUnits, u"Version number = %s"),
      TimeHighField(offsetof(CJobPacket, modificationTime)),
      TimeLowField(offsetof(CJobPacket, modificationTime), FieldLine::UtcSeconds,
                   u"Modification time = %s %s"),
      VariableField(offsetof(CJobPacket, title), u"Title = '%s'"),
      VariableField(offsetof(CJobPacket, comment), u"Comment = '%s'"),
      ReferenceField(offsetof(CJobPacket, workTypeId)),
      ReferenceField(offsetof(CJobPacket, projectId)),
      ReferenceField(offsetof(CJobPacket, teamworkId), FieldLine::ThreeTexts,
                     u"Work Type ID = %s; Project ID = %s; Teamwork ID = %s"),
      TimeHighField(offsetof(CJobPacket, startTime)),
      TimeLowField(offsetof(CJobPacket, startTime), FieldLine::UtcMinutes, u"Start time = %s"),
      TimeHighField(offsetof(CJobPacket, endTime)),
      TimeLowField(offsetof(CJobPacket, endTime), FieldLine::UtcMinutes, u"End time = %s"),
      VariableField(offsetof(CJobPacket, personIds), u"Person Ids = %s", u"Person ids = %s"),
      FixedField(offsetof(CJobPacket, flags), kNumberUnits, u"Flags = '%s'"),
      FixedField(offsetof(CJobPacket, unused2), kNumberUnits, u"Unused2 = %s"),
      VariableField(offsetof(CJobPacket, unused3), u"Unused3 = '%s'"),
      TimeHighField(offsetof(CJobPacket, localDay)),
      TimeLowField(offsetof(CJobPacket, localDay), FieldLine::LocalMinutes, u"Local day = %s %s"),
  };
  // Behind the magic and the type text.
  static constexpr size_t kBodyRow = 2;
};
static_assert(FixedBytes(JobPacketLayout::kFields) == 676);

// The type texts and the width that each gives to the three identifier fields.
struct JobTypeText {
  const WCHAR* text;
  size_t referenceUnits;
};
constexpr JobTypeText kJobTypeTexts[] = {{u"ACT", kShortReferenceUnits},
                                         {u"FAC", kShortReferenceUnits},
                                         {u"act", kReferenceUnits},
                                         {u"fac", kReferenceUnits}};

// By exact comparison; 0 for any other text.
[[nodiscard]] size_t ReferenceUnitsOf(const WCHAR (&typeText)[kJobTypeUnits]);

}  // namespace wkt
