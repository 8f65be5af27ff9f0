// Recording platform calls and making them fail.
#include "host/control/Calls.h"

#include <gtest/gtest.h>

#include "platform/Files.h"
#include "platform/Kernel.h"
#include "platform/Registry.h"
#include "platform/Runtime.h"
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

TEST_F(Calls, OfTheRuntimeAndTheThreadAreNeitherRecordedNorFailed) {
  CallRecording recording;
  FailCall("*", 1, ERROR_OUTOFMEMORY);
  LONG count = 1;
  EXPECT_EQ(InterlockedIncrement(&count), 2);
  EXPECT_EQ(InterlockedDecrement(&count), 1);
  EXPECT_NE(GetCurrentThreadId(), 0u);
  SetLastError(7);
  EXPECT_EQ(GetLastError(), 7u);
  WCHAR text[34] = {};
  EXPECT_EQ(_wtol(_itow(12, text, 10)), 12);
  EXPECT_EQ(_ltow(3, text, 10), text);
  EXPECT_EQ(_snwprintf(text, 34, u"%d", 5), 1);
  EXPECT_EQ(wcschr(text, u'5'), text);
  EXPECT_EQ(wcspbrk(text, u"5"), text);
  EXPECT_EQ(wcsstr(text, u"5"), text);
  EXPECT_EQ(wcsncpy(text, u"1", 2), text);
  EXPECT_EQ(wcstod(text, nullptr), 1);
  EXPECT_NE(iswctype(u'1', _DIGIT), 0);
  EXPECT_TRUE(ClearFailures()) << "not reached";
  EXPECT_TRUE(recording.Take().empty());
}

}  // namespace
