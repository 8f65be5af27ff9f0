// A small library of the same shape as the provider: named exports, a virtual interface of eight
// slots, static objects, tables of pointers, 64-bit arithmetic, text, a version resource. It proves
// the machinery that makes device libraries without needing a database.
#pragma once

#include "platform/Types.h"

struct IProbe {
  virtual HRESULT CEAPI QueryInterface(const void* identifier, void** object) = 0;
  virtual ULONG CEAPI AddRef() = 0;
  virtual ULONG CEAPI Release() = 0;
  virtual HRESULT CEAPI Setup(DWORD seed) = 0;
  virtual HRESULT CEAPI Reset() = 0;
  virtual HRESULT CEAPI GetText(LPWSTR text, DWORD unitCount) = 0;
  virtual HRESULT CEAPI Sort(DWORD* values, DWORD count) = 0;
  virtual HRESULT CEAPI Days(const FILETIME* time, DWORD* days) = 0;

 protected:
  ~IProbe() = default;
};

extern "C" {
BOOL CEAPI ProbeCreate(IProbe** probe);
DWORD CEAPI ProbeAttachCount();
DWORD CEAPI ProbeConstructed();
LPCWSTR CEAPI ProbeName(DWORD index);
DWORD CEAPI ProbeCall(DWORD index, DWORD value);
BOOL CEAPI ProbeUnaligned(const BYTE* bytes, DWORD byteCount, DWORD* sum);
}
