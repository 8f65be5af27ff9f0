// The device's service manager: drives the registered providers through one synchronisation with
// one partner, through their exported functions only. It moves packets and knows no record.
// One session at a time per process, used from one thread. Order: Open, BeginSync, any of the
// folder calls, EndSync; the destructor ends what was begun.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "desktop/manager/ManagerMutex.h"
#include "desktop/manager/ProviderLibrary.h"
#include "desktop/manager/Trace.h"
#include "platform/Database.h"

namespace wkt {

// What a provider says of a folder as a whole.
struct FolderInfo {
  bool known = false;
  std::u16string name;
  uint32_t objectCount = 0;
  uint32_t byteCount = 0;
  uint64_t lastModified = 0;

  bool operator==(const FolderInfo&) const = default;
};

struct Enumeration {
  std::vector<CEOID> unchanged;
  std::vector<CEOID> changed;
  // Empty when the lists are all there is; else why they are not, for people.
  std::string problem;
  FolderInfo info;
};

struct ReadResult {
  HRESULT result = 0;
  std::vector<std::vector<uint8_t>> packets;  // all of the object's, when the result is success
};

struct WriteResult {
  HRESULT result = 0;
  CEOID oid = 0;  // where the object is now
};

// Answer to a notice of a change on the device.
struct NoticeResult {
  bool interesting = false;
  std::vector<CEOID> changed;
  std::vector<CEOID> deleted;
};

class SyncSession {
 public:
  // `trace` may be NULL; it must outlive the session.
  explicit SyncSession(Trace* trace);
  // NOLINTNEXTLINE(bugprone-exception-escape): only for want of memory, which ends the program
  ~SyncSession();
  SyncSession(const SyncSession&) = delete;
  SyncSession& operator=(const SyncSession&) = delete;

  // Loads the providers of all registered folders and asks for their handlers. Empty on success.
  [[nodiscard]] std::string Open(UINT partnerBit);
  bool HasFolder(const std::u16string& folder) const { return Find(folder) != nullptr; }

  // "Synchronisation begins" and "ends" to every provider.
  void BeginSync();
  void EndSync();

  FolderInfo Info(const std::u16string& folder);
  // Asks again when the folder changes meanwhile. Identifier 0 is skipped.
  Enumeration Enumerate(const std::u16string& folder);
  ReadResult Read(const std::u16string& folder, CEOID oid);
  // The desktop has stored the object. True when it was changed again meanwhile and must be read
  // anew.
  bool Confirm(const std::u16string& folder, CEOID oid);
  // An object appeared or changed, or vanished, while the session lasts.
  NoticeResult NotifyChanged(const std::u16string& folder, CEOID oid);
  NoticeResult NotifyDeleted(const std::u16string& folder, CEOID oid);
  // oid 0: a new object.
  WriteResult Write(const std::u16string& folder, CEOID oid, std::span<const uint8_t> packet);
  HRESULT Delete(const std::u16string& folder, CEOID oid);
  // The name of the database volume that the provider uses for the folder, as it said when the
  // synchronisation began; empty: the object store.
  std::u16string Volume(const std::u16string& folder) const;

 private:
  struct Folder {
    std::u16string name;
    size_t library = 0;
    IReplObjHandler* handler = nullptr;  // one reference
    std::u16string volume;
    CEGUID volumeGuid = {};
    bool isMounted = false;  // by us, for volumeGuid
  };

  const Folder* Find(const std::u16string& folder) const;
  const ProviderExports& ExportsOf(const Folder& folder) const {
    return libraries_[folder.library].Exports();
  }
  Enumeration EnumerateOnce(const Folder& folder);
  void CollectList(const FINDOBJINFO& list, uint32_t limit, Enumeration* enumeration);
  NoticeResult Notify(const std::u16string& folder, CEOID oid, UINT flags);
  void Report(UINT code);
  std::u16string QueryVolume(const Folder& folder);
  std::optional<size_t> FetchVolumeName(const Folder& folder, std::span<BYTE> buffer,
                                        std::u16string* name);
  void ReleaseAll();
  void TraceCall(const char* call, const std::u16string& folder, const Trace::Line& details);

  Trace* trace_;
  std::vector<ProviderLibrary> libraries_;
  std::vector<Folder> folders_;
  UINT partnerBit_ = 0;
  bool running_ = false;
  ManagerMutex manager_;
};

}  // namespace wkt
