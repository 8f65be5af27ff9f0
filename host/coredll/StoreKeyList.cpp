#include "host/coredll/StoreKeyList.h"

namespace wkt::host {

void StoreKeyList::NoteLength(size_t byteCount) {
  if (ends_.empty()) {
    keyBytes_ = static_cast<uint32_t>(byteCount);
  } else if (keyBytes_ != byteCount) {
    keyBytes_ = 0;
  }
}

void StoreKeyList::Append(std::string_view key) {
  NoteLength(key.size());
  bytes_.append(key);
  ends_.push_back(static_cast<uint32_t>(bytes_.size()));
}

void StoreKeyList::Insert(size_t index, std::string_view key) {
  NoteLength(key.size());
  const uint32_t start = StartOf(index);
  const auto length = static_cast<uint32_t>(key.size());
  bytes_.insert(start, key);
  ends_.insert(ends_.begin() + static_cast<ptrdiff_t>(index), start);
  for (size_t place = index; place < ends_.size(); ++place)
    ends_[place] += length;
}

void StoreKeyList::Erase(size_t index) {
  const uint32_t start = StartOf(index);
  const uint32_t length = ends_[index] - start;
  bytes_.erase(start, length);
  ends_.erase(ends_.begin() + static_cast<ptrdiff_t>(index));
  for (size_t place = index; place < ends_.size(); ++place)
    ends_[place] -= length;
}

size_t StoreKeyList::Below(std::string_view key) const {
  size_t low = 0;
  size_t high = ends_.size();
  // The list is seldom near the processor: the places of the first steps are fetched side by side.
  if (keyBytes_ != 0) {
    constexpr size_t kParts = 8;
    for (size_t part = 1; part < kParts; ++part)
      __builtin_prefetch(bytes_.data() + high * part / kParts * keyBytes_);
  }
  while (low < high) {
    const size_t middle = (low + high) / 2;
    if (IsKeyBelow(At(middle), key)) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

void StoreKeyList::CopyTo(size_t index, size_t end, std::string& keys,
                          std::vector<uint32_t>& ends) const {
  const uint32_t start = StartOf(index);
  const auto offset = static_cast<uint32_t>(keys.size()) - start;
  keys.append(bytes_, start, ends_[end - 1] - start);
  for (; index < end; ++index)
    ends.push_back(ends_[index] + offset);
}

StoreKeyList StoreKeyList::Split(size_t index) {
  StoreKeyList upper;
  const uint32_t start = StartOf(index);
  upper.keyBytes_ = keyBytes_;
  upper.bytes_ = bytes_.substr(start);
  for (size_t place = index; place < ends_.size(); ++place)
    upper.ends_.push_back(ends_[place] - start);
  bytes_.resize(start);
  ends_.resize(index);
  return upper;
}

}  // namespace wkt::host
