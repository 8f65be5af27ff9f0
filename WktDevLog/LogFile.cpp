#include "WktDevLog/LogFile.h"

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

HANDLE OpenForAppending(const LogFile& file) {
  return CreateFileW(file.path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                     nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// The place behind the last whole line. A half one, of a process that was killed while it wrote,
// stands behind it.
DWORD FindEndOfLines(HANDLE handle, DWORD size) {
  DWORD end = size;
  while (end > 0) {
    char bytes[kTailBytes];
    const DWORD count = end < kTailBytes ? end : kTailBytes;
    DWORD read = 0;
    SetFilePointer(handle, static_cast<LONG>(end - count), nullptr, FILE_BEGIN);
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
void WriteOver(HANDLE handle, DWORD from, DWORD size, const char* line, DWORD byteCount) {
  DWORD written = 0;
  SetFilePointer(handle, static_cast<LONG>(from), nullptr, FILE_BEGIN);
  const DWORD torn = size - from;
  if (torn <= byteCount) {
    WriteFile(handle, line, byteCount, &written, nullptr);
    return;
  }
  WriteFile(handle, line, byteCount - 1, &written, nullptr);
  for (DWORD filled = byteCount; filled < torn; ++filled) {
    WriteFile(handle, " ", 1, &written, nullptr);
  }
  WriteFile(handle, "\n", 1, &written, nullptr);
}

// Puts a full file aside. Without success the present one grows on.
HANDLE StartNewFile(const LogFile& file, HANDLE full) {
  CloseHandle(full);
  DeleteFileW(file.olderPath);
  MoveFileW(file.path, file.olderPath);
  return OpenForAppending(file);
}

void AppendLocked(LogFile& file, const char* line, DWORD byteCount) {
  HANDLE handle = OpenForAppending(file);
  if (handle == INVALID_HANDLE_VALUE)
    return;
  DWORD size = GetFileSize(handle, nullptr);
  if (size > 0 && (size >= file.sizeLimit || byteCount > file.sizeLimit - size)) {
    handle = StartNewFile(file, handle);
    if (handle == INVALID_HANDLE_VALUE)
      return;
    size = GetFileSize(handle, nullptr);
  }
  const DWORD end = file.tailUnknown ? FindEndOfLines(handle, size) : size;
  file.tailUnknown = FALSE;
  WriteOver(handle, end, size, line, byteCount);
  CloseHandle(handle);
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
  if (file.linesLost) {
    LogLine notice;
    notice.Begin(kNoticeLevel, 0);
    notice.AddNumber(file.linesLost);
    notice.Add(" lines lost: another process held the log");
    notice.End();
    AppendLocked(file, notice.Bytes(), notice.ByteCount());
    file.linesLost = 0;
  }
  AppendLocked(file, line, byteCount);
  Unlock(file);
}

void CloseLogFile(LogFile& file) {
  if (file.mutex)
    CloseHandle(file.mutex);
  file = LogFile{};
}

}  // namespace wktlog
