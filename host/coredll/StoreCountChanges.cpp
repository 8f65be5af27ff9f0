#include "host/coredll/StoreCountChanges.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace wkt::host {

static_assert(std::endian::native == std::endian::little, "changes are stored as they are");
static_assert(sizeof(StoreCountChanges::Change) == 8);

bool StoreCountChanges::TakeBytes(std::string_view bytes, size_t orderCount) {
  if (bytes.size() % sizeof(Change) != 0 || bytes.size() > kMaxChanges * sizeof(Change))
    return false;
  changes_.resize(bytes.size() / sizeof(Change));
  if (!bytes.empty())
    std::memcpy(changes_.data(), bytes.data(), bytes.size());
  return std::all_of(changes_.begin(), changes_.end(),
                     [orderCount](const Change& change) { return change.order < orderCount; });
}

bool StoreCountChanges::Add(uint32_t order, size_t group, size_t block, int keys) {
  const auto known = std::find_if(changes_.begin(), changes_.end(), [&](const Change& change) {
    return change.group == group && change.order == order && change.block == block;
  });
  if (known == changes_.end()) {
    if (changes_.size() == kMaxChanges)
      return false;
    changes_.push_back({static_cast<uint32_t>(group), static_cast<uint8_t>(order),
                        static_cast<uint8_t>(block), static_cast<int16_t>(keys)});
    return true;
  }
  known->keys = static_cast<int16_t>(known->keys + keys);
  if (known->keys == 0)
    changes_.erase(known);
  return true;
}

}  // namespace wkt::host
