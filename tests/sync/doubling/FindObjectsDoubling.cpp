// Two halves of a measurement, so that only the second one has to run slowly:
//   find_objects_doubling fill FOLDER COUNT    makes a device with that many jobs
//   find_objects_doubling find FOLDER          lists them once
#include <cstdio>
#include <cstdlib>
#include <string>

#include "desktop/device/Installation.h"
#include "host/control/Desk.h"
#include "platform/Database.h"
#include "platform/Kernel.h"
#include "platform/SyncProvider.h"

namespace {

[[noreturn]] void Fail(const std::string& what) {
  fprintf(stderr, "find_objects_doubling: %s\n", what.c_str());
  exit(1);
}

HANDLE OpenJobs() {
  CEDBASEINFOEX info = {};
  info.wVersion = CEDBASEINFOEX_VERSION;
  info.dwFlags = CEDB_VALIDNAME | CEDB_VALIDTYPE;
  info.dwDbaseType = 0x4715E;
  std::u16string(u"WktDevJobs").copy(info.szDbaseName, CEDB_MAXDBASENAMELEN - 1);
  CEGUID objectStore = {};
  CEOID oid = CeCreateDatabaseEx2(&objectStore, &info);
  return CeOpenDatabaseEx2(&objectStore, &oid, nullptr, nullptr, CEDB_AUTOINCREMENT, nullptr);
}

void AddJobs(uint32_t count) {
  const HANDLE jobs = OpenJobs();
  std::u16string title(120, u't');
  for (uint32_t i = 0; i < count; ++i) {
    std::u16string flags = i % 3 ? u"0010100000000000000" : u"0010000000000000000";
    CEPROPVAL values[3] = {};
    values[0].propid = 0x4003001F;
    values[0].val.lpwstr = title.data();
    values[1].propid = 0x400B001F;
    values[1].val.lpwstr = flags.data();
    values[2].propid = 0x40080040;
    values[2].val.filetime = {i, 1};
    if (CeWriteRecordProps(jobs, 0, 3, values) == 0)
      Fail("a record cannot be written");
  }
  CloseHandle(jobs);
}

void Fill(const std::string& folder, uint32_t count) {
  std::string error;
  wkt::control::DeviceOptions options;
  options.settings.durability = wkt::control::Durability::Off;
  if (!wkt::control::CreateDevice(folder, options, error))
    Fail(error);
  wkt::Installation installation;
  installation.providerPath = WKT_PROVIDER;
  if (const std::string problem = wkt::Install(installation); !problem.empty())
    Fail(problem);
  AddJobs(count);
}

void Find(const std::string& folder) {
  std::string error;
  if (!wkt::control::UseDevice(folder, error))
    Fail(error);
  const HMODULE library = LoadLibraryW(u"\\Program Files\\Worktally\\WktDevSync.dll");
  if (!library)
    Fail("the provider does not load");
  const auto initObjType =
      reinterpret_cast<InitObjTypeFunction>(GetProcAddressW(library, u"InitObjType"));
  const auto findObjects =
      reinterpret_cast<FindObjectsFunction>(GetProcAddressW(library, u"FindObjects"));
  std::u16string name = u"WktActivities";
  IReplObjHandler* handler = nullptr;
  initObjType(name.data(), &handler, 1);
  FINDOBJINFO info = {};
  name.copy(info.szObjType, MAX_OBJTYPE_NAME - 1);
  if (findObjects(&info) != S_OK)
    Fail("no list");
  printf("%u\n", info.cUnChg + info.cChg);
  info.uFlags = FO_DONE_ONE_VOL;
  findObjects(&info);
  handler->Release();
}

}  // namespace

int main(int argc, char** argv) {
  const std::string verb = argc > 2 ? argv[1] : "";
  if (verb == "fill" && argc == 4) {
    Fill(argv[2], static_cast<uint32_t>(std::stoul(argv[3])));
  } else if (verb == "find" && argc == 3) {
    Find(argv[2]);
  } else {
    Fail("fill FOLDER COUNT | find FOLDER");
  }
  return 0;
}
