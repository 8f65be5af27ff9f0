#pragma once

#include "WktDevCommon/DatabaseAid.h"

namespace wkt {

// Tells the service manager on which volume a database lives; for the object store the members stay
// as they are. Nothing gives a database a volume, so this happens to no database of this program.
// Kept: the identifier lives in the database object and is gone with it.
inline void ReportVolume(CDatabaseAid& database, BYTE*& volumeId, UINT& byteCount) {
  CEGUID* const guid = database.GetVolumeGuid();
  if (CHECK_SYSTEMGUID(guid))
    return;
  volumeId = reinterpret_cast<BYTE*>(guid);
  byteCount = sizeof(CEGUID);
}

}  // namespace wkt
