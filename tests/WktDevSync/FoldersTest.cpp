#include "WktDevSync/Folders.h"

#include <gtest/gtest.h>

#include "host/control/Calls.h"
#include "platform/Errors.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/DeskDevice.h"

namespace {

using wkt::control::CallRecording;
using Lines = std::vector<std::string>;

class FoldersTest : public wkt::test::DeskDeviceTest {
 protected:
  Lines Create(const WCHAR* path, BOOL expected) {
    CallRecording recording;
    EXPECT_EQ(wkt::CreateFolders(path), expected);
    return wkt::control::DescribeCalls(recording.Take());
  }
};

TEST_F(FoldersTest, EveryMissingFolderOnTheWayIsMade) {
  EXPECT_EQ(Create(u"\\One\\Two", TRUE),
            (Lines{"FindFirstFileW(\"\\One\\*\") = INVALID_HANDLE_VALUE, error 3",
                   "CreateDirectoryW(\"\\One\", NULL) = 1",
                   "FindFirstFileW(\"\\One\\Two\\*\") = INVALID_HANDLE_VALUE, error 3",
                   "CreateDirectoryW(\"\\One\\Two\", NULL) = 1"}));
  EXPECT_TRUE(device.FileExists(u"\\One\\Two"));
}

TEST_F(FoldersTest, AFolderWithSomethingInItExists) {
  device.WriteFile(u"\\x.txt", "x");
  device.MakeFolder(u"\\One");
  device.WriteFile(u"\\One\\x.txt", "x");
  EXPECT_EQ(Create(u"\\One", TRUE),
            (Lines{"FindFirstFileW(\"\\One\\*\") = #1", "FindClose(#1) = 1"}));
}

// An empty folder is not seen, and what is there cannot be made.
TEST_F(FoldersTest, AnEmptyFolderOnTheWayMakesTheWholeFail) {
  device.MakeFolder(u"\\One");
  EXPECT_EQ(Create(u"\\One\\Two", FALSE),
            (Lines{"FindFirstFileW(\"\\One\\*\") = INVALID_HANDLE_VALUE, error 18",
                   "CreateDirectoryW(\"\\One\", NULL) = 0, error 183"}));
  EXPECT_FALSE(device.FileExists(u"\\One\\Two"));
}

TEST_F(FoldersTest, TheFirstFailureEndsIt) {
  wkt::control::FailCall("CreateDirectoryW", 2, ERROR_DISK_FULL);
  EXPECT_FALSE(wkt::CreateFolders(u"\\One\\Two\\Three"));
  EXPECT_FALSE(wkt::control::ClearFailures());
  EXPECT_TRUE(device.FileExists(u"\\One"));
  EXPECT_FALSE(device.FileExists(u"\\One\\Two"));
}

TEST_F(FoldersTest, PathsOfOneComponentOrNoneNeedNothing) {
  for (const WCHAR* const path : {u"", u"\\", u"Logging"})
    EXPECT_EQ(Create(path, TRUE), Lines{});
}

TEST_F(FoldersTest, ASeparatorAtTheEndAddsNoFolder) {
  EXPECT_TRUE(wkt::CreateFolders(u"\\One\\"));
  EXPECT_TRUE(device.FileExists(u"\\One"));
}

// Two separators at the beginning are one component, so a server's name is the first to be looked
// for.
TEST_F(FoldersTest, ANetworkPathBeginsWithItsServer) {
  const Lines calls = Create(u"\\\\server\\share", FALSE);
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0].substr(0, 29), "FindFirstFileW(\"\\\\server\\*\") ");
  EXPECT_EQ(calls[1].substr(0, 36), "CreateDirectoryW(\"\\\\server\", NULL) =");
}

TEST_F(FoldersTest, WithoutMemoryForThePathThereIsNothingToMake) {
  const wkt::test::AllocationFailure failure(1, wkt::test::AllocationFailure::Extent::AllLater);
  for (const WCHAR* const path : {u"\\One\\Two", u"\\\\server\\share"})
    EXPECT_EQ(Create(path, TRUE), Lines{});
  EXPECT_TRUE(failure.Happened());
}

TEST_F(FoldersTest, ADoubledSeparatorInsideIsAComponentWithoutName) {
  const Lines calls = Create(u"\\One\\\\Two", FALSE);
  ASSERT_GE(calls.size(), 3u);
  EXPECT_EQ(calls[2].substr(0, 24), "FindFirstFileW(\"\\One\\*\")");
}

}  // namespace
