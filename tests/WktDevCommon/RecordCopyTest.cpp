#include "WktDevCommon/RecordCopy.h"

#include <gtest/gtest.h>

#include "WktCommon/WktTypeKinds.h"
#include "WktDevCommon/SyncJobDatabase.h"
#include "WktDevCommon/SyncWktTypeDatabase.h"
#include "tests/WktDevCommon/DatabaseTest.h"
#include "tests/support/Samples.h"

namespace {

using wkt::test::ExpectLog;

class RecordCopy : public DatabaseTest {};

TEST_F(RecordCopy, BringsAJobIntoAPacketAndBack) {
  const std::unique_ptr<CJobLean> job = wkt::test::MakeSampleJob();
  CJobPacket packet(1);
  EXPECT_EQ(CSyncJobDatabase::FillJobPacket(&packet, job.get()), 0);
  device.StepClockMilliseconds(60'000);
  CJobLean back(TRUE);
  EXPECT_EQ(CSyncJobDatabase::FillJobLean(&back, &packet), 0);
  // The modification time, too: it is set after the fields that stamp the record.
  wkt::test::ExpectSampleJob(back);
}

TEST_F(RecordCopy, BringsATypeOfEachKindIntoAPacketAndBack) {
  for (int kind = 1; kind <= 5; ++kind) {
    const wkt::TypePtr type = wkt::test::MakeSampleType(kind, kind);
    CWktTypePacket packet;
    EXPECT_EQ(CSyncWktTypeDatabase::FillWktTypePacket(&packet, type.get()), 0);
    device.StepClockMilliseconds(60'000);
    const wkt::TypePtr back(wkt::MakeType(kind, TRUE));
    EXPECT_EQ(CSyncWktTypeDatabase::FillWktTypeLean(back.get(), &packet), 0);
    wkt::test::ExpectSampleType(*back, kind, kind);
  }
}

TEST_F(RecordCopy, AModificationTimeOfZeroArrivesToo) {
  CJobPacket packet(1);
  packet.SetModificationTime({0, 0});
  CJobLean job(FALSE);
  CSyncJobDatabase::FillJobLean(&job, &packet);
  EXPECT_EQ(job.GetModificationTime().dwLowDateTime, 0u);
  EXPECT_EQ(job.GetModificationTime().dwHighDateTime, 0u);
}

TEST_F(RecordCopy, DoesNothingWithoutOneOfTheTwo) {
  CJobLean job(FALSE);
  CJobPacket packet(1);
  const wkt::TypePtr type(wkt::MakeType(1, FALSE));
  CWktTypePacket typePacket;
  job.SetTitle(u"job");
  packet.SetTitle(u"packet");
  EXPECT_EQ(CSyncJobDatabase::FillJobPacket(&packet, nullptr), 0);
  EXPECT_EQ(CSyncJobDatabase::FillJobPacket(nullptr, &job), 0);
  EXPECT_EQ(CSyncJobDatabase::FillJobLean(&job, nullptr), 0);
  EXPECT_EQ(CSyncJobDatabase::FillJobLean(nullptr, &packet), 0);
  EXPECT_EQ(CSyncWktTypeDatabase::FillWktTypePacket(&typePacket, nullptr), 0);
  EXPECT_EQ(CSyncWktTypeDatabase::FillWktTypePacket(nullptr, type.get()), 0);
  EXPECT_EQ(CSyncWktTypeDatabase::FillWktTypeLean(type.get(), nullptr), 0);
  EXPECT_EQ(CSyncWktTypeDatabase::FillWktTypeLean(nullptr, &typePacket), 0);
  EXPECT_EQ(std::u16string(job.GetTitle().c_str()), u"job");
  EXPECT_EQ(std::u16string(packet.GetTitle()), u"packet");
}

TEST_F(RecordCopy, WritesEnterAndLeave) {
  log.Take();
  CSyncWktTypeDatabase::FillWktTypePacket(nullptr, nullptr);
  CSyncWktTypeDatabase::FillWktTypeLean(nullptr, nullptr);
  CSyncJobDatabase::FillJobPacket(nullptr, nullptr);
  CSyncJobDatabase::FillJobLean(nullptr, nullptr);
  ExpectLog(log,
            {">CSyncWktTypeDatabase::FillWktTypePacket", "<CSyncWktTypeDatabase::FillWktTypePacket",
             ">CSyncWktTypeDatabase::FillWktTypeLean", "<CSyncWktTypeDatabase::FillWktTypeLean",
             ">CSyncJobDatabase::FillJobPacket", "<CSyncJobDatabase::FillJobPacket",
             ">CSyncJobDatabase::FillJobLean", "<CSyncJobDatabase::FillJobLean"});
}

}  // namespace
