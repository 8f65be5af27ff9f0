#include "WktCommon/WktTypeKinds.h"

#include <gtest/gtest.h>

#include "WktCommon/Allocation.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/RecordPeek.h"
#include "tests/support/Samples.h"
#include "tests/support/Text.h"

namespace wkt::test {
namespace {

class WktTypeKinds : public DeskDeviceTest {
 protected:
  // A record of kind 2 that belongs to the list.
  CWktTypeLean* Add(const char16_t* id, const char16_t* parentId, int kind = 2) {
    owned.emplace_back(MakeType(kind, FALSE));
    CWktTypeLean* const made = owned.back().get();
    made->SetId(id);
    made->SetName1(id);
    made->SetParentId(parentId);
    types.push_back(made);
    return made;
  }
  std::vector<TypePtr> owned;
  TypeList types;
};

TEST_F(WktTypeKinds, FactoryMakesKinds1To5Only) {
  for (int kind = 1; kind <= 5; ++kind) {
    const TypePtr type(MakeType(kind, FALSE));
    ASSERT_TRUE(type) << kind;
    EXPECT_EQ(type->GetTypeOfType(), kind);
    EXPECT_EQ(Narrow(type->GetId().c_str()), "");
    EXPECT_FALSE(type->IsChanged()) << kind;
    const TypePtr fresh(MakeType(kind, TRUE));
    EXPECT_EQ(Narrow(fresh->GetId().c_str()).substr(0, 3), "CE-");
  }
  for (const int kind : {-2147483647 - 1, -1, 0, 6, 7, 256, 2147483647})
    EXPECT_FALSE(TypePtr(MakeType(kind, FALSE))) << kind;
}

TEST_F(WktTypeKinds, Kind1HasFlag4OnFromTheStart) {
  const CWktTypeKind1 type(FALSE);
  EXPECT_EQ(Narrow(type.GetFlags()), "0001100000000000000");
  EXPECT_FALSE(type.IsChanged());
  EXPECT_EQ(Narrow(CWktTypeKind2(FALSE).GetFlags()), "0001000000000000000");
}

TEST_F(WktTypeKinds, DisplayNameIsTheFirstName) {
  for (const int kind : {1, 2, 4, 5}) {
    const TypePtr type = MakeSampleType(kind);
    EXPECT_EQ(Narrow(type->GetDisplayName().c_str()), "Name 1") << kind;
  }
}

TEST_F(WktTypeKinds, Kind3ShowsBothNames) {
  CWktTypeKind3 type(FALSE);
  type.SetName1(u"A");
  EXPECT_EQ(Narrow(type.GetDisplayName().c_str()), "A");
  type.SetName2(u"B");
  EXPECT_EQ(Narrow(type.GetDisplayName().c_str()), "A B");
  type.SetName1(u"");
  EXPECT_EQ(Narrow(type.GetDisplayName().c_str()), " B");
}

TEST_F(WktTypeKinds, Kind2KeepsItsParentInUnused1) {
  CWktTypeKind2 type(FALSE);
  type.SetParentId(u"CE-1");
  EXPECT_EQ(Narrow(type.GetUnused1().c_str()), "CE-1");
  EXPECT_TRUE(type.IsChanged());
  type.SetUnused1(u"CE-2");
  EXPECT_EQ(Narrow(type.GetParentId().c_str()), "CE-2");
}

TEST_F(WktTypeKinds, RootNameWithoutParentIsTheOwnName) {
  const CWktTypeLean* const root = Add(u"root", u"");
  EXPECT_EQ(Narrow(root->GetRootName({}).c_str()), "root");
  EXPECT_EQ(Narrow(root->GetRootName(types).c_str()), "root");
}

TEST_F(WktTypeKinds, RootNameWithUnknownParentIsEmpty) {
  const CWktTypeLean* const orphan = Add(u"orphan", u"gone");
  EXPECT_EQ(Narrow(orphan->GetRootName(types).c_str()), "");
  EXPECT_EQ(Narrow(orphan->GetPath(types, u"/").c_str()), "orphan");
}

TEST_F(WktTypeKinds, RootAndPathClimbToTheTop) {
  const CWktTypeLean* const leaf = Add(u"leaf", u"branch");
  Add(u"root", u"");
  Add(u"branch", u"root");
  EXPECT_EQ(Narrow(leaf->GetRootName(types).c_str()), "root");
  EXPECT_EQ(Narrow(leaf->GetPath(types, u" / ").c_str()), "root / branch / leaf");
}

TEST_F(WktTypeKinds, ClimbEndsAtAnAncestorWhoseParentIsMissing) {
  const CWktTypeLean* const leaf = Add(u"leaf", u"branch");
  Add(u"branch", u"gone");
  EXPECT_EQ(Narrow(leaf->GetRootName(types).c_str()), "branch");
  EXPECT_EQ(Narrow(leaf->GetPath(types, u"/").c_str()), "branch/leaf");
}

TEST_F(WktTypeKinds, OwnParentEndsTheClimb) {
  const CWktTypeLean* const self = Add(u"self", u"self");
  EXPECT_EQ(Narrow(self->GetPath(types, u"/").c_str()), "self/self");
  EXPECT_EQ(Narrow(self->GetRootName(types).c_str()), "self");
  const CWktTypeLean* const child = Add(u"child", u"self");
  EXPECT_EQ(Narrow(child->GetPath(types, u"/").c_str()), "self/child");
}

TEST_F(WktTypeKinds, CircleEndsWhereItBegan) {
  const CWktTypeLean* const a = Add(u"a", u"b");
  Add(u"b", u"c");
  Add(u"c", u"a");
  EXPECT_EQ(Narrow(a->GetPath(types, u"/").c_str()), "c/b/a");
  EXPECT_EQ(Narrow(a->GetRootName(types).c_str()), "c");
}

TEST_F(WktTypeKinds, CircleFurtherUpEndsAfterAsManyStepsAsRecords) {
  const CWktTypeLean* const leaf = Add(u"leaf", u"a");
  Add(u"a", u"b");
  Add(u"b", u"a");
  EXPECT_EQ(Narrow(leaf->GetPath(types, u"/").c_str()), "a/b/a/leaf");
  EXPECT_EQ(Narrow(leaf->GetRootName(types).c_str()), "a");
}

TEST_F(WktTypeKinds, PathThroughOtherKindsEndsThere) {
  const CWktTypeLean* const leaf = Add(u"leaf", u"team");
  Add(u"team", u"ignored", 4);
  EXPECT_EQ(Narrow(leaf->GetPath(types, u"/").c_str()), "team/leaf");
}

TEST_F(WktTypeKinds, CloneIsAnUnchangedRecordOfTheSameClass) {
  for (int kind = 1; kind <= 5; ++kind) {
    const TypePtr type = MakeSampleType(kind);
    RecordPeek::SetMark(*type, true);
    const TypePtr copy(type->Clone());
    ASSERT_TRUE(copy);
    EXPECT_FALSE(copy->IsChanged());
    EXPECT_TRUE(RecordPeek::GetMark(*copy));
    EXPECT_EQ(Narrow(copy->GetDisplayName().c_str()), Narrow(type->GetDisplayName().c_str()));
    EXPECT_EQ(Ticks(copy->GetModificationTime()), kStartTicks) << "filling it was a change";
    copy->SetModificationTime(type->GetModificationTime(), FALSE);
    ExpectEqualTypes(*copy, *type);
  }
}

TEST_F(WktTypeKinds, WithoutMemoryThereIsNoClone) {
  for (int kind = 1; kind <= 6; ++kind) {
    const TypePtr type(kind == 6 ? NewObject<CWktTypeItem>() : MakeType(kind, FALSE));
    ClearAllocationFailure();
    const AllocationFailure failure(1, AllocationFailure::Extent::AllLater);
    EXPECT_EQ(type->Clone(), nullptr) << kind;
    EXPECT_TRUE(AllocationFailed()) << kind;
  }
  ClearAllocationFailure();
}

// Kind 2 counts a record without a parent as its own root.
TEST_F(WktTypeKinds, ARecordWithoutParentIsItsOwnRootOnlyWhereThatCounts) {
  struct Child : CWktTypeLean {
    Child() : CWktTypeLean(FALSE) {}
    [[nodiscard]] WideString GetParentId() const override { return WideString(parentId); }
    using CWktTypeLean::FindRoot;
    using CWktTypeLean::OwnRoot;
    const WCHAR* parentId = u"";
  };
  const CWktTypeLean* const top = Add(u"top", u"");
  Child type;
  EXPECT_EQ(type.FindRoot(types, Child::OwnRoot::Counts), &type);
  EXPECT_EQ(type.FindRoot(types, Child::OwnRoot::DoesNotCount), nullptr);
  type.parentId = u"top";
  EXPECT_EQ(type.FindRoot(types, Child::OwnRoot::Counts), top);
  EXPECT_EQ(type.FindRoot(types, Child::OwnRoot::DoesNotCount), top);
}

TEST_F(WktTypeKinds, CloneOfAPlainRecordIsPlain) {
  CWktTypeLean type(FALSE);
  type.SetName1(u"a");
  const TypePtr copy(type.Clone());
  EXPECT_EQ(copy->GetTypeOfType(), 0);
  EXPECT_EQ(Narrow(copy->GetName1().c_str()), "a");
  EXPECT_EQ(Narrow(copy->GetDisplayName().c_str()), "");
}

TEST_F(WktTypeKinds, RecordIsDestroyedAsWhatItIsWhateverItsKindSays) {
  // The sanitizer knows the size of each allocation and compares.
  for (int kind = 1; kind <= 5; ++kind) {
    for (const int claimed : {0, 1, 5, 6, 99}) {
      TypePtr type(MakeType(kind, FALSE));
      type->SetTypeOfType(claimed);
      type.reset();
    }
  }
  DestroyType(new CWktTypeLean(FALSE));
  DestroyType(new CWktTypeItem);
  DestroyType(nullptr);
}

}  // namespace
}  // namespace wkt::test
