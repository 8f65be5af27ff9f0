// Random scripts of database calls, run on the store and on a simple model: every answer must
// agree.
//
// WKT_SCRIPTS sets how many (1,000), WKT_SEED where they start.
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <ostream>

#include "tests/support/DatabaseHelp.h"
#include "tests/support/DatabaseModel.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/RandomScripts.h"

namespace wkt::test {

std::ostream& operator<<(std::ostream& out, const ModelAnswer& answer) {
  return out << answer.result << " error " << answer.error << " [" << answer.detail << ']';
}

}  // namespace wkt::test

namespace {

using namespace wkt::test;

constexpr CEPROPID kNumber = PropertyId(1, CEVT_I4);
constexpr CEPROPID kText = PropertyId(2, CEVT_LPWSTR);
constexpr CEPROPID kTime = PropertyId(3, CEVT_FILETIME);
constexpr CEPROPID kSwitch = PropertyId(4, CEVT_BOOL);
constexpr CEPROPID kReal = PropertyId(5, CEVT_R8);
constexpr CEPROPID kBlob = PropertyId(6, CEVT_BLOB);
constexpr CEPROPID kSmall = PropertyId(7, CEVT_I2);
constexpr CEPROPID kBig = PropertyId(8, CEVT_UI4);
constexpr CEPROPID kAll[] = {kNumber, kText, kTime, kSwitch, kReal, kBlob, kSmall, kBig};

std::vector<std::vector<SORTORDERSPECEX>> OrderSets() {
  return {
      {},
      {SortOrder({{kNumber, 0}})},
      {SortOrder({{kTime, CEDB_SORT_NONNULL}, {kNumber, CEDB_SORT_NONNULL}})},
      {SortOrder({{kText, CEDB_SORT_CASEINSENSITIVE}, {kNumber, CEDB_SORT_DESCENDING}}),
       SortOrder({{kNumber, 0}})},
      {SortOrder({{kText, CEDB_SORT_DESCENDING | CEDB_SORT_UNKNOWNFIRST}}),
       SortOrder({{kReal, CEDB_SORT_DESCENDING}}),
       SortOrder({{kSwitch, 0}, {kSmall, 0}, {kBig, CEDB_SORT_UNKNOWNFIRST}})},
      {SortOrder({{kNumber, 0}, {kText, 0}}, CEDB_SORT_UNIQUE),
       SortOrder({{kTime, CEDB_SORT_UNKNOWNFIRST}})},
  };
}

// Numbers that look random and are the same everywhere.
class Numbers {
 public:
  explicit Numbers(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15 + 1) {}
  uint32_t Below(uint32_t limit) {
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    return static_cast<uint32_t>((state_ * 0x2545F4914F6CDD1D) >> 33) % limit;
  }

 private:
  uint64_t state_;
};

// Some properties with some values; few different ones, so that many are equal.
std::vector<CEPROPVAL> SomeValues(Numbers& numbers, bool isNew) {
  static constexpr const char16_t* kTexts[] = {u"", u"a", u"A", u"b", u"aa", u"B-", u"Zz", u"z"};
  static constexpr double kReals[] = {-1.5, -0.25, 0, 2, 1e300};
  static const std::string kBlobs[] = {"", "x", std::string("\0\1\2", 3), std::string(300, 'q')};
  const CEPROPVAL all[] = {
      LongValue(1, static_cast<LONG>(numbers.Below(9)) - 4),
      TextValue(2, kTexts[numbers.Below(std::size(kTexts))]),
      TimeValue(3, uint64_t{numbers.Below(4)} << 33 | numbers.Below(3)),
      BoolValue(4, numbers.Below(2) != 0),
      DoubleValue(5, kReals[numbers.Below(std::size(kReals))]),
      BlobValue(6, kBlobs[numbers.Below(std::size(kBlobs))]),
      ShortValue(7, static_cast<SHORT>(static_cast<int>(numbers.Below(5)) - 2)),
      UnsignedLongValue(8, numbers.Below(3) * 0x7FFFFFFF),
  };
  std::vector<CEPROPVAL> values;
  for (const CEPROPVAL& value : all) {
    const uint32_t choice = numbers.Below(8);
    if (choice < (isNew ? 6u : 3u)) {
      values.push_back(value);
    } else if (choice == 7 && !isNew) {
      values.push_back(NoValue(value.propid));
    }
  }
  if (numbers.Below(40) == 0)
    values.push_back(TextValue(9, nullptr));
  if (numbers.Below(4) == 0)
    std::reverse(values.begin(), values.end());
  return values;
}

struct Step {
  uint8_t kind;
  uint8_t which;
  uint32_t seed;
};

std::ostream& operator<<(std::ostream& out, const Step& step) {
  return out << '{' << int{step.kind} << ", " << int{step.which} << ", " << step.seed << '}';
}

// Runs a script on both sides.
class Pair {
 public:
  Pair(DeskDevice& device, size_t orderSet)
      : device_(device), orders_(OrderSets()[orderSet % OrderSets().size()]), model_(orders_) {
    oid_ = CreateDatabase(u"Script", 1, orders_);
    RC_ASSERT(oid_ != 0u);
    OpenBoth(0, true);
    OpenBoth(orders_.empty() ? 0 : orders_.size() - 1, false);
  }
  ~Pair() {
    CloseBoth();
    if (movesPosition_)
      device_.SetCursorModel(wkt::control::CursorModel::WriteKeepsPosition);
    CEGUID volume{};
    CeDeleteDatabaseEx(&volume, oid_);
  }

  void Run(const Step& step) {
    Numbers numbers(step.seed);
    const size_t cursor = step.which % handles_.size();
    switch (step.kind % 20) {
      case 0:
      case 1:
      case 2:
      case 3:
        WriteBoth(cursor, 0, SomeValues(numbers, true));
        break;
      case 4:
        for (uint32_t count = numbers.Below(150); count > 0; --count)
          WriteBoth(cursor, 0, SomeValues(numbers, true));
        break;
      case 5:
      case 6:
      case 7:
        WriteBoth(cursor, numbers.Below(20) == 0 ? 12345 : model_.Pick(numbers.Below(1000)),
                  SomeValues(numbers, false));
        break;
      case 8:
      case 9:
        DeleteBoth(cursor, numbers.Below(20) == 0 ? 12345 : model_.Pick(numbers.Below(1000)));
        break;
      case 10:
        for (uint32_t count = numbers.Below(150); count > 0; --count)
          DeleteBoth(cursor, model_.Pick(numbers.Below(1000)));
        break;
      case 11:
        SeekBoth(cursor, CEDB_SEEK_CEOID,
                 numbers.Below(20) == 0 ? 12345 : model_.Pick(numbers.Below(1000)), numbers);
        break;
      case 12:
        SeekBoth(cursor, numbers.Below(2) == 0 ? CEDB_SEEK_BEGINNING : CEDB_SEEK_END,
                 numbers.Below(3) == 0
                     ? 0
                     : numbers.Below(1 + static_cast<uint32_t>(model_.Count() * 9 / 8)),
                 numbers);
        break;
      case 13:
        SeekBoth(cursor, CEDB_SEEK_CURRENT, numbers.Below(7) - 3, numbers);
        break;
      case 14:
        OpenBoth(numbers.Below(orders_.empty() ? 1 : static_cast<uint32_t>(orders_.size())),
                 numbers.Below(2) == 0);
        break;
      case 15:
        if (numbers.Below(4) == 0)
          ReopenDevice();
        break;
      case 16:
        movesPosition_ = numbers.Below(3) == 0;
        device_.SetCursorModel(movesPosition_ ? wkt::control::CursorModel::WriteMovesPosition
                                              : wkt::control::CursorModel::WriteKeepsPosition);
        break;
      case 17:
        ReadSomeBoth(cursor, numbers);
        break;
      case 18:
        // As programs do that go through a database and change what they meet.
        for (uint32_t count = 1 + numbers.Below(40); count > 0; --count) {
          const CEOID oid = ReadBoth(cursor);
          const uint32_t choice = numbers.Below(6);
          if (oid != 0 && choice == 0) {
            DeleteBoth(cursor, oid);
          } else if (oid != 0 && choice == 1) {
            WriteBoth(cursor, oid, SomeValues(numbers, false));
          } else if (choice == 2) {
            DeleteBoth(cursor, model_.Pick(numbers.Below(1000)));
          }
        }
        break;
      default:
        for (uint32_t count = 1 + numbers.Below(numbers.Below(4) == 0 ? 200 : 12); count > 0;
             --count)
          ReadBoth(cursor);
        break;
    }
    CountBoth();
  }

 private:
  void OpenBoth(size_t order, bool increments) {
    const SORTORDERSPECEX* wanted = orders_.empty() ? nullptr : &orders_[order];
    const HANDLE handle = OpenDatabase(oid_, increments ? CEDB_AUTOINCREMENT : 0, wanted);
    RC_ASSERT((handle != INVALID_HANDLE_VALUE));
    handles_.push_back(handle);
    RC_ASSERT(model_.Open(order, increments) + 1 == handles_.size());
  }
  void CloseBoth() {
    for (const HANDLE handle : handles_)
      CloseHandle(handle);
    handles_.clear();
    model_.CloseAll();
  }
  // As a new process would find it.
  void ReopenDevice() {
    CloseBoth();
    device_.Reopen();
    OpenBoth(0, true);
    OpenBoth(0, false);
  }
  static ModelAnswer Answer(uint32_t result, std::string detail = {}) {
    if (result == 0)
      return {0, GetLastError(), {}};
    return {result, ERROR_SUCCESS, std::move(detail)};
  }
  void WriteBoth(size_t cursor, CEOID oid, std::vector<CEPROPVAL> values) {
    SetLastError(0xDEADBEEF);
    const CEOID written =
        CeWriteRecordProps(handles_[cursor], oid, static_cast<WORD>(values.size()), values.data());
    const ModelAnswer answer = Answer(written);
    if (oid == 0 && written != 0) {
      RC_ASSERT(written > lastOid_);
      lastOid_ = written;
    }
    RC_ASSERT(answer == model_.Write(cursor, oid, values, written, movesPosition_));
  }
  void DeleteBoth(size_t cursor, CEOID oid) {
    SetLastError(0xDEADBEEF);
    const ModelAnswer answer = Answer(static_cast<uint32_t>(CeDeleteRecord(handles_[cursor], oid)));
    RC_ASSERT(answer == model_.Delete(oid));
  }
  void SeekBoth(size_t cursor, DWORD seekType, DWORD value, Numbers& numbers) {
    SetLastError(0xDEADBEEF);
    DWORD index = 0xDEADBEEF;
    const bool wantsIndex = numbers.Below(4) != 0;
    const CEOID found =
        CeSeekDatabase(handles_[cursor], seekType, value, wantsIndex ? &index : nullptr);
    ModelAnswer expected = model_.Seek(cursor, seekType, value);
    if (found == 0)
      RC_ASSERT(index == 0xDEADBEEF);
    if (!wantsIndex)
      expected.detail.clear();
    RC_ASSERT(Answer(found, wantsIndex ? std::to_string(index) : std::string()) == expected);
  }
  CEOID ReadBoth(size_t cursor) {
    SetLastError(0xDEADBEEF);
    const auto read = ReadNext(handles_[cursor]);
    const ModelAnswer answer = read ? Answer(read->oid, read->record) : Answer(0);
    RC_ASSERT(answer == model_.ReadAll(cursor));
    return answer.result;
  }
  void ReadSomeBoth(size_t cursor, Numbers& numbers) {
    std::vector<CEPROPID> wanted;
    for (uint32_t count = 1 + numbers.Below(3); count > 0; --count)
      wanted.push_back(kAll[numbers.Below(std::size(kAll))]);
    alignas(CEPROPVAL) BYTE space[4096];
    BYTE* buffer = space;
    DWORD byteCount = sizeof space;
    auto count = static_cast<WORD>(wanted.size());
    SetLastError(0xDEADBEEF);
    const CEOID oid = CeReadRecordPropsEx(handles_[cursor], 0, &count, wanted.data(), &buffer,
                                          &byteCount, nullptr);
    const auto* values = reinterpret_cast<const CEPROPVAL*>(space);
    RC_ASSERT(Answer(oid, oid != 0 ? Describe(values, count) : "") ==
              model_.ReadSome(cursor, wanted));
    RC_ASSERT((buffer == space));
    RC_ASSERT(count == wanted.size());
  }
  void CountBoth() {
    CEGUID volume{};
    CEOIDINFOEX info{};
    info.wVersion = CEOIDINFOEX_VERSION;
    RC_ASSERT(CeOidGetInfoEx2(&volume, oid_, &info) == TRUE);
    RC_ASSERT(info.infDatabase.dwNumRecords == model_.Count());
    RC_ASSERT((info.infDatabase.dwSize == 0) == (model_.Count() == 0));
  }

  DeskDevice& device_;
  std::vector<SORTORDERSPECEX> orders_;
  DatabaseModel model_;
  CEOID oid_ = 0;
  CEOID lastOid_ = 0;
  bool movesPosition_ = false;
  std::vector<HANDLE> handles_;
};

TEST(DatabaseModelScripts, StoreAndModelAgreeCallByCall) {
  DeskDevice device;
  rc::detail::TestParams params;
  params.maxSize = 80;
  params.seed = 20260302;
  RunScripts(
      [&device] {
        const auto orderSet = *rc::gen::resize(100, rc::gen::inRange<size_t>(0, 6));
        // Lengths grow with the size; the steps themselves are of all kinds from the start.
        const auto anyStep =
            rc::gen::resize(100, rc::gen::construct<Step>(rc::gen::inRange<uint8_t>(0, 20),
                                                          rc::gen::inRange<uint8_t>(0, 8),
                                                          rc::gen::inRange<uint32_t>(0, 1u << 30)));
        const auto steps = *rc::gen::container<std::vector<Step>>(anyStep);
        Pair pair(device, orderSet);
        for (const Step& step : steps)
          pair.Run(step);
      },
      1000, params);
}

}  // namespace
