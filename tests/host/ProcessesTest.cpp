// Several processes on one device: mutexes, windows, registry, share modes, and what a killed one
// leaves.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "host/control/DeskWindow.h"
#include "platform/Files.h"
#include "platform/Kernel.h"
#include "platform/Registry.h"
#include "platform/Window.h"
#include "tests/host/PeerProcess.h"
#include "tests/support/DatabaseHelp.h"
#include "tests/support/DeskDevice.h"

namespace {

using wkt::test::PeerProcess;

class Processes : public wkt::test::DeskDeviceTest {
 protected:
  PeerProcess peer{device.Folder()};
};

uint32_t PeerValue(const char16_t* name) {
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Peer", 0, KEY_READ, &key), ERROR_SUCCESS);
  uint32_t number = 0;
  DWORD count = sizeof(number);
  EXPECT_EQ(RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &count),
            ERROR_SUCCESS);
  RegCloseKey(key);
  return number;
}

TEST_F(Processes, ShareMutexesByName) {
  HANDLE mutex = CreateMutexW(nullptr, TRUE, u"shared");
  EXPECT_EQ(peer.Ask("mutex shared 1"), "183");
  EXPECT_EQ(peer.Ask("wait 0"), "258");
  EXPECT_EQ(peer.Ask("release"), "0");
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_EQ(peer.Ask("wait 0"), "0");
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_TIMEOUT);
  EXPECT_EQ(peer.Ask("release"), "1");
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
  CloseHandle(mutex);
}

TEST_F(Processes, ReleaseWakesTheOthersWaiter) {
  HANDLE mutex = CreateMutexW(nullptr, TRUE, u"shared");
  peer.Ask("mutex shared 0");
  peer.Send("wait 10000");
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const auto start = std::chrono::steady_clock::now();
  ReleaseMutex(mutex);
  EXPECT_EQ(peer.Read(), "0");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  CloseHandle(mutex);
}

TEST_F(Processes, KilledOwnerAbandonsItsMutex) {
  HANDLE mutex = CreateMutexW(nullptr, FALSE, u"shared");
  peer.Ask("mutex shared 0");
  EXPECT_EQ(peer.Ask("wait 0"), "0");
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_TIMEOUT);
  peer.Kill();
  EXPECT_EQ(WaitForSingleObject(mutex, 1000), WAIT_ABANDONED);
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
  CloseHandle(mutex);
}

TEST_F(Processes, OwnerThatNobodyReapedHasAbandonedToo) {
  HANDLE mutex = CreateMutexW(nullptr, FALSE, u"shared");
  peer.Ask("mutex shared 0");
  peer.Ask("wait 0");
  peer.KillWithoutReaping();
  EXPECT_EQ(WaitForSingleObject(mutex, 1000), WAIT_ABANDONED);
  CloseHandle(mutex);
}

TEST_F(Processes, WaiterLearnsThatTheOwnerDied) {
  HANDLE mutex = CreateMutexW(nullptr, FALSE, u"shared");
  peer.Ask("mutex shared 0");
  peer.Ask("wait 0");
  DWORD result = 0xDEAD;
  std::thread waiter([&] { result = WaitForSingleObject(mutex, INFINITE); });
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  peer.Kill();
  waiter.join();
  EXPECT_EQ(result, WAIT_ABANDONED);
  CloseHandle(mutex);
}

TEST_F(Processes, KilledProcessTakesItsNamesAlong) {
  EXPECT_EQ(peer.Ask("mutex gone 1"), "0");
  peer.Kill();
  HANDLE mutex = CreateMutexW(nullptr, FALSE, u"gone");
  EXPECT_EQ(GetLastError(), 0u);
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
  CloseHandle(mutex);
}

TEST_F(Processes, PostMessagesToEachOther) {
  EXPECT_EQ(FindWindowW(u"WCE_WktDev", nullptr), nullptr);
  EXPECT_EQ(peer.Ask("window WCE_WktDev"), "0");
  HWND window = FindWindowW(u"wce_wktdev", nullptr);
  ASSERT_NE(window, nullptr);
  EXPECT_TRUE(PostMessageW(window, WM_USER + 101, 7, -8));
  EXPECT_TRUE(PostMessageW(window, WM_USER + 102, 0, 0));
  EXPECT_EQ(peer.Ask("take 1000"), "1125 7 -8");
  EXPECT_EQ(peer.Ask("take 1000"), "1126 0 0");
  EXPECT_EQ(peer.Ask("take 0"), "none");
}

TEST_F(Processes, PostWakesTheReceiver) {
  peer.Ask("window W");
  HWND window = FindWindowW(u"W", nullptr);
  peer.Send("take 10000");
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_TRUE(PostMessageW(window, WM_USER, 1, 2));
  EXPECT_EQ(peer.Read(), "1024 1 2");
}

TEST_F(Processes, WindowsOfDeadProcessesVanish) {
  peer.Ask("window W");
  HWND window = FindWindowW(u"W", nullptr);
  ASSERT_NE(window, nullptr);
  peer.Kill();
  EXPECT_FALSE(PostMessageW(window, WM_USER, 0, 0));
  EXPECT_EQ(GetLastError(), 1400u);
  EXPECT_EQ(FindWindowW(u"W", nullptr), nullptr);
}

TEST_F(Processes, ClosedWindowsVanish) {
  peer.Ask("window W");
  HWND window = FindWindowW(u"W", nullptr);
  peer.Ask("closewindow");
  EXPECT_FALSE(PostMessageW(window, WM_USER, 0, 0));
  EXPECT_EQ(GetLastError(), 1400u);
  // A new window in the same place is another.
  peer.Ask("window W");
  EXPECT_NE(FindWindowW(u"W", nullptr), window);
  EXPECT_FALSE(PostMessageW(window, WM_USER, 0, 0));
}

TEST_F(Processes, SeeEachOthersRegistry) {
  EXPECT_EQ(peer.Ask("get v"), "error 2");
  device.SetNumber(u"Peer", u"v", 1);
  EXPECT_EQ(peer.Ask("get v"), "1");
  EXPECT_EQ(peer.Ask("set v 2"), "0");
  EXPECT_EQ(PeerValue(u"v"), 2u);
  EXPECT_EQ(peer.Ask("set w 3"), "0");
  device.SetNumber(u"Peer", u"x", 4);
  EXPECT_EQ(peer.Ask("get w"), "3");
  EXPECT_EQ(peer.Ask("get x"), "4");
}

TEST_F(Processes, SeeEachOthersClock) {
  EXPECT_EQ(peer.Ask("time"), "2026-03-02T08:00:00Z");
  device.FreezeClock("2027-01-01T00:00:00Z");
  EXPECT_EQ(peer.Ask("time"), "2027-01-01T00:00:00Z");
}

// Two count up in one registry and are killed at some instant: what each told is there, and at most
// the one write that it had in flight besides.
TEST_F(Processes, KilledWritersLeaveAWholeRegistry) {
  // WKT_KILLS sets how many rounds (5).
  const char* wanted = getenv("WKT_KILLS");
  const int rounds = wanted != nullptr ? atoi(wanted) : 5;
  for (int round = 0; round < rounds; ++round) {
    PeerProcess one(device.Folder()), other(device.Folder());
    one.Send("count one");
    other.Send("count other");
    uint32_t toldByOne = 0, toldByOther = 0;
    for (int i = 0; i < 20 + 7 * (round % 20); ++i) {
      toldByOne = static_cast<uint32_t>(std::stoul(one.Read()));
      toldByOther = static_cast<uint32_t>(std::stoul(other.Read()));
    }
    one.KillWithoutReaping();
    other.KillWithoutReaping();
    for (std::string line; !(line = one.Read()).empty();)
      toldByOne = static_cast<uint32_t>(std::stoul(line));
    for (std::string line; !(line = other.Read()).empty();)
      toldByOther = static_cast<uint32_t>(std::stoul(line));
    const uint32_t one1 = PeerValue(u"one"), other1 = PeerValue(u"other");
    EXPECT_TRUE(one1 == toldByOne || one1 == toldByOne + 1) << one1 << " of " << toldByOne;
    EXPECT_TRUE(other1 == toldByOther || other1 == toldByOther + 1)
        << other1 << " of " << toldByOther;
    // And it can be written again.
    device.SetNumber(u"Peer", u"after", static_cast<uint32_t>(round));
    EXPECT_EQ(peer.Ask("get after"), std::to_string(round));
  }
}

TEST_F(Processes, ShareModesHoldBetweenProcesses) {
  EXPECT_EQ(peer.Ask("file \\f 1"), "ok");
  EXPECT_EQ(CreateFileW(u"\\f", GENERIC_WRITE, 3, nullptr, OPEN_EXISTING, 0, nullptr),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 32u);
  EXPECT_FALSE(DeleteFileW(u"\\f"));
  EXPECT_EQ(GetLastError(), 32u);
  peer.Kill();
  EXPECT_TRUE(DeleteFileW(u"\\f"));
}

TEST_F(Processes, AFileThatAnotherHasMountedIsNotTouched) {
  ASSERT_EQ(peer.Ask("mount \\v.vol 1"), "ok");
  const auto isRefused = [](BOOL done) { return done == FALSE && GetLastError() == 32; };
  EXPECT_TRUE(isRefused(DeleteFileW(u"\\v.vol")));
  EXPECT_TRUE(isRefused(MoveFileW(u"\\v.vol", u"\\w.vol")));
  for (const char16_t* name : {u"\\v.vol", u"\\v.vol-wal", u"\\v.vol-shm"}) {
    const HANDLE file = CreateFileW(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    EXPECT_TRUE(isRefused(file == INVALID_HANDLE_VALUE ? FALSE : TRUE));
    EXPECT_TRUE(isRefused(DeleteFileW(name)));
  }
  // Both may have it mounted, but not empty it for each other.
  CEGUID volume{};
  EXPECT_EQ(CeMountDBVol(&volume, std::u16string(u"\\v.vol").data(), CREATE_ALWAYS), FALSE);
  EXPECT_EQ(GetLastError(), 5u);
  EXPECT_NE(CeMountDBVol(&volume, std::u16string(u"\\v.vol").data(), OPEN_EXISTING), FALSE);
  EXPECT_EQ(peer.Ask("unmount"), "1");
  EXPECT_TRUE(isRefused(DeleteFileW(u"\\v.vol"))) << "still mounted here";
  EXPECT_NE(CeUnmountDBVol(&volume), FALSE);
  ASSERT_EQ(peer.Ask("mount \\v.vol 3"), "ok");
  peer.Kill();
  EXPECT_TRUE(DeleteFileW(u"\\v.vol"));
}

TEST_F(Processes, AnOpenFileIsNotMounted) {
  EXPECT_EQ(peer.Ask("file \\v.vol 3"), "ok");
  CEGUID volume{};
  EXPECT_EQ(CeMountDBVol(&volume, std::u16string(u"\\v.vol").data(), OPEN_ALWAYS), FALSE);
  EXPECT_EQ(GetLastError(), 32u);
  peer.Kill();
  EXPECT_NE(CeMountDBVol(&volume, std::u16string(u"\\v.vol").data(), OPEN_ALWAYS), FALSE);
}

TEST_F(Processes, ADatabaseThatAnotherHasOpenIsNotDeleted) {
  const CEOID oid = wkt::test::CreateDatabase(u"Shared");
  CEGUID store{};
  const auto isDeleted = [&] { return CeDeleteDatabaseEx(&store, oid) != FALSE; };
  ASSERT_EQ(peer.Ask("database Shared"), "ok");
  EXPECT_FALSE(isDeleted());
  EXPECT_EQ(GetLastError(), 32u);
  EXPECT_EQ(peer.Ask("closedatabase"), "1");
  ASSERT_EQ(peer.Ask("database Shared"), "ok");
  EXPECT_FALSE(isDeleted());
  peer.Kill();
  EXPECT_TRUE(isDeleted());
}

// This process takes all places of the shared page; the peer marks its database another way.
TEST_F(Processes, ADatabaseIsNotDeletedEitherWhenThePageOfOpenOnesIsFull) {
  CEGUID store{};
  std::vector<HANDLE> open;
  for (int i = 0; i < 240; ++i) {
    CEOID oid = wkt::test::CreateDatabase(
        (u"D" + std::u16string(1, static_cast<char16_t>(0x4E00 + i))).c_str());
    open.push_back(CeOpenDatabaseEx2(&store, &oid, nullptr, nullptr, 0, nullptr));
    ASSERT_NE(open.back(), INVALID_HANDLE_VALUE);
  }
  const CEOID shared = wkt::test::CreateDatabase(u"Shared");
  const auto isDeleted = [&] { return CeDeleteDatabaseEx(&store, shared) != FALSE; };
  ASSERT_EQ(peer.Ask("database Shared"), "ok");
  EXPECT_FALSE(isDeleted());
  EXPECT_EQ(GetLastError(), 32u);
  EXPECT_EQ(peer.Ask("closedatabase"), "1");
  EXPECT_TRUE(isDeleted());
  for (const HANDLE database : open)
    CloseHandle(database);
}

TEST_F(Processes, EndingOneDetachesNoLibraries) {
  device.CopyFile(device.BuiltLibrary("ProbeSecond"), u"\\lib\\ProbeSecond.dll");
  EXPECT_EQ(peer.Ask("load \\lib\\ProbeSecond.dll"), "ok");
  EXPECT_TRUE(device.FileExists(u"\\attached-Second"));
  peer.Finish();
  EXPECT_FALSE(device.FileExists(u"\\detached-Second"));
}

}  // namespace
