// Basic types of the platform, with the sizes that they have on a device (little-endian, 32-bit
// longs), whatever machine they are compiled for.
#pragma once

#include <cstddef>
#include <cstdint>

// Calling convention of every platform function and interface method. CE on x86 passes everything
// as cdecl, `this` included, where MinGW's own default for methods is thiscall; the other targets
// know one convention only.
#if defined(__MINGW32__) && defined(__i386__)
#define CEAPI __attribute__((cdecl))
#else
#define CEAPI
#endif

// Brackets around function declarations. On Linux they stay visible from a library built with
// hidden symbols.
#if defined(__linux__)
#define CE_FUNCTIONS_BEGIN _Pragma("GCC visibility push(default)") extern "C" {
#define CE_FUNCTIONS_END \
  }                      \
  _Pragma("GCC visibility pop")
#else
#define CE_FUNCTIONS_BEGIN extern "C" {
#define CE_FUNCTIONS_END }
#endif

using BYTE = uint8_t;
using BOOLEAN = uint8_t;
using WCHAR = char16_t;
using CHAR = char;
using SHORT = int16_t;
using WORD = uint16_t;
using USHORT = uint16_t;
using INT = int32_t;
using UINT = uint32_t;
using LONG = int32_t;
using ULONG = uint32_t;
using DWORD = uint32_t;
using BOOL = int32_t;
using HRESULT = int32_t;
using WPARAM = uint32_t;
using LPARAM = int32_t;

using LPBYTE = BYTE*;
using LPWORD = WORD*;
using LPDWORD = DWORD*;
using LPLONG = LONG*;
using LPVOID = void*;
using LPCVOID = const void*;
using LPSTR = CHAR*;
using LPCSTR = const CHAR*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;

using HANDLE = void*;
using HLOCAL = HANDLE;
using HKEY = struct HKEY__*;
using HWND = struct HWND__*;
using HMODULE = struct HINSTANCE__*;
using HINSTANCE = HMODULE;

// Any exported function; cast to its real type before the call.
using FARPROC = void(CEAPI*)();

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<intptr_t>(-1)))

// Characters of a path, the terminator included.
constexpr int MAX_PATH = 260;

// 100 ns ticks since 1 January 1601 in two halves, low first.
struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};
using LPFILETIME = FILETIME*;

struct SYSTEMTIME {
  WORD wYear;
  WORD wMonth;      // 1..12
  WORD wDayOfWeek;  // 0 = Sunday
  WORD wDay;        // 1..31
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
};
using LPSYSTEMTIME = SYSTEMTIME*;

// Always passed as NULL: the platform has no access control.
struct SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
};
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

struct GUID {
  DWORD Data1;
  WORD Data2;
  WORD Data3;
  BYTE Data4[8];
};
using IID = GUID;
using REFIID = const IID&;

static_assert(sizeof(WCHAR) == 2 && sizeof(LONG) == 4 && sizeof(BOOL) == 4);
static_assert(sizeof(FILETIME) == 8 && alignof(FILETIME) == 4);
static_assert(sizeof(SYSTEMTIME) == 16 && alignof(SYSTEMTIME) == 2);
static_assert(sizeof(GUID) == 16);
static_assert(sizeof(void*) != 4 || sizeof(SECURITY_ATTRIBUTES) == 12);
