#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <type_traits>

#include "WktCommon/JobPacketLayout.h"
#include "WktCommon/Log.h"
#include "WktCommon/RegistryKey.h"
#include "WktCommon/TypePacketLayout.h"
#include "WktCommon/WktTypeKinds.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/Layout.h"
#include "tests/support/RecordPeek.h"
#include "tests/support/Text.h"

// Fields and virtual functions whose order is fixed. On a 64-bit machine everything is wider than
// on a device; the order is the same.
namespace {

using wkt::test::Narrow;
using wkt::test::SlotOf;

static_assert(offsetof(LogPosition, functionName) == 0);
static_assert(offsetof(LogPosition, level) == sizeof(void*));

// The seven functions behind the library's handle, as they are resolved.
static_assert(offsetof(wkt::LogState, logLibrary) == 0);
static_assert(offsetof(wkt::LogState, init) == 1 * sizeof(void*));
static_assert(offsetof(wkt::LogState, exit) == 2 * sizeof(void*));
static_assert(offsetof(wkt::LogState, write) == 3 * sizeof(void*));
static_assert(offsetof(wkt::LogState, writeEnter) == 4 * sizeof(void*));
static_assert(offsetof(wkt::LogState, writeLeave) == 5 * sizeof(void*));
static_assert(offsetof(wkt::LogState, setWriteToFile) == 6 * sizeof(void*));
static_assert(offsetof(wkt::LogState, getWriteToFile) == 7 * sizeof(void*));

template <class Value>
Value At(const void* object, size_t offset) {
  Value value;
  // NOLINTNEXTLINE(bugprone-sizeof-expression): a pointer that is a member is meant itself
  std::memcpy(&value, static_cast<const char*>(object) + offset, sizeof(Value));
  return value;
}

bool AreInOrder(const std::vector<const void*>& fields) {
  return std::adjacent_find(fields.begin(), fields.end(), std::greater_equal<const void*>()) ==
         fields.end();
}

class Layout : public wkt::test::DeskDeviceTest {};

TEST_F(Layout, OfAWideString) {
  WideString text(u"abc");
  text.SetTag(0xABCD1234);
  const WideString copy(text);
  // Virtual table, body, tag; text and count in the body.
  const char* const body = At<const char*>(&text, sizeof(void*));
  EXPECT_EQ(At<const WCHAR*>(body, 0), text.c_str());
  EXPECT_EQ(At<uint32_t>(body, sizeof(void*)), 2u) << "handles";
  EXPECT_EQ(At<uint32_t>(&text, 2 * sizeof(void*)), 0xABCD1234u);
  EXPECT_EQ(At<const char*>(&copy, sizeof(void*)), body);
}

TEST_F(Layout, OfAStringArray) {
  StringArray list(7);
  list.Add(u"a");
  list.Add(u"b");
  const StringArray copy(list);
  // Virtual table, body; capacity, count, slots and handles in the body.
  static_assert(sizeof(StringArray) == 2 * sizeof(void*));
  const char* const body = At<const char*>(&list, sizeof(void*));
  EXPECT_EQ(At<int32_t>(body, 0), 7);
  EXPECT_EQ(At<int32_t>(body, 4), 2);
  const WideString* const* const slots = At<const WideString* const*>(body, 8);
  EXPECT_EQ(slots[0], &list.At(0));
  EXPECT_EQ(slots[1], &list.At(1));
  EXPECT_EQ(At<uint32_t>(body, 8 + sizeof(void*)), 2u);
}

TEST_F(Layout, OfARegistryKey) {
  const CRegistryKey key(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Worktally", TRUE, TRUE);
  ASSERT_TRUE(key.IsOpen());
  const char* const at = reinterpret_cast<const char*>(&key);
  EXPECT_EQ(At<HKEY>(at, 0), HKEY_LOCAL_MACHINE);
  EXPECT_NE(At<HKEY>(at, sizeof(HKEY)), nullptr);
  const auto* const texts = reinterpret_cast<const WideString*>(at + 2 * sizeof(HKEY));
  EXPECT_EQ(Narrow(texts[0].c_str()), "SOFTWARE\\Worktally");
  EXPECT_EQ(Narrow(texts[1].c_str()), "HKEY_LOCAL_MACHINE");
  EXPECT_EQ(Narrow(texts[2].c_str()), "");
  const char* const behind = reinterpret_cast<const char*>(texts + 3);
  EXPECT_EQ(At<uint8_t>(behind, 0), 1) << "read only";
  EXPECT_EQ(At<REGSAM>(behind, 4), REGSAM{0xF003F}) << "since the key is to be created";
  EXPECT_EQ(At<void*>(behind, 8), nullptr);
  const auto rootNameOf = [](HKEY root) {
    const CRegistryKey other(root, u"a", TRUE, TRUE);
    const char* const fields = reinterpret_cast<const char*>(&other);
    return Narrow(reinterpret_cast<const WideString*>(fields + 2 * sizeof(HKEY))[1].c_str());
  };
  EXPECT_EQ(rootNameOf(HKEY_CURRENT_USER), "HKEY_CURRENT_USER");
  EXPECT_EQ(rootNameOf(HKEY_CLASSES_ROOT), "");
}

TEST_F(Layout, OfAJob) {
  const CJobLean job(FALSE);
  EXPECT_TRUE(AreInOrder(wkt::RecordPeek::Fields(job)));
  // The six booleans are six bytes in a row.
  const std::vector<const void*> fields = wkt::RecordPeek::Fields(job);
  EXPECT_EQ(static_cast<const char*>(fields[19]) - static_cast<const char*>(fields[14]), 5);
}

TEST_F(Layout, OfAType) {
  const CWktTypeLean type(FALSE);
  EXPECT_TRUE(AreInOrder(wkt::RecordPeek::Fields(type)));
  static_assert(sizeof(CWktTypeKind1) == sizeof(CWktTypeLean));
  static_assert(sizeof(CWktTypeKind4) == sizeof(CWktTypeLean));
  static_assert(sizeof(CWktTypeKind5) == sizeof(CWktTypeLean) + sizeof(void*));
  static_assert(sizeof(CWktTypeItem) == sizeof(CWktTypeLean) + sizeof(void*));
}

// Members as the tables of the fields place them; a time is two rows.
TEST_F(Layout, OfAJobPacket) {
  using wkt::JobPacketLayout;
  const CJobPacket packet(2);
  EXPECT_EQ(At<int32_t>(&packet, 0), 2) << "activity type";
  EXPECT_EQ(At<uint8_t>(&packet, 4), 1) << "valid";
  EXPECT_EQ(JobPacketLayout::kFields[0].place, 6u) << "magic";
  // As they travel, but for the modification time, which stands with the other times.
  constexpr size_t kRows[] = {0,  1,  2,  3,  6,  7,  8,  9,  10, 4, 5,
                              11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
  static_assert(std::size(kRows) == std::size(JobPacketLayout::kFields));
  for (size_t i = 1; i < std::size(kRows); ++i) {
    EXPECT_LT(JobPacketLayout::kFields[kRows[i - 1]].place,
              JobPacketLayout::kFields[kRows[i]].place)
        << kRows[i];
  }
}

TEST_F(Layout, OfATypePacket) {
  using wkt::TypePacketLayout;
  const CWktTypePacket packet;
  EXPECT_EQ(At<uint8_t>(&packet, 0), 1) << "valid";
  EXPECT_EQ(TypePacketLayout::kFields[0].place, 2u) << "magic";
  for (size_t row = 1; row < std::size(TypePacketLayout::kFields); ++row) {
    EXPECT_LT(TypePacketLayout::kFields[row - 1].place, TypePacketLayout::kFields[row].place)
        << row;
  }
}

// What of records is virtual, and that they cannot be copied as a whole.
static_assert(std::has_virtual_destructor_v<CJobLean>);
static_assert(!std::has_virtual_destructor_v<CWktTypeLean>);
static_assert(!std::is_copy_constructible_v<CJobLean> && !std::is_copy_assignable_v<CJobLean>);

TEST_F(Layout, OfTheVirtualTablesOfObservers) {
  EXPECT_EQ(SlotOf(&wkt::JobObserver::OnJobChanged), 0u);
  EXPECT_EQ(SlotOf(&wkt::TypeObserver::OnTypeChanged), 0u);
}

TEST_F(Layout, OfTheVirtualTableOfTypes) {
  EXPECT_EQ(SlotOf(&CWktTypeLean::Clone), 0u);
  EXPECT_EQ(SlotOf(&CWktTypeLean::GetParentId), 1u);
  EXPECT_EQ(SlotOf(&CWktTypeLean::SetParentId), 2u);
  EXPECT_EQ(SlotOf(&CWktTypeLean::GetDisplayName), 3u);
  EXPECT_EQ(SlotOf(&CWktTypeLean::GetPath), 4u);
  EXPECT_EQ(SlotOf(&CWktTypeLean::GetRootName), 5u);
  EXPECT_EQ(SlotOf(&CWktTypeLean::GetUnused1), 6u);
  EXPECT_EQ(SlotOf(&CWktTypeLean::SetUnused1), 7u);
}

}  // namespace
