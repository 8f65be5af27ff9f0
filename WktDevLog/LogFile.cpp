#include "WktDevLog/LogFile.h"

#include <algorithm>

#include "WktDevLog/LogText.h"
#include "platform/Kernel.h"

namespace wktlog {
namespace {

// One for all log files of the device: few processes log at once.
constexpr WCHAR kMutexName[] = u"WktDevLog";
constexpr DWORD kWaitMilliseconds = 2000;
// The callers' level for inconsistencies.
constexpr DWORD kNoticeLevel = 16;
constexpr DWORD kTailBytes = 256;
// More than the notice about lines that made room takes.
constexpr DWORD kNoticeBytes = 128;
constexpr WCHAR kOlderMark[] = u".old";

// "\Logging\WktDevSync.log.txt" -> "\Logging\WktDevSync.log.old.txt": the ending decides what opens
// the file.
bool MakeOlderPath(const WCHAR* path, WCHAR (&older)[MAX_PATH]) {
  size_t length = 0;
  size_t ending = 0;
  for (; path[length]; ++length) {
    if (path[length] == u'\\')
      ending = 0;
    if (path[length] == u'.')
      ending = length;
  }
  if (ending == 0)
    ending = length;
  constexpr size_t kMarkUnits = sizeof(kOlderMark) / sizeof(WCHAR) - 1;
  if (length == 0 || length + kMarkUnits >= MAX_PATH)
    return false;
  size_t to = 0;
  for (size_t i = 0; i < ending; ++i)
    older[to++] = path[i];
  for (size_t i = 0; i < kMarkUnits; ++i)
    older[to++] = kOlderMark[i];
  for (size_t i = ending; i < length; ++i)
    older[to++] = path[i];
  older[to] = 0;
  return true;
}

bool Lock(LogFile& file) {
  if (!file.mutex)
    return true;
  // Whoever holds it that long hangs; further lines do not wait for him again.
  switch (WaitForSingleObject(file.mutex, file.linesLost ? 0 : kWaitMilliseconds)) {
    case WAIT_ABANDONED:
      file.tailUnknown = TRUE;
      return true;
    case WAIT_OBJECT_0:
      return true;
    default:
      return false;
  }
}

void Unlock(const LogFile& file) {
  if (file.mutex)
    ReleaseMutex(file.mutex);
}

// OPEN_ALWAYS to append, TRUNCATE_EXISTING to begin anew.
HANDLE OpenPresentFile(const LogFile& file, DWORD mode) {
  return CreateFileW(file.path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                     nullptr, mode, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Without a place for the upper half, an offset from 2^31 on would count as one before the
// beginning.
void MoveTo(HANDLE handle, DWORD offset) {
  LONG upperHalf = 0;
  SetFilePointer(handle, static_cast<LONG>(offset), &upperHalf, FILE_BEGIN);
}

// The place behind the last whole line. A half one, of a process that was killed while it wrote,
// stands behind it.
DWORD FindEndOfLines(HANDLE handle, DWORD size) {
  DWORD end = size;
  while (end > 0) {
    char bytes[kTailBytes];
    const DWORD count = end < kTailBytes ? end : kTailBytes;
    DWORD read = 0;
    MoveTo(handle, end - count);
    if (!ReadFile(handle, bytes, count, &read, nullptr) || read != count)
      return size;
    for (DWORD i = count; i > 0; --i) {
      if (bytes[i - 1] == '\n')
        return end - count + i;
    }
    end -= count;
  }
  return 0;
}

// Writes over a half line: what is left of it behind the new line is filled with blanks that
// belong to the new line.
bool WriteWhole(HANDLE handle, const char* bytes, DWORD byteCount) {
  DWORD written = 0;
  return WriteFile(handle, bytes, byteCount, &written, nullptr) && written == byteCount;
}

// False when the line is not whole in the file: no room on the disk.
bool WriteOver(HANDLE handle, DWORD from, DWORD size, const char* line, DWORD byteCount) {
  MoveTo(handle, from);
  const DWORD torn = size - from;
  if (torn <= byteCount)
    return WriteWhole(handle, line, byteCount);
  bool whole = WriteWhole(handle, line, byteCount - 1);
  for (DWORD filled = byteCount; whole && filled < torn; ++filled)
    whole = WriteWhole(handle, " ", 1);
  return whole && WriteWhole(handle, "\n", 1);
}

// The newest whole lines of a file, at most as many bytes as there is room for.
DWORD ReadNewestLines(HANDLE handle, DWORD size, char* lines, DWORD room) {
  const DWORD count = std::min(size, room);
  DWORD read = 0;
  MoveTo(handle, size - count);
  if (!ReadFile(handle, lines, count, &read, nullptr) || read != count)
    return 0;
  DWORD first = 0;
  // Where the room begins, some line may be cut in two.
  while (count < size && first < count && lines[first++] != '\n') {
  }
  std::copy(lines + first, lines + count, lines);
  return count - first;
}

// Shortens a full file to the newer half of its lines, less when the next line needs the room, and
// tells in front of them what is gone. INVALID_HANDLE_VALUE when it cannot be shortened.
HANDLE KeepNewerHalf(const LogFile& file, HANDLE full, DWORD nextLineBytes) {
  const DWORD size = GetFileSize(full, nullptr);
  const DWORD needed = nextLineBytes + kNoticeBytes;
  const DWORD room =
      std::min(file.sizeLimit / 2, file.sizeLimit - std::min(needed, file.sizeLimit));
  char* const lines = static_cast<char*>(LocalAlloc(LMEM_FIXED, room));
  const DWORD kept = lines && room > 0 ? ReadNewestLines(full, size, lines, room) : 0;
  CloseHandle(full);
  const HANDLE shorter = OpenPresentFile(file, TRUNCATE_EXISTING);
  if (shorter != INVALID_HANDLE_VALUE) {
    LogLine notice;
    notice.Begin(kNoticeLevel, 0);
    notice.AddNumber(size - kept);
    notice.Add(" bytes lost: the full log could not be put aside");
    notice.End();
    if (WriteWhole(shorter, notice.Bytes(), notice.ByteCount()) && kept > 0)
      (void)WriteWhole(shorter, lines, kept);
  }
  if (lines)
    LocalFree(lines);
  return shorter;
}

// Makes room for the next line: the full file becomes the older one. Where that cannot be, since
// the older one is in the way, the full one is shortened, so that two files stay all there is.
HANDLE MakeRoom(const LogFile& file, HANDLE full, DWORD nextLineBytes) {
  CloseHandle(full);
  DeleteFileW(file.olderPath);
  const BOOL isAside = MoveFileW(file.path, file.olderPath);
  const HANDLE present = OpenPresentFile(file, OPEN_ALWAYS);
  if (isAside || present == INVALID_HANDLE_VALUE)
    return present;
  return KeepNewerHalf(file, present, nextLineBytes);
}

// False when the line did not get into the file whole.
bool AppendLocked(LogFile& file, const char* line, DWORD byteCount) {
  HANDLE handle = OpenPresentFile(file, OPEN_ALWAYS);
  if (handle == INVALID_HANDLE_VALUE)
    return false;
  DWORD size = GetFileSize(handle, nullptr);
  DWORD end = file.tailUnknown ? FindEndOfLines(handle, size) : size;
  // A half line is mended before its file is put aside: the new line goes over it, once.
  const bool isFull = size >= file.sizeLimit || byteCount > file.sizeLimit - size;
  if (size > 0 && isFull && end == size) {
    handle = MakeRoom(file, handle, byteCount);
    if (handle == INVALID_HANDLE_VALUE)
      return false;
    size = GetFileSize(handle, nullptr);
    end = FindEndOfLines(handle, size);
  }
  const bool whole = WriteOver(handle, end, size, line, byteCount);
  // What a failed write left is looked at before the next line.
  file.tailUnknown = whole ? FALSE : TRUE;
  CloseHandle(handle);
  return whole;
}

// One line for all that were lost, as soon as it can be written.
void TellLoss(LogFile& file, DWORD& count, const char* why) {
  if (count == 0)
    return;
  LogLine notice;
  notice.Begin(kNoticeLevel, 0);
  notice.AddNumber(count);
  notice.Add(why);
  notice.End();
  if (AppendLocked(file, notice.Bytes(), notice.ByteCount()))
    count = 0;
}

}  // namespace

bool OpenLogFile(LogFile& file, const WCHAR* path, DWORD sizeLimit) {
  CloseLogFile(file);
  if (!path || !MakeOlderPath(path, file.olderPath))
    return false;
  size_t i = 0;
  for (; path[i]; ++i)
    file.path[i] = path[i];
  file.path[i] = 0;
  file.sizeLimit = sizeLimit;
  file.tailUnknown = TRUE;
  file.mutex = CreateMutexW(nullptr, FALSE, kMutexName);
  return true;
}

void AppendLine(LogFile& file, const char* line, DWORD byteCount) {
  if (!Lock(file)) {
    ++file.linesLost;
    return;
  }
  TellLoss(file, file.linesLost, " lines lost: another process held the log");
  TellLoss(file, file.linesUnwritten, " lines lost: the log could not be written");
  if (!AppendLocked(file, line, byteCount))
    ++file.linesUnwritten;
  Unlock(file);
}

void CloseLogFile(LogFile& file) {
  if (file.mutex)
    CloseHandle(file.mutex);
  file = LogFile{};
}

}  // namespace wktlog
