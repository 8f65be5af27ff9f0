// What writing records does to the places of an order. Where blocks are cut or joined, no changes
// of counts may wait: they name blocks by their places.
#include <algorithm>

#include "host/coredll/StoreDatabase.h"
#include "host/coredll/StoreRanks.h"
#include "host/coredll/StoreVolume.h"
#include "platform/Errors.h"

namespace wkt::host {

namespace {

// Neighbours that are less than this together become one.
constexpr size_t kMergeBelow = 96;

// The shortest text above `below` and not above `key`.
std::string_view Separator(std::string_view below, std::string_view key) {
  const auto differ = std::mismatch(below.begin(), below.end(), key.begin(), key.end());
  const auto common = static_cast<size_t>(differ.second - key.begin());
  return key.substr(0, common + 1);
}

}  // namespace

DWORD StoreRanks::CountChange(Place place, int keys) {
  StoreCountChanges& changes = database_.CountChanges();
  if (changes.Add(order_, place.group, place.block, keys))
    return ERROR_SUCCESS;
  const DWORD error = database_.StoreCounts();
  // There is room now.
  if (error == ERROR_SUCCESS)
    static_cast<void>(changes.Add(order_, place.group, place.block, keys));
  return error;
}

DWORD StoreRanks::StoreCounts() {
  std::vector<std::pair<size_t, int64_t>> ofGroups;
  for (const StoreCountChanges::Change& change : database_.CountChanges().All()) {
    if (change.order != order_)
      continue;
    DWORD error = LoadGroups();
    if (error == ERROR_SUCCESS && change.group >= groups_.size())
      error = database_.Volume().LastFailure();
    if (error == ERROR_SUCCESS)
      error = LoadBlocks(change.group);
    if (error == ERROR_SUCCESS) {
      error =
          ChangeCount(kBlockLevel, groups_[change.group].blocks[change.block].first, change.keys);
    }
    if (error != ERROR_SUCCESS)
      return error;
    const auto known = std::find_if(ofGroups.begin(), ofGroups.end(),
                                    [&](const auto& each) { return each.first == change.group; });
    if (known != ofGroups.end()) {
      known->second += change.keys;
    } else {
      ofGroups.emplace_back(change.group, change.keys);
    }
  }
  for (const auto& [group, keys] : ofGroups) {
    const DWORD error = ChangeCount(kGroupLevel, groups_[group].first, keys);
    if (error != ERROR_SUCCESS)
      return error;
  }
  return ERROR_SUCCESS;
}

DWORD StoreRanks::ChangeCount(uint32_t level, std::string_view first, int64_t change) {
  StoreStatement& statement = database_.Statement(StoreQuery::ChangeBlock);
  if (!statement.IsPrepared())
    return database_.Volume().LastFailure();
  StoreRun run(statement);
  return run.Number(order_).Number(level).Bytes(first).Number(change).Finish();
}

DWORD StoreRanks::InsertRow(uint32_t level, std::string_view first, uint32_t count) {
  StoreStatement& statement = database_.Statement(StoreQuery::InsertBlock);
  if (!statement.IsPrepared())
    return database_.Volume().LastFailure();
  StoreRun run(statement);
  return run.Number(order_).Number(level).Bytes(first).Number(count).Finish();
}

DWORD StoreRanks::DeleteRow(uint32_t level, std::string_view first) {
  StoreStatement& statement = database_.Statement(StoreQuery::DeleteBlock);
  if (!statement.IsPrepared())
    return database_.Volume().LastFailure();
  StoreRun run(statement);
  return run.Number(order_).Number(level).Bytes(first).Finish();
}

DWORD StoreRanks::Create() {
  Forget();
  for (const uint32_t level : {kBlockLevel, kGroupLevel}) {
    if (const DWORD error = InsertRow(level, {}, 0); error != ERROR_SUCCESS)
      return error;
  }
  return ERROR_SUCCESS;
}

DWORD StoreRanks::Added(std::string_view key) {
  Place place{};
  if (const DWORD error = Locate(key, place); error != ERROR_SUCCESS)
    return error;
  Group& group = groups_[place.group];
  Block& block = group.blocks[place.block];
  if (const DWORD error = CountChange(place, 1); error != ERROR_SUCCESS)
    return error;
  ++group.count;
  ++block.count;
  group.below.clear();
  if (block.hasKeys) {
    block.keys.Insert(block.keys.Below(key), key);
    ++keysInMemory_;
  }
  return block.count > kMaxKeys ? SplitBlock(place) : DWORD{ERROR_SUCCESS};
}

DWORD StoreRanks::SplitBlock(Place place) {
  Group& group = groups_[place.group];
  Block& lower = group.blocks[place.block];
  if (const DWORD error = LoadKeys(lower); error != ERROR_SUCCESS)
    return error;
  // Where records come in their order the block at the end is left full.
  const bool isAtEnd = place.group + 1 == groups_.size() && place.block + 1 == group.blocks.size();
  const size_t middle = isAtEnd ? lower.keys.Count() - 1 : lower.keys.Count() / 2;
  Block upper;
  upper.first = Separator(lower.keys.At(middle - 1), lower.keys.At(middle));
  upper.keys = lower.keys.Split(middle);
  upper.hasKeys = true;
  upper.count = static_cast<uint32_t>(upper.keys.Count());
  lower.count -= upper.count;
  DWORD error = database_.StoreCounts();
  if (error == ERROR_SUCCESS)
    error = ChangeCount(kBlockLevel, lower.first, -int64_t{upper.count});
  if (error == ERROR_SUCCESS)
    error = InsertRow(kBlockLevel, upper.first, upper.count);
  group.blocks.insert(group.blocks.begin() + static_cast<ptrdiff_t>(place.block) + 1,
                      std::move(upper));
  if (error == ERROR_SUCCESS && group.blocks.size() > kMaxBlocks)
    error = SplitGroup(place.group);
  return error;
}

DWORD StoreRanks::SplitGroup(size_t place) {
  Group& lower = groups_[place];
  const size_t middle =
      place + 1 == groups_.size() ? lower.blocks.size() - 1 : lower.blocks.size() / 2;
  Group upper;
  upper.isLoaded = true;
  upper.first = lower.blocks[middle].first;
  for (size_t index = middle; index < lower.blocks.size(); ++index) {
    upper.count += lower.blocks[index].count;
    upper.blocks.push_back(std::move(lower.blocks[index]));
  }
  lower.blocks.resize(middle);
  lower.count -= upper.count;
  lower.below.clear();
  DWORD error = ChangeCount(kGroupLevel, lower.first, -int64_t{upper.count});
  if (error == ERROR_SUCCESS)
    error = InsertRow(kGroupLevel, upper.first, upper.count);
  groups_.insert(groups_.begin() + static_cast<ptrdiff_t>(place) + 1, std::move(upper));
  return error;
}

DWORD StoreRanks::Removed(std::string_view key) {
  Place place{};
  if (const DWORD error = Locate(key, place); error != ERROR_SUCCESS)
    return error;
  Group& group = groups_[place.group];
  Block& block = group.blocks[place.block];
  if (block.count == 0)
    return database_.Volume().LastFailure();
  size_t index = 0;
  if (block.hasKeys) {
    index = block.keys.Below(key);
    // In a damaged volume the key may stand outside the block that it belongs to.
    if (index == block.keys.Count() || block.keys.At(index) != key)
      return database_.Volume().LastFailure();
  }
  if (const DWORD error = CountChange(place, -1); error != ERROR_SUCCESS)
    return error;
  --group.count;
  --block.count;
  group.below.clear();
  if (block.hasKeys) {
    block.keys.Erase(index);
    --keysInMemory_;
  }
  const auto isSmall = [&group](size_t left) {
    return left + 1 < group.blocks.size() &&
           group.blocks[left].count + group.blocks[left + 1].count < kMergeBelow;
  };
  DWORD error = ERROR_SUCCESS;
  if (isSmall(place.block)) {
    error = MergeBlocks(place);
  } else if (place.block > 0 && isSmall(place.block - 1)) {
    error = MergeBlocks({place.group, place.block - 1});
  }
  if (error != ERROR_SUCCESS || group.blocks.size() >= kMergeBelow / 2)
    return error;
  if (place.group + 1 < groups_.size())
    return MergeGroups(place.group);
  return place.group > 0 ? MergeGroups(place.group - 1) : DWORD{ERROR_SUCCESS};
}

DWORD StoreRanks::MergeBlocks(Place left) {
  std::vector<Block>& blocks = groups_[left.group].blocks;
  Block& lower = blocks[left.block];
  Block& upper = blocks[left.block + 1];
  DWORD error = database_.StoreCounts();
  if (error == ERROR_SUCCESS)
    error = ChangeCount(kBlockLevel, lower.first, upper.count);
  if (error == ERROR_SUCCESS)
    error = DeleteRow(kBlockLevel, upper.first);
  lower.count += upper.count;
  DropKeys(lower);
  DropKeys(upper);
  blocks.erase(blocks.begin() + static_cast<ptrdiff_t>(left.block) + 1);
  return error;
}

DWORD StoreRanks::MergeGroups(size_t left) {
  for (const size_t group : {left, left + 1}) {
    if (const DWORD error = LoadBlocks(group); error != ERROR_SUCCESS)
      return error;
  }
  Group& lower = groups_[left];
  Group& upper = groups_[left + 1];
  if (lower.blocks.size() + upper.blocks.size() >= kMergeBelow)
    return ERROR_SUCCESS;
  lower.below.clear();
  DWORD error = database_.StoreCounts();
  if (error == ERROR_SUCCESS)
    error = ChangeCount(kGroupLevel, lower.first, upper.count);
  if (error == ERROR_SUCCESS)
    error = DeleteRow(kGroupLevel, upper.first);
  lower.count += upper.count;
  std::move(upper.blocks.begin(), upper.blocks.end(), std::back_inserter(lower.blocks));
  groups_.erase(groups_.begin() + static_cast<ptrdiff_t>(left) + 1);
  return error;
}

}  // namespace wkt::host
