#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <thread>

#include "tests/WktDevSync/TransferTest.h"
#include "tests/support/Layout.h"

// The handler as the service manager's compiler sees it: the order of its slots, and of the fields
// behind them, which only the handler itself uses.
namespace {

using wkt::test::RawDatabase;
using wkt::test::RawJob;
using wkt::test::RawType;
using wkt::test::SlotOf;

struct HandlerFields {
  const void* slots;
  LONG refCount;
  const REPLSETUP* writeSetup;
  const REPLSETUP* readSetup;
  const void* jobPacket;
  const void* typePacket;
};

class HandlerLayout : public TransferTest {
 protected:
  [[nodiscard]] HandlerFields Fields() const {
    HandlerFields fields;
    std::memcpy(&fields, static_cast<const void*>(handler), sizeof(fields));
    return fields;
  }
};

TEST_F(HandlerLayout, TheSlotsStandInThisOrder) {
  EXPECT_EQ(SlotOf(&IReplObjHandler::QueryInterface), 0u);
  EXPECT_EQ(SlotOf(&IReplObjHandler::AddRef), 1u);
  EXPECT_EQ(SlotOf(&IReplObjHandler::Release), 2u);
  EXPECT_EQ(SlotOf(&IReplObjHandler::Setup), 3u);
  EXPECT_EQ(SlotOf(&IReplObjHandler::Reset), 4u);
  EXPECT_EQ(SlotOf(&IReplObjHandler::GetPacket), 5u);
  EXPECT_EQ(SlotOf(&IReplObjHandler::SetPacket), 6u);
  EXPECT_EQ(SlotOf(&IReplObjHandler::DeleteObj), 7u);
}

TEST_F(HandlerLayout, AFreshHandlerHoldsNothing) {
  EXPECT_EQ(Fields().refCount, 1);
  EXPECT_EQ(Fields().writeSetup, nullptr);
  EXPECT_EQ(Fields().readSetup, nullptr);
  EXPECT_EQ(Fields().jobPacket, nullptr);
  handler->AddRef();
  EXPECT_EQ(Fields().refCount, 2);
  handler->Release();
}

TEST_F(HandlerLayout, KeepsOneSetUpOfEachSort) {
  REPLSETUP read = MakeSetup(u"WktTypes", 1, 7, 0);  // any number but 0 reads
  REPLSETUP write = MakeSetup(u"WktTypes", 1, FALSE, 0);
  EXPECT_EQ(handler->Setup(&read), S_OK);
  EXPECT_EQ(Fields().readSetup, &read);
  EXPECT_EQ(Fields().writeSetup, nullptr);
  EXPECT_EQ(handler->Setup(&write), S_OK);
  EXPECT_EQ(Fields().readSetup, &read);
  EXPECT_EQ(Fields().writeSetup, &write);
  EXPECT_EQ(handler->Reset(&read), S_OK);
  EXPECT_EQ(handler->Reset(&write), S_OK);
  EXPECT_EQ(Fields().readSetup, &read);
  EXPECT_EQ(Fields().writeSetup, &write);
}

TEST_F(HandlerLayout, HoldsOnePacketOfEachKind) {
  const CEOID job = RawDatabase(u"WktDevJobs").Add(RawJob(u"J"));
  const CEOID type = RawDatabase(u"WktDevTypes").Add(RawType(u"T", 1));
  Get(u"WktActivities", job);
  const void* const jobPacket = Fields().jobPacket;
  EXPECT_NE(jobPacket, nullptr);
  // One that is not found leaves what is held.
  EXPECT_EQ(Get(u"WktActivities", 4711).result, RERR_BAD_OBJECT);
  EXPECT_EQ(Get(u"WktTypes", 4711).result, RERR_BAD_OBJECT);
  EXPECT_EQ(Fields().jobPacket, jobPacket);
  Get(u"WktTypes", type);
  const void* const typePacket = Fields().typePacket;
  EXPECT_NE(typePacket, nullptr);
  EXPECT_EQ(Fields().jobPacket, nullptr);
  Get(u"WktActivities", job);
  EXPECT_NE(Fields().jobPacket, nullptr);
  EXPECT_EQ(Fields().typePacket, typePacket);
}

// The service manager may hold it from several places. Long enough for two processors to meet.
TEST_F(HandlerLayout, LosesNoReferenceBetweenThreads) {
  constexpr int kReferences = 3'000'000;
  const auto twice = [](const std::function<void()>& work) {
    std::thread other(work);
    work();
    other.join();
  };
  twice([this] {
    for (int i = 0; i < kReferences; ++i)
      handler->AddRef();
  });
  EXPECT_EQ(Fields().refCount, 1 + 2 * kReferences);
  twice([this] {
    for (int i = 0; i < kReferences; ++i)
      handler->Release();
  });
  EXPECT_EQ(Fields().refCount, 1);
}

}  // namespace
