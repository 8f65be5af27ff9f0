#pragma once

#include "WktCommon/WideString.h"
#include "platform/Registry.h"

// What a key may own besides its handle; destroyed with the key.
class CRegistryKeyCompanion {
 public:
  virtual ~CRegistryKeyCompanion() = default;
};

// One registry key, opened or created when made and closed when destroyed. A failure only leaves it
// not open: reading then gives empty texts and defaults.
class CRegistryKey {
 public:
  CRegistryKey(HKEY rootKey, const WCHAR* keyPath, BOOL create, BOOL isReadOnly);
  ~CRegistryKey();
  CRegistryKey(const CRegistryKey&) = delete;
  CRegistryKey& operator=(const CRegistryKey&) = delete;

  [[nodiscard]] BOOL IsOpen() const { return handle != nullptr; }
  // Texts of up to 127 characters; a longer one, or a value of another type, reads as empty.
  [[nodiscard]] WideString ReadString(const WCHAR* name) const;
  [[nodiscard]] int32_t ReadDword(const WCHAR* name, int32_t defaultValue) const;
  // Creates the key when it is not open. FALSE only when that fails: whether the value was stored
  // is not looked at.
  BOOL WriteValue(const WCHAR* name, DWORD type, const void* data, DWORD size);
  BOOL WriteDword(const WCHAR* name, DWORD value);

 private:
  void Create();

  HKEY root;
  HKEY handle;
  WideString path;
  WideString rootName;  // empty for roots other than the user's and the machine's
  WideString unusedText;
  uint8_t readOnly;
  REGSAM access;
  CRegistryKeyCompanion* companion;  // owned; nothing sets it
};

// The folder of the program's libraries with a "\" behind it; empty when the program's key is
// missing, "\" when only the value is.
[[nodiscard]] WideString GetInstallPath();
