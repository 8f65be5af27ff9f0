// Recording platform calls and making them fail.
#include "host/control/Calls.h"

#include <gtest/gtest.h>

#include "platform/Files.h"
#include "platform/Kernel.h"
#include "platform/Registry.h"
#include "tests/support/DeskDevice.h"

namespace {

using wkt::control::CallRecording;
using wkt::control::ClearFailures;
using wkt::control::DescribeCalls;
using wkt::control::FailCall;
using Calls = wkt::test::DeskDeviceTest;

TEST_F(Calls, AreRecordedWithArgumentsAndResults) {
  CallRecording recording;
  HKEY key = nullptr;
  RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Time", 0, KEY_READ, &key);
  RegCloseKey(key);
  CreateDirectoryW(u"\\a", nullptr);
  CreateDirectoryW(u"\\a", nullptr);
  EXPECT_EQ(DescribeCalls(recording.Take()),
            (std::vector<std::string>{
                "RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"Time\", 0, 0x20019) = 0",
                "RegCloseKey(#1) = 0",
                "CreateDirectoryW(\"\\a\", NULL) = 1",
                "CreateDirectoryW(\"\\a\", NULL) = 0, error 183",
            }));
}

TEST_F(Calls, AreNotRecordedBeforeAndAfter) {
  CreateDirectoryW(u"\\a", nullptr);
  CallRecording recording;
  EXPECT_TRUE(recording.Take().empty());
  CreateDirectoryW(u"\\b", nullptr);
  EXPECT_TRUE(recording.Take().empty());
}

TEST_F(Calls, NthCallFailsWithTheErrorAndDoesNothing) {
  FailCall("CreateDirectoryW", 2, ERROR_DISK_FULL);
  EXPECT_TRUE(CreateDirectoryW(u"\\a", nullptr));
  EXPECT_FALSE(CreateDirectoryW(u"\\b", nullptr));
  EXPECT_EQ(GetLastError(), 112u);
  EXPECT_FALSE(ClearFailures());
  EXPECT_FALSE(device.FileExists(u"\\b"));
  EXPECT_TRUE(CreateDirectoryW(u"\\b", nullptr));
}

TEST_F(Calls, FailuresOfOneFunctionLeaveOthersAlone) {
  FailCall("RemoveDirectoryW", 1, ERROR_ACCESS_DENIED);
  EXPECT_TRUE(CreateDirectoryW(u"\\a", nullptr));
  EXPECT_TRUE(ClearFailures());
  EXPECT_TRUE(RemoveDirectoryW(u"\\a"));
}

TEST_F(Calls, AnyCallMayBeTheOneThatFails) {
  FailCall("*", 2, ERROR_OUTOFMEMORY);
  EXPECT_TRUE(CreateDirectoryW(u"\\a", nullptr));
  EXPECT_EQ(CreateMutexW(nullptr, FALSE, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), 14u);
}

TEST_F(Calls, RegistryCallsFailWithTheirResult) {
  FailCall("RegCloseKey", 1, ERROR_INVALID_HANDLE);
  SetLastError(0xDEADBEEF);
  EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_INVALID_HANDLE);
  EXPECT_EQ(GetLastError(), 0xDEADBEEFu);
}

TEST_F(Calls, InjectedFailuresAreMarkedInTheRecording) {
  CallRecording recording;
  FailCall("FindClose", 1, ERROR_INVALID_HANDLE);
  FindClose(nullptr);
  const auto calls = recording.Take();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_TRUE(calls[0].injected);
}

}  // namespace
