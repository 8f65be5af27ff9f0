#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include "tests/support/AllocationCounter.h"
#include "tests/support/GoldenPacket.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Provider.h"
#include "tests/support/RawDatabase.h"
#include "tests/support/Samples.h"
#include "tests/support/Text.h"

// Each request for memory fails once, alone and with all later ones: a record is stored whole, as
// it was or as it is to be, and the answer says which.
namespace {

using wkt::test::AllocationFailure;
using wkt::test::RawDatabase;
using wkt::test::RawJob;
using wkt::test::RawRecord;
using wkt::test::RawType;

constexpr char16_t kLong[] =
    u"A text that is long enough to need a block of memory of its own wherever it is kept.";

class TransferMemory : public wkt::test::DeskDeviceTest, public testing::WithParamInterface<bool> {
 protected:
  TransferMemory() {
    device.MakeInstallation();
    if (GetParam())
      log.emplace(device);
    provider.emplace(device);
    handler = provider->Init(u"WktActivities", 1);
  }
  ~TransferMemory() override { handler->Release(); }

  template <class Structure>
  static Structure Named(const char16_t* folder) {
    Structure structure = {};
    std::u16string(folder).copy(structure.szObjType, MAX_OBJTYPE_NAME - 1);
    return structure;
  }
  static RawRecord Job() {
    return RawJob(u"J").Set(0x4003001F, kLong).Set(0x4004001F, kLong).Set(0x400A001F, u"P1; P2");
  }
  static RawRecord Type() {
    return RawType(u"T", 2).Set(0x4026001F, kLong).Set(0x4028001F, kLong).Set(0x402A001F, kLong);
  }
  std::vector<uint8_t> JobBytes() {
    CJobPacket packet(1);
    wkt::test::FillFromJob(packet, *wkt::test::MakeSampleJob());
    return wkt::test::Encode(packet);
  }
  std::vector<uint8_t> TypeBytes() {
    CWktTypePacket packet;
    wkt::test::FillFromType(packet, *wkt::test::MakeSampleType(2));
    return wkt::test::Encode(packet);
  }

  // What an operation did to its record.
  enum class Left { AsItWas, AsItIsToBe };
  using Operation = std::function<HRESULT(CEOID)>;
  using Judge = std::function<void(HRESULT, Left)>;

  // Runs the operation with each request failing, and once with none; `look` tells whether it was
  // done all the same.
  static void ForEachRequest(const std::function<HRESULT()>& operation,
                             const std::function<bool(HRESULT)>& look) {
    int refused = 0;
    for (const auto extent :
         {AllocationFailure::Extent::OnlyThis, AllocationFailure::Extent::AllLater}) {
      bool happened = true;
      for (size_t nth = 1; happened; ++nth) {
        ASSERT_LT(nth, 500u);
        HRESULT result = 0;
        {
          const AllocationFailure failure(nth, extent);
          result = operation();
          happened = failure.Happened();
        }
        refused += !look(result);
      }
    }
    EXPECT_GT(refused, 0) << "no failure stopped the operation";
  }

  void FailEachRequest(const char16_t* databaseName, const RawRecord& old,
                       const Operation& operation, const Judge& judge) {
    RawDatabase database(databaseName);
    CEOID oid = database.Add(old);
    operation(oid);
    const std::string asItIsToBe = TakeAway(database, oid);
    oid = database.Add(old);
    ForEachRequest([&] { return operation(oid); },
                   [&](HRESULT result) {
                     const std::string left = TakeAway(database, oid);
                     oid = database.Add(old);
                     const bool isDone = left == asItIsToBe;
                     EXPECT_EQ(left, isDone ? asItIsToBe : old.Describe());
                     judge(result, isDone ? Left::AsItIsToBe : Left::AsItWas);
                     return isDone;
                   });
    TakeAway(database, oid);
  }

  // The record, or "gone"; gone it is then.
  std::string TakeAway(RawDatabase& database, CEOID oid) {
    const auto record = database.Read(oid);
    database.Delete(oid);
    if (log)
      log->Take();
    return record ? record->Describe() : "gone";
  }

  HRESULT Put(const char16_t* folder, CEOID oid, std::vector<uint8_t>& bytes) {
    auto setup = Named<REPLSETUP>(folder);
    setup.oid = oid;
    handler->Setup(&setup);
    return handler->SetPacket(bytes.data(), static_cast<DWORD>(bytes.size()));
  }
  BOOL Notify(const char16_t* folder, CEOID oid) {
    auto notice = Named<OBJNOTIFY>(folder);
    notice.cbStruct = sizeof(notice);
    notice.uFlags = ONF_CLEAR_CHANGE;
    notice.oidObject = oid;
    return provider->objectNotify(&notice);
  }

  std::optional<wkt::test::LogCapture> log;
  std::optional<wkt::test::Provider> provider;
  IReplObjHandler* handler = nullptr;
};

void ExpectSuccessOnlyWhenDone(HRESULT result, bool isDone) {
  EXPECT_EQ(result, isDone ? S_OK : E_UNEXPECTED);
}

TEST_P(TransferMemory, AJobIsReplacedWholeOrNotAtAll) {
  std::vector<uint8_t> bytes = JobBytes();
  FailEachRequest(
      u"WktDevJobs", Job(), [&](CEOID oid) { return Put(u"WktActivities", oid, bytes); },
      [](HRESULT result, Left left) {
        ExpectSuccessOnlyWhenDone(result, left == Left::AsItIsToBe);
      });
}

TEST_P(TransferMemory, ATypeIsReplacedWholeOrNotAtAll) {
  std::vector<uint8_t> bytes = TypeBytes();
  FailEachRequest(
      u"WktDevTypes", Type(), [&](CEOID oid) { return Put(u"WktTypes", oid, bytes); },
      [](HRESULT result, Left left) {
        ExpectSuccessOnlyWhenDone(result, left == Left::AsItIsToBe);
      });
}

TEST_P(TransferMemory, ARecordIsAddedWholeOrNotAtAll) {
  for (const bool isTypes : {false, true}) {
    RawDatabase database(isTypes ? u"WktDevTypes" : u"WktDevJobs");
    auto setup = Named<REPLSETUP>(isTypes ? u"WktTypes" : u"WktActivities");
    setup.dwFlags = RSF_NEW_OBJECT;
    std::vector<uint8_t> bytes = isTypes ? TypeBytes() : JobBytes();
    const auto put = [&] {
      setup.oidNew = 0;
      handler->Setup(&setup);
      return handler->SetPacket(bytes.data(), static_cast<DWORD>(bytes.size()));
    };
    ASSERT_EQ(put(), S_OK);
    const std::string whole = database.Read(setup.oidNew)->Describe();
    database.Delete(setup.oidNew);
    ForEachRequest(put, [&](HRESULT result) {
      // S_OK whatever the addition returned; the identifier tells.
      EXPECT_TRUE(result == S_OK || (result == E_UNEXPECTED && setup.oidNew == 0)) << result;
      EXPECT_EQ(database.Count(), setup.oidNew != 0 ? 1u : 0u);
      if (setup.oidNew == 0)
        return false;
      EXPECT_EQ(database.Read(setup.oidNew)->Describe(), whole);
      database.Delete(setup.oidNew);
      return true;
    });
  }
}

TEST_P(TransferMemory, APacketIsSentWholeOrNotAtAll) {
  for (const bool isTypes : {false, true}) {
    auto setup = Named<REPLSETUP>(isTypes ? u"WktTypes" : u"WktActivities");
    setup.fRead = TRUE;
    setup.oid = RawDatabase(isTypes ? u"WktDevTypes" : u"WktDevJobs").Add(isTypes ? Type() : Job());
    handler->Setup(&setup);
    BYTE* bytes = nullptr;
    DWORD byteCount = 77;
    const auto get = [&] {
      bytes = nullptr;
      byteCount = 77;
      return handler->GetPacket(&bytes, &byteCount, 0);
    };
    ASSERT_EQ(get(), RWRN_LAST_PACKET);
    const std::vector<BYTE> whole(bytes, bytes + byteCount);
    ForEachRequest(get, [&](HRESULT result) {
      if (result == RWRN_LAST_PACKET) {
        EXPECT_EQ(std::vector<BYTE>(bytes, bytes + byteCount), whole);
        return true;
      }
      EXPECT_EQ(result, RERR_BAD_OBJECT);
      EXPECT_EQ(bytes, nullptr);
      EXPECT_EQ(byteCount, 77u);
      return false;
    });
  }
}

// Whether it could be saved or not, what went out needs not to go again.
TEST_P(TransferMemory, AConfirmationIsSavedWholeOrNotAtAll) {
  const Judge judge = [](HRESULT result, Left) { EXPECT_EQ(result, FALSE); };
  FailEachRequest(
      u"WktDevJobs", Job(), [&](CEOID oid) { return Notify(u"WktActivities", oid); }, judge);
  FailEachRequest(
      u"WktDevTypes", Type(), [&](CEOID oid) { return Notify(u"WktTypes", oid); }, judge);
}

TEST_P(TransferMemory, AMarkIsTakenBackWholeOrNotAtAll) {
  const auto list = [this](const char16_t* folder) {
    auto info = Named<FINDOBJINFO>(folder);
    const HRESULT result = provider->findObjects(&info);
    EXPECT_EQ(info.cUnChg + info.cChg, result == S_OK ? 1u : 0u);
    LocalFree(info.poid);
    return result;
  };
  const Judge judge = [](HRESULT result, Left left) {
    EXPECT_TRUE(result == S_OK || (result == E_UNEXPECTED && left == Left::AsItWas)) << result;
  };
  FailEachRequest(
      u"WktDevJobs", Job().Set(0x400B001F, u"0010101000000000000"),
      [&](CEOID) { return list(u"WktActivities"); }, judge);
  FailEachRequest(
      u"WktDevTypes", Type().Set(0x4029001F, u"1011000000000000000"),
      [&](CEOID) { return list(u"WktTypes"); }, judge);
}

TEST_P(TransferMemory, ADeletionSaysWhetherItHappened) {
  for (const bool isTypes : {false, true}) {
    auto setup = Named<REPLSETUP>(isTypes ? u"WktTypes" : u"WktActivities");
    FailEachRequest(
        isTypes ? u"WktDevTypes" : u"WktDevJobs", isTypes ? Type() : Job(),
        [&](CEOID oid) {
          setup.oid = oid;
          return handler->DeleteObj(&setup);
        },
        [](HRESULT result, Left left) { EXPECT_EQ(result == S_OK, left == Left::AsItIsToBe); });
  }
}

TEST_P(TransferMemory, ADescriptionIsWholeOrRefused) {
  for (const char16_t* folder : {u"WktActivities", u"WktFavorites", u"WktTypes"}) {
    auto info = Named<OBJTYPEINFO>(folder);
    info.cbStruct = 384;
    EXPECT_EQ(provider->getObjTypeInfo(&info), TRUE);
    const std::string name = wkt::test::Narrow(info.szName);
    int refused = 0;
    for (size_t nth = 1; nth < 100; ++nth) {
      info.cObjects = 77;
      info.szName[0] = 0;
      BOOL result = FALSE;
      bool happened = false;
      {
        const AllocationFailure failure(nth, AllocationFailure::Extent::AllLater);
        result = provider->getObjTypeInfo(&info);
        happened = failure.Happened();
      }
      EXPECT_EQ(info.cObjects, result ? 0u : 77u);
      EXPECT_EQ(wkt::test::Narrow(info.szName), result ? name : "");
      refused += !result;
      if (!happened)
        break;
    }
    EXPECT_GT(refused, 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Listeners, TransferMemory, testing::Bool(), [](const auto& heard) {
  return std::string(heard.param ? "Heard" : "Unheard");
});

}  // namespace
