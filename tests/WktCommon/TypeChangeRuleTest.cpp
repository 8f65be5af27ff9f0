#include <gtest/gtest.h>

#include <vector>

#include "WktCommon/WktTypeKinds.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/Samples.h"

namespace wkt::test {
namespace {

// One setter, once with a value that differs from a sample's and once with the sample's own.
struct Setter {
  const char* name;
  void (*change)(CWktTypeLean& type);
  void (*keep)(CWktTypeLean& type);
};

template <auto get, auto set>
constexpr Setter TextSetter(const char* name) {
  return {name,
          [](CWktTypeLean& type) { (type.*set)((MakeSampleType(4, 2).get()->*get)().c_str()); },
          [](CWktTypeLean& type) { (type.*set)((type.*get)().c_str()); }};
}
template <auto get, auto set>
constexpr Setter ValueSetter(const char* name) {
  return {name, [](CWktTypeLean& type) { (type.*set)((MakeSampleType(4, 2).get()->*get)()); },
          [](CWktTypeLean& type) { (type.*set)((type.*get)()); }};
}

const Setter kSetters[] = {
    TextSetter<&CWktTypeLean::GetId, &CWktTypeLean::SetId>("Id"),
    {"VersionNumber", [](CWktTypeLean& type) { type.SetVersionNumber(33); },
     [](CWktTypeLean& type) { type.SetVersionNumber(32); }},
    ValueSetter<&CWktTypeLean::GetCreationTime, &CWktTypeLean::SetCreationTime>("CreationTime"),
    ValueSetter<&CWktTypeLean::GetUseCount, &CWktTypeLean::SetUseCount>("UseCount"),
    TextSetter<&CWktTypeLean::GetName1, &CWktTypeLean::SetName1>("Name1"),
    TextSetter<&CWktTypeLean::GetName2, &CWktTypeLean::SetName2>("Name2"),
    {"Comment", [](CWktTypeLean& type) { type.SetComment(u"other"); },
     [](CWktTypeLean& type) { type.SetComment(type.GetComment(FALSE, FALSE).c_str()); }},
    ValueSetter<&CWktTypeLean::GetFlags, &CWktTypeLean::SetFlags>("Flags"),
    {"Flag", [](CWktTypeLean& type) { type.SetFlag(18, !type.IsFlagSet(18)); },
     [](CWktTypeLean& type) { type.SetFlag(18, type.IsFlagSet(18)); }},
    {"Flag01", [](CWktTypeLean& type) { type.SetFlag01(1, !type.IsFlag01Set(1)); },
     [](CWktTypeLean& type) { type.SetFlag01(1, type.IsFlag01Set(1)); }},
    TextSetter<&CWktTypeLean::GetUnused1, &CWktTypeLean::SetUnused1>("Unused1"),
    TextSetter<&CWktTypeLean::GetUnused2, &CWktTypeLean::SetUnused2>("Unused2"),
    ValueSetter<&CWktTypeLean::GetUnused3, &CWktTypeLean::SetUnused3>("Unused3"),
    ValueSetter<&CWktTypeLean::GetUnused4, &CWktTypeLean::SetUnused4>("Unused4"),
    ValueSetter<&CWktTypeLean::GetUnused5, &CWktTypeLean::SetUnused5>("Unused5"),
};

class CountingObserver : public TypeObserver {
 public:
  void OnTypeChanged(CWktTypeLean& type) override {
    ++count;
    seenTime = Ticks(type.GetModificationTime());
  }
  int count = 0;
  uint64_t seenTime = 0;
};

class TypeChangeRule : public DeskDeviceTest {
 protected:
  TypeChangeRule() { type->SetObservers(&observers); }
  TypePtr type = MakeSampleType(4);
  const uint64_t before = Ticks(type->GetModificationTime());
  CountingObserver observer;
  CountingObserver second;
  std::vector<TypeObserver*> observers = {&observer, &second};
};

TEST_F(TypeChangeRule, EffectiveChangeMarksStampsAndTells) {
  for (const Setter& setter : kSetters) {
    type->SetModificationTime(TicksToTime(before), FALSE);
    type->SetChanged(FALSE);
    observer.count = second.count = 0;
    setter.change(*type);
    EXPECT_TRUE(type->IsChanged()) << setter.name;
    EXPECT_EQ(Ticks(type->GetModificationTime()), kStartTicks) << setter.name;
    EXPECT_EQ(observer.count, 1) << setter.name;
    EXPECT_EQ(second.count, 1) << setter.name;
    EXPECT_EQ(observer.seenTime, kStartTicks) << setter.name << ": told after the stamp";
  }
}

TEST_F(TypeChangeRule, EqualValueDoesNothing) {
  for (const Setter& setter : kSetters) {
    setter.keep(*type);
    EXPECT_FALSE(type->IsChanged()) << setter.name;
    EXPECT_EQ(Ticks(type->GetModificationTime()), before) << setter.name;
    EXPECT_EQ(observer.count, 0) << setter.name;
  }
  ExpectSampleType(*type, 4);
}

TEST_F(TypeChangeRule, KindIsStoredWithoutAMark) {
  type->SetTypeOfType(2);
  EXPECT_EQ(type->GetTypeOfType(), 2);
  EXPECT_FALSE(type->IsChanged());
  EXPECT_EQ(Ticks(type->GetModificationTime()), before);
}

TEST_F(TypeChangeRule, SecondChangeInTheSameSecondTellsAgain) {
  type->SetName1(u"a");
  type->SetName1(u"b");
  EXPECT_EQ(observer.count, 2);
}

TEST_F(TypeChangeRule, SetModificationTimeTellsOfADifferentTimeOrWhenForced) {
  type->SetModificationTime(TicksToTime(before), FALSE);
  EXPECT_EQ(observer.count, 0);
  type->SetModificationTime(TicksToTime(before), TRUE);
  EXPECT_EQ(observer.count, 1);
  type->SetModificationTime(TicksToTime(before + (uint64_t{1} << 32)), FALSE);
  EXPECT_EQ(observer.count, 2);
  EXPECT_FALSE(type->IsChanged());
}

TEST_F(TypeChangeRule, SetChangedStampsOnlyWhenOn) {
  type->SetChanged(FALSE);
  EXPECT_EQ(Ticks(type->GetModificationTime()), before);
  EXPECT_EQ(observer.count, 0);
  type->SetChanged(TRUE);
  EXPECT_TRUE(type->IsChanged());
  EXPECT_EQ(Ticks(type->GetModificationTime()), kStartTicks);
  EXPECT_EQ(observer.count, 1);
}

TEST_F(TypeChangeRule, AssignmentTellsOnceInTheEnd) {
  type->Assign(*MakeSampleType(4, 2));
  EXPECT_EQ(observer.count, 1);
  EXPECT_EQ(observer.seenTime, kStartTicks);
}

TEST_F(TypeChangeRule, EmptyListTellsNobody) {
  observers.clear();
  type->SetName1(u"a");
  EXPECT_TRUE(type->IsChanged());
  EXPECT_EQ(observer.count, 0);
}

class TypeFill : public TypeChangeRule {};

TEST_F(TypeFill, StoredTimeAppliedLastRemains) {
  type->SetObservers(nullptr);
  {
    const FillScope<CWktTypeLean> filling(*type);
    type->SetName1(u"a");
    type->SetModificationTime(TicksToTime(before), FALSE);
  }
  EXPECT_EQ(Ticks(type->GetModificationTime()), before);
  EXPECT_TRUE(type->IsChanged());
}

TEST_F(TypeFill, WithoutAStoredTimeTheRecordIsStampedAtTheEnd) {
  type->SetObservers(nullptr);
  {
    const FillScope<CWktTypeLean> filling(*type);
    type->SetName1(u"a");
    device.StepClockMilliseconds(2000);
  }
  device.StepClockMilliseconds(2000);
  EXPECT_EQ(Ticks(type->GetModificationTime()), kStartTicks + 20'000'000);
}

TEST_F(TypeFill, ChangingNothingStampsNothing) {
  {
    const FillScope<CWktTypeLean> filling(*type);
    type->SetName1(type->GetName1().c_str());
  }
  EXPECT_EQ(Ticks(type->GetModificationTime()), before);
}

TEST_F(TypeFill, StoredTimeOfARecordWithoutAnythingElseIsItsTime) {
  CWktTypeLean fresh(FALSE);
  {
    const FillScope<CWktTypeLean> filling(fresh);
    fresh.SetModificationTime(TicksToTime(5), FALSE);
  }
  EXPECT_EQ(Ticks(fresh.GetModificationTime()), 5u);
  EXPECT_FALSE(fresh.IsChanged());
}

// A fresh record's times are made when somebody asks. Observers are told of changes only, so they
// have to be there when a stored time is held against them.
TEST_F(TypeFill, ObserversOfAFreshRecordAreToldOfATimeThatDiffersOnly) {
  CWktTypeLean fresh(FALSE);
  fresh.SetObservers(&observers);
  const FillScope<CWktTypeLean> filling(fresh);
  fresh.SetModificationTime(TicksToTime(kStartTicks), FALSE);
  fresh.SetCreationTime(TicksToTime(kStartTicks));
  EXPECT_EQ(observer.count, 0);
  fresh.SetCreationTime(TicksToTime(kStartTicks + 1));
  EXPECT_EQ(observer.count, 1);
  EXPECT_EQ(second.count, 1);
}

TEST_F(TypeFill, ObserversSeeEachChange) {
  const FillScope<CWktTypeLean> filling(*type);
  type->SetName1(u"a");
  type->SetName2(u"b");
  EXPECT_EQ(observer.count, 2);
  EXPECT_EQ(observer.seenTime, kStartTicks);
}

}  // namespace
}  // namespace wkt::test
