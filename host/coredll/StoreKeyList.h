// Sorted keys of an order, their bytes one behind the other.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace wkt::host {

// The order of keys, by bytes; eight at a time, since keys begin alike and searches compare many.
inline bool IsKeyBelow(std::string_view left, std::string_view right) {
  const size_t common = std::min(left.size(), right.size());
  size_t place = 0;
  for (; place + sizeof(uint64_t) <= common; place += sizeof(uint64_t)) {
    uint64_t one = 0;
    uint64_t other = 0;
    std::memcpy(&one, left.data() + place, sizeof one);
    std::memcpy(&other, right.data() + place, sizeof other);
    if (one != other)
      return __builtin_bswap64(one) < __builtin_bswap64(other);
  }
  return left.substr(place) < right.substr(place);
}

class StoreKeyList {
 public:
  void Append(std::string_view key);
  void Insert(size_t index, std::string_view key);
  void Erase(size_t index);
  [[nodiscard]] size_t Count() const { return ends_.size(); }
  [[nodiscard]] std::string_view At(size_t index) const {
    if (keyBytes_ != 0) [[likely]]
      return {bytes_.data() + index * keyBytes_, keyBytes_};
    const uint32_t start = StartOf(index);
    return {bytes_.data() + start, ends_[index] - start};
  }
  // Number of keys below `key`.
  [[nodiscard]] size_t Below(std::string_view key) const;
  // Appends the keys from `index` up to, not including, `end`.
  void CopyTo(size_t index, size_t end, std::string& keys, std::vector<uint32_t>& ends) const;
  // Moves the keys from `index` on into a list of their own.
  StoreKeyList Split(size_t index);

 private:
  [[nodiscard]] uint32_t StartOf(size_t index) const { return index == 0 ? 0 : ends_[index - 1]; }
  void NoteLength(size_t byteCount);

  std::string bytes_;
  std::vector<uint32_t> ends_;
  // Of every key; 0 when they differ. Most orders are of numbers and times: their keys are found
  // without a look at where each ends.
  uint32_t keyBytes_ = 0;
};

}  // namespace wkt::host
