#include "bench/ProviderSide.h"

#include "bench/RecordSamples.h"
#include "bench/Report.h"
#include "desktop/device/Installation.h"
#include "platform/Kernel.h"

namespace wkt::bench {

void MakeDevice(const std::string& folder) {
  std::string error;
  control::DeviceOptions options;
  options.settings.durability = control::Durability::Relaxed;
  if (!control::CreateDevice(folder, options, error))
    Fail(error);
  Installation installation;
  installation.providerPath = WKT_PROVIDER;
  if (const std::string problem = Install(installation); !problem.empty())
    Fail(problem);
}

Provider::Provider(const BenchFolder& folder) : folder_(folder) {
  library = LoadLibraryW(u"\\Program Files\\Worktally\\WktDevSync.dll");
  if (!library)
    Fail("the provider does not load");
  Resolve(u"InitObjType", initObjType);
  Resolve(u"FindObjects", findObjects);
  Resolve(u"ObjectNotify", objectNotify);
  std::u16string name = folder_.objectType;
  initObjType(name.data(), &handler, 1);
}

Provider::~Provider() {
  handler->Release();
}

template <class Function>
void Provider::Resolve(const char16_t* name, Function& function) {
  function = reinterpret_cast<Function>(GetProcAddressW(library, name));
}

REPLSETUP Provider::MakeSetup(CEOID oid, BOOL isRead, DWORD flags) const {
  REPLSETUP setup = {};
  setup.cbStruct = sizeof(setup);
  setup.fRead = isRead;
  setup.dwFlags = flags;
  setup.oid = oid;
  std::u16string_view(folder_.objectType).copy(setup.szObjType, MAX_OBJTYPE_NAME - 1);
  return setup;
}

void Provider::Find(std::vector<UINT>& oids) {
  FINDOBJINFO info = {};
  std::u16string_view(folder_.objectType).copy(info.szObjType, MAX_OBJTYPE_NAME - 1);
  findObjects(&info);
  oids.assign(info.poid, info.poid + info.cUnChg + info.cChg);
  info.uFlags = FO_DONE_ONE_VOL;
  findObjects(&info);
}

void Provider::Get(CEOID oid) {
  REPLSETUP setup = MakeSetup(oid, TRUE, 0);
  handler->Setup(&setup);
  BYTE* bytes = nullptr;
  DWORD byteCount = 0;
  if (handler->GetPacket(&bytes, &byteCount, 8192) != RWRN_LAST_PACKET)
    Fail("no packet");
  handler->Reset(&setup);
}

void Provider::Confirm(CEOID oid) {
  OBJNOTIFY notice = {};
  notice.cbStruct = sizeof(notice);
  std::u16string_view(folder_.objectType).copy(notice.szObjType, MAX_OBJTYPE_NAME - 1);
  notice.uFlags = ONF_CLEAR_CHANGE;
  notice.oidObject = oid;
  objectNotify(&notice);
}

CEOID Provider::Put(CEOID oid, std::vector<BYTE>& bytes) {
  REPLSETUP setup = MakeSetup(oid, FALSE, oid == 0 ? RSF_NEW_OBJECT : 0);
  handler->Setup(&setup);
  const HRESULT result = handler->SetPacket(bytes.data(), static_cast<DWORD>(bytes.size()));
  handler->Reset(&setup);
  if (result != S_OK || (oid == 0 && setup.oidNew == 0))
    Fail("no record");
  return setup.oidNew;
}

void Provider::Delete(CEOID oid) {
  REPLSETUP setup = MakeSetup(oid, FALSE, 0);
  if (handler->DeleteObj(&setup) != S_OK)
    Fail("no deletion");
}

namespace {

bool AddJobs(uint32_t first, uint32_t count) {
  CJobDatabase database(kJobFolder.database);
  if (!database.Open(TRUE))
    return false;
  for (uint32_t i = first; i < first + count; ++i) {
    CJobLean job(FALSE);
    FillJob(job, MakeRecord(i));
    if (database.AddJob(&job, FALSE) == 0)
      return false;
  }
  return true;
}

bool AddTypes(uint32_t first, uint32_t count) {
  CWktTypeDatabase database(kTypeFolder.database);
  if (!database.Open(TRUE))
    return false;
  for (uint32_t i = first; i < first + count; ++i) {
    if (database.AddWktType(MakeType(MakePlainType(i)).get(), FALSE) == 0)
      return false;
  }
  return true;
}

template <class Packet>
std::vector<BYTE> BytesOf(const Packet& packet) {
  DWORD byteCount = 0;
  const std::unique_ptr<BYTE[]> bytes(packet.ToBytes(&byteCount));
  return {bytes.get(), bytes.get() + byteCount};
}

std::vector<BYTE> JobPacketOf(uint32_t number, uint32_t edition) {
  CJobLean job(FALSE);
  FillJob(job, MakeRecord(number, edition));
  CJobPacket packet(1);
  CSyncJobDatabase::FillJobPacket(&packet, &job);
  return BytesOf(packet);
}

std::vector<BYTE> TypePacketOf(uint32_t number, uint32_t edition) {
  CWktTypePacket packet;
  CSyncWktTypeDatabase::FillWktTypePacket(&packet, MakeType(MakePlainType(number, edition)).get());
  return BytesOf(packet);
}

}  // namespace

const BenchFolder kJobFolder = {
    "job",
    u"WktActivities",
    u"WktDevJobs",
    kJobImages,
    [](uint32_t number, uint32_t edition) { return EncodeImage(MakeRecord(number, edition)); },
    AddJobs,
    JobPacketOf};
const BenchFolder kTypeFolder = {
    "type",
    u"WktTypes",
    u"WktDevTypes",
    kTypeImages,
    [](uint32_t number, uint32_t edition) { return EncodeImage(MakePlainType(number, edition)); },
    AddTypes,
    TypePacketOf};

}  // namespace wkt::bench
