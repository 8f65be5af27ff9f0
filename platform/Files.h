// Files and folders. Paths start with "\" and know no drives, no current folder, no "." and "..".
// Names compare without case and keep it. At most MAX_PATH characters with the terminator.
#pragma once

#include "platform/Errors.h"
#include "platform/Types.h"

constexpr DWORD GENERIC_READ = 0x80000000;
constexpr DWORD GENERIC_WRITE = 0x40000000;

constexpr DWORD FILE_SHARE_READ = 1;
constexpr DWORD FILE_SHARE_WRITE = 2;

// Also the modes of CeMountDBVol.
constexpr DWORD CREATE_NEW = 1;
constexpr DWORD CREATE_ALWAYS = 2;
constexpr DWORD OPEN_EXISTING = 3;
constexpr DWORD OPEN_ALWAYS = 4;
constexpr DWORD TRUNCATE_EXISTING = 5;

constexpr DWORD FILE_BEGIN = 0;
constexpr DWORD FILE_CURRENT = 1;
constexpr DWORD FILE_END = 2;
constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;
constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;

constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x0001;
constexpr DWORD FILE_ATTRIBUTE_HIDDEN = 0x0002;
constexpr DWORD FILE_ATTRIBUTE_SYSTEM = 0x0004;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x0010;
constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x0020;
constexpr DWORD FILE_ATTRIBUTE_INROM = 0x0040;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x0080;
constexpr DWORD FILE_ATTRIBUTE_TEMPORARY = 0x0100;
constexpr DWORD FILE_ATTRIBUTE_ROMSTATICREF = 0x1000;
constexpr DWORD FILE_ATTRIBUTE_ROMMODULE = 0x2000;

// CE's own form: an object identifier instead of the reserved words, no 8.3 name. Times are UTC.
struct WIN32_FIND_DATAW {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD dwOID;
  WCHAR cFileName[MAX_PATH];
};
using LPWIN32_FIND_DATAW = WIN32_FIND_DATAW*;
static_assert(sizeof(WIN32_FIND_DATAW) == 560);
static_assert(offsetof(WIN32_FIND_DATAW, nFileSizeHigh) == 28);
static_assert(offsetof(WIN32_FIND_DATAW, dwOID) == 36);
static_assert(offsetof(WIN32_FIND_DATAW, cFileName) == 40);

CE_FUNCTIONS_BEGIN

// Makes one level. FALSE: ERROR_ALREADY_EXISTS, ERROR_PATH_NOT_FOUND (no parent),
// ERROR_INVALID_NAME.
BOOL CEAPI CreateDirectoryW(LPCWSTR path, LPSECURITY_ATTRIBUTES security);

// Removes an empty folder. FALSE: ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_DIR_NOT_EMPTY,
// ERROR_DIRECTORY.
BOOL CEAPI RemoveDirectoryW(LPCWSTR path);

// First file or folder that matches; * and ? in the last component only, never "." or "..". The
// caller closes it with FindClose. INVALID_HANDLE_VALUE: ERROR_NO_MORE_FILES (nothing matches),
// ERROR_PATH_NOT_FOUND, ERROR_INVALID_NAME.
HANDLE CEAPI FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* found);

// The next one. FALSE with ERROR_NO_MORE_FILES behind the last, ERROR_INVALID_HANDLE.
BOOL CEAPI FindNextFileW(HANDLE search, WIN32_FIND_DATAW* found);

// FALSE with ERROR_INVALID_HANDLE, INVALID_HANDLE_VALUE included.
BOOL CEAPI FindClose(HANDLE search);

// Opens or makes a file by one of the modes above; security and template are NULL. With
// CREATE_ALWAYS and OPEN_ALWAYS the last error is ERROR_ALREADY_EXISTS when it was there, else 0.
// Closed with CloseHandle. INVALID_HANDLE_VALUE: ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND,
// ERROR_FILE_EXISTS, ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_INVALID_NAME,
// ERROR_INVALID_PARAMETER.
HANDLE CEAPI CreateFileW(LPCWSTR path, DWORD access, DWORD shareMode,
                         LPSECURITY_ATTRIBUTES security, DWORD mode, DWORD attributes,
                         HANDLE templateFile);

// Reads at the position and moves it. TRUE with 0 bytes at the end. `overlapped` is NULL. FALSE:
// ERROR_INVALID_HANDLE, ERROR_ACCESS_DENIED, ERROR_READ_FAULT.
BOOL CEAPI ReadFile(HANDLE file, LPVOID buffer, DWORD byteCount, DWORD* bytesRead,
                    LPVOID overlapped);

// Writes at the position and moves it. FALSE: ERROR_INVALID_HANDLE, ERROR_ACCESS_DENIED,
// ERROR_DISK_FULL, ERROR_WRITE_FAULT.
BOOL CEAPI WriteFile(HANDLE file, LPCVOID buffer, DWORD byteCount, DWORD* bytesWritten,
                     LPVOID overlapped);

// Moves the position by a signed distance (`distanceHigh`: upper half, in and out, may be NULL).
// Returns the new position's low half; INVALID_SET_FILE_POINTER with a last error other than 0 is a
// failure: ERROR_NEGATIVE_SEEK, ERROR_INVALID_HANDLE, ERROR_INVALID_PARAMETER.
DWORD CEAPI SetFilePointer(HANDLE file, LONG distance, LONG* distanceHigh, DWORD method);

// Bytes, low half; the upper one into *sizeHigh (may be NULL). INVALID_FILE_SIZE with
// ERROR_INVALID_HANDLE.
DWORD CEAPI GetFileSize(HANDLE file, DWORD* sizeHigh);

// Returns when what was written is on the medium. FALSE: ERROR_INVALID_HANDLE, ERROR_WRITE_FAULT.
BOOL CEAPI FlushFileBuffers(HANDLE file);

// The FILE_ATTRIBUTE_ bits of a file or folder; all bits set with ERROR_FILE_NOT_FOUND,
// ERROR_PATH_NOT_FOUND or ERROR_INVALID_NAME.
DWORD CEAPI GetFileAttributesW(LPCWSTR path);

// FALSE: ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED (a folder),
// ERROR_SHARING_VIOLATION.
BOOL CEAPI DeleteFileW(LPCWSTR path);

// Renames a file or folder. FALSE: ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND,
// ERROR_ALREADY_EXISTS.
BOOL CEAPI MoveFileW(LPCWSTR from, LPCWSTR to);

CE_FUNCTIONS_END
