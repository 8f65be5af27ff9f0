// Mutexes, memory, counters, the last error, modules and their version information.
#pragma once

#include "platform/Errors.h"
#include "platform/Types.h"

constexpr UINT LMEM_FIXED = 0x0000;
constexpr UINT LMEM_MOVEABLE = 0x0002;
constexpr UINT LMEM_ZEROINIT = 0x0040;
constexpr UINT LPTR = LMEM_FIXED | LMEM_ZEROINIT;

constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_ABANDONED = 0x80;
constexpr DWORD WAIT_TIMEOUT = 0x102;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
constexpr DWORD INFINITE = 0xFFFFFFFF;

constexpr DWORD DLL_PROCESS_DETACH = 0;
constexpr DWORD DLL_PROCESS_ATTACH = 1;
constexpr DWORD DLL_THREAD_ATTACH = 2;
constexpr DWORD DLL_THREAD_DETACH = 3;

// A library's entry, named DllMain. FALSE on attach refuses the load.
using DllMainFunction = BOOL(CEAPI*)(HANDLE instance, DWORD reason, LPVOID reserved);

constexpr DWORD VS_FFI_SIGNATURE = 0xFEEF04BD;

// Version a.b.c.d: MS = a << 16 | b, LS = c << 16 | d.
struct VS_FIXEDFILEINFO {
  DWORD dwSignature;
  DWORD dwStrucVersion;
  DWORD dwFileVersionMS;
  DWORD dwFileVersionLS;
  DWORD dwProductVersionMS;
  DWORD dwProductVersionLS;
  DWORD dwFileFlagsMask;
  DWORD dwFileFlags;
  DWORD dwFileOS;
  DWORD dwFileType;
  DWORD dwFileSubtype;
  DWORD dwFileDateMS;
  DWORD dwFileDateLS;
};
static_assert(sizeof(VS_FIXEDFILEINFO) == 52);
static_assert(offsetof(VS_FIXEDFILEINFO, dwFileVersionMS) == 8);
static_assert(offsetof(VS_FIXEDFILEINFO, dwFileVersionLS) == 12);

CE_FUNCTIONS_BEGIN

// Why the calling thread's last failing call failed. Successful calls leave it alone unless they
// say otherwise.
DWORD CEAPI GetLastError();
void CEAPI SetLastError(DWORD code);

// Identifies the calling thread among all running ones of the device.
DWORD CEAPI GetCurrentThreadId();

// Closes what CreateMutexW, CreateFileW, CeOpenDatabaseEx2 and CeFindFirstDatabaseEx made. FALSE
// with ERROR_INVALID_HANDLE. Closing a mutex does not release it.
BOOL CEAPI CloseHandle(HANDLE object);

// `name` NULL: private to the process; otherwise shared by name (case-sensitive, no "\", "" is a
// name). An existing one is opened, with ERROR_ALREADY_EXISTS as last error and `initialOwner`
// ignored; a new one sets it to 0. The caller closes it. NULL: ERROR_INVALID_PARAMETER,
// ERROR_INVALID_NAME, ERROR_FILENAME_EXCED_RANGE, ERROR_NOT_ENOUGH_MEMORY.
HANDLE CEAPI CreateMutexW(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCWSTR name);

// Waits for a mutex; its owner gets it again at once and must release it as often. WAIT_OBJECT_0,
// WAIT_ABANDONED (got it, its owner ended without releasing it), WAIT_TIMEOUT, WAIT_FAILED with
// ERROR_INVALID_HANDLE.
DWORD CEAPI WaitForSingleObject(HANDLE object, DWORD milliseconds);

// One release for one wait. FALSE with ERROR_NOT_OWNER, or ERROR_INVALID_HANDLE.
BOOL CEAPI ReleaseMutex(HANDLE mutex);

// A block of at least `byteCount` bytes (0 is fine), released with LocalFree. NULL with
// ERROR_NOT_ENOUGH_MEMORY.
HLOCAL CEAPI LocalAlloc(UINT flags, UINT byteCount);

// NULL on success and for NULL, else the block.
HLOCAL CEAPI LocalFree(HLOCAL block);

// Both return the new value.
LONG CEAPI InterlockedIncrement(LONG* value);
LONG CEAPI InterlockedDecrement(LONG* value);

// Loads a library once per process and counts. DllMain runs on the first load. NULL with
// ERROR_MOD_NOT_FOUND, ERROR_BAD_EXE_FORMAT or ERROR_DLL_INIT_FAILED. Released with FreeLibrary.
HMODULE CEAPI LoadLibraryW(LPCWSTR fileName);

// Undoes one LoadLibraryW; the last one runs DllMain's detach. FALSE with ERROR_INVALID_HANDLE.
BOOL CEAPI FreeLibrary(HMODULE module);

// An exported function; names are case-sensitive. NULL with ERROR_PROC_NOT_FOUND or
// ERROR_INVALID_HANDLE.
FARPROC CEAPI GetProcAddressW(HMODULE module, LPCWSTR name);

// Bytes of a file's version information; *handle (may be NULL) becomes 0. 0 with
// ERROR_FILE_NOT_FOUND or ERROR_RESOURCE_DATA_NOT_FOUND.
DWORD CEAPI GetFileVersionInfoSizeW(LPWSTR fileName, DWORD* handle);

// Reads it into the caller's block. FALSE: as above, or ERROR_INSUFFICIENT_BUFFER.
BOOL CEAPI GetFileVersionInfoW(LPWSTR fileName, DWORD handle, DWORD byteCount, LPVOID block);

// `subBlock` "\": *value points into the block at a VS_FIXEDFILEINFO, *byteCount is 52. FALSE with
// ERROR_RESOURCE_DATA_NOT_FOUND or ERROR_INVALID_PARAMETER.
BOOL CEAPI VerQueryValueW(LPCVOID block, LPWSTR subBlock, LPVOID* value, UINT* byteCount);

CE_FUNCTIONS_END
