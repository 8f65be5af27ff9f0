#include "host/coredll/StoreBlock.h"

#include <cstring>

#include "host/coredll/LocalMemory.h"

namespace wkt::host {

namespace {

// Behind the data: a text whose terminator was lost ends here.
constexpr size_t kGuardBytes = sizeof(uint32_t);

// The members of a CEPROPVAL as they lie in memory, written in whole words: property and flags,
// then the value, then, where pointers have 64 bits, a blob's pointer.
void PutWords(BYTE* place, uint64_t head, uint64_t value, const BYTE* pointer) {
  std::memcpy(place, &head, sizeof head);
  std::memcpy(place + offsetof(CEPROPVAL, val), &value, sizeof value);
  if constexpr (sizeof(CEPROPVAL) > 16)
    std::memcpy(place + offsetof(CEPROPVAL, val) + offsetof(CEBLOB, lpb), &pointer, sizeof pointer);
}
static_assert(sizeof(CEPROPVAL) == (sizeof(void*) == 8 ? 24 : 16));
static_assert(offsetof(CEBLOB, lpb) == sizeof(void*));

template <typename Word>
Word WordAt(const void* place) {
  Word word;
  std::memcpy(&word, place, sizeof word);
  return word;
}

// `own` begins with the number of bytes.
void PutBlob(BYTE* place, CEPROPID property, BYTE* own) {
  const auto count = WordAt<uint32_t>(own);
  BYTE* bytes = own + sizeof count;
  const uint64_t pointer =
      sizeof(void*) == 4 ? uint64_t{reinterpret_cast<uintptr_t>(bytes)} << 32 : 0;
  PutWords(place, property, pointer | count, bytes);
}

// A value of eight bytes or a blob, of which `left` bytes are there.
bool PutOther(BYTE* place, CEPROPID property, BYTE* own, uint32_t left) {
  const ImageKind kind = KindOfProperty(property);
  if (kind == ImageKind::Eight && left >= sizeof(uint64_t)) {
    PutWords(place, property, WordAt<uint64_t>(own), nullptr);
    return true;
  }
  if (kind != ImageKind::Blob || left < sizeof(uint32_t) ||
      WordAt<uint32_t>(own) > left - sizeof(uint32_t))
    return false;
  PutBlob(place, property, own);
  return true;
}

// A bit for each type whose values are the entry's word.
constexpr uint64_t kShortTypes = [] {
  uint64_t types = 0;
  for (WORD type = 0; type < 64; ++type)
    types |= IsShortType(type) ? uint64_t{1} << type : 0;
  return types;
}();
static_assert(!IsShortType(64) && !IsShortType(65));

}  // namespace

void PutValue(const RecordImage::Entry& entry, BYTE* data, uint32_t start, BYTE* place) {
  const WORD type = TypeOfProperty(entry.property);
  BYTE* own = data + (entry.word - start);
  if (IsShortType(type)) {
    // Shorter ones are the first bytes of the word.
    PutWords(place, entry.property, entry.word, nullptr);
  } else if (type == CEVT_LPWSTR) {
    PutWords(place, entry.property, reinterpret_cast<uintptr_t>(own), nullptr);
  } else if (type == CEVT_BLOB) {
    PutBlob(place, entry.property, own);
  } else {
    PutWords(place, entry.property, WordAt<uint64_t>(own), nullptr);
  }
}

size_t BlockBytes(std::string_view head, size_t imageBytes, uint32_t& count) {
  if (head.size() < RecordImage::kHeadBytes ||
      WordAt<uint32_t>(head.data()) != RecordImage::kVersion)
    return 0;
  count = WordAt<uint32_t>(head.data() + sizeof(uint32_t));
  const uint64_t start = RecordImage::kHeadBytes + uint64_t{count} * sizeof(RecordImage::Entry);
  return start > imageBytes ? 0 : count * sizeof(CEPROPVAL) + (imageBytes - start) + kGuardBytes;
}

bool FillArray(const void* entries, uint32_t count, size_t dataBytes, BYTE* block) {
  const auto start =
      static_cast<uint32_t>(RecordImage::kHeadBytes + count * sizeof(RecordImage::Entry));
  const auto size = static_cast<uint32_t>(dataBytes);
  BYTE* const data = block + count * sizeof(CEPROPVAL);
  std::memset(data + size, 0, kGuardBytes);
  const auto* from = static_cast<const BYTE*>(entries);
  for (BYTE* place = block; place != data;
       from += sizeof(RecordImage::Entry), place += sizeof(CEPROPVAL)) {
    // Property and word in one load; the two are the low and the high half.
    const auto entry = WordAt<uint64_t>(from);
    const auto property = static_cast<CEPROPID>(entry);
    const auto word = static_cast<uint32_t>(entry >> 32);
    const WORD type = TypeOfProperty(property);
    const uint32_t offset = word - start;
    BYTE* const own = data + offset;
    // The usual ones first. An offset that is none is below the start or beyond the end.
    if (type == CEVT_LPWSTR) {
      if (offset > size || offset % 4 != 0)
        return false;
      PutWords(place, property, reinterpret_cast<uintptr_t>(own), nullptr);
    } else if (type < 64 && (kShortTypes >> type & 1) != 0) {
      PutWords(place, property, word, nullptr);
    } else if (offset > size || offset % 4 != 0 || !PutOther(place, property, own, size - offset)) {
      return false;
    }
  }
  return true;
}

bool FillBlock(std::string_view image, uint32_t count, BYTE* block) {
  const char* const entries = image.data() + RecordImage::kHeadBytes;
  const size_t start = RecordImage::kHeadBytes + count * sizeof(RecordImage::Entry);
  std::memcpy(block + count * sizeof(CEPROPVAL), image.data() + start, image.size() - start);
  return FillArray(entries, count, image.size() - start, block);
}

RecordBlock MakeBlock(std::string_view image) {
  RecordBlock block;
  uint32_t count = 0;
  const size_t byteCount = BlockBytes(image, image.size(), count);
  if (byteCount == 0)
    return block;
  block.bytes = static_cast<BYTE*>(TakeLocalMemory(byteCount));
  if (block.bytes == nullptr)
    return block;
  if (!FillBlock(image, count, block.bytes)) {
    ReturnLocalMemory(block.bytes);
    block.bytes = nullptr;
    return block;
  }
  block.byteCount = static_cast<DWORD>(byteCount);
  block.propertyCount = static_cast<WORD>(count);
  return block;
}

namespace {

// With `count` properties; nothing inside when the image has another number of them.
int ReadBlockOf(const StoreImages& images, uint32_t count, RecordBlock& block) {
  const size_t imageBytes = images.ByteCount();
  const size_t start = RecordImage::kHeadBytes + count * sizeof(RecordImage::Entry);
  if (count == 0 || start > imageBytes)
    return SQLITE_OK;
  // The data comes to lie where it belongs, and before it the entries, each behind the element of
  // the array that is made of it.
  const size_t place = count * sizeof(CEPROPVAL) - start;
  const size_t byteCount = place + imageBytes + kGuardBytes;
  auto* const bytes = static_cast<BYTE*>(TakeLocalMemory(byteCount));
  if (bytes == nullptr)
    return SQLITE_OK;
  const int code = images.Read(bytes + place, imageBytes, 0);
  const BYTE* const head = bytes + place;
  if (code == SQLITE_OK && WordAt<uint32_t>(head) == RecordImage::kVersion &&
      WordAt<uint32_t>(head + sizeof(uint32_t)) == count &&
      FillArray(head + RecordImage::kHeadBytes, count, imageBytes - start, bytes)) {
    block = {bytes, static_cast<DWORD>(byteCount), static_cast<WORD>(count)};
  } else {
    ReturnLocalMemory(bytes);
  }
  return code;
}

}  // namespace

int ReadBlock(const StoreImages& images, uint32_t& count, RecordBlock& block) {
  const int code = ReadBlockOf(images, count, block);
  uint32_t head[2] = {};
  static_assert(sizeof head == RecordImage::kHeadBytes);
  if (code != SQLITE_OK || block.bytes != nullptr || images.ByteCount() < sizeof head)
    return code;
  if (const int again = images.Read(head, sizeof head, 0); again != SQLITE_OK || head[1] == count)
    return again;
  count = head[1];
  return ReadBlockOf(images, count, block);
}

}  // namespace wkt::host
