#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/support/LogCapture.h"
#include "tests/support/Provider.h"
#include "tests/support/RawDatabase.h"
#include "tests/support/RecordedCalls.h"

inline constexpr char16_t kJobs[] = u"WktActivities";
inline constexpr char16_t kFavorites[] = u"WktFavorites";
inline constexpr char16_t kTypes[] = u"WktTypes";

// The installed provider on a device of its own, set up for the first partner, and short ways to
// move objects through its handlers. One handler serves all folders: the set-up names the folder.
class TransferTest : public wkt::test::DeskDeviceTest {
 protected:
  using Lines = wkt::test::LogLines;

  TransferTest() : log(Installed(device)), provider(device) {
    handler = provider.Init(u"WktActivities", 1);
    log.Take();
  }
  ~TransferTest() override {
    if (handler)
      handler->Release();
  }

  static wkt::test::DeskDevice& Installed(wkt::test::DeskDevice& device) {
    device.MakeInstallation();
    return device;
  }

  static void SetName(WCHAR (&field)[MAX_OBJTYPE_NAME], const std::u16string& name) {
    name.copy(field, MAX_OBJTYPE_NAME - 1);
    field[name.size()] = 0;
  }
  static REPLSETUP MakeSetup(const std::u16string& folder, CEOID oid, BOOL isRead, DWORD flags) {
    REPLSETUP setup = {};
    setup.cbStruct = sizeof(setup);
    setup.fRead = isRead;
    setup.dwFlags = flags;
    setup.oid = oid;
    SetName(setup.szObjType, folder);
    return setup;
  }

  struct Packet {
    HRESULT result;
    BYTE* bytes;  // the provider's
    DWORD byteCount;
  };
  Packet Get(const std::u16string& folder, CEOID oid) {
    readSetup = MakeSetup(folder, oid, TRUE, 0);
    handler->Setup(&readSetup);
    log.Take();
    Packet packet = {0, nullptr, 0xDEADBEEF};
    packet.result = handler->GetPacket(&packet.bytes, &packet.byteCount, 8192);
    return packet;
  }
  // With oid 0 as a new object. The bytes get a block of their own of exactly their size.
  HRESULT Put(const std::u16string& folder, CEOID oid, const std::vector<uint8_t>& bytes) {
    writeSetup = MakeSetup(folder, oid, FALSE, oid == 0 ? RSF_NEW_OBJECT : 0);
    handler->Setup(&writeSetup);
    log.Take();
    const std::unique_ptr<BYTE[]> copy(new BYTE[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), copy.get());
    return handler->SetPacket(copy.get(), static_cast<DWORD>(bytes.size()));
  }
  HRESULT Delete(const std::u16string& folder, CEOID oid) {
    REPLSETUP setup = MakeSetup(folder, oid, FALSE, 0);
    log.Take();
    return handler->DeleteObj(&setup);
  }
  BOOL Notify(const std::u16string& folder, CEOID oid, UINT flags) {
    notice = {};
    notice.cbStruct = sizeof(notice);
    SetName(notice.szObjType, folder);
    notice.uFlags = flags;
    notice.oidObject = oid;
    log.Take();
    return provider.objectNotify(&notice);
  }
  // A record for a folder in its database.
  static CEOID AddRecord(const std::u16string& folder);
  // The packet of a sample record for a folder.
  static std::vector<uint8_t> SampleBytes(const std::u16string& folder);
  // Everything stored, as text.
  static std::string Stored();
  // The names of the folders whose notice the provider would give now; gives them.
  Lines RaisedNotices();

  // Lines of these levels: "32 ", "128 ".
  [[nodiscard]] static Lines LinesOf(const Lines& lines, const std::string& level) {
    Lines found;
    for (const std::string& line : lines) {
      if (line.starts_with(level))
        found.push_back(line);
    }
    return found;
  }

  wkt::test::LogCapture log;
  wkt::test::Provider provider;
  IReplObjHandler* handler = nullptr;
  REPLSETUP readSetup = {};
  REPLSETUP writeSetup = {};
  OBJNOTIFY notice = {};
};
