#include "desktop/manager/Names.h"

#include <cstdio>
#include <span>

#include "platform/SyncTypes.h"

namespace wkt {

namespace {

struct Name {
  uint32_t value;
  const char* name;
};

#define WKT_NAME(constant) \
  { static_cast<uint32_t>(constant), #constant }

constexpr Name kResults[] = {
    WKT_NAME(S_OK),
    WKT_NAME(S_FALSE),
    WKT_NAME(E_UNEXPECTED),
    WKT_NAME(E_NOINTERFACE),
    WKT_NAME(E_FAIL),
    WKT_NAME(E_INVALIDARG),
    WKT_NAME(E_OUTOFMEMORY),
    WKT_NAME(RWRN_LAST_PACKET),
    WKT_NAME(RERR_SHUT_DOWN),
    WKT_NAME(RERR_STORE_REPLACED),
    WKT_NAME(RERR_CANCEL),
    WKT_NAME(RERR_RESTART),
    WKT_NAME(RERR_DISCARD),
    WKT_NAME(RERR_DISCARD_LOCAL),
    WKT_NAME(RERR_VOL_INACTIVE),
    WKT_NAME(RERR_SKIP_ALL),
    WKT_NAME(RERR_BAD_OBJECT),
    WKT_NAME(RERR_TRY_AGAIN),
    WKT_NAME(RERR_USER_SKIP),
};

constexpr Name kNotifyFlags[] = {
    WKT_NAME(ONF_FILE),         WKT_NAME(ONF_DIRECTORY), WKT_NAME(ONF_DATABASE),
    WKT_NAME(ONF_RECORD),       WKT_NAME(ONF_CHANGED),   WKT_NAME(ONF_DELETED),
    WKT_NAME(ONF_CLEAR_CHANGE), WKT_NAME(ONF_CALL_BACK), WKT_NAME(ONF_CALLING_BACK),
};

constexpr Name kFindFlags[] = {WKT_NAME(FO_MORE_VOLUME), WKT_NAME(FO_DONE_ONE_VOL)};

constexpr Name kSetupFlags[] = {
    WKT_NAME(RSF_CONFLICT_OBJECT), WKT_NAME(RSF_NEW_OBJECT),       WKT_NAME(RSF_DUPLICATED_OBJECT),
    WKT_NAME(RSF_COMBINE),         WKT_NAME(RSF_SYNC_DEVICE_ONLY), WKT_NAME(RSF_SYNC_DESKTOP_ONLY),
    WKT_NAME(RSF_UPDATED_HANDLE),  WKT_NAME(RSF_DISCARDED_OBJ),    WKT_NAME(RSF_NEW_VOLUME),
    WKT_NAME(RSF_AUTO_COMBINE),
};

constexpr Name kStatusCodes[] = {
    WKT_NAME(RSC_BEGIN_SYNC),     WKT_NAME(RSC_END_SYNC),          WKT_NAME(RSC_BEGIN_SYNC_OBJ),
    WKT_NAME(RSC_END_SYNC_OBJ),   WKT_NAME(RSC_BEGIN_BATCH_WRITE), WKT_NAME(RSC_END_BATCH_WRITE),
    WKT_NAME(RSC_CONNECTION_CHG), WKT_NAME(RSC_INTERRUPT),
};

#undef WKT_NAME

std::string Hex(uint32_t value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*X", digits, value);
  return text;
}

std::string FlagNames(uint32_t flags, std::span<const Name> names) {
  std::string text;
  for (const Name& known : names) {
    if (flags & known.value) {
      text += (text.empty() ? "" : "|") + std::string(known.name);
      flags &= ~known.value;
    }
  }
  if (flags != 0 || text.empty()) {
    text += (text.empty() ? "" : "|") + (flags ? Hex(flags, 1) : std::string("0"));
  }
  return text;
}

}  // namespace

std::string ResultName(HRESULT result) {
  for (const Name& known : kResults) {
    if (known.value == static_cast<uint32_t>(result)) {
      return known.name;
    }
  }
  return Hex(static_cast<uint32_t>(result), 8);
}

std::string NotifyFlagNames(UINT flags) {
  return FlagNames(flags, kNotifyFlags);
}
std::string FindFlagNames(UINT flags) {
  return FlagNames(flags, kFindFlags);
}
std::string SetupFlagNames(DWORD flags) {
  return FlagNames(flags, kSetupFlags);
}

std::string StatusName(UINT code) {
  for (const Name& known : kStatusCodes) {
    if (known.value == code) {
      return known.name;
    }
  }
  return std::to_string(code);
}

}  // namespace wkt
