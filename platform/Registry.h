// The registry. Functions return a Win32 code and leave the last error alone. Names compare without
// case and keep it; paths are separated by "\". Sizes are bytes; a text's terminator counts when it
// is stored with it.
#pragma once

#include "platform/Errors.h"
#include "platform/Types.h"

using REGSAM = DWORD;

// Roots, always open; closing them does nothing.
#define HKEY_CLASSES_ROOT (reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x80000000u)))
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x80000001u)))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x80000002u)))
#define HKEY_USERS (reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x80000003u)))

// Accepted and not enforced: the platform has no access control.
constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
constexpr REGSAM KEY_SET_VALUE = 0x0002;
constexpr REGSAM KEY_CREATE_SUB_KEY = 0x0004;
constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x0008;
constexpr REGSAM KEY_NOTIFY = 0x0010;
constexpr REGSAM KEY_CREATE_LINK = 0x0020;
constexpr REGSAM KEY_READ = 0x00020019;
constexpr REGSAM KEY_WRITE = 0x00020006;
constexpr REGSAM KEY_ALL_ACCESS = 0x000F003F;

constexpr DWORD REG_NONE = 0;
constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_EXPAND_SZ = 2;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;
constexpr DWORD REG_DWORD_BIG_ENDIAN = 5;
constexpr DWORD REG_LINK = 6;
constexpr DWORD REG_MULTI_SZ = 7;

constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
constexpr DWORD REG_CREATED_NEW_KEY = 1;
constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

CE_FUNCTIONS_BEGIN

// Opens an existing key below `key`; NULL or "" opens `key` again. The caller closes *result with
// RegCloseKey; do not use it after a failure. ERROR_FILE_NOT_FOUND, ERROR_INVALID_HANDLE,
// ERROR_INVALID_PARAMETER.
LONG CEAPI RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, HKEY* result);

// Opens a key, making all levels that are missing. `disposition` (may be NULL) tells which. The
// caller closes *result. ERROR_INVALID_HANDLE, ERROR_INVALID_PARAMETER, ERROR_DISK_FULL.
LONG CEAPI RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR className,
                           DWORD options, REGSAM access, LPSECURITY_ATTRIBUTES security,
                           HKEY* result, DWORD* disposition);

// Reads a value; name NULL or "": the default value. `data` NULL asks for the size.
// ERROR_FILE_NOT_FOUND when missing; ERROR_MORE_DATA when the buffer is too small: *byteCount is
// what is needed, *type is set, `data` is undefined. ERROR_INVALID_PARAMETER for data without a
// size. Texts come as stored, perhaps without a terminator.
LONG CEAPI RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                            DWORD* byteCount);

// Stores exactly `byteCount` bytes, replacing value and type. ERROR_INVALID_HANDLE,
// ERROR_INVALID_PARAMETER (too long), ERROR_DISK_FULL.
LONG CEAPI RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                          DWORD byteCount);

// ERROR_INVALID_HANDLE for anything but an open key.
LONG CEAPI RegCloseKey(HKEY key);

// The index-th sub-key's name. *nameSize: characters, in with and out without the terminator.
// ERROR_NO_MORE_ITEMS behind the last, ERROR_MORE_DATA when the buffer is too small. Reserved,
// class and time pointers may be NULL.
LONG CEAPI RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD* nameSize, DWORD* reserved,
                         LPWSTR className, DWORD* classSize, FILETIME* lastWritten);

// The index-th value: name as RegEnumKeyExW, type and data as RegQueryValueExW.
LONG CEAPI RegEnumValueW(HKEY key, DWORD index, LPWSTR name, DWORD* nameSize, DWORD* reserved,
                         DWORD* type, BYTE* data, DWORD* byteCount);

// Deletes a key with all that is below it. ERROR_FILE_NOT_FOUND when missing.
LONG CEAPI RegDeleteKeyW(HKEY key, LPCWSTR subKey);

// Deletes one value. ERROR_FILE_NOT_FOUND when missing.
LONG CEAPI RegDeleteValueW(HKEY key, LPCWSTR name);

CE_FUNCTIONS_END
