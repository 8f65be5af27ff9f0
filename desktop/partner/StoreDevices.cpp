// The store's devices, and which record is which object of them.
#include "desktop/partner/StoreStatement.h"

namespace wkt {

std::vector<StoredDevice> Store::Devices() {
  Statement read(*this,
                 "SELECT id, deviceId, partner, place, token, pending, lastRun, report FROM "
                 "devices ORDER BY id");
  std::vector<StoredDevice> devices;
  while (read.Step()) {
    devices.push_back({read.Number(0), read.Text(1), static_cast<int>(read.Number(2)), read.Text(3),
                       read.Text(4), read.Text(5), static_cast<uint64_t>(read.Number(6)),
                       read.Text(7)});
  }
  return devices;
}

std::optional<StoredDevice> Store::FindDevice(std::string_view deviceId, int partner) {
  for (StoredDevice& device : Devices()) {
    if (device.deviceId == deviceId && device.partner == partner) {
      return device;
    }
  }
  return std::nullopt;
}

int64_t Store::AddDevice(std::string_view deviceId, int partner) {
  Statement write(*this, "INSERT INTO devices (deviceId, partner) VALUES (?, ?)");
  write.Bind(deviceId).Bind(partner).Run();
  return sqlite3_last_insert_rowid(database_);
}

void Store::UpdateDevice(const StoredDevice& device) {
  Statement write(
      *this,
      "UPDATE devices SET place = ?, token = ?, pending = ?, lastRun = ?, report = ? WHERE id = ?");
  write.Bind(device.place)
      .Bind(device.token)
      .Bind(device.pending)
      .Bind(static_cast<int64_t>(device.lastRun))
      .Bind(device.report)
      .Bind(device.id)
      .Run();
}

void Store::RemoveDevice(int64_t device) {
  DropLinks(device);
  Statement remove(*this, "DELETE FROM devices WHERE id = ?");
  remove.Bind(device).Run();
}

std::vector<Link> Store::ReadLinks(const char* sql, int64_t device, int folder) {
  Statement read(*this, sql);
  read.Bind(device).Bind(folder);
  std::vector<Link> links;
  while (read.Step()) {
    links.push_back({static_cast<uint32_t>(read.Number(0)), read.Number(1), read.Number(2),
                     read.Number(3), read.Number(4) != 0});
  }
  return links;
}

std::vector<Link> Store::Links(int64_t device, int folder) {
  return ReadLinks(
      "SELECT links.oid, links.record, links.change, records.change, records.deleted"
      " FROM links JOIN records ON records.id = links.record"
      " WHERE links.device = ? AND links.folder = ? AND links.oid > 0 ORDER BY links.oid",
      device, folder);
}

std::vector<Link> Store::Sending(int64_t device, int folder) {
  return ReadLinks(
      "SELECT 0, links.record, links.change, records.change, records.deleted"
      " FROM links JOIN records ON records.id = links.record"
      " WHERE links.device = ? AND links.folder = ? AND links.oid < 0 ORDER BY links.record",
      device, folder);
}

std::vector<int64_t> Store::Unlinked(int64_t device, int folder) {
  Statement read(
      *this,
      "SELECT id FROM records WHERE folder = ?2 AND deleted = 0"
      " AND id NOT IN (SELECT record FROM links WHERE device = ?1 AND folder = ?2) ORDER BY id");
  read.Bind(device).Bind(folder);
  std::vector<int64_t> ids;
  while (read.Step()) {
    ids.push_back(read.Number(0));
  }
  return ids;
}

void Store::SetLink(int64_t device, int folder, uint32_t oid, int64_t record) {
  {
    // A record has one object on a device: when it got another one, the old link is history.
    Statement drop(*this, "DELETE FROM links WHERE device = ? AND record = ? AND oid <> ?");
    drop.Bind(device).Bind(record).Bind(oid).Run();
  }
  Statement write(*this,
                  "INSERT INTO links (device, folder, oid, record, change, base)"
                  " VALUES (?1, ?2, ?3, ?4, (SELECT change FROM records WHERE id = ?4), NULL)"
                  " ON CONFLICT (device, folder, oid) DO UPDATE SET"
                  " record = excluded.record, change = excluded.change, base = NULL");
  write.Bind(device).Bind(folder).Bind(oid).Bind(record).Run();
}

void Store::SetSending(int64_t device, int folder, int64_t record) {
  Statement write(*this,
                  "INSERT INTO links (device, folder, oid, record, change, base)"
                  " VALUES (?1, ?2, -?3, ?3, (SELECT change FROM records WHERE id = ?3), NULL)"
                  " ON CONFLICT (device, record) DO UPDATE SET"
                  " oid = excluded.oid, change = excluded.change, base = NULL");
  write.Bind(device).Bind(folder).Bind(record).Run();
}

void Store::DropLink(int64_t device, int64_t record) {
  {
    Statement drop(*this, "DELETE FROM links WHERE device = ? AND record = ?");
    drop.Bind(device).Bind(record).Run();
  }
  PurgeIfUnused(record);
}

void Store::DropLinks(int64_t device) {
  {
    Statement drop(*this, "DELETE FROM links WHERE device = ?");
    drop.Bind(device).Run();
  }
  Execute("DELETE FROM records WHERE deleted = 1 AND id NOT IN (SELECT record FROM links)");
}

Bytes Store::Base(int64_t device, int64_t record) {
  Statement read(*this,
                 "SELECT coalesce(links.base, records.packet) FROM links JOIN records ON "
                 "records.id = links.record WHERE links.device = ? AND links.record = ?");
  return read.Bind(device).Bind(record).Step() ? read.Blob(0) : Bytes();
}

}  // namespace wkt
