#pragma once

#include "platform/SyncProvider.h"

class CJobPacket;
class CWktTypePacket;

// Moves one record at a time between a folder's database and the desktop. Made by `InitObjType`
// with one reference, owned by the service manager through its references.
class CDataHandler final : public IReplObjHandler {
 public:
  CDataHandler() = default;
  CDataHandler(const CDataHandler&) = delete;
  CDataHandler& operator=(const CDataHandler&) = delete;

  HRESULT CEAPI QueryInterface(REFIID riid, void** ppv) override;
  ULONG CEAPI AddRef() override;
  ULONG CEAPI Release() override;
  HRESULT CEAPI Setup(PREPLSETUP pSetup) override;
  HRESULT CEAPI Reset(PREPLSETUP pSetup) override;
  HRESULT CEAPI GetPacket(LPBYTE* lppbData, DWORD* pcbData, DWORD cbRecommend) override;
  HRESULT CEAPI SetPacket(LPBYTE lpbData, DWORD cbData) override;
  HRESULT CEAPI DeleteObj(PREPLSETUP pSetup) override;

 private:
  // Kept: packets still held when the last reference goes are not released.
  ~CDataHandler() = default;

  LONG refCount = 1;
  PREPLSETUP writeSetup = nullptr;       // not owned
  PREPLSETUP readSetup = nullptr;        // not owned
  CJobPacket* jobPacket = nullptr;       // owned: the last one that GetPacket made
  CWktTypePacket* typePacket = nullptr;  // the last one that GetPacket made
};
