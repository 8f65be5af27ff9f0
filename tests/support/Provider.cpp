#include "tests/support/Provider.h"

#include "tests/support/LeakCheck.h"

namespace wkt::test {
namespace {

template <class Function>
void Resolve(HMODULE library, const char16_t* name, Function& function) {
  function = reinterpret_cast<Function>(GetProcAddressW(library, name));
  EXPECT_NE(function, nullptr);
}

}  // namespace

Provider::Provider(DeskDevice& device) {
  device.InstallLibraries({"WktDevSync"});
  const std::u16string file = std::u16string(kInstallPath) + u"\\WktDevSync.dll";
  library = LoadLibraryW(file.c_str());
  EXPECT_NE(library, nullptr) << "the provider does not load, error " << GetLastError();
  if (library == nullptr)
    return;
  Resolve(library, u"InitObjType", initObjType);
  Resolve(library, u"ObjectNotify", objectNotify);
  Resolve(library, u"GetObjTypeInfo", getObjTypeInfo);
  Resolve(library, u"ReportStatus", reportStatus);
  Resolve(library, u"FindObjects", findObjects);
  Resolve(library, u"SyncData", syncData);
}

Provider::~Provider() {
  Unload();
}

void Provider::Unload() {
  if (library == nullptr)
    return;
  CheckForLeaks();
  EXPECT_TRUE(FreeLibrary(library));
  library = nullptr;
}

IReplObjHandler* Provider::Init(std::u16string folder, UINT partner) {
  IReplObjHandler* handler = nullptr;
  EXPECT_TRUE(initObjType(folder.data(), &handler, partner));
  return handler;
}

}  // namespace wkt::test
