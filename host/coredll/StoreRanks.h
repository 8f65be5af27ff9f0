// Places in a sort order: which record is the nth, and the nth is which.
//
// The keys of an order are cut into blocks of at most 256, the blocks into groups of at most 256.
// Table block_N holds how many keys each block and each group has and where it begins; the last
// changes stand in the catalogue (StoreCountChanges). In memory is what was looked at: the groups,
// blocks of some groups, keys of some blocks. So a place costs three short searches, however many
// records there are, and no statement when repeated.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/coredll/StoreKeyList.h"
#include "host/coredll/StoreSqlite.h"

namespace wkt::host {

class StoreDatabase;

class StoreRanks {
 public:
  StoreRanks(StoreDatabase& database, uint32_t order) : database_(database), order_(order) {}

  // Number of keys below `key`.
  DWORD RankOf(std::string_view key, uint32_t& rank);
  // The key at a place; ERROR_SEEK when there are not so many.
  DWORD KeyAt(uint32_t rank, std::string& key);

  // Up to `limit` keys above `key`, in their order, one behind the other, and where each ends.
  DWORD KeysAbove(std::string_view key, size_t limit, std::string& keys,
                  std::vector<uint32_t>& ends);

  // To be called in a write transaction after the key was put into or taken from sort_N.
  DWORD Added(std::string_view key);
  DWORD Removed(std::string_view key);
  // The first block and group of a new order. Counts come by Added.
  DWORD Create();
  // Carries this order's changes into block_N. They are still waiting afterwards.
  DWORD StoreCounts();

  void Forget();

 private:
  static constexpr uint32_t kBlockLevel = 0;
  static constexpr uint32_t kGroupLevel = 1;
  static constexpr size_t kMaxKeys = 256;    // of a block
  static constexpr size_t kMaxBlocks = 256;  // of a group

  struct Block {
    std::string first;  // not above the block's first key, above the last one of the block before
    uint32_t count = 0;
    bool hasKeys = false;  // looked at already
    StoreKeyList keys;
  };
  struct Group {
    std::string first;
    uint32_t count = 0;
    bool isLoaded = false;
    std::vector<Block> blocks;
    std::vector<uint32_t> below;  // keys of the group below each block; empty: to be counted
  };
  struct Place {
    size_t group;
    size_t block;
  };

  DWORD Locate(std::string_view key, Place& place);
  DWORD LoadGroups();
  DWORD LoadBlocks(size_t group);
  bool ApplyToGroups();
  bool ApplyToBlocks(size_t group);
  DWORD LoadKeys(Block& block);
  void DropKeys(Block& block);
  void MakeRoom();
  DWORD CountChange(Place place, int keys);
  DWORD ChangeCount(uint32_t level, std::string_view first, int64_t change);
  DWORD InsertRow(uint32_t level, std::string_view first, uint32_t count);
  DWORD DeleteRow(uint32_t level, std::string_view first);
  DWORD SplitBlock(Place place);
  DWORD SplitGroup(size_t group);
  DWORD MergeBlocks(Place left);
  DWORD MergeGroups(size_t left);

  StoreDatabase& database_;
  uint32_t order_;
  uint32_t generation_ = 0;
  size_t keysInMemory_ = 0;
  size_t nextToDrop_ = 0;  // a group
  std::vector<Group> groups_;
};

}  // namespace wkt::host
