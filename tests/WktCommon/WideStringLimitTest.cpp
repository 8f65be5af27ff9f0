// Texts near the longest that there can be, 2^28 - 1 units, without the memory that they would
// take.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "WktCommon/Allocation.h"
#include "WktCommon/WideString.h"

namespace {

constexpr size_t kMaxUnits = 0x0FFFFFFF;

// A text of any length, which takes one block of memory that is mapped again and again.
class LongText {
 public:
  explicit LongText(size_t wantedUnits)
      : byteCount((wantedUnits * sizeof(WCHAR) / kBlockBytes + 1) * kBlockBytes),
        file(memfd_create("long text", 0)) {
    const std::u16string block(kBlockBytes / sizeof(WCHAR), u'x');
    EXPECT_EQ(write(file, block.data(), kBlockBytes), static_cast<ssize_t>(kBlockBytes));
    bytes =
        static_cast<char*>(mmap(nullptr, byteCount, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    EXPECT_NE(bytes, MAP_FAILED);
    for (size_t at = 0; at < byteCount; at += kBlockBytes) {
      EXPECT_NE(
          mmap(bytes + at, kBlockBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_FIXED, file, 0),
          MAP_FAILED);
    }
    reinterpret_cast<WCHAR*>(bytes)[wantedUnits] = 0;  // gives that page a copy of its own
  }
  ~LongText() {
    munmap(bytes, byteCount);
    close(file);
  }
  LongText(const LongText&) = delete;
  LongText& operator=(const LongText&) = delete;
  [[nodiscard]] const WCHAR* Get() const { return reinterpret_cast<const WCHAR*>(bytes); }

 private:
  static constexpr size_t kBlockBytes = size_t{1} << 21;

  size_t byteCount;
  int file;
  char* bytes = nullptr;
};

class WideStringLimit : public testing::Test {
 protected:
  WideStringLimit() { wkt::ClearAllocationFailure(); }
  ~WideStringLimit() override { wkt::ClearAllocationFailure(); }
};

TEST_F(WideStringLimit, ATextThatIsTooLongIsEmptyAndRaisesTheMark) {
  const LongText longText(kMaxUnits + 1);
  const WideString text(longText.Get());
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_TRUE(wkt::AllocationFailed());
}

TEST_F(WideStringLimit, AppendingMoreThanATextCanHoldEmptiesIt) {
  const LongText longText(kMaxUnits + 1);
  WideString text(u"present");
  text.Append(longText.Get());
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_TRUE(wkt::AllocationFailed());
}

// Neither is too long; together they are by one unit.
TEST_F(WideStringLimit, AppendingOneUnitTooManyEmptiesTheText) {
  const LongText longText(kMaxUnits - 1);
  WideString text(longText.Get(), WideString::Source::Borrow);
  EXPECT_EQ(text.Length(), 0x0FFFFFFE);
  text.AppendUnits(u"xx", 2);
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_TRUE(wkt::AllocationFailed());
}

TEST_F(WideStringLimit, ReplacingBeyondWhatATextCanHoldEmptiesIt) {
  const std::u16string longer(20'000, u'y');
  WideString text(std::u16string(20'000, u'x').c_str());
  EXPECT_EQ(text.ReplaceAll(u"x", longer.c_str()), 20'000);  // 400 million units
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_TRUE(wkt::AllocationFailed());
}

TEST_F(WideStringLimit, RoomForNoTextOrForOneThatIsTooLongIsNone) {
  EXPECT_EQ(WideString::AllocateText(0), nullptr);
  EXPECT_EQ(WideString::AllocateText(kMaxUnits + 1), nullptr);
  EXPECT_FALSE(wkt::AllocationFailed()) << "memory was not asked for";
}

}  // namespace
