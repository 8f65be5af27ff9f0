// The provider on a device of its own, as the service manager drives it.
#pragma once

#include <string>
#include <vector>

#include "bench/PlainRecords.h"
#include "host/control/Desk.h"
#include "platform/SyncProvider.h"

namespace wkt::bench {

// A folder of the provider: what it is called, its database, and records for it.
struct BenchFolder {
  const char* title;
  const char16_t* objectType;
  const char16_t* database;
  const ImageKind& images;
  std::string (*imageOf)(uint32_t number, uint32_t edition);
  // Into the device's database; false when that fails.
  bool (*add)(uint32_t first, uint32_t count);
  std::vector<BYTE> (*packetOf)(uint32_t number, uint32_t edition);
};
extern const BenchFolder kJobFolder;
extern const BenchFolder kTypeFolder;

// A new device below `folder`, `relaxed`, with the provider installed and no logging library.
void MakeDevice(const std::string& folder);

// The loaded provider and its handler for one folder.
class Provider {
 public:
  explicit Provider(const BenchFolder& folder);
  ~Provider();
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;

  void Find(std::vector<UINT>& oids);
  // The packet's bytes are the provider's for ever.
  void Get(CEOID oid);
  void Confirm(CEOID oid);
  // Identifier 0 makes a new record.
  CEOID Put(CEOID oid, std::vector<BYTE>& bytes);
  void Delete(CEOID oid);

 private:
  template <class Function>
  void Resolve(const char16_t* name, Function& function);
  [[nodiscard]] REPLSETUP MakeSetup(CEOID oid, BOOL isRead, DWORD flags) const;

  const BenchFolder& folder_;
  HMODULE library = nullptr;
  InitObjTypeFunction initObjType = nullptr;
  FindObjectsFunction findObjects = nullptr;
  ObjectNotifyFunction objectNotify = nullptr;
  IReplObjHandler* handler = nullptr;
};

}  // namespace wkt::bench
