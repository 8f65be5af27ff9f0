// Where records live, for commands that work on a device's folder and on a partner's alike.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "desktop/partner/RecordPacket.h"
#include "desktop/partner/Zone.h"

namespace wkt::tool {

struct HomeRecord {
  int64_t number = 0;  // object identifier on a device, the store's number at a partner
  Record record;
};

class Home {
 public:
  virtual ~Home() = default;

  virtual const char* Kind() const = 0;  // "device" or "partner"
  virtual const Zone& LocalZone() const = 0;
  virtual uint64_t Now() const = 0;
  virtual std::u16string NewIdentifier() = 0;

  virtual std::vector<HomeRecord> List(FolderId folder) = 0;
  // Edits; throw Failure when they are refused. `Add` gives an identifier to a record without one.
  virtual int64_t Add(Record record) = 0;
  virtual void Change(const HomeRecord& record) = 0;
  virtual void Delete(FolderId folder, int64_t number) = 0;
  // All edits between are made, or, when the object goes without Commit, none where the home can.
  virtual void Begin() = 0;
  virtual void Commit() = 0;
};

enum class Access : uint8_t { Read, Write };

// Throws Failure when the folder is neither.
std::unique_ptr<Home> OpenHome(const std::string& folder, Access access);
// The same, and uses the device from now on.
void UseDevice(const std::string& folder);
bool IsDevice(const std::string& folder);
// For a folder that is neither a device nor a partner's, or is not there.
[[noreturn]] void FailForNoHome(const std::string& folder);

// The one record that `selector` names: "#" and its number, its identifier, or its title. Throws
// Failure when there is none, or more than one.
HomeRecord SelectRecord(Home& home, FolderId folder, const std::string& selector);
// The same in all folders.
HomeRecord SelectAnyRecord(Home& home, const std::string& selector);

}  // namespace wkt::tool
