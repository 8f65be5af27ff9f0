// A provider that keeps opaque objects in memory and misbehaves on demand: for tests of what the
// service manager does with any provider. Reached through its exported FakeSettings.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/SyncProvider.h"

namespace wkt::test {

struct FakeObject {
  uint32_t oid = 0;
  bool changed = false;
  std::vector<uint8_t> packet;
};

struct FakeSettings {
  std::vector<FakeObject> objects;
  std::u16string folder;  // theirs; empty: every folder has them
  std::u16string volume;  // as SyncData names it
  // Faults.
  uint32_t extraCount = 0;   // counts this many objects more than the array holds
  bool zeroInList = false;   // a hole in the middle of the array
  uint32_t hideObjects = 0;  // leaves so many out of the list, not of the count
  HRESULT findResult = 0;
  HRESULT getResult = RWRN_LAST_PACKET;
  uint32_t unreadable = 0;  // GetPacket fails for this object
  HRESULT setResult = 0;
  bool forgetNewIdentifier = false;
  uint32_t packetsPerObject = 1;  // 0: never says that it was the last
  // What was seen.
  bool inputsWereClear = true;
  int handlers = 0;  // references
  std::vector<UINT> reports;
  std::vector<UINT> syncDataBytes;  // room offered, call by call; 0 without a buffer
  int lists = 0;                    // handed out and not given back
};

using FakeSettingsFunction = FakeSettings* (*)();

}  // namespace wkt::test
