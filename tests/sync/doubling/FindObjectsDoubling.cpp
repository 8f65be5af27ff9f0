// Two halves of a measurement, so that only the second one has to run slowly:
//   find_objects_doubling fill FOLDER WHAT COUNT    makes a device with that many records
//   find_objects_doubling find FOLDER WHAT          lists them once
// WHAT is "jobs", "types", or "marks": jobs of which every fourth is written back while listed.
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

bool IsTypes(const std::string& what) {
  return what == "types";
}

HANDLE OpenDatabase(const std::string& what) {
  CEDBASEINFOEX info = {};
  info.wVersion = CEDBASEINFOEX_VERSION;
  info.dwFlags = CEDB_VALIDNAME | CEDB_VALIDTYPE;
  info.dwDbaseType = 0x4715E;
  std::u16string(IsTypes(what) ? u"WktDevTypes" : u"WktDevJobs")
      .copy(info.szDbaseName, CEDB_MAXDBASENAMELEN - 1);
  CEGUID objectStore = {};
  CEOID oid = CeCreateDatabaseEx2(&objectStore, &info);
  return CeOpenDatabaseEx2(&objectStore, &oid, nullptr, nullptr, CEDB_AUTOINCREMENT, nullptr);
}

// Two of three are synchronized with the first partner.
const WCHAR* Flags(const std::string& what, uint32_t number) {
  if (what == "marks" && number % 4 == 0)
    return u"0010101000000000000";
  const bool isSynchronized = number % 3 != 0;
  if (IsTypes(what))
    return isSynchronized ? u"1001000000000000000" : u"0001000000000000000";
  return isSynchronized ? u"0010100000000000000" : u"0010000000000000000";
}

CEPROPVAL TextValue(CEPROPID identifier, const std::u16string& text) {
  CEPROPVAL value = {};
  value.propid = identifier;
  value.val.lpwstr = const_cast<WCHAR*>(text.c_str());
  return value;
}

void AddRecords(const std::string& what, uint32_t count) {
  const HANDLE database = OpenDatabase(what);
  const std::u16string title(120, u't');
  for (uint32_t i = 0; i < count; ++i) {
    const std::u16string flags = Flags(what, i);
    CEPROPVAL kind = {};
    kind.propid = 0x40200003;
    kind.val.lVal = 1;
    CEPROPVAL start = {};
    start.propid = 0x40080040;
    start.val.filetime = {i, 1};
    CEPROPVAL job[] = {TextValue(0x4003001F, title), TextValue(0x400B001F, flags), start};
    CEPROPVAL type[] = {kind, TextValue(0x4026001F, title), TextValue(0x4029001F, flags)};
    if (CeWriteRecordProps(database, 0, 3, IsTypes(what) ? type : job) == 0)
      Fail("a record cannot be written");
  }
  CloseHandle(database);
}

void Fill(const std::string& folder, const std::string& what, uint32_t count) {
  std::string error;
  wkt::control::DeviceOptions options;
  options.settings.durability = wkt::control::Durability::Off;
  if (!wkt::control::CreateDevice(folder, options, error))
    Fail(error);
  wkt::Installation installation;
  installation.providerPath = WKT_PROVIDER;
  if (const std::string problem = wkt::Install(installation); !problem.empty())
    Fail(problem);
  AddRecords(what, count);
}

void Find(const std::string& folder, const std::string& what) {
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
  std::u16string name = IsTypes(what) ? u"WktTypes" : u"WktActivities";
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
  const std::string verb = argc > 3 ? argv[1] : "";
  if (verb == "fill" && argc == 5) {
    Fill(argv[2], argv[3], static_cast<uint32_t>(std::stoul(argv[4])));
  } else if (verb == "find" && argc == 4) {
    Find(argv[2], argv[3]);
  } else {
    Fail("fill FOLDER jobs|types|marks COUNT | find FOLDER jobs|types|marks");
  }
  return 0;
}
