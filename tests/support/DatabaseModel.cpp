#include "tests/support/DatabaseModel.h"

#include <algorithm>

#include "tests/support/DatabaseHelp.h"

namespace wkt::test {

namespace {

std::u16string WithoutCase(std::u16string text) {
  for (char16_t& unit : text) {
    if (unit >= u'a' && unit <= u'z')
      unit = static_cast<char16_t>(unit - u'a' + u'A');
  }
  return text;
}

template <typename Item>
int CompareItems(const Item& left, const Item& right) {
  return left < right ? -1 : right < left ? 1 : 0;
}

int CompareValues(const DatabaseModel::Value& left, const DatabaseModel::Value& right,
                  DWORD flags) {
  switch (left.type) {
    case CEVT_R8:
      return CompareItems(left.real, right.real);
    case CEVT_FILETIME:
      return CompareItems(static_cast<uint64_t>(left.number), static_cast<uint64_t>(right.number));
    case CEVT_LPWSTR: {
      const int letters = CompareItems(WithoutCase(left.text), WithoutCase(right.text));
      const bool ignoresCase = (flags & CEDB_SORT_CASEINSENSITIVE) != 0;
      return letters != 0 || ignoresCase ? letters : CompareItems(left.text, right.text);
    }
    default:
      return CompareItems(left.number, right.number);
  }
}

bool TakeValue(const CEPROPVAL& given, DatabaseModel::Value& value) {
  value = {};
  value.type = static_cast<WORD>(given.propid & 0xFFFF);
  switch (value.type) {
    case CEVT_I2:
      value.number = given.val.iVal;
      return true;
    case CEVT_UI2:
      value.number = given.val.uiVal;
      return true;
    case CEVT_I4:
      value.number = given.val.lVal;
      return true;
    case CEVT_UI4:
      value.number = given.val.ulVal;
      return true;
    case CEVT_BOOL:
      value.number = given.val.boolVal != FALSE ? 1 : 0;
      return true;
    case CEVT_R8:
      value.real = given.val.dblVal;
      return true;
    case CEVT_FILETIME:
      value.number = static_cast<int64_t>(uint64_t{given.val.filetime.dwHighDateTime} << 32 |
                                          given.val.filetime.dwLowDateTime);
      return true;
    case CEVT_LPWSTR:
      if (given.val.lpwstr != nullptr)
        value.text = given.val.lpwstr;
      return given.val.lpwstr != nullptr;
    case CEVT_BLOB:
      value.bytes.assign(reinterpret_cast<const char*>(given.val.blob.lpb), given.val.blob.dwCount);
      return true;
    default:
      return false;
  }
}

CEPROPVAL GiveValue(CEPROPID property, const DatabaseModel::Value& value) {
  const auto number = static_cast<WORD>(property >> 16);
  switch (value.type) {
    case CEVT_I2:
      return ShortValue(number, static_cast<SHORT>(value.number));
    case CEVT_UI2:
      return UnsignedShortValue(number, static_cast<USHORT>(value.number));
    case CEVT_I4:
      return LongValue(number, static_cast<LONG>(value.number));
    case CEVT_UI4:
      return UnsignedLongValue(number, static_cast<ULONG>(value.number));
    case CEVT_BOOL:
      return BoolValue(number, value.number != 0);
    case CEVT_R8:
      return DoubleValue(number, value.real);
    case CEVT_FILETIME:
      return TimeValue(number, static_cast<uint64_t>(value.number));
    case CEVT_LPWSTR:
      return TextValue(number, value.text.c_str());
    default:
      return BlobValue(number, value.bytes);
  }
}

std::string DescribeAll(const DatabaseModel::Record& record) {
  std::vector<CEPROPVAL> values;
  for (const auto& [property, value] : record)
    values.push_back(GiveValue(property, value));
  return Describe(values.data(), values.size());
}

}  // namespace

DatabaseModel::DatabaseModel(std::vector<SORTORDERSPECEX> orders) : orders_(std::move(orders)) {
  if (orders_.empty())
    orders_.push_back(SortOrder({}));
}

int DatabaseModel::Compare(const SORTORDERSPECEX& order, const Record& left, const Record& right) {
  for (size_t index = 0; index < order.wNumProps; ++index) {
    const DWORD flags = order.rgdwFlags[index];
    const auto first = left.find(order.rgPropID[index]);
    const auto second = right.find(order.rgPropID[index]);
    const bool hasFirst = first != left.end();
    const bool hasSecond = second != right.end();
    int result = 0;
    if (hasFirst && hasSecond) {
      result = CompareValues(first->second, second->second, flags);
      result = (flags & CEDB_SORT_DESCENDING) != 0 ? -result : result;
    } else if (hasFirst != hasSecond) {
      result = hasFirst == ((flags & CEDB_SORT_UNKNOWNFIRST) != 0) ? 1 : -1;
    }
    if (result != 0)
      return result;
  }
  return 0;
}

std::vector<CEOID> DatabaseModel::Sorted(size_t order) const {
  std::vector<CEOID> sorted;
  for (const auto& [oid, record] : records_)
    sorted.push_back(oid);
  // The map gives equal ones in the order of the identifiers.
  std::stable_sort(sorted.begin(), sorted.end(), [&](CEOID left, CEOID right) {
    return Compare(orders_[order], records_.at(left), records_.at(right)) < 0;
  });
  return sorted;
}

size_t DatabaseModel::Open(size_t order, bool increments) {
  cursors_.push_back({order, increments, At::Begin, 0, {}});
  return cursors_.size() - 1;
}

DWORD DatabaseModel::Check(CEOID oid, const Record& record) const {
  for (const SORTORDERSPECEX& order : orders_) {
    bool isComplete = true;
    for (size_t index = 0; index < order.wNumProps; ++index) {
      if (record.contains(order.rgPropID[index]))
        continue;
      isComplete = false;
      if ((order.rgdwFlags[index] & CEDB_SORT_NONNULL) != 0)
        return ERROR_DBPROP_NOT_FOUND;
    }
    if ((order.wKeyFlags & CEDB_SORT_UNIQUE) == 0 || !isComplete)
      continue;
    for (const auto& [other, existing] : records_) {
      if (other != oid && Compare(order, existing, record) == 0)
        return ERROR_REPEATED_KEY;
    }
  }
  return ERROR_SUCCESS;
}

ModelAnswer DatabaseModel::Write(size_t cursor, CEOID oid, const std::vector<CEPROPVAL>& values,
                                 CEOID fresh, bool movesPosition) {
  if (values.empty() || (oid != 0 && !records_.contains(oid)))
    return {0, ERROR_INVALID_PARAMETER, {}};
  Record record = oid != 0 ? records_.at(oid) : Record();
  for (const CEPROPVAL& given : values) {
    Value value;
    if ((given.wFlags & CEDB_PROPDELETE) != 0) {
      record.erase(given.propid);
    } else if (TakeValue(given, value)) {
      record[given.propid] = value;
    } else {
      return {0, ERROR_INVALID_PARAMETER, {}};
    }
  }
  if (oid == 0 && record.empty())
    return {0, ERROR_INVALID_PARAMETER, {}};
  if (const DWORD error = Check(oid, record); error != ERROR_SUCCESS)
    return {0, error, {}};
  if (oid == 0)
    oid = fresh;
  records_[oid] = record;
  if (movesPosition) {
    cursors_[cursor].at = At::Record;
    cursors_[cursor].oid = oid;
  }
  return {oid, ERROR_SUCCESS, {}};
}

ModelAnswer DatabaseModel::Delete(CEOID oid) {
  if (!records_.contains(oid))
    return {FALSE, ERROR_INVALID_PARAMETER, {}};
  for (Cursor& cursor : cursors_) {
    if (cursor.at == At::Begin && !cursor.increments) {
      cursor.at = At::Record;
      cursor.oid = Sorted(cursor.order).front();
    }
    if (cursor.at != At::Record || cursor.oid != oid)
      continue;
    if (cursor.increments) {
      MoveOn(cursor);
    } else {
      cursor.at = At::Gap;
      cursor.gone = records_.at(oid);
    }
  }
  records_.erase(oid);
  return {TRUE, ERROR_SUCCESS, {}};
}

void DatabaseModel::MoveOn(Cursor& cursor) const {
  const std::vector<CEOID> sorted = Sorted(cursor.order);
  const auto next = std::find(sorted.begin(), sorted.end(), cursor.oid) + 1;
  cursor.at = next != sorted.end() ? At::Record : At::End;
  cursor.oid = next != sorted.end() ? *next : 0;
}

DWORD DatabaseModel::Settle(Cursor& cursor) const {
  if (cursor.at == At::Begin) {
    const std::vector<CEOID> sorted = Sorted(cursor.order);
    cursor.at = sorted.empty() ? At::End : At::Record;
    cursor.oid = sorted.empty() ? 0 : sorted.front();
  }
  if (cursor.at == At::Record)
    return ERROR_SUCCESS;
  return cursor.at == At::Gap ? ERROR_KEY_DELETED : ERROR_NO_MORE_ITEMS;
}

size_t DatabaseModel::PlaceOf(const Cursor& cursor, const std::vector<CEOID>& sorted) const {
  if (cursor.at == At::Record) {
    return static_cast<size_t>(std::find(sorted.begin(), sorted.end(), cursor.oid) -
                               sorted.begin());
  }
  if (cursor.at == At::End)
    return sorted.size();
  size_t below = 0;
  for (const CEOID oid : sorted) {
    const int result = Compare(orders_[cursor.order], records_.at(oid), cursor.gone);
    below += result < 0 || (result == 0 && oid < cursor.oid) ? 1 : 0;
  }
  return below;
}

ModelAnswer DatabaseModel::Seek(size_t index, DWORD seekType, DWORD value) {
  Cursor& cursor = cursors_[index];
  const std::vector<CEOID> sorted = Sorted(cursor.order);
  int64_t place = -1;
  if (seekType == CEDB_SEEK_CEOID) {
    const auto found = std::find(sorted.begin(), sorted.end(), value);
    place = found != sorted.end() ? found - sorted.begin() : -1;
  } else if (seekType == CEDB_SEEK_BEGINNING) {
    place = value;
  } else if (seekType == CEDB_SEEK_END) {
    place = static_cast<int64_t>(sorted.size()) - 1 - value;
  } else {
    const int64_t distance = static_cast<int32_t>(value);
    static_cast<void>(Settle(cursor));
    place = static_cast<int64_t>(PlaceOf(cursor, sorted)) + distance;
    // Between two records: forward counts from the one before, zero finds none.
    if (cursor.at == At::Gap)
      place = distance == 0 ? -1 : distance > 0 ? place - 1 : place;
  }
  if (place < 0 || place >= static_cast<int64_t>(sorted.size())) {
    cursor.at = At::End;
    return {0, ERROR_SEEK, {}};
  }
  cursor.at = At::Record;
  cursor.oid = sorted[static_cast<size_t>(place)];
  return {cursor.oid, ERROR_SUCCESS, std::to_string(place)};
}

ModelAnswer DatabaseModel::ReadAll(size_t index) {
  Cursor& cursor = cursors_[index];
  if (const DWORD error = Settle(cursor); error != ERROR_SUCCESS)
    return {0, error, {}};
  ModelAnswer answer{cursor.oid, ERROR_SUCCESS, DescribeAll(records_.at(cursor.oid))};
  if (cursor.increments)
    MoveOn(cursor);
  return answer;
}

ModelAnswer DatabaseModel::ReadSome(size_t index, const std::vector<CEPROPID>& wanted) {
  Cursor& cursor = cursors_[index];
  if (const DWORD error = Settle(cursor); error != ERROR_SUCCESS)
    return {0, error, {}};
  const Record& record = records_.at(cursor.oid);
  std::vector<CEPROPVAL> values;
  bool isAny = false;
  for (const CEPROPID property : wanted) {
    const auto found = record.find(property);
    CEPROPVAL value{};
    value.propid = property;
    value.wFlags = CEDB_PROPNOTFOUND;
    values.push_back(found != record.end() ? GiveValue(property, found->second) : value);
    isAny = isAny || found != record.end();
  }
  if (!isAny)
    return {0, ERROR_NO_DATA, {}};
  ModelAnswer answer{cursor.oid, ERROR_SUCCESS, Describe(values.data(), values.size())};
  if (cursor.increments)
    MoveOn(cursor);
  return answer;
}

CEOID DatabaseModel::Pick(uint32_t number) const {
  if (records_.empty())
    return 0;
  auto picked = records_.begin();
  std::advance(picked, number % records_.size());
  return picked->first;
}

}  // namespace wkt::test
