#include "host/coredll/ShareLocks.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/Files.h"

namespace wkt::host {

namespace {

enum class Mark : off_t { Reads = 0, Writes = 1, DeniesReading = 2, DeniesWriting = 3 };

constexpr off_t kFirstMark = off_t{1} << 62;

struct flock RangeOf(Mark mark, short type) {
  struct flock range = {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = kFirstMark + static_cast<off_t>(mark);
  range.l_len = 1;
  return range;
}

bool IsMarked(int file, Mark mark) {
  struct flock range = RangeOf(mark, F_WRLCK);
  return fcntl(file, F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
}

void SetMark(int file, Mark mark) {
  const struct flock range = RangeOf(mark, F_RDLCK);
  fcntl(file, F_OFD_SETLK, &range);
}

}  // namespace

bool TakeShareLocks(int file, DWORD access, DWORD shareMode) {
  const bool reads = (access & GENERIC_READ) != 0;
  const bool writes = (access & GENERIC_WRITE) != 0;
  const bool letsRead = (shareMode & FILE_SHARE_READ) != 0;
  const bool letsWrite = (shareMode & FILE_SHARE_WRITE) != 0;
  if ((reads && IsMarked(file, Mark::DeniesReading)) ||
      (writes && IsMarked(file, Mark::DeniesWriting)) ||
      (!letsRead && IsMarked(file, Mark::Reads)) || (!letsWrite && IsMarked(file, Mark::Writes)))
    return false;
  if (reads)
    SetMark(file, Mark::Reads);
  if (writes)
    SetMark(file, Mark::Writes);
  if (!letsRead)
    SetMark(file, Mark::DeniesReading);
  if (!letsWrite)
    SetMark(file, Mark::DeniesWriting);
  return true;
}

bool IsInUse(int file) {
  return IsMarked(file, Mark::Reads) || IsMarked(file, Mark::Writes) ||
         IsMarked(file, Mark::DeniesReading) || IsMarked(file, Mark::DeniesWriting);
}

}  // namespace wkt::host
