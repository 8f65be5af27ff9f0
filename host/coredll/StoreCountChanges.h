// What table block_N does not say yet: by how much blocks of keys have grown or shrunk.
//
// Every insertion and deletion changes one count of its order. The last changes stand in the
// database's row of the catalogue, which each of them writes anyway; when there is no more room, or
// blocks are cut or joined, all are carried into block_N at once (StoreRanks).
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace wkt::host {

class StoreCountChanges {
 public:
  // As stored, little-endian. Groups and blocks by their places, from 0; a change of structure
  // finds none waiting.
  struct Change {
    uint32_t group;
    uint8_t order;
    uint8_t block;
    int16_t keys;
  };
  // Half a kilobyte: the row stays on its page.
  static constexpr size_t kMaxChanges = 64;

  // The stored form. False when the bytes cannot be that of a database with so many orders.
  bool TakeBytes(std::string_view bytes, size_t orderCount);
  [[nodiscard]] std::string_view Bytes() const {
    return {reinterpret_cast<const char*>(changes_.data()), changes_.size() * sizeof(Change)};
  }
  [[nodiscard]] const std::vector<Change>& All() const { return changes_; }
  // False when there is no room.
  bool Add(uint32_t order, size_t group, size_t block, int keys);
  void Clear() { changes_.clear(); }

 private:
  std::vector<Change> changes_;
};

}  // namespace wkt::host
