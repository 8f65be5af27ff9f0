// start_answer OID: opens the jobs of the device in WKT_DEVICE and reads one of them.
#include <cstdlib>

#include "platform/Database.h"
#include "platform/Kernel.h"

int main(int argc, char** argv) {
  if (argc != 2)
    return 1;
  const auto oid = static_cast<CEOID>(std::strtoul(argv[1], nullptr, 10));
  CEGUID objectStore = {};
  CEOID database = 0;
  WCHAR name[] = u"WktDevJobs";
  const HANDLE handle = CeOpenDatabaseEx2(&objectStore, &database, name, nullptr, 0, nullptr);
  WORD count = 0;
  BYTE* block = nullptr;
  DWORD byteCount = 0;
  const bool isRead = CeSeekDatabase(handle, CEDB_SEEK_CEOID, oid, nullptr) == oid &&
                      CeReadRecordPropsEx(handle, CEDB_ALLOWREALLOC, &count, nullptr, &block,
                                          &byteCount, nullptr) == oid;
  return isRead && count > 0 ? 0 : 1;
}
