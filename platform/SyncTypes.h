// What the service manager of a device and a synchronisation provider exchange.
#pragma once

#include "platform/DatabaseTypes.h"
#include "platform/SyncConstants.h"

struct OBJTYPEINFO {
  UINT cbStruct;                      // in
  WCHAR szObjType[MAX_OBJTYPE_NAME];  // in, the folder
  UINT uFlags;                        // in
  WCHAR szName[80];
  UINT cObjects;
  UINT cbAllObj;            // bytes
  FILETIME ftLastModified;  // UTC
};
using POBJTYPEINFO = OBJTYPEINFO*;

struct OBJNOTIFY {
  UINT cbStruct;                      // in; older managers end before the volume members
  WCHAR szObjType[MAX_OBJTYPE_NAME];  // in
  UINT uFlags;                        // in, ONF_*; ONF_CALL_BACK out
  UINT uPartnerBit;                   // in, 1 or 2
  CEOID oidObject;                    // in
  CEOIDINFO oidInfo;                  // in, not valid for a deleted object
  UINT cOidChg;                       // out, changed objects in poid
  UINT cOidDel;                       // out, deleted objects in poid, behind the changed ones
  UINT* poid;                         // out, stays the provider's
  BYTE* lpbVolumeID;                  // in, NULL: object store
  UINT cbVolumeID;                    // in
};
using POBJNOTIFY = OBJNOTIFY*;

struct FINDOBJINFO {
  UINT uFlags;                        // FO_*
  WCHAR szObjType[MAX_OBJTYPE_NAME];  // in
  UINT* poid;         // out, unchanged objects first; the provider's until FO_DONE_ONE_VOL
  UINT cUnChg;        // out
  UINT cChg;          // out
  BYTE* lpbVolumeID;  // out, NULL: object store
  UINT cbVolumeID;    // out
  LPVOID lpvUser;     // the provider's own
};
using PFINDOBJINFO = FINDOBJINFO*;

struct SDREQUEST {
  WCHAR szObjType[MAX_OBJTYPE_NAME];
  BOOL fSet;  // TRUE: the desktop sends
  UINT uCode;
  BYTE* lpbData;
  UINT cbData;  // bytes
};
using PSDREQUEST = SDREQUEST*;

struct IReplNotify;

// The device's form; the desktop's has three more members.
struct REPLSETUP {
  UINT cbStruct;
  BOOL fRead;     // TRUE: device to desktop
  DWORD dwFlags;  // RSF_*
  HRESULT hr;
  WCHAR szObjType[MAX_OBJTYPE_NAME];
  IReplNotify* pNotify;  // internal
  DWORD oid;
  DWORD oidNew;  // out: identifier of the object written
  BYTE* lpbVolumeID;
  UINT cbVolumeID;
};
using PREPLSETUP = REPLSETUP*;

static_assert(sizeof(OBJTYPEINFO) == 384 && offsetof(OBJTYPEINFO, szObjType) == 4);
static_assert(offsetof(OBJTYPEINFO, uFlags) == 204 && offsetof(OBJTYPEINFO, szName) == 208);
static_assert(offsetof(OBJTYPEINFO, cObjects) == 368 && offsetof(OBJTYPEINFO, cbAllObj) == 372);
static_assert(offsetof(OBJTYPEINFO, ftLastModified) == 376);
static_assert(offsetof(OBJNOTIFY, uFlags) == 204 && offsetof(OBJNOTIFY, uPartnerBit) == 208);
static_assert(offsetof(OBJNOTIFY, oidObject) == 212 && offsetof(OBJNOTIFY, oidInfo) == 216);
static_assert(offsetof(OBJNOTIFY, oidInfo.infRecord.oidParent) == 220 &&
              offsetof(OBJNOTIFY, cOidChg) == 760);
static_assert(offsetof(OBJNOTIFY, cOidDel) == 764 && offsetof(OBJNOTIFY, poid) == 768);
static_assert(offsetof(SDREQUEST, fSet) == 200 && offsetof(SDREQUEST, uCode) == 204);
static_assert(offsetof(SDREQUEST, lpbData) == 208 &&
              offsetof(REPLSETUP, oid) == 216 + sizeof(void*));
static_assert(offsetof(REPLSETUP, fRead) == 4 && offsetof(REPLSETUP, dwFlags) == 8 &&
              offsetof(REPLSETUP, hr) == 12);
static_assert(offsetof(REPLSETUP, szObjType) == 16 && offsetof(REPLSETUP, pNotify) == 216);
#if UINTPTR_MAX == 0xFFFFFFFF
static_assert(sizeof(OBJNOTIFY) == 780 && offsetof(OBJNOTIFY, lpbVolumeID) == 772);
static_assert(offsetof(OBJNOTIFY, cbVolumeID) == 776);
static_assert(sizeof(FINDOBJINFO) == 228 && offsetof(FINDOBJINFO, poid) == 204 &&
              offsetof(FINDOBJINFO, cUnChg) == 208);
static_assert(offsetof(FINDOBJINFO, cChg) == 212 && offsetof(FINDOBJINFO, lpbVolumeID) == 216);
static_assert(offsetof(FINDOBJINFO, cbVolumeID) == 220 && offsetof(FINDOBJINFO, lpvUser) == 224);
static_assert(sizeof(SDREQUEST) == 216 && offsetof(SDREQUEST, cbData) == 212);
static_assert(sizeof(REPLSETUP) == 236 && offsetof(REPLSETUP, oidNew) == 224);
static_assert(offsetof(REPLSETUP, lpbVolumeID) == 228 && offsetof(REPLSETUP, cbVolumeID) == 232);
#endif
