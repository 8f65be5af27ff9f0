#include "host/coredll/StoreSort.h"

#include <cstring>

#include "host/coredll/StoreText.h"

namespace wkt::host {

namespace {

constexpr DWORD kKnownSortFlags =
    CEDB_SORT_DESCENDING | CEDB_SORT_CASEINSENSITIVE | CEDB_SORT_UNKNOWNFIRST |
    CEDB_SORT_GENERICORDER | CEDB_SORT_IGNORENONSPACE | CEDB_SORT_IGNORESYMBOLS |
    CEDB_SORT_IGNOREKANATYPE | CEDB_SORT_IGNOREWIDTH | CEDB_SORT_STRINGSORT | CEDB_SORT_NONNULL;

// Presence of a property in the key. Missing ones stand last unless the order wants them first,
// whatever its direction.
constexpr char kMissingFirst = 0;
constexpr char kPresent = 1;
constexpr char kMissingLast = 2;

template <typename Number>
void AppendBigEndian(std::string& key, Number value) {
  char bytes[sizeof(Number)];
  for (size_t index = 0; index < sizeof bytes; ++index)
    bytes[index] = static_cast<char>(value >> (8 * (sizeof bytes - 1 - index)));
  key.append(bytes, sizeof bytes);
}

uint64_t SortableDouble(uint64_t bits) {
  constexpr uint64_t kSign = 1ull << 63;
  // Negative numbers grow downwards; both zeros are one value.
  if (bits == kSign)
    bits = 0;
  return (bits & kSign) != 0 ? ~bits : bits | kSign;
}

// A value as an image holds it: the word of its entry and its data.
void AppendValue(std::string& key, WORD type, DWORD flags, uint32_t word, std::string_view data) {
  const size_t start = key.size();
  switch (type) {
    case CEVT_I2:
    case CEVT_I4:
      AppendBigEndian(key, word ^ 0x80000000u);
      break;
    case CEVT_UI2:
    case CEVT_UI4:
      AppendBigEndian(key, word);
      break;
    case CEVT_BOOL:
      key.push_back(word != 0 ? 1 : 0);
      break;
    case CEVT_FILETIME:
    case CEVT_R8: {
      uint64_t value = 0;
      std::memcpy(&value, data.data(), sizeof value);
      AppendBigEndian(key, type == CEVT_R8 ? SortableDouble(value) : value);
      break;
    }
    default:
      AppendTextKey(key, reinterpret_cast<const char16_t*>(data.data()), flags);
      break;
  }
  if ((flags & CEDB_SORT_DESCENDING) != 0) {
    for (size_t index = start; index < key.size(); ++index)
      key[index] = static_cast<char>(~key[index]);
  }
}

}  // namespace

DWORD CheckSortOrder(const SORTORDERSPECEX& order) {
  if (order.wVersion != SORTORDERSPECEX_VERSION || order.wNumProps < 1 ||
      order.wNumProps > CEDB_MAXSORTPROP || (order.wKeyFlags & ~CEDB_SORT_UNIQUE) != 0)
    return ERROR_INVALID_PARAMETER;
  for (size_t index = 0; index < order.wNumProps; ++index) {
    const WORD type = TypeOfProperty(order.rgPropID[index]);
    if (!IsPropertyType(type) || type == CEVT_BLOB ||
        (order.rgdwFlags[index] & ~kKnownSortFlags) != 0)
      return ERROR_INVALID_PARAMETER;
  }
  return ERROR_SUCCESS;
}

bool IsSameSortOrder(const SORTORDERSPECEX& left, const SORTORDERSPECEX& right) {
  if (left.wNumProps != right.wNumProps || left.wKeyFlags != right.wKeyFlags)
    return false;
  for (size_t index = 0; index < left.wNumProps; ++index) {
    if (left.rgPropID[index] != right.rgPropID[index] ||
        left.rgdwFlags[index] != right.rgdwFlags[index])
      return false;
  }
  return true;
}

SORTORDERSPECEX OrderByOid() {
  SORTORDERSPECEX order{};
  order.wVersion = SORTORDERSPECEX_VERSION;
  return order;
}

DWORD MakeSortKey(const SORTORDERSPECEX& order, const RecordImage& image, std::string& key,
                  bool& isComplete) {
  key.clear();
  isComplete = true;
  for (size_t index = 0; index < order.wNumProps; ++index) {
    const DWORD flags = order.rgdwFlags[index];
    const uint32_t place = image.Find(order.rgPropID[index]);
    if (place < image.Count()) {
      if ((flags & CEDB_SORT_NONNULL) == 0)
        key.push_back(kPresent);
      AppendValue(key, TypeOfProperty(order.rgPropID[index]), flags, image.At(place).word,
                  image.DataOf(place));
      continue;
    }
    if ((flags & CEDB_SORT_NONNULL) != 0)
      return ERROR_DBPROP_NOT_FOUND;
    key.push_back((flags & CEDB_SORT_UNKNOWNFIRST) != 0 ? kMissingFirst : kMissingLast);
    isComplete = false;
  }
  return ERROR_SUCCESS;
}

DWORD MakeSeekKey(const SORTORDERSPECEX& order, std::span<const CEPROPVAL> values,
                  std::string& key) {
  if (values.empty() || values.size() > order.wNumProps)
    return ERROR_INVALID_PARAMETER;
  for (size_t index = 0; index < values.size(); ++index) {
    if (values[index].propid != order.rgPropID[index])
      return ERROR_INVALID_PARAMETER;
  }
  std::string bytes;
  if (const DWORD error = ChangeImage(nullptr, values, bytes); error != ERROR_SUCCESS)
    return error;
  const auto image = RecordImage::Parse(bytes);
  SORTORDERSPECEX wanted = order;
  wanted.wNumProps = static_cast<WORD>(values.size());
  bool isComplete = false;
  return image ? MakeSortKey(wanted, *image, key, isComplete) : DWORD{ERROR_INVALID_PARAMETER};
}

void AppendOid(std::string& key, CEOID oid) {
  AppendBigEndian(key, oid);
}

CEOID OidOfKey(std::string_view key) {
  if (key.size() < kOidBytes)
    return 0;
  const auto* bytes = reinterpret_cast<const uint8_t*>(key.data() + key.size() - kOidBytes);
  return CEOID{bytes[0]} << 24 | CEOID{bytes[1]} << 16 | CEOID{bytes[2]} << 8 | bytes[3];
}

}  // namespace wkt::host
