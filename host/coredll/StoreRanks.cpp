#include "host/coredll/StoreRanks.h"

#include <algorithm>

#include "host/coredll/StoreDatabase.h"
#include "host/coredll/StoreVolume.h"
#include "platform/Errors.h"

namespace wkt::host {

namespace {

constexpr uint32_t kBlockLevel = 0;
constexpr uint32_t kGroupLevel = 1;
constexpr size_t kMaxKeys = 256;    // of a block
constexpr size_t kMaxBlocks = 256;  // of a group
// Neighbours that are less than this together become one.
constexpr size_t kMergeBelow = 96;
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

// The shortest text above `below` and not above `key`.
std::string_view Separator(std::string_view below, std::string_view key) {
  const auto differ = std::mismatch(below.begin(), below.end(), key.begin(), key.end());
  const auto common = static_cast<size_t>(differ.second - key.begin());
  return key.substr(0, common + 1);
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
  if (!groups_.empty() && groups_.front().first.empty())
    return ERROR_SUCCESS;
  groups_.clear();
  return database_.Volume().LastFailure();
}

DWORD StoreRanks::LoadBlocks(size_t group) {
  Group& wanted = groups_[group];
  if (wanted.isLoaded)
    return ERROR_SUCCESS;
  wanted.blocks.clear();
  StoreRun run(database_.Statement(StoreQuery::ReadBlocks));
  run.Number(order_).Number(kBlockLevel).Bytes(wanted.first);
  uint64_t total = 0;
  while (run.Step() == SQLITE_ROW) {
    if (group + 1 < groups_.size() && run.BytesAt(0) >= std::string_view(groups_[group + 1].first))
      break;
    wanted.blocks.push_back(
        {std::string(run.BytesAt(0)), static_cast<uint32_t>(run.NumberAt(1)), false, {}});
    total += wanted.blocks.back().count;
  }
  if (wanted.blocks.empty() || wanted.blocks.front().first != wanted.first || total != wanted.count)
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
  for (const auto& [level, first] :
       {std::pair{kBlockLevel, &block.first}, std::pair{kGroupLevel, &group.first}}) {
    if (const DWORD error = ChangeCount(level, *first, 1); error != ERROR_SUCCESS)
      return error;
  }
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
  DWORD error = ChangeCount(kBlockLevel, lower.first, -int64_t{upper.count});
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
  for (const auto& [level, first] :
       {std::pair{kBlockLevel, &block.first}, std::pair{kGroupLevel, &group.first}}) {
    if (const DWORD error = ChangeCount(level, *first, -1); error != ERROR_SUCCESS)
      return error;
  }
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
  DWORD error = ChangeCount(kBlockLevel, lower.first, upper.count);
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
  DWORD error = ChangeCount(kGroupLevel, lower.first, upper.count);
  if (error == ERROR_SUCCESS)
    error = DeleteRow(kGroupLevel, upper.first);
  lower.count += upper.count;
  std::move(upper.blocks.begin(), upper.blocks.end(), std::back_inserter(lower.blocks));
  groups_.erase(groups_.begin() + static_cast<ptrdiff_t>(left) + 1);
  return error;
}

}  // namespace wkt::host
