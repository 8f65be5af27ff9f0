#include "host/coredll/StoreBlock.h"

#include <bit>
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

size_t BlockBytes(std::string_view image) {
  if (image.size() < RecordImage::kHeadBytes ||
      WordAt<uint32_t>(image.data()) != RecordImage::kVersion)
    return 0;
  const uint64_t count = WordAt<uint32_t>(image.data() + sizeof(uint32_t));
  const uint64_t start = RecordImage::kHeadBytes + count * sizeof(RecordImage::Entry);
  return start > image.size() ? 0
                              : count * sizeof(CEPROPVAL) + (image.size() - start) + kGuardBytes;
}

bool FillBlock(std::string_view image, BYTE* block) {
  const auto count = WordAt<uint32_t>(image.data() + sizeof(uint32_t));
  const auto start =
      static_cast<uint32_t>(RecordImage::kHeadBytes + count * sizeof(RecordImage::Entry));
  const auto size = static_cast<uint32_t>(image.size() - start);
  BYTE* data = block + count * sizeof(CEPROPVAL);
  std::memcpy(data, image.data() + start, size);
  std::memset(data + size, 0, kGuardBytes);
  const char* from = image.data() + RecordImage::kHeadBytes;
  for (BYTE* place = block; place != data;
       from += sizeof(RecordImage::Entry), place += sizeof(CEPROPVAL)) {
    // Property and word in one load; the two are the low and the high half.
    const auto entry = WordAt<uint64_t>(from);
    const auto property = static_cast<CEPROPID>(entry);
    const auto word = static_cast<uint32_t>(entry >> 32);
    const ImageKind kind = KindOfProperty(property);
    if (kind == ImageKind::Value) {
      PutWords(place, property, word, nullptr);
      continue;
    }
    // Turned by two bits, an offset that is no multiple of four is beyond any size.
    const uint32_t offset = word - start;
    if (std::rotr(offset, 2) > size / 4)
      return false;
    BYTE* own = data + offset;
    const uint32_t left = size - offset;
    if (kind == ImageKind::Text) {
      PutWords(place, property, reinterpret_cast<uintptr_t>(own), nullptr);
    } else if (kind == ImageKind::Eight && left >= sizeof(uint64_t)) {
      PutWords(place, property, WordAt<uint64_t>(own), nullptr);
    } else if (kind != ImageKind::Blob || left < sizeof(uint32_t) ||
               WordAt<uint32_t>(own) > left - sizeof(uint32_t)) {
      return false;
    } else {
      PutBlob(place, property, own);
    }
  }
  return true;
}

RecordBlock MakeBlock(std::string_view image) {
  RecordBlock block;
  const size_t byteCount = BlockBytes(image);
  if (byteCount == 0)
    return block;
  block.bytes = static_cast<BYTE*>(TakeLocalMemory(byteCount));
  if (block.bytes == nullptr)
    return block;
  if (!FillBlock(image, block.bytes)) {
    ReturnLocalMemory(block.bytes);
    block.bytes = nullptr;
    return block;
  }
  block.byteCount = static_cast<DWORD>(byteCount);
  block.propertyCount = static_cast<WORD>(WordAt<uint32_t>(image.data() + sizeof(uint32_t)));
  return block;
}

}  // namespace wkt::host
