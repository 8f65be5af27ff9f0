// The application's side of a device: its records, listed and edited in its databases as the
// application would. Records are given and taken in the form in which they travel.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/Types.h"

namespace wkt {

enum class DeviceFolder : uint8_t { Jobs, Favorites, Types };

// Edited while a synchronisation runs: the record is marked, so that what the service manager has
// just read does not count as all there is.
enum class DuringSync : bool { No, Yes };

using DeviceObjectId = uint32_t;

struct DeviceRecord {
  DeviceObjectId oid = 0;
  std::vector<uint8_t> packet;
};

// One of the device's databases, open from construction (made when missing) to destruction.
class DeviceRecords {
 public:
  explicit DeviceRecords(DeviceFolder folder);
  ~DeviceRecords();
  DeviceRecords(const DeviceRecords&) = delete;
  DeviceRecords& operator=(const DeviceRecords&) = delete;

  [[nodiscard]] bool IsOpen() const;
  // In the database's order.
  [[nodiscard]] std::vector<DeviceRecord> List();
  [[nodiscard]] std::optional<DeviceRecord> Find(DeviceObjectId oid);

  // Packets are valid ones (checked by the caller). Both partners have yet to see what is written;
  // the modification time is the packet's. 0 and false when the device refuses.
  [[nodiscard]] DeviceObjectId Add(std::span<const uint8_t> packet, DuringSync during);
  [[nodiscard]] bool Change(DeviceObjectId oid, std::span<const uint8_t> packet, DuringSync during);
  [[nodiscard]] bool Delete(DeviceObjectId oid);

 private:
  class Database;
  std::unique_ptr<Database> database_;
};

}  // namespace wkt
