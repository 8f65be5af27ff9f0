// Blocks that are kept for the next of their size.
#include "host/coredll/LocalMemory.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstring>
#include <random>
#include <thread>
#include <utility>
#include <vector>

namespace {

using wkt::host::ReturnLocalMemory;
using wkt::host::TakeLocalMemory;

TEST(LocalMemory, BlocksAreLargeEnoughAndNobodyElses) {
  std::minstd_rand random(7);
  std::vector<std::pair<unsigned char*, size_t>> held;
  const auto giveBack = [&held](size_t place) {
    const auto [block, size] = held[place];
    for (size_t index = 0; index < size; ++index)
      ASSERT_EQ(block[index], static_cast<unsigned char>(size)) << size;
    ReturnLocalMemory(block);
    held.erase(held.begin() + static_cast<ptrdiff_t>(place));
  };
  for (int round = 0; round < 20'000; ++round) {
    // Around where blocks begin and end to be kept, and each size between.
    const size_t size = 900 + random() % 3500;
    auto* block = static_cast<unsigned char*>(TakeLocalMemory(size));
    ASSERT_NE(block, nullptr);
    ASSERT_GE(malloc_usable_size(block), size);
    memset(block, static_cast<int>(size), size);
    held.emplace_back(block, size);
    if (held.size() > 60)
      giveBack(random() % held.size());
  }
  while (!held.empty())
    giveBack(held.size() - 1);
}

TEST(LocalMemory, NothingIsReturnedAsNothing) {
  ReturnLocalMemory(nullptr);
  void* block = TakeLocalMemory(0);
  ReturnLocalMemory(block);
}

// The leak checker sees what a thread left behind.
TEST(LocalMemory, ThreadsReturnWhatOthersTook) {
  std::vector<void*> blocks;
  for (size_t number = 0; number < 100; ++number)
    blocks.push_back(TakeLocalMemory(1500));
  std::thread([&blocks] {
    for (void* block : blocks)
      ReturnLocalMemory(block);
    void* again = TakeLocalMemory(1500);
    EXPECT_NE(again, nullptr);
    ReturnLocalMemory(again);
  }).join();
}

}  // namespace
