#pragma once

#include "WktDevCommon/WktTypeDatabase.h"
#include "platform/SyncTypes.h"

class CWktTypePacket;

// The synchronisation's view of the type database: which types a partner has not seen, and types to
// and from packets. The state is kept in each type's flag text: positions 0 and 1 say "is
// synchronized" with partner index 0 and 1, position 2 "changed during sync".
class CSyncWktTypeDatabase : public CWktTypeDatabase {
 public:
  using CWktTypeDatabase::CWktTypeDatabase;

  // `pcNumber` is the partner's index. Fills the list of identifiers, or frees it when the service
  // manager is done with it.
  HRESULT ReadFindObjectInfo(FINDOBJINFO* pFindObjectInfo, DWORD pcNumber);
  // Both are 0 and do nothing for a null.
  static int FillWktTypePacket(CWktTypePacket* packet, const CWktTypeLean* type);
  static int FillWktTypeLean(CWktTypeLean* type, const CWktTypePacket* packet);
};
