#pragma once

#include "WktDevCommon/JobDatabase.h"
#include "platform/SyncTypes.h"

class CJobPacket;

// The synchronisation's view of a job database: which jobs a partner has not seen, and jobs to and
// from packets. The state is kept in each job's flag text: characters 4 and 5 say "is synchronized"
// with partner index 0 and 1, character 6 "changed during sync".
class CSyncJobDatabase : public CJobDatabase {
 public:
  using CJobDatabase::CJobDatabase;

  // `pcNumber` is the partner's index. Fills the list of identifiers, or frees it when the service
  // manager is done with it.
  HRESULT ReadFindObjectInfo(FINDOBJINFO* pFindObjectInfo, DWORD pcNumber);
  // Both are 0 and do nothing for a null.
  static int FillJobPacket(CJobPacket* packet, const CJobLean* job);
  static int FillJobLean(CJobLean* job, const CJobPacket* packet);
};
