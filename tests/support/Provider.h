#pragma once

#include "platform/Kernel.h"
#include "platform/SyncProvider.h"
#include "tests/support/DeskDevice.h"

// The provider as the service manager has it: loaded from the device's installation folder and
// known by its exported functions only.
namespace wkt::test {

class Provider {
 public:
  // Copies the library onto the device, which has its installation, and loads it.
  explicit Provider(DeskDevice& device);
  ~Provider();
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;

  void Unload();

  InitObjTypeFunction initObjType = nullptr;
  ObjectNotifyFunction objectNotify = nullptr;
  GetObjTypeInfoFunction getObjTypeInfo = nullptr;
  ReportStatusFunction reportStatus = nullptr;
  FindObjectsFunction findObjects = nullptr;
  SyncDataFunction syncData = nullptr;
  HMODULE library = nullptr;

  // InitObjType with a folder; the caller releases the handler.
  IReplObjHandler* Init(std::u16string folder, UINT partner);
};

}  // namespace wkt::test
