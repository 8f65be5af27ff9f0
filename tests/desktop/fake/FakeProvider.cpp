#include "tests/desktop/fake/FakeProvider.h"

#include <cstring>
#include <memory>

namespace wkt::test {
namespace {

// The array of each list, so that a read past its end is one past a heap block's.
FakeSettings settings;
std::unique_ptr<UINT[]> list;

FakeObject* Find(uint32_t oid) {
  for (FakeObject& object : settings.objects) {
    if (object.oid == oid) {
      return &object;
    }
  }
  return nullptr;
}

bool HasObjects(const WCHAR* folder) {
  return settings.folder.empty() || settings.folder == folder;
}

class Handler final : public IReplObjHandler {
 public:
  HRESULT CEAPI QueryInterface(REFIID, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG CEAPI AddRef() override { return static_cast<ULONG>(++settings.handlers); }
  ULONG CEAPI Release() override { return static_cast<ULONG>(--settings.handlers); }
  HRESULT CEAPI Setup(PREPLSETUP setup) override {
    setup_ = setup;
    sent_ = 0;
    settings.inputsWereClear &=
        setup->oidNew == 0 && setup->lpbVolumeID == nullptr && setup->hr == 0;
    return S_OK;
  }
  HRESULT CEAPI Reset(PREPLSETUP) override { return S_OK; }
  HRESULT CEAPI GetPacket(BYTE** packet, DWORD* byteCount, DWORD) override {
    FakeObject* object = Find(setup_->oid);
    if (!object || object->oid == settings.unreadable) {
      return RERR_BAD_OBJECT;
    }
    *packet = object->packet.data();
    *byteCount = static_cast<DWORD>(object->packet.size());
    return settings.getResult != RWRN_LAST_PACKET || ++sent_ == settings.packetsPerObject
               ? settings.getResult
               : S_OK;
  }
  HRESULT CEAPI SetPacket(BYTE* packet, DWORD byteCount) override {
    if (settings.setResult != 0) {
      return settings.setResult;
    }
    FakeObject* object = Find(setup_->oid);
    if (setup_->dwFlags & RSF_NEW_OBJECT) {
      settings.objects.push_back(
          {static_cast<uint32_t>(1000 + settings.objects.size()), false, {}});
      object = &settings.objects.back();
      setup_->oidNew = settings.forgetNewIdentifier ? 0 : object->oid;
    }
    object->packet.assign(packet, packet + byteCount);
    return S_OK;
  }
  HRESULT CEAPI DeleteObj(PREPLSETUP setup) override {
    const bool found = Find(setup->oid) != nullptr;
    std::erase_if(settings.objects,
                  [setup](const FakeObject& object) { return object.oid == setup->oid; });
    return found ? S_OK : static_cast<HRESULT>(0x80070002);
  }

 private:
  PREPLSETUP setup_ = nullptr;
  uint32_t sent_ = 0;
};

Handler handler;

}  // namespace
}  // namespace wkt::test

using namespace wkt::test;

#define FAKE_EXPORT __attribute__((visibility("default")))

extern "C" FAKE_EXPORT FakeSettings* FakeSettingsOf() {
  return &settings;
}

FAKE_EXPORT BOOL CEAPI InitObjType(LPWSTR folder, IReplObjHandler** object, UINT) {
  if (folder) {
    ++settings.handlers;
    *object = &handler;
  }
  return TRUE;
}

FAKE_EXPORT BOOL CEAPI ObjectNotify(POBJNOTIFY notice) {
  settings.inputsWereClear &=
      notice->cOidChg == 0 && notice->cOidDel == 0 && notice->lpbVolumeID == nullptr;
  if (notice->uFlags & ONF_CLEAR_CHANGE) {
    Find(notice->oidObject)->changed = false;
    return FALSE;
  }
  notice->poid = &notice->oidObject;
  // A count of more than the one identifier that there is.
  (notice->uFlags & ONF_DELETED ? notice->cOidDel : notice->cOidChg) = 1 + settings.extraCount;
  return TRUE;
}

FAKE_EXPORT BOOL CEAPI GetObjTypeInfo(POBJTYPEINFO info) {
  settings.inputsWereClear &= info->cObjects == 0 && info->szName[0] == 0;
  info->cObjects = HasObjects(info->szObjType) ? static_cast<UINT>(settings.objects.size()) : 0;
  return TRUE;
}

FAKE_EXPORT BOOL CEAPI ReportStatus(LPWSTR, UINT code, UINT) {
  settings.reports.push_back(code);
  return TRUE;
}

FAKE_EXPORT HRESULT CEAPI SyncData(PSDREQUEST request) {
  settings.syncDataBytes.push_back(request->cbData);
  if (request->fSet || request->uCode != 1) {
    return E_UNEXPECTED;
  }
  const size_t byteCount = (settings.volume.size() + 1) * sizeof(WCHAR);
  if (request->lpbData) {
    std::memcpy(request->lpbData, settings.volume.c_str(), byteCount);
  }
  request->cbData = static_cast<UINT>(byteCount);
  return S_FALSE;
}

#ifndef FAKE_WITHOUT_LIST
FAKE_EXPORT HRESULT CEAPI FindObjects(PFINDOBJINFO info) {
  if (!HasObjects(info->szObjType)) {
    return S_OK;
  }
  if (info->uFlags & FO_DONE_ONE_VOL) {
    settings.lists -= list != nullptr;
    list.reset();
    return S_OK;
  }
  settings.inputsWereClear &=
      info->poid == nullptr && info->cUnChg == 0 && info->cChg == 0 && info->lpbVolumeID == nullptr;
  const auto count = settings.objects.size() - settings.hideObjects;
  list = std::make_unique<UINT[]>(count);
  ++settings.lists;
  size_t front = 0;
  size_t back = count;
  for (size_t i = 0; i < count; ++i) {
    const FakeObject& object = settings.objects[i];
    list[object.changed ? --back : front++] = object.oid;
  }
  if (settings.zeroInList && count > 0) {
    list[0] = 0;
  }
  info->poid = list.get();
  info->cUnChg = static_cast<UINT>(front);
  info->cChg = static_cast<UINT>(count - back) + settings.extraCount;
  return settings.findResult;
}
#endif
