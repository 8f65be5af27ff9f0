// Single objects: read, written, deleted, and what the provider is told of them.
#include "desktop/manager/Names.h"
#include "desktop/manager/ProviderStructures.h"
#include "desktop/manager/SyncSession.h"

namespace wkt {

namespace {

// An object of more packets than this is a provider that never ends.
constexpr size_t kMaxPackets = 4096;
constexpr DWORD kRecommendedPacketBytes = 8192;
constexpr HRESULT kFileNotFound = static_cast<HRESULT>(0x80070002);

REPLSETUP SetupFor(const std::u16string& folder, BOOL read, CEOID oid, DWORD flags) {
  auto setup = ClearedFor<REPLSETUP>(folder);
  setup.cbStruct = sizeof(REPLSETUP);
  setup.fRead = read;
  setup.dwFlags = flags;
  setup.oid = oid;
  return setup;
}

}  // namespace

ReadResult SyncSession::Read(const std::u16string& name, CEOID oid) {
  ReadResult read;
  const Folder* folder = Find(name);
  if (!folder) {
    read.result = E_UNEXPECTED;
    return read;
  }
  REPLSETUP setup = SetupFor(name, TRUE, oid, 0);
  const HRESULT ready = folder->handler->Setup(&setup);
  TraceCall("IReplObjHandler::Setup", name,
            {{"fRead", true}, {"oid", oid}, {"result", ResultName(ready)}});
  if (HasFailed(ready)) {
    read.result = ready;
    return read;
  }
  do {
    BYTE* packet = nullptr;
    DWORD byteCount = 0;
    read.result = folder->handler->GetPacket(&packet, &byteCount, kRecommendedPacketBytes);
    if (!HasFailed(read.result) && packet) {
      read.packets.emplace_back(packet, packet + byteCount);
    }
    TraceCall(
        "IReplObjHandler::GetPacket", name,
        {{"packet", !HasFailed(read.result) && packet ? ToHex(read.packets.back()) : std::string()},
         {"result", ResultName(read.result)}});
  } while (read.result == S_OK && read.packets.size() < kMaxPackets);
  if (HasFailed(read.result) || read.result == S_OK) {
    read.packets.clear();
    read.result = HasFailed(read.result) ? read.result : E_UNEXPECTED;
  }
  setup.hr = read.result;
  const HRESULT reset = folder->handler->Reset(&setup);
  TraceCall("IReplObjHandler::Reset", name, {{"result", ResultName(reset)}});
  return read;
}

WriteResult SyncSession::Write(const std::u16string& name, CEOID oid,
                               std::span<const uint8_t> packet) {
  WriteResult write;
  const Folder* folder = Find(name);
  if (!folder) {
    write.result = E_UNEXPECTED;
    return write;
  }
  const DWORD flags = oid == 0 ? RSF_NEW_OBJECT : 0;
  REPLSETUP setup = SetupFor(name, FALSE, oid, flags);
  const HRESULT ready = folder->handler->Setup(&setup);
  TraceCall("IReplObjHandler::Setup", name,
            {{"fRead", false},
             {"dwFlags", SetupFlagNames(flags)},
             {"oid", oid},
             {"result", ResultName(ready)}});
  write.result = ready;
  if (!HasFailed(ready)) {
    std::vector<BYTE> bytes(packet.begin(), packet.end());
    write.result = folder->handler->SetPacket(bytes.data(), static_cast<DWORD>(bytes.size()));
    TraceCall("IReplObjHandler::SetPacket", name,
              {{"packet", ToHex(packet)},
               {"oidNew", setup.oidNew},
               {"result", ResultName(write.result)}});
    setup.hr = write.result;
    const HRESULT reset = folder->handler->Reset(&setup);
    TraceCall("IReplObjHandler::Reset", name, {{"result", ResultName(reset)}});
  }
  const bool moved = oid == 0 || (setup.dwFlags & RSF_UPDATED_HANDLE) != 0;
  write.oid = moved ? setup.oidNew : oid;
  if (!HasFailed(write.result) && write.oid == 0) {
    write.result = E_FAIL;  // success without an object: the provider could not add it
  }
  return write;
}

HRESULT SyncSession::Delete(const std::u16string& name, CEOID oid) {
  const Folder* folder = Find(name);
  if (!folder) {
    return E_UNEXPECTED;
  }
  REPLSETUP setup = SetupFor(name, FALSE, oid, 0);
  HRESULT result = folder->handler->DeleteObj(&setup);
  TraceCall("IReplObjHandler::DeleteObj", name, {{"oid", oid}, {"result", ResultName(result)}});
  return result == kFileNotFound ? S_FALSE : result;  // gone already is as good
}

bool SyncSession::Confirm(const std::u16string& name, CEOID oid) {
  const Folder* folder = Find(name);
  if (!folder) {
    return false;
  }
  auto notice = ClearedFor<OBJNOTIFY>(name);
  notice.cbStruct = sizeof notice;
  notice.uFlags = ONF_CLEAR_CHANGE;
  notice.uPartnerBit = partnerBit_;
  notice.oidObject = oid;
  notice.poid = &notice.oidObject;
  const BOOL again = ExportsOf(*folder).objectNotify(&notice);
  TraceCall("ObjectNotify", name,
            {{"uFlags", NotifyFlagNames(ONF_CLEAR_CHANGE)}, {"oidObject", oid}, {"result", again}});
  return again != FALSE;
}

NoticeResult SyncSession::NotifyChanged(const std::u16string& folder, CEOID oid) {
  return Notify(folder, oid, ONF_RECORD | ONF_CHANGED);
}

NoticeResult SyncSession::NotifyDeleted(const std::u16string& folder, CEOID oid) {
  return Notify(folder, oid, ONF_RECORD | ONF_DELETED);
}

NoticeResult SyncSession::Notify(const std::u16string& name, CEOID oid, UINT flags) {
  NoticeResult answer;
  const Folder* folder = Find(name);
  if (!folder) {
    return answer;
  }
  auto notice = ClearedFor<OBJNOTIFY>(name);
  notice.cbStruct = sizeof notice;
  notice.uFlags = flags;
  notice.uPartnerBit = partnerBit_;
  notice.oidObject = oid;
  if (!(flags & ONF_DELETED)) {
    // The system fills in what it knows of the object; only records of the object store are listed.
    CEGUID objectStore;
    CREATE_SYSTEMGUID(&objectStore);
    CEOIDINFOEX info = {};
    info.wVersion = CEOIDINFOEX_VERSION;
    if (CeOidGetInfoEx2(&objectStore, oid, &info) && info.wObjType == OBJTYPE_RECORD) {
      notice.oidInfo.wObjType = info.wObjType;
      notice.oidInfo.infRecord = info.infRecord;
    }
  }
  CEGUID volume = folder->volumeGuid;
  if (folder->isMounted) {
    notice.lpbVolumeID = reinterpret_cast<BYTE*>(&volume);
    notice.cbVolumeID = sizeof volume;
  }
  answer.interesting = ExportsOf(*folder).objectNotify(&notice) != FALSE;
  if (answer.interesting && notice.poid == &notice.oidObject) {
    // One object in, at most one out: a provider that counts more has nothing behind it.
    if ((flags & ONF_CHANGED) && notice.cOidChg == 1) {
      answer.changed.push_back(notice.oidObject);
    }
    if ((flags & ONF_DELETED) && notice.cOidDel == 1) {
      answer.deleted.push_back(notice.oidObject);
    }
  }
  TraceCall("ObjectNotify", name,
            {{"uFlags", NotifyFlagNames(flags)},
             {"oidObject", oid},
             {"cOidChg", notice.cOidChg},
             {"cOidDel", notice.cOidDel},
             {"result", answer.interesting}});
  return answer;
}

}  // namespace wkt
