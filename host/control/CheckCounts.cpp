#include "host/control/CheckCounts.h"

#include <algorithm>
#include <vector>

#include "host/coredll/StoreSqlite.h"

namespace wkt::control {

namespace {

using host::StoreRun;
using host::StoreStatement;

struct Run {
  std::string first;
  int64_t keys;       // as stored, then with the changes
  size_t blocks = 0;  // of a group: where its first one is
};

// The runs of one level in their order; nothing when the table cannot be read.
std::vector<Run> Level(sqlite3* connection, const std::string& table, uint32_t order, int level,
                       const std::string& countColumn) {
  std::vector<Run> runs;
  StoreStatement statement;
  if (statement.Prepare(connection, "SELECT first, " + countColumn + " FROM block_" + table +
                                        " WHERE level = ?2 AND ord = ?1 ORDER BY first") !=
      SQLITE_OK)
    return runs;
  StoreRun run(statement);
  run.Number(order).Number(level);
  while (run.Step() == SQLITE_ROW)
    runs.push_back({std::string(run.BytesAt(0)), run.NumberAt(1)});
  return runs;
}

// Every group begins where a block does, the first one of all below all keys.
bool PutBlocksIntoGroups(const std::vector<Run>& blocks, std::vector<Run>& groups) {
  size_t block = 0;
  for (Run& group : groups) {
    while (block < blocks.size() && blocks[block].first < group.first)
      ++block;
    if (block == blocks.size() || blocks[block].first != group.first)
      return false;
    group.blocks = block;
  }
  return !groups.empty() && groups.front().first.empty();
}

bool Apply(const host::StoreCountChanges& changes, uint32_t order, std::vector<Run>& blocks,
           std::vector<Run>& groups) {
  for (const auto& change : changes.All()) {
    if (change.order != order)
      continue;
    if (change.group >= groups.size())
      return false;
    const size_t end =
        change.group + 1 < groups.size() ? groups[change.group + 1].blocks : blocks.size();
    const size_t block = groups[change.group].blocks + change.block;
    if (block >= end)
      return false;
    groups[change.group].keys += change.keys;
    blocks[block].keys += change.keys;
  }
  return true;
}

// Takes the keys found from the counts, which are all 0 then.
bool TakeKeys(sqlite3* connection, const std::string& table, uint32_t order,
              std::vector<Run>& blocks, std::vector<Run>& groups) {
  StoreStatement statement;
  if (statement.Prepare(connection, "SELECT key FROM sort_" + table +
                                        " WHERE ord = ?1 ORDER BY key") != SQLITE_OK)
    return false;
  StoreRun run(statement);
  run.Number(order);
  size_t block = 0;
  size_t group = 0;
  while (run.Step() == SQLITE_ROW) {
    const std::string_view key = run.BytesAt(0);
    while (block + 1 < blocks.size() && blocks[block + 1].first <= key)
      ++block;
    while (group + 1 < groups.size() && groups[group + 1].blocks <= block)
      ++group;
    --blocks[block].keys;
    --groups[group].keys;
  }
  const auto isEmpty = [](const Run& each) { return each.keys == 0; };
  return std::ranges::all_of(blocks, isEmpty) && std::ranges::all_of(groups, isEmpty);
}

}  // namespace

std::string CheckCounts(sqlite3* connection, CEOID database, uint32_t order,
                        const std::string& countColumn, const host::StoreCountChanges& changes) {
  const std::string table = std::to_string(database);
  std::vector<Run> blocks = Level(connection, table, order, 0, countColumn);
  std::vector<Run> groups = Level(connection, table, order, 1, countColumn);
  if (!PutBlocksIntoGroups(blocks, groups))
    return "has no counts of its places in sort order " + std::to_string(order);
  if (!Apply(changes, order, blocks, groups) || !TakeKeys(connection, table, order, blocks, groups))
    return "miscounts its places in sort order " + std::to_string(order);
  return {};
}

}  // namespace wkt::control
