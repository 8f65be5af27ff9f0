// The device side of a synchronisation: the object handler and the entry points of a provider
// library.
#pragma once

#include "platform/LogLibrary.h"
#include "platform/SyncTypes.h"

// Interfaces have no virtual destructor: their slots are the binary contract.
struct IUnknown {
  virtual HRESULT CEAPI QueryInterface(REFIID riid, void** ppv) = 0;
  virtual ULONG CEAPI AddRef() = 0;
  virtual ULONG CEAPI Release() = 0;
};

struct IReplNotify : IUnknown {
  virtual HRESULT CEAPI OnItemCompleted(PREPLSETUP pSetup) = 0;
};

// Moves one object. Reading: Setup, GetPacket until RWRN_LAST_PACKET or an error, Reset. Writing:
// Setup, one SetPacket per packet, Reset. A read and a write may be under way at once.
struct IReplObjHandler : IUnknown {
  // Valid until the matching Reset.
  virtual HRESULT CEAPI Setup(PREPLSETUP pSetup) = 0;
  virtual HRESULT CEAPI Reset(PREPLSETUP pSetup) = 0;
  // *packet is the provider's; `recommended` is a size in bytes, MAX_PACKET_SIZE the limit.
  // RERR_BAD_OBJECT, RERR_TRY_AGAIN, RERR_VOL_INACTIVE on failure.
  virtual HRESULT CEAPI GetPacket(BYTE** packet, DWORD* byteCount, DWORD recommended) = 0;
  // The packet is the manager's and valid during the call.
  virtual HRESULT CEAPI SetPacket(BYTE* packet, DWORD byteCount) = 0;
  virtual HRESULT CEAPI DeleteObj(PREPLSETUP pSetup) = 0;
};

// Once per folder at start, *handler with one reference; at the end with `folder` NULL.
using InitObjTypeFunction = BOOL(CEAPI*)(LPWSTR folder, IReplObjHandler** handler, UINT partnerBit);
// TRUE: the object is the provider's and the outputs count.
using ObjectNotifyFunction = BOOL(CEAPI*)(POBJNOTIFY notice);
using GetObjTypeInfoFunction = BOOL(CEAPI*)(POBJTYPEINFO info);
// `folder` is NULL when the report concerns all.
using ReportStatusFunction = BOOL(CEAPI*)(LPWSTR folder, UINT code, UINT parameter);
// First with uFlags 0 for the list, then with FO_DONE_ONE_VOL to release it.
using FindObjectsFunction = HRESULT(CEAPI*)(PFINDOBJINFO info);
using SyncDataFunction = HRESULT(CEAPI*)(PSDREQUEST request);

CE_FUNCTIONS_BEGIN

// What a provider library defines and exports under these names; the manager calls them through the
// types above.
BOOL CEAPI InitObjType(LPWSTR lpszObjType, IReplObjHandler** ppObjHandler, UINT uPartnerBit);
BOOL CEAPI ObjectNotify(POBJNOTIFY pNotify);
BOOL CEAPI GetObjTypeInfo(POBJTYPEINFO pInfo);
BOOL CEAPI ReportStatus(LPWSTR lpszObjType, UINT uCode, UINT uParam);
HRESULT CEAPI FindObjects(PFINDOBJINFO pInfo);
HRESULT CEAPI SyncData(PSDREQUEST pRequest);

CE_FUNCTIONS_END
