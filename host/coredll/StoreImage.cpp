#include "host/coredll/StoreImage.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <vector>

namespace wkt::host {

static_assert(std::endian::native == std::endian::little, "images are read in place");
static_assert(sizeof(RecordImage::Entry) == 8);

namespace {

uint32_t WordAt(std::string_view bytes, size_t offset) {
  uint32_t word = 0;
  std::memcpy(&word, bytes.data() + offset, sizeof word);
  return word;
}

void AppendWord(std::string& out, uint32_t word) {
  out.append(reinterpret_cast<const char*>(&word), sizeof word);
}

void FillUp(std::string& out) {
  out.append((4 - out.size() % 4) % 4, '\0');
}

// Whether the bytes, whose number is a multiple of four, have the form that the type asks for.
bool IsDataOfType(WORD type, const char* data, uint32_t byteCount) {
  if (type == CEVT_FILETIME || type == CEVT_R8)
    return byteCount == 8;
  uint32_t word = 0;
  if (byteCount < sizeof word || (type != CEVT_LPWSTR && type != CEVT_BLOB))
    return false;
  // A text's last unit is the terminator or fills up behind it; a blob begins with its length.
  std::memcpy(&word, type == CEVT_LPWSTR ? data + byteCount - sizeof word : data, sizeof word);
  return type == CEVT_LPWSTR ? word >> 16 == 0 : word <= byteCount - sizeof word;
}

uint32_t ShortValue(const CEPROPVAL& value) {
  switch (TypeOfProperty(value.propid)) {
    case CEVT_I2:
      return static_cast<uint32_t>(int32_t{value.val.iVal});
    case CEVT_UI2:
      return value.val.uiVal;
    case CEVT_BOOL:
      return value.val.boolVal != FALSE ? 1 : 0;
    default:
      return value.val.ulVal;
  }
}

// Appends the data of a value that does not fit its entry.
DWORD AppendData(const CEPROPVAL& value, std::string& out) {
  switch (TypeOfProperty(value.propid)) {
    case CEVT_FILETIME:
      AppendWord(out, value.val.filetime.dwLowDateTime);
      AppendWord(out, value.val.filetime.dwHighDateTime);
      return ERROR_SUCCESS;
    case CEVT_R8:
      out.append(reinterpret_cast<const char*>(&value.val.dblVal), sizeof(double));
      return ERROR_SUCCESS;
    case CEVT_LPWSTR: {
      if (value.val.lpwstr == nullptr)
        return ERROR_INVALID_PARAMETER;
      const size_t byteCount =
          (std::char_traits<WCHAR>::length(value.val.lpwstr) + 1) * sizeof(WCHAR);
      if (byteCount > CEDB_MAXPROPDATASIZE)
        return ERROR_INVALID_PARAMETER;
      out.append(reinterpret_cast<const char*>(value.val.lpwstr), byteCount);
      FillUp(out);
      return ERROR_SUCCESS;
    }
    default:
      if (value.val.blob.dwCount > CEDB_MAXPROPDATASIZE ||
          (value.val.blob.dwCount != 0 && value.val.blob.lpb == nullptr))
        return ERROR_INVALID_PARAMETER;
      AppendWord(out, value.val.blob.dwCount);
      out.append(reinterpret_cast<const char*>(value.val.blob.lpb), value.val.blob.dwCount);
      FillUp(out);
      return ERROR_SUCCESS;
  }
}

// Where a property of the new image comes from: a change, or the old image.
struct Source {
  CEPROPID property;
  const CEPROPVAL* change;
  uint32_t oldIndex;
};

// The properties of the new image in ascending order.
DWORD MergeSources(const RecordImage* old, std::span<const CEPROPVAL> changes,
                   std::vector<Source>& sources) {
  sources.reserve(changes.size() + (old != nullptr ? old->Count() : 0));
  for (const CEPROPVAL& change : changes) {
    if (!IsPropertyType(TypeOfProperty(change.propid)))
      return ERROR_INVALID_PARAMETER;
    sources.push_back({change.propid, &change, 0});
  }
  for (uint32_t index = 0; old != nullptr && index < old->Count(); ++index)
    sources.push_back({old->At(index).property, nullptr, index});
  const auto byProperty = [](const Source& left, const Source& right) {
    return left.property < right.property;
  };
  if (!std::is_sorted(sources.begin(), sources.end(), byProperty))
    std::stable_sort(sources.begin(), sources.end(), byProperty);

  // Of equal ones the last change counts, and any change before the old value, which is behind
  // them.
  size_t kept = 0;
  for (size_t first = 0; first < sources.size();) {
    size_t next = first + 1;
    Source source = sources[first];
    for (; next < sources.size() && sources[next].property == source.property; ++next) {
      if (sources[next].change != nullptr)
        source = sources[next];
    }
    if (source.change == nullptr || (source.change->wFlags & CEDB_PROPDELETE) == 0)
      sources[kept++] = source;
    first = next;
  }
  sources.resize(kept);
  return ERROR_SUCCESS;
}

// The usual write: all properties there are, each once, in ascending order, none deleted.
bool IsWholeRecord(const RecordImage* old, std::span<const CEPROPVAL> changes) {
  if (old != nullptr && old->Count() != changes.size())
    return false;
  for (size_t index = 0; index < changes.size(); ++index) {
    const CEPROPVAL& change = changes[index];
    if (!IsPropertyType(TypeOfProperty(change.propid)) || (change.wFlags & CEDB_PROPDELETE) != 0 ||
        (index > 0 && change.propid <= changes[index - 1].propid) ||
        (old != nullptr && old->At(static_cast<uint32_t>(index)).property != change.propid))
      return false;
  }
  return true;
}

void TakeAll(std::span<const CEPROPVAL> changes, std::vector<Source>& sources) {
  sources.reserve(changes.size());
  for (const CEPROPVAL& change : changes)
    sources.push_back({change.propid, &change, 0});
}

}  // namespace

std::optional<RecordImage> RecordImage::Parse(std::string_view bytes) {
  if (bytes.size() < kHeadBytes || bytes.size() % 4 != 0 || WordAt(bytes, 0) != kVersion)
    return std::nullopt;
  const uint32_t count = WordAt(bytes, 4);
  if (count > (bytes.size() - kHeadBytes) / sizeof(Entry))
    return std::nullopt;
  const RecordImage image(bytes, count);
  const uint32_t start = image.DataStart();
  auto end = static_cast<uint32_t>(bytes.size());
  uint64_t above = uint64_t{1} << 32;
  for (uint32_t index = count; index-- > 0;) {
    const Entry entry = image.At(index);
    if (entry.property >= above)
      return std::nullopt;
    above = entry.property;
    const WORD type = TypeOfProperty(entry.property);
    if (IsShortType(type))
      continue;
    if (entry.word < start || entry.word > end || entry.word % 4 != 0 ||
        !IsDataOfType(type, bytes.data() + entry.word, end - entry.word))
      return std::nullopt;
    end = entry.word;
  }
  return image;
}

uint32_t RecordImage::Find(CEPROPID property) const {
  uint32_t low = 0;
  uint32_t high = count_;
  while (low < high) {
    const uint32_t middle = (low + high) / 2;
    if (At(middle).property < property) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low < count_ && At(low).property == property ? low : count_;
}

std::string_view RecordImage::DataOf(uint32_t index) const {
  const Entry entry = At(index);
  if (IsShortType(TypeOfProperty(entry.property)))
    return {};
  size_t end = bytes_.size();
  for (uint32_t next = index + 1; next < count_; ++next) {
    const Entry following = At(next);
    if (!IsShortType(TypeOfProperty(following.property))) {
      end = following.word;
      break;
    }
  }
  return bytes_.substr(entry.word, end - entry.word);
}

DWORD ChangeImage(const RecordImage* old, std::span<const CEPROPVAL> changes, std::string& out) {
  std::vector<Source> sources;
  if (IsWholeRecord(old, changes)) {
    TakeAll(changes, sources);
  } else if (const DWORD error = MergeSources(old, changes, sources); error != ERROR_SUCCESS) {
    return error;
  }

  out.clear();
  AppendWord(out, RecordImage::kVersion);
  AppendWord(out, static_cast<uint32_t>(sources.size()));
  out.resize(RecordImage::kHeadBytes + sources.size() * sizeof(RecordImage::Entry));
  for (size_t index = 0; index < sources.size(); ++index) {
    const Source& source = sources[index];
    RecordImage::Entry entry{source.property, static_cast<uint32_t>(out.size())};
    if (IsShortType(TypeOfProperty(source.property))) {
      entry.word =
          source.change != nullptr ? ShortValue(*source.change) : old->At(source.oldIndex).word;
    } else if (source.change == nullptr) {
      out.append(old->DataOf(source.oldIndex));
    } else if (const DWORD error = AppendData(*source.change, out); error != ERROR_SUCCESS) {
      return error;
    }
    std::memcpy(out.data() + RecordImage::kHeadBytes + index * sizeof entry, &entry, sizeof entry);
  }
  return out.size() <= CEDB_MAXRECORDSIZE ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_INVALID_PARAMETER};
}

}  // namespace wkt::host
