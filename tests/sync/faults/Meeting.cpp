#include "tests/sync/faults/Meeting.h"

#include <algorithm>

#include "desktop/device/DeviceRecords.h"
#include "desktop/partner/RecordPacket.h"
#include "desktop/partner/Store.h"
#include "desktop/partner/SyncRun.h"
#include "host/control/Desk.h"
#include "tests/support/Text.h"

namespace wkt::test {
namespace {

struct FolderPair {
  DeviceFolder device;
  FolderId desktop;
};
constexpr FolderPair kFolders[] = {{DeviceFolder::Jobs, FolderId::Jobs},
                                   {DeviceFolder::Favorites, FolderId::Favorites},
                                   {DeviceFolder::Types, FolderId::Types}};
constexpr uint64_t kTicksPerMinute = 60ull * 10'000'000;

std::string Described(FolderId folder, std::span<const uint8_t> packet) {
  const auto record = DecodePacket(folder, packet);
  if (!record)
    return "(no record)";
  return Narrow(record->Id()) + "|" + Narrow(record->DisplayName()) + "|" +
         Narrow(record->Text(Field::Comment));
}

std::string Compare(Store& store) {
  for (const FolderPair& folder : kFolders) {
    std::vector<std::string> device, desktop;
    for (const DeviceRecord& record : DeviceRecords(folder.device).List())
      device.push_back(Described(folder.desktop, record.packet));
    for (const StoredRecord& record : store.List(static_cast<int>(folder.desktop)))
      desktop.push_back(Described(folder.desktop, record.packet));
    std::ranges::sort(device);
    std::ranges::sort(desktop);
    if (device != desktop) {
      std::string text = "the device has";
      for (const std::string& record : device)
        text += " " + record;
      text += ", the desktop";
      for (const std::string& record : desktop)
        text += " " + record;
      return text;
    }
  }
  return {};
}

Json Synchronise(Store& store, int minutes) {
  SyncOptions options;
  options.verifyAll = true;
  options.place = control::DeviceFolder();
  options.now = control::DeviceTime() + static_cast<uint64_t>(minutes) * kTicksPerMinute;
  SyncSession session(nullptr);
  return SyncRun(session, store, options).Run();
}

bool FoundNothing(const Json& report) {
  return std::ranges::all_of(report["folders"], [](const Json& row) {
    return row["toDesktop"] == 0 && row["toDevice"] == 0 && row["deletedOnDesktop"] == 0 &&
           row["deletedOnDevice"] == 0 && row["conflicts"] == 0;
  });
}

}  // namespace

std::string Meet(const std::string& partnerFolder) {
  Store store(partnerFolder, Store::Mode::OpenOrCreate);
  Record own = MakeRecord(FolderId::Jobs, control::DeviceTime(), 0);
  own.SetText(Field::Id, u"PC-1-2-3-4");
  own.SetText(Field::Title, u"Desktop's own");
  store.Insert(static_cast<int>(FolderId::Jobs), own.Id(), EncodePacket(own));
  const Json first = Synchronise(store, 1);
  if (!first["failures"].empty() || !first["verify"]["different"].empty())
    return "the first run: " + first.dump();
  if (std::string different = Compare(store); !different.empty())
    return different;
  const Json second = Synchronise(store, 2);
  return FoundNothing(second) && second["failures"].empty() ? std::string()
                                                            : "the second run: " + second.dump();
}

}  // namespace wkt::test
