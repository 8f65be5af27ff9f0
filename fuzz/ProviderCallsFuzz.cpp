// Any bytes as a sequence of calls to the provider, on a device whose databases are there. What
// GetPacket hands out stays allocated by definition, so memory grows with the number of runs.
#include <memory>

#include "WktCommon/JobPacket.h"
#include "WktCommon/WktTypePacket.h"
#include "fuzz/FuzzDevice.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/FuzzPacket.h"
#include "fuzz/ProviderScript.h"
#include "host/control/Desk.h"
#include "platform/Platform.h"

extern "C" BOOL CEAPI DllMain(HANDLE instance, DWORD reason, LPVOID reserved);

namespace {

using wkt::fuzz::ProviderScript;
using wkt::fuzz::Require;

ProviderScript::Packets MakeGoodPackets() {
  ProviderScript::Packets packets;
  for (const int activityType : {1, 2}) {  // a daily job, a favourite
    CJobPacket job(activityType);
    job.SetJobId(u"CE-1-2-3-4");
    job.SetVersionNumber(23);
    job.SetTitle(u"Report");
    job.SetComment(u"two\nlines");
    job.SetWorkTypeId(u"CE-5-6-7-8");
    job.SetPersonIds(u"CE-9-A-B-C; CE-D-E-F-0");
    job.SetFlags(u"0010000000000000000");
    packets.push_back(wkt::fuzz::Encode(job));
  }
  for (int kind = 1; kind <= 5; ++kind) {
    CWktTypePacket type;
    type.SetTypeOfType(kind);
    type.SetId(u"CE-1-2-3-4");
    type.SetVersionNumber(32);
    type.SetName1(u"Ann");
    type.SetName2(u"Lee");
    type.SetFlags(u"0001000000000000000");
    type.SetUnused1(kind == 5 ? u"one\n1;2;3;4\ntwo\n5;6;7;8" : u"");
    packets.push_back(wkt::fuzz::Encode(type));
  }
  return packets;
}

void Store(const std::vector<uint8_t>& packet, std::u16string folder) {
  IReplObjHandler* handler = nullptr;
  InitObjType(folder.data(), &handler, 1);
  Require(handler != nullptr, "there is a handler");
  REPLSETUP setup = {};
  setup.cbStruct = sizeof(setup);
  setup.dwFlags = RSF_NEW_OBJECT;
  folder.copy(setup.szObjType, MAX_OBJTYPE_NAME - 1);
  handler->Setup(&setup);
  std::vector<uint8_t> bytes = packet;
  handler->SetPacket(bytes.data(), static_cast<DWORD>(bytes.size()));
  Require(setup.oidNew != 0, "a good packet is stored");
  handler->Release();
}

std::vector<uint8_t> MakeGoodStore(wkt::fuzz::FuzzDevice& device,
                                   const ProviderScript::Packets& packets) {
  DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
  Store(packets[0], u"WktActivities");
  Store(packets[1], u"WktFavorites");
  for (size_t i = 2; i < packets.size(); ++i)
    Store(packets[i], u"WktTypes");
  DllMain(nullptr, DLL_PROCESS_DETACH, nullptr);
  return device.TakeStore();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t byteCount) {
  static wkt::fuzz::FuzzDevice device;
  static const ProviderScript::Packets packets = MakeGoodPackets();
  static const std::vector<uint8_t> good = MakeGoodStore(device, packets);
  device.UseStore(good);
  Require(DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr) == TRUE, "the library is attached");
  {
    ProviderScript script(data, byteCount, packets);
    script.Play();
  }
  DllMain(nullptr, DLL_PROCESS_DETACH, nullptr);
  wkt::control::LeaveDevice();
  return 0;
}
