// Processes that are killed while they write. WKT_KILLS sets how many times (20).
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <random>

#include "host/control/CheckStore.h"
#include "tests/host/StoreWriter.h"
#include "tests/support/DatabaseHelp.h"
#include "tests/support/DeskDevice.h"

namespace {

using namespace wkt::test;

struct Child {
  pid_t process = -1;
  int acknowledged = -1;  // one byte for every call that returned
};

// The parent has left the device: no connection is carried over the fork.
Child StartWriter(const std::string& folder, CEOID database, int writer) {
  std::array<int, 2> pipeEnds{};
  if (pipe(pipeEnds.data()) != 0)
    return {};
  const pid_t process = fork();
  if (process == 0) {
    close(pipeEnds[0]);
    std::string error;
    if (!wkt::control::UseDevice(folder, error))
      _exit(1);
    StoreWriter script(OpenDatabase(database), writer);
    const char done = 1;
    while (script.Step() && write(pipeEnds[1], &done, 1) == 1) {
    }
    _exit(2);
  }
  close(pipeEnds[1]);
  return {process, pipeEnds[0]};
}

uint32_t CountAcknowledged(const Child& child) {
  uint32_t count = 0;
  std::array<char, 4096> bytes{};
  for (ssize_t got = 0; (got = read(child.acknowledged, bytes.data(), bytes.size())) > 0;)
    count += static_cast<uint32_t>(got);
  close(child.acknowledged);
  return count;
}

TEST(StoreKill, EveryAcknowledgedCallIsThereAndAtMostTheOneInFlight) {
  DeskDevice device;
  const char* wanted = getenv("WKT_KILLS");
  const int kills = wanted != nullptr ? atoi(wanted) : 20;
  std::minstd_rand random(4711);
  uint32_t calls = 0;
  for (int round = 0; round < kills; ++round) {
    device.SetDurability(wkt::control::Durability::Relaxed);
    const std::string name = "Round" + std::to_string(round);
    const CEOID database = CreateWriterDatabase(std::u16string(name.begin(), name.end()).c_str());
    ASSERT_NE(database, 0u) << GetLastError();
    wkt::control::LeaveDevice();

    const std::array<Child, 2> children = {StartWriter(device.Folder(), database, 1),
                                           StartWriter(device.Folder(), database, 2)};
    usleep(static_cast<useconds_t>(5'000 + random() % 80'000));
    for (const Child& child : children) {
      ASSERT_GT(child.process, 0);
      kill(child.process, SIGKILL);
      usleep(static_cast<useconds_t>(random() % 3'000));
    }
    std::array<uint32_t, 2> acknowledged{};
    for (size_t index = 0; index < children.size(); ++index) {
      acknowledged[index] = CountAcknowledged(children[index]);
      int status = 0;
      waitpid(children[index].process, &status, 0);
      EXPECT_TRUE(WIFSIGNALED(status)) << "a write failed before the kill";
      calls += acknowledged[index];
    }

    device.Reopen();
    const HANDLE handle = OpenDatabase(database);
    ASSERT_NE(handle, INVALID_HANDLE_VALUE) << GetLastError();
    size_t total = 0;
    for (int writer = 1; writer <= 2; ++writer) {
      const auto found = StoreWriter::Found(handle, writer);
      const uint32_t count = acknowledged[static_cast<size_t>(writer) - 1];
      EXPECT_TRUE(found == StoreWriter::Expected(writer, count) ||
                  found == StoreWriter::Expected(writer, count + 1))
          << "round " << round << ", writer " << writer << ", " << count << " calls acknowledged";
      total += found.size();
    }
    EXPECT_EQ(ReadOrder(handle).size(), total) << "nothing else is there";
    CEGUID store{};
    CEOIDINFOEX info{};
    info.wVersion = CEOIDINFOEX_VERSION;
    EXPECT_NE(CeOidGetInfoEx2(&store, database, &info), FALSE);
    EXPECT_EQ(info.infDatabase.dwNumRecords, total);
    CloseHandle(handle);
    EXPECT_EQ(wkt::control::CheckVolume(device.Folder() + "/store.vol"),
              std::vector<std::string>());
  }
  EXPECT_EQ(IntegrityOf(device.Folder() + "/store.vol"), "ok");
  EXPECT_GT(calls, static_cast<uint32_t>(kills)) << "the writers hardly wrote";
}

TEST(StoreKill, TwoProcessesSeeEachOthersCommitsAtOnce) {
  DeskDevice device;
  const CEOID database = CreateWriterDatabase(u"Shared");
  wkt::control::LeaveDevice();
  std::array<int, 2> toChild{};
  std::array<int, 2> toParent{};
  ASSERT_EQ(pipe(toChild.data()), 0);
  ASSERT_EQ(pipe(toParent.data()), 0);
  const pid_t process = fork();
  char turn = 0;
  if (process == 0) {
    // Reads what the parent wrote last and writes one more.
    std::string error;
    if (!wkt::control::UseDevice(device.Folder(), error))
      _exit(1);
    const HANDLE handle = OpenDatabase(database);
    for (size_t expected = 1; read(toChild[0], &turn, 1) == 1 && turn == 1; expected += 2) {
      if (ReadOrder(handle).size() != expected ||
          Write(handle, 0, {LongValue(1, 2), TextValue(2, u"child")}) == 0)
        _exit(3);
      if (write(toParent[1], &turn, 1) != 1)
        _exit(4);
    }
    _exit(0);
  }
  device.Reopen();
  const HANDLE handle = OpenDatabase(database);
  for (size_t round = 0; round < 50; ++round) {
    ASSERT_NE(Write(handle, 0, {LongValue(1, 1), TextValue(2, u"parent")}), 0u);
    turn = 1;
    ASSERT_EQ(write(toChild[1], &turn, 1), 1);
    // Closed early, the pipe would be waited on for ever: the child's end is only in the child now.
    if (round == 0)
      close(toParent[1]);
    ASSERT_EQ(read(toParent[0], &turn, 1), 1) << "the child saw something else in round " << round;
    ASSERT_EQ(ReadOrder(handle).size(), 2 * round + 2);
  }
  turn = 0;
  ASSERT_EQ(write(toChild[1], &turn, 1), 1);
  int status = -1;
  waitpid(process, &status, 0);
  EXPECT_EQ(status, 0);
}

}  // namespace
