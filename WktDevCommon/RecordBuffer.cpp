#include "WktDevCommon/RecordBuffer.h"

#include "platform/Kernel.h"

namespace wkt {

CEOID RecordBuffer::ReadFrom(HANDLE database) {
  Release();
  // A null buffer of size 0 makes the platform allocate, so a record of any size is one call.
  DWORD byteCount = 0;
  return CeReadRecordPropsEx(database, CEDB_ALLOWREALLOC, &count, nullptr, &buffer, &byteCount,
                             nullptr);
}

void RecordBuffer::Release() {
  // The platform may have allocated even for a read that failed.
  if (buffer)
    LocalFree(buffer);
  buffer = nullptr;
  count = 0;
}

}  // namespace wkt
