// Which databases a process has open, for other processes of the device to see.
#pragma once

#include "host/coredll/Device.h"
#include "host/coredll/SharedPage.h"

namespace wkt::host {

// One per database object. Its place in the shared page is found at the first opening and kept, so
// that opening and closing, which programs do for each record, are a count and no call of the
// system. A process that dies leaves its places behind; they count as long as it lives.
// All under StoreLock.
class OpenMark {
 public:
  OpenMark() = default;
  OpenMark(const OpenMark&) = delete;
  OpenMark& operator=(const OpenMark&) = delete;

  void Set(Device& device, uint64_t number);
  void Clear();
  [[nodiscard]] static bool IsSetByOthers(Device& device, uint64_t number);

 private:
  SharedOpening* place_ = nullptr;
  uint32_t deviceSerial_ = 0;  // whose page it lies in
  AliveWord process_ = 0;      // a forked child counts for itself
  bool isCounted_ = false;
  DeviceMark mark_;  // instead, when the page has no place left
};

}  // namespace wkt::host
