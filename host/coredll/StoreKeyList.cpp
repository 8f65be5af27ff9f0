#include "host/coredll/StoreKeyList.h"

namespace wkt::host {

void StoreKeyList::Append(std::string_view key) {
  bytes_.append(key);
  ends_.push_back(static_cast<uint32_t>(bytes_.size()));
}

void StoreKeyList::Insert(size_t index, std::string_view key) {
  const uint32_t start = index == 0 ? 0 : ends_[index - 1];
  const auto length = static_cast<uint32_t>(key.size());
  bytes_.insert(start, key);
  ends_.insert(ends_.begin() + static_cast<ptrdiff_t>(index), start);
  for (size_t place = index; place < ends_.size(); ++place)
    ends_[place] += length;
}

void StoreKeyList::Erase(size_t index) {
  const uint32_t start = index == 0 ? 0 : ends_[index - 1];
  const uint32_t length = ends_[index] - start;
  bytes_.erase(start, length);
  ends_.erase(ends_.begin() + static_cast<ptrdiff_t>(index));
  for (size_t place = index; place < ends_.size(); ++place)
    ends_[place] -= length;
}

std::string_view StoreKeyList::At(size_t index) const {
  const uint32_t start = index == 0 ? 0 : ends_[index - 1];
  return std::string_view(bytes_).substr(start, ends_[index] - start);
}

size_t StoreKeyList::Below(std::string_view key) const {
  size_t low = 0;
  size_t high = ends_.size();
  while (low < high) {
    const size_t middle = (low + high) / 2;
    if (At(middle) < key)
      low = middle + 1;
    else
      high = middle;
  }
  return low;
}

void StoreKeyList::CopyTo(size_t index, size_t end, std::string& keys,
                          std::vector<uint32_t>& ends) const {
  const uint32_t start = index == 0 ? 0 : ends_[index - 1];
  const auto offset = static_cast<uint32_t>(keys.size()) - start;
  keys.append(bytes_, start, ends_[end - 1] - start);
  for (; index < end; ++index)
    ends.push_back(ends_[index] + offset);
}

std::unique_ptr<StoreKeyList> StoreKeyList::Split(size_t index) {
  auto upper = std::make_unique<StoreKeyList>();
  const uint32_t start = index == 0 ? 0 : ends_[index - 1];
  upper->bytes_ = bytes_.substr(start);
  for (size_t place = index; place < ends_.size(); ++place)
    upper->ends_.push_back(ends_[place] - start);
  bytes_.resize(start);
  ends_.resize(index);
  return upper;
}

}  // namespace wkt::host
