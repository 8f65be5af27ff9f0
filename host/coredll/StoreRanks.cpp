#include "host/coredll/StoreRanks.h"

#include <algorithm>

#include "host/coredll/StoreDatabase.h"
#include "host/coredll/StoreVolume.h"
#include "platform/Errors.h"

namespace wkt::host {

namespace {

// Keys kept in memory for one order: 24 bytes each for two times and an identifier. Above that,
// groups are dropped in turn, so that an order of any size costs the same a call.
constexpr size_t kMaxKeysInMemory = 1 << 20;

// The last of `items` that begins at or below `key`; the first one begins below all keys.
template <typename Item>
size_t FindStart(const std::vector<Item>& items, std::string_view key) {
  const auto above = std::upper_bound(
      items.begin() + 1, items.end(), key,
      [](std::string_view wanted, const Item& item) { return IsKeyBelow(wanted, item.first); });
  return static_cast<size_t>(above - items.begin()) - 1;
}

}  // namespace

void StoreRanks::Forget() {
  groups_.clear();
  keysInMemory_ = 0;
}

DWORD StoreRanks::LoadGroups() {
  const uint32_t generation = database_.Volume().Generation();
  if (generation_ == generation && !groups_.empty())
    return ERROR_SUCCESS;
  Forget();
  generation_ = generation;
  StoreStatement& statement = database_.Statement(StoreQuery::ReadBlocks);
  if (!statement.IsPrepared())
    return database_.Volume().LastFailure();
  StoreRun run(statement);
  run.Number(order_).Number(kGroupLevel).Bytes({});
  while (run.Step() == SQLITE_ROW) {
    groups_.push_back(
        {std::string(run.BytesAt(0)), static_cast<uint32_t>(run.NumberAt(1)), false, {}});
  }
  // The first group begins below all keys, by an empty text.
  if (!groups_.empty() && groups_.front().first.empty() && ApplyToGroups())
    return ERROR_SUCCESS;
  groups_.clear();
  return database_.Volume().LastFailure();
}

bool StoreRanks::ApplyToGroups() {
  for (const StoreCountChanges::Change& change : database_.CountChanges().All()) {
    if (change.order != order_)
      continue;
    if (change.group >= groups_.size())
      return false;
    // One that is wrong does not have as many keys as its blocks.
    groups_[change.group].count += static_cast<uint32_t>(change.keys);
  }
  return true;
}

bool StoreRanks::ApplyToBlocks(size_t group) {
  std::vector<Block>& blocks = groups_[group].blocks;
  for (const StoreCountChanges::Change& change : database_.CountChanges().All()) {
    if (change.order != order_ || change.group != group)
      continue;
    if (change.block >= blocks.size())
      return false;
    blocks[change.block].count += static_cast<uint32_t>(change.keys);
  }
  uint64_t total = 0;
  for (const Block& block : blocks) {
    if (block.count > kMaxKeys)
      return false;
    total += block.count;
  }
  return total == groups_[group].count;
}

DWORD StoreRanks::LoadBlocks(size_t group) {
  Group& wanted = groups_[group];
  if (wanted.isLoaded)
    return ERROR_SUCCESS;
  wanted.blocks.clear();
  StoreRun run(database_.Statement(StoreQuery::ReadBlocks));
  run.Number(order_).Number(kBlockLevel).Bytes(wanted.first);
  while (run.Step() == SQLITE_ROW) {
    if (group + 1 < groups_.size() && run.BytesAt(0) >= std::string_view(groups_[group + 1].first))
      break;
    wanted.blocks.push_back(
        {std::string(run.BytesAt(0)), static_cast<uint32_t>(run.NumberAt(1)), false, {}});
  }
  if (wanted.blocks.empty() || wanted.blocks.front().first != wanted.first || !ApplyToBlocks(group))
    return database_.Volume().LastFailure();
  wanted.isLoaded = true;
  return ERROR_SUCCESS;
}

void StoreRanks::DropKeys(Block& block) {
  keysInMemory_ -= block.keys.Count();
  block.keys = {};
  block.hasKeys = false;
}

void StoreRanks::MakeRoom() {
  for (size_t tried = 0; tried < groups_.size() && keysInMemory_ > kMaxKeysInMemory; ++tried) {
    nextToDrop_ = nextToDrop_ + 1 < groups_.size() ? nextToDrop_ + 1 : 0;
    for (Block& block : groups_[nextToDrop_].blocks)
      DropKeys(block);
  }
}

DWORD StoreRanks::LoadKeys(Block& block) {
  if (block.hasKeys)
    return ERROR_SUCCESS;
  MakeRoom();
  StoreKeyList keys;
  StoreStatement& statement = database_.Statement(StoreQuery::ReadKeys);
  if (!statement.IsPrepared())
    return database_.Volume().LastFailure();
  StoreRun run(statement);
  run.Number(order_).Bytes(block.first).Number(block.count);
  while (run.Step() == SQLITE_ROW)
    keys.Append(run.BytesAt(0));
  if (keys.Count() != block.count)
    return database_.Volume().LastFailure();
  keysInMemory_ += block.count;
  block.keys = std::move(keys);
  block.hasKeys = true;
  return ERROR_SUCCESS;
}

DWORD StoreRanks::Locate(std::string_view key, Place& place) {
  if (const DWORD error = LoadGroups(); error != ERROR_SUCCESS)
    return error;
  place.group = FindStart(groups_, key);
  if (const DWORD error = LoadBlocks(place.group); error != ERROR_SUCCESS)
    return error;
  place.block = FindStart(groups_[place.group].blocks, key);
  return ERROR_SUCCESS;
}

DWORD StoreRanks::RankOf(std::string_view key, uint32_t& rank) {
  Place place{};
  if (const DWORD error = Locate(key, place); error != ERROR_SUCCESS)
    return error;
  Group& group = groups_[place.group];
  Block& block = group.blocks[place.block];
  if (const DWORD error = LoadKeys(block); error != ERROR_SUCCESS)
    return error;
  size_t below = block.keys.Below(key);
  for (size_t index = 0; index < place.group; ++index)
    below += groups_[index].count;
  if (group.below.empty()) {
    uint32_t total = 0;
    for (const Block& each : group.blocks) {
      group.below.push_back(total);
      total += each.count;
    }
  }
  below += group.below[place.block];
  rank = static_cast<uint32_t>(below);
  return ERROR_SUCCESS;
}

DWORD StoreRanks::KeysAbove(std::string_view key, size_t limit, std::string& keys,
                            std::vector<uint32_t>& ends) {
  Place place{};
  if (const DWORD error = Locate(key, place); error != ERROR_SUCCESS)
    return error;
  bool isFirst = true;
  for (; place.group < groups_.size() && ends.size() < limit; ++place.group, place.block = 0) {
    if (const DWORD error = LoadBlocks(place.group); error != ERROR_SUCCESS)
      return error;
    for (; place.block < groups_[place.group].blocks.size() && ends.size() < limit; ++place.block) {
      Block& block = groups_[place.group].blocks[place.block];
      if (const DWORD error = LoadKeys(block); error != ERROR_SUCCESS)
        return error;
      size_t first = isFirst ? block.keys.Below(key) : 0;
      if (isFirst && first < block.keys.Count() && block.keys.At(first) == key)
        ++first;
      isFirst = false;
      const size_t last = std::min(block.keys.Count(), first + limit - ends.size());
      if (first < last)
        block.keys.CopyTo(first, last, keys, ends);
    }
  }
  return ERROR_SUCCESS;
}

DWORD StoreRanks::KeyAt(uint32_t rank, std::string& key) {
  if (const DWORD error = LoadGroups(); error != ERROR_SUCCESS)
    return error;
  size_t group = 0;
  for (; group < groups_.size() && rank >= groups_[group].count; ++group)
    rank -= groups_[group].count;
  if (group == groups_.size())
    return ERROR_SEEK;
  if (const DWORD error = LoadBlocks(group); error != ERROR_SUCCESS)
    return error;
  size_t block = 0;
  for (; rank >= groups_[group].blocks[block].count; ++block)
    rank -= groups_[group].blocks[block].count;
  if (const DWORD error = LoadKeys(groups_[group].blocks[block]); error != ERROR_SUCCESS)
    return error;
  key.assign(groups_[group].blocks[block].keys.At(rank));
  return ERROR_SUCCESS;
}

}  // namespace wkt::host
