// The provider when memory runs out, at every single allocation in turn. Only true device libraries
// allocate through the device, so only the runners can do this.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "host/control/Calls.h"
#include "platform/Errors.h"
#include "tests/support/GoldenPacket.h"
#include "tests/support/Provider.h"
#include "tests/support/RawDatabase.h"

namespace wkt::test {
namespace {

constexpr UINT kPartner = 1;
// More allocations than any of the runs makes; reaching it means that failures no longer arrive.
constexpr uint32_t kTooMany = 5000;

struct Folder {
  const char16_t* name;
  const char16_t* database;
  const char* packet;
};
constexpr Folder kFolders[] = {{u"WktActivities", u"WktDevJobs", "job-full-references"},
                               {u"WktFavorites", u"WktDevFavJobs", "job-favourite"},
                               {u"WktTypes", u"WktDevTypes", "type-kind5"}};

std::vector<uint8_t> PacketNamed(const std::string& name) {
  for (const GoldenPacket& packet : LoadGoldenPackets()) {
    if (packet.name == name)
      return packet.bytes;
  }
  ADD_FAILURE() << "no packet " << name;
  return {};
}

REPLSETUP SetupOf(const Folder& folder, BOOL isRead, CEOID oid) {
  REPLSETUP setup = {};
  setup.cbStruct = sizeof(setup);
  setup.fRead = isRead;
  setup.dwFlags = oid == 0 ? RSF_NEW_OBJECT : 0;
  setup.oid = oid;
  const std::u16string name(folder.name);
  std::copy(name.begin(), name.end(), setup.szObjType);
  return setup;
}

class Memory : public DeskDeviceTest, public testing::WithParamInterface<Folder> {
 protected:
  void SetUp() override {
    device.MakeInstallation();
    provider.emplace(device);
    packet = PacketNamed(GetParam().packet);
  }

  // The results of the steps that were reached.
  struct Outcome {
    bool hasHandler = false;
    HRESULT result = E_UNEXPECTED;
    CEOID oid = 0;
    std::vector<uint8_t> bytes;
  };

  Outcome Receive() {
    Outcome outcome;
    IReplObjHandler* const handler = provider->Init(GetParam().name, kPartner);
    outcome.hasHandler = handler != nullptr;
    if (!outcome.hasHandler)
      return outcome;
    REPLSETUP setup = SetupOf(GetParam(), FALSE, 0);
    handler->Setup(&setup);
    outcome.result = handler->SetPacket(packet.data(), static_cast<DWORD>(packet.size()));
    outcome.oid = setup.oidNew;
    handler->Reset(&setup);
    handler->Release();
    return outcome;
  }

  Outcome Send(CEOID oid) {
    Outcome outcome;
    IReplObjHandler* const handler = provider->Init(GetParam().name, kPartner);
    outcome.hasHandler = handler != nullptr;
    if (!outcome.hasHandler)
      return outcome;
    REPLSETUP setup = SetupOf(GetParam(), TRUE, oid);
    handler->Setup(&setup);
    BYTE* bytes = nullptr;
    DWORD byteCount = 0;
    outcome.result = handler->GetPacket(&bytes, &byteCount, 8192);
    if (bytes != nullptr)
      outcome.bytes.assign(bytes, bytes + byteCount);
    handler->Reset(&setup);
    handler->Release();
    return outcome;
  }

  std::optional<Provider> provider;
  std::vector<uint8_t> packet;
};

TEST_P(Memory, ARecordIsReceivedWholeOrNotAtAll) {
  const Outcome good = Receive();
  ASSERT_EQ(good.result, S_OK);
  RawDatabase database(GetParam().database);
  const std::optional<RawRecord> whole = database.Read(good.oid);
  ASSERT_TRUE(whole.has_value());
  ASSERT_TRUE(database.Delete(good.oid));

  uint32_t refusals = 0;
  for (uint32_t nth = 1;; ++nth) {
    ASSERT_LT(nth, kTooMany);
    control::FailCall("LocalAlloc", nth, ERROR_NOT_ENOUGH_MEMORY);
    const Outcome outcome = Receive();
    const bool reached = !control::ClearFailures();
    const std::vector<CEOID> records = database.List();
    // A new record's failure shows in its identifier; the result is S_OK whatever adding it did.
    ASSERT_EQ(records, outcome.oid != 0 ? std::vector<CEOID>{outcome.oid} : std::vector<CEOID>())
        << nth;
    refusals += outcome.oid == 0 ? 1 : 0;
    for (const CEOID oid : records) {
      ASSERT_EQ(database.Read(oid)->Describe(), whole->Describe()) << nth;
      ASSERT_TRUE(database.Delete(oid));
    }
    if (!reached)
      break;
  }
  EXPECT_GT(refusals, 5u);
}

TEST_P(Memory, APacketIsSentWholeOrNotAtAll) {
  const CEOID oid = Receive().oid;
  const Outcome good = Send(oid);
  ASSERT_EQ(good.result, RWRN_LAST_PACKET);
  ASSERT_FALSE(good.bytes.empty());

  uint32_t refusals = 0;
  for (uint32_t nth = 1;; ++nth) {
    ASSERT_LT(nth, kTooMany);
    control::FailCall("LocalAlloc", nth, ERROR_NOT_ENOUGH_MEMORY);
    const Outcome outcome = Send(oid);
    const bool reached = !control::ClearFailures();
    refusals += outcome.result != RWRN_LAST_PACKET ? 1 : 0;
    if (outcome.result == RWRN_LAST_PACKET) {
      ASSERT_EQ(outcome.bytes, good.bytes) << nth;
    }
    if (!reached)
      break;
  }
  EXPECT_GT(refusals, 5u);
}

TEST_P(Memory, WithoutAHandlerTheManagerGetsNone) {
  control::FailCall("LocalAlloc", 1, ERROR_NOT_ENOUGH_MEMORY);
  IReplObjHandler* handler = reinterpret_cast<IReplObjHandler*>(this);
  std::u16string name(GetParam().name);
  EXPECT_EQ(provider->initObjType(name.data(), &handler, kPartner), TRUE);
  EXPECT_FALSE(control::ClearFailures());
  EXPECT_EQ(handler, nullptr);
}

TEST_P(Memory, AListThatCannotBeAllocatedIsRefused) {
  ASSERT_EQ(Receive().result, S_OK);
  FINDOBJINFO info = {};
  std::u16string name(GetParam().name);
  std::copy(name.begin(), name.end(), info.szObjType);
  uint32_t refusals = 0;
  for (uint32_t nth = 1;; ++nth) {
    ASSERT_LT(nth, kTooMany);
    control::FailCall("LocalAlloc", nth, ERROR_NOT_ENOUGH_MEMORY);
    info.uFlags = 0;
    info.poid = nullptr;
    const HRESULT result = provider->findObjects(&info);
    const bool reached = !control::ClearFailures();
    if (result == S_OK) {
      info.uFlags = FO_DONE_ONE_VOL;
      provider->findObjects(&info);
    } else {
      EXPECT_EQ(result, E_UNEXPECTED) << nth;
      ++refusals;
    }
    if (!reached)
      break;
  }
  EXPECT_GT(refusals, 0u);
}

INSTANTIATE_TEST_SUITE_P(Folders, Memory, testing::ValuesIn(kFolders), [](const auto& folder) {
  const std::u16string name(folder.param.name);
  return std::string(name.begin(), name.end());
});

}  // namespace
}  // namespace wkt::test
