// How often writes wait for the medium: every fsync and fdatasync of the process is counted, by
// file.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <string>
#include <thread>

#include "tests/support/DatabaseHelp.h"
#include "tests/support/DeskDevice.h"

namespace {

std::map<std::string, uint32_t> syncs;

int CountedSync(long call, int file) {
  char path[4096];
  const std::string link = "/proc/self/fd/" + std::to_string(file);
  const ssize_t length = readlink(link.c_str(), path, sizeof path);
  ++syncs[length > 0 ? std::string(path, static_cast<size_t>(length)) : std::string()];
  return static_cast<int>(syscall(call, file));
}

}  // namespace

// Found before the C library's by everything in the process, SQLite included.
extern "C" int fsync(int file) {
  return CountedSync(SYS_fsync, file);
}
extern "C" int fdatasync(int file) {
  return CountedSync(SYS_fdatasync, file);
}

namespace wkt::test {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class SyncCount : public DeskDeviceTest {
 protected:
  // A device of this durability whose log has been started.
  void Start(control::Durability durability) {
    device.SetDurability(durability);
    handle = OpenDatabase(CreateDatabase(u"Counted"));
    ASSERT_NE(handle, INVALID_HANDLE_VALUE);
    for (LONG number = 0; number < 3; ++number)
      Insert(number);
    CEGUID store{};
    EXPECT_NE(CeFlushDBVol(&store), FALSE);
    syncs.clear();
  }
  CEOID Insert(LONG number) { return Write(handle, 0, {LongValue(1, number)}); }
  // Since the last question.
  uint32_t LogSyncs() { return std::exchange(syncs[device.Folder() + "/store.vol-wal"], 0); }
  static uint32_t AllSyncs() {
    uint32_t sum = 0;
    for (const auto& [path, count] : syncs)
      sum += count;
    syncs.clear();
    return sum;
  }

  HANDLE handle = INVALID_HANDLE_VALUE;
};

TEST_F(SyncCount, TheDefaultSyncsTheLogOnceAWrite) {
  EXPECT_EQ(control::DeviceOptions().settings.durability, control::Durability::Full);
  Start(control::Durability::Full);
  for (LONG number = 0; number < 20; ++number) {
    const CEOID oid = Insert(number);
    EXPECT_EQ(LogSyncs(), 1u) << "a new record";
    EXPECT_EQ(Write(handle, oid, {LongValue(1, number + 1)}), oid);
    EXPECT_EQ(LogSyncs(), 1u) << "a changed one";
    EXPECT_EQ(Write(handle, oid, {LongValue(1, number + 1)}), oid);
    EXPECT_EQ(LogSyncs(), 0u) << "nothing changed";
    EXPECT_NE(CeSeekDatabase(handle, CEDB_SEEK_CEOID, oid, nullptr), 0u);
    EXPECT_TRUE(ReadNext(handle));
    EXPECT_EQ(LogSyncs(), 0u) << "reading";
    EXPECT_NE(CeDeleteRecord(handle, oid), FALSE);
    EXPECT_EQ(LogSyncs(), 1u) << "a deleted one";
  }
  EXPECT_EQ(AllSyncs(), 0u) << "of other files";
}

TEST_F(SyncCount, RelaxedSyncsWithTheFirstWriteAfterATenthOfASecondAndWhenFlushed) {
  Start(control::Durability::Relaxed);
  const auto start = steady_clock::now();
  LONG number = 0;
  while (steady_clock::now() - start < milliseconds(250)) {
    Insert(++number);
    // Not so many that the log is carried into the file.
    std::this_thread::sleep_for(milliseconds(1));
  }
  const auto tenths = (steady_clock::now() - start) / milliseconds(100);
  EXPECT_GT(number, 10);
  EXPECT_LE(LogSyncs(), tenths) << number << " writes";
  std::this_thread::sleep_for(milliseconds(110));
  EXPECT_EQ(LogSyncs(), 0u) << "nobody syncs while nothing is written";
  Insert(++number);
  EXPECT_EQ(LogSyncs(), 1u) << "the first write after the time";
  CEGUID store{};
  EXPECT_NE(CeFlushDBVol(&store), FALSE);
  EXPECT_EQ(LogSyncs(), 1u) << "asked for";
  EXPECT_EQ(AllSyncs(), 0u) << "of other files";
}

TEST_F(SyncCount, OffSyncsNothing) {
  Start(control::Durability::Off);
  for (LONG number = 0; number < 50; ++number) {
    const CEOID oid = Insert(number);
    Write(handle, oid, {LongValue(1, number + 1)});
    EXPECT_NE(CeDeleteRecord(handle, oid), FALSE);
  }
  EXPECT_EQ(AllSyncs(), 0u);
}

}  // namespace

}  // namespace wkt::test
