// Which objects a folder has, as its provider lists them.
#include <algorithm>

#include "desktop/manager/Names.h"
#include "desktop/manager/ProviderStructures.h"
#include "desktop/manager/SyncSession.h"

namespace wkt {

namespace {

// A folder that changes under every enumeration is reported as it was seen last.
constexpr int kEnumerationTries = 3;

uint64_t Ticks(const FILETIME& time) {
  return static_cast<uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

template <size_t N>
std::u16string BoundedText(const WCHAR (&text)[N]) {
  return std::u16string(text, std::find(text, text + N, u'\0'));
}

}  // namespace

FolderInfo SyncSession::Info(const std::u16string& name) {
  FolderInfo info;
  const Folder* folder = Find(name);
  if (!folder) {
    return info;
  }
  auto block = ClearedFor<OBJTYPEINFO>(name);
  block.cbStruct = sizeof block;
  info.known = ExportsOf(*folder).getObjTypeInfo(&block) != FALSE;
  if (info.known) {
    info.name = BoundedText(block.szName);
    info.objectCount = block.cObjects;
    info.byteCount = block.cbAllObj;
    info.lastModified = Ticks(block.ftLastModified);
  }
  TraceCall("GetObjTypeInfo", name,
            {{"szName", ToUtf8(info.name)},
             {"cObjects", info.objectCount},
             {"cbAllObj", info.byteCount},
             {"ftLastModified", info.lastModified},
             {"result", info.known}});
  return info;
}

void SyncSession::CollectList(const FINDOBJINFO& list, uint32_t limit, Enumeration* enumeration) {
  const uint64_t total = static_cast<uint64_t>(list.cUnChg) + list.cChg;
  if (total == 0) {
    return;
  }
  // The array is as long as the folder had records when the provider looked. Counts beyond that are
  // a provider that was overtaken by changes: its array must not be read at all.
  if (!list.poid || total > limit) {
    enumeration->problem = "the provider counts " + std::to_string(total) + " objects and lists " +
                           std::to_string(list.poid ? limit : 0);
    return;
  }
  for (uint32_t i = 0; i < total; ++i) {
    if (list.poid[i] != 0) {
      (i < list.cUnChg ? enumeration->unchanged : enumeration->changed).push_back(list.poid[i]);
    }
  }
}

Enumeration SyncSession::EnumerateOnce(const Folder& folder) {
  Enumeration enumeration;
  const ProviderExports& exports = ExportsOf(folder);
  if (!exports.findObjects) {
    enumeration.problem = "the provider cannot list its objects (no FindObjects)";
    return enumeration;
  }
  const FolderInfo before = Info(folder.name);
  auto list = ClearedFor<FINDOBJINFO>(folder.name);
  for (int volume = 0; volume < MAX_ACTIVE_VOL; ++volume) {
    list.uFlags = 0;
    list.poid = nullptr;
    list.cUnChg = 0;
    list.cChg = 0;
    const HRESULT result = exports.findObjects(&list);
    if (volume == 0) {
      enumeration.info = Info(folder.name);
    }
    if (HasFailed(result)) {
      enumeration.problem = "the provider cannot list its objects: " + ResultName(result);
    } else {
      CollectList(list, std::min(before.objectCount, enumeration.info.objectCount), &enumeration);
    }
    TraceCall("FindObjects", folder.name,
              {{"uFlags", FindFlagNames(list.uFlags)},
               {"cUnChg", list.cUnChg},
               {"cChg", list.cChg},
               {"unchanged", enumeration.unchanged},
               {"changed", enumeration.changed},
               {"result", ResultName(result)}});
    const bool more = !HasFailed(result) && (list.uFlags & FO_MORE_VOLUME) != 0;
    list.uFlags = FO_DONE_ONE_VOL;
    const HRESULT done = exports.findObjects(&list);
    TraceCall("FindObjects", folder.name,
              {{"uFlags", FindFlagNames(FO_DONE_ONE_VOL)}, {"result", ResultName(done)}});
    if (!more) {
      break;
    }
  }
  const size_t listed = enumeration.unchanged.size() + enumeration.changed.size();
  if (enumeration.problem.empty() && !enumeration.info.known) {
    enumeration.problem = "the provider cannot say how many objects there are";
  }
  if (enumeration.problem.empty() && listed < enumeration.info.objectCount) {
    enumeration.problem = "the provider lists " + std::to_string(listed) + " of " +
                          std::to_string(enumeration.info.objectCount) + " objects";
  }
  if (enumeration.problem.empty() && before.objectCount != enumeration.info.objectCount) {
    enumeration.problem = "the folder changed while it was listed";
  }
  return enumeration;
}

Enumeration SyncSession::Enumerate(const std::u16string& name) {
  Enumeration enumeration;
  const Folder* folder = Find(name);
  if (!folder) {
    enumeration.problem = "no provider is registered for this folder";
    return enumeration;
  }
  for (int attempt = 0; attempt < kEnumerationTries; ++attempt) {
    enumeration = EnumerateOnce(*folder);
    if (enumeration.problem.empty()) {
      break;
    }
  }
  return enumeration;
}

}  // namespace wkt
