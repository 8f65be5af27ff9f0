// Volumes: mounting, GUIDs, identifiers, listing, flushing.
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "tests/support/DatabaseHelp.h"
#include "tests/support/DeskDevice.h"

namespace {

using namespace wkt::test;

class DatabaseVolume : public DeskDeviceTest {
 protected:
  static bool Mount(const char16_t* path, DWORD mode, CEGUID& volume) {
    std::u16string copy(path);
    SetLastError(0xDEADBEEF);
    return CeMountDBVol(&volume, copy.data(), mode) != FALSE;
  }
  static bool IsSame(const CEGUID& left, const CEGUID& right) {
    return memcmp(&left, &right, sizeof left) == 0;
  }
};

TEST_F(DatabaseVolume, ItsGuidIsItsOwnAndTheSameWhenMountedAgain) {
  CEGUID first{};
  CEGUID second{};
  ASSERT_TRUE(Mount(u"\\one.vol", CREATE_NEW, first)) << GetLastError();
  ASSERT_TRUE(Mount(u"\\two.vol", CREATE_NEW, second));
  for (const CEGUID& volume : {first, second}) {
    EXPECT_FALSE(CHECK_SYSTEMGUID(&volume));
    EXPECT_FALSE(CHECK_INVALIDGUID(&volume));
  }
  EXPECT_FALSE(IsSame(first, second));
  EXPECT_NE(CeUnmountDBVol(&first), FALSE);
  CEGUID again{};
  ASSERT_TRUE(Mount(u"\\one.vol", OPEN_EXISTING, again));
  EXPECT_TRUE(IsSame(first, again));
}

TEST_F(DatabaseVolume, MountsAreCounted) {
  CEGUID volume{};
  CEGUID again{};
  ASSERT_TRUE(Mount(u"\\one.vol", OPEN_ALWAYS, volume));
  ASSERT_TRUE(Mount(u"\\ONE.VOL", OPEN_EXISTING, again)) << "file names have no case";
  EXPECT_TRUE(IsSame(volume, again));
  EXPECT_NE(CeUnmountDBVol(&volume), FALSE);
  EXPECT_NE(CreateDatabase(u"A", 1, {}, &volume), 0u) << "still mounted";
  EXPECT_NE(CeUnmountDBVol(&volume), FALSE);
  EXPECT_EQ(CeUnmountDBVol(&volume), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(CreateDatabase(u"B", 1, {}, &volume), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(DatabaseVolume, TheObjectStoreIsNotUnmounted) {
  CEGUID store{};
  EXPECT_EQ(CeUnmountDBVol(&store), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_NE(CreateDatabase(u"A"), 0u);
}

TEST_F(DatabaseVolume, FailedMountsLeaveTheGuidAlone) {
  const CEGUID poison{1, 2, 3, 4};
  CEGUID volume = poison;
  const auto error = [&](const char16_t* path, DWORD mode) {
    EXPECT_FALSE(Mount(path, mode, volume));
    return GetLastError();
  };
  EXPECT_EQ(error(u"\\missing.vol", OPEN_EXISTING), DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(error(u"\\missing.vol", TRUNCATE_EXISTING), DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(error(u"\\no folder\\a.vol", CREATE_NEW), DWORD{ERROR_PATH_NOT_FOUND});
  EXPECT_EQ(error(u"\\a.vol", 0), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(error(u"\\a.vol", 6), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(error(u"", OPEN_ALWAYS), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(error((u"\\" + std::u16string(MAX_PATH, u'x')).c_str(), OPEN_ALWAYS),
            DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(CeMountDBVol(&volume, nullptr, OPEN_ALWAYS), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_TRUE(IsSame(volume, poison));
}

TEST_F(DatabaseVolume, MountedFilesAreNeitherMadeAnewNorEmptied) {
  CEGUID volume{};
  ASSERT_TRUE(Mount(u"\\one.vol", CREATE_ALWAYS, volume));
  ASSERT_NE(CreateDatabase(u"A", 1, {}, &volume), 0u);
  for (const DWORD mode : {CREATE_NEW, CREATE_ALWAYS, TRUNCATE_EXISTING}) {
    EXPECT_FALSE(Mount(u"\\one.vol", mode, volume));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  }
  CeUnmountDBVol(&volume);
  EXPECT_FALSE(Mount(u"\\one.vol", CREATE_NEW, volume));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_EXISTS});
}

TEST_F(DatabaseVolume, EmptyingKeepsTheVolumeAndItsIdentifiersUsed) {
  CEGUID volume{};
  ASSERT_TRUE(Mount(u"\\one.vol", CREATE_NEW, volume));
  const CEOID before = CreateDatabase(u"A", 1, {}, &volume);
  CeUnmountDBVol(&volume);
  ASSERT_TRUE(Mount(u"\\one.vol", TRUNCATE_EXISTING, volume)) << GetLastError();
  const HANDLE enumeration = CeFindFirstDatabaseEx(&volume, 0);
  EXPECT_EQ(CeFindNextDatabase(enumeration), 0u);
  CloseHandle(enumeration);
  EXPECT_GT(CreateDatabase(u"A", 1, {}, &volume), before);
}

TEST_F(DatabaseVolume, AForeignFileIsNotMountedAndNotOverwritten) {
  device.WriteFile(u"\\letter.txt", "Dear reader");
  CEGUID volume{};
  for (const DWORD mode : {OPEN_EXISTING, OPEN_ALWAYS, CREATE_ALWAYS, TRUNCATE_EXISTING}) {
    EXPECT_FALSE(Mount(u"\\letter.txt", mode, volume));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  }
  EXPECT_EQ(device.ReadFile(u"\\letter.txt"), "Dear reader");
}

TEST_F(DatabaseVolume, IdentifiersOfAllVolumesDiffer) {
  CEGUID first{};
  CEGUID second{};
  Mount(u"\\one.vol", CREATE_NEW, first);
  Mount(u"\\two.vol", CREATE_NEW, second);
  const CEGUID store{};
  std::set<CEOID> oids;
  size_t count = 0;
  for (const CEGUID& volume : {store, first, second}) {
    const CEOID database = CreateDatabase(u"A", 3, {}, &volume);
    const HANDLE handle = OpenDatabase(database, 0, nullptr, &volume);
    oids.insert(database);
    // More than are set aside at a time.
    for (LONG number = 0; number < 150; ++number)
      oids.insert(Write(handle, 0, {LongValue(1, number)}));
    count += 151;
  }
  EXPECT_EQ(oids.size(), count);
  EXPECT_FALSE(oids.contains(0));
}

TEST_F(DatabaseVolume, AnEnumerationOfAllVolumesBeginsWithTheObjectStore) {
  CEGUID volume{};
  Mount(u"\\one.vol", CREATE_NEW, volume);
  const CEOID other = CreateDatabase(u"A", 3, {}, &volume);
  const CEOID own = CreateDatabase(u"A", 3);
  const HANDLE enumeration = CeFindFirstDatabaseEx(nullptr, 3);
  CEGUID found{};
  EXPECT_EQ(CeFindNextDatabaseEx(enumeration, &found), own);
  EXPECT_TRUE(CHECK_SYSTEMGUID(&found));
  EXPECT_EQ(CeFindNextDatabaseEx(enumeration, &found), other);
  EXPECT_TRUE(IsSame(found, volume));
  CEOIDINFOEX info{};
  info.wVersion = CEOIDINFOEX_VERSION;
  CEGUID store{};
  EXPECT_EQ(CeOidGetInfoEx2(&store, other, &info), FALSE) << "not of that volume";
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  EXPECT_NE(CeOidGetInfoEx2(&volume, other, &info), FALSE);
}

TEST_F(DatabaseVolume, MountedFilesAreListed) {
  CEGUID first{};
  CEGUID second{};
  Mount(u"\\one.vol", CREATE_NEW, first);
  Mount(u"\\two.vol", CREATE_NEW, second);
  CEGUID at;
  CREATE_INVALIDGUID(&at);
  char16_t path[MAX_PATH] = {};
  EXPECT_NE(CeEnumDBVolumes(&at, path, MAX_PATH), FALSE);
  EXPECT_TRUE(IsSame(at, first));
  EXPECT_EQ(std::u16string(path), u"\\one.vol");
  EXPECT_EQ(CeEnumDBVolumes(&at, path, 8), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  EXPECT_TRUE(IsSame(at, first)) << "not moved on";
  EXPECT_NE(CeEnumDBVolumes(&at, path, 9), FALSE);
  EXPECT_EQ(std::u16string(path), u"\\two.vol");
  EXPECT_EQ(CeEnumDBVolumes(&at, nullptr, 0), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
}

TEST_F(DatabaseVolume, FlushingKnowsItsVolumes) {
  CEGUID volume{};
  Mount(u"\\one.vol", CREATE_NEW, volume);
  CEGUID unknown{1, 2, 3, 4};
  EXPECT_NE(CeFlushDBVol(nullptr), FALSE);
  EXPECT_NE(CeFlushDBVol(&volume), FALSE);
  EXPECT_EQ(CeFlushDBVol(&unknown), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(DatabaseVolume, AMountedFileIsNotOpenedMovedOrDeleted) {
  CEGUID volume{};
  ASSERT_TRUE(Mount(u"\\one.vol", CREATE_NEW, volume));
  EXPECT_EQ(CreateFileW(u"\\one.vol", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                        OPEN_EXISTING, 0, nullptr),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
  EXPECT_FALSE(DeleteFileW(u"\\one.vol"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
  EXPECT_FALSE(MoveFileW(u"\\one.vol", u"\\two.vol"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
  WCHAR name[] = u"\\one.vol";
  EXPECT_EQ(GetFileVersionInfoSizeW(name, nullptr), 0u);
  ASSERT_TRUE(CeUnmountDBVol(&volume));
  EXPECT_TRUE(DeleteFileW(u"\\one.vol")) << "an unmounted volume is a file like any other";
}

TEST_F(DatabaseVolume, AnEmptyFileBecomesAVolume) {
  device.WriteFile(u"\\empty.vol", "");
  CEGUID volume{};
  ASSERT_TRUE(Mount(u"\\empty.vol", OPEN_ALWAYS, volume));
  CEDBASEINFOEX info{};
  info.wVersion = CEDBASEINFOEX_VERSION;
  info.dwFlags = CEDB_VALIDNAME;
  info.szDbaseName[0] = u'A';
  EXPECT_NE(CeCreateDatabaseEx2(&volume, &info), 0u) << GetLastError();
}

TEST_F(DatabaseVolume, ACopyOfAMountedFileIsRefused) {
  CEGUID volume{};
  Mount(u"\\one.vol", CREATE_NEW, volume);
  CeUnmountDBVol(&volume);
  device.WriteFile(u"\\copy.vol", device.ReadFile(u"\\one.vol"));
  ASSERT_TRUE(Mount(u"\\one.vol", OPEN_EXISTING, volume));
  CEGUID copy{};
  EXPECT_FALSE(Mount(u"\\copy.vol", OPEN_EXISTING, copy));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
}

TEST_F(DatabaseVolume, AfterSixtyThreeVolumesRangesBeginAnew) {
  const auto rangeOf = [](const CEGUID& volume) {
    const CEOID oid = CreateDatabase(u"A", 1, {}, &volume);
    EXPECT_NE(oid, 0u);
    return oid >> 24;
  };
  std::set<CEOID> ranges;
  CEGUID volume{};
  for (int number = 0; number < 63; ++number) {
    const std::u16string path =
        u"\\v" + std::u16string(1, static_cast<char16_t>(u'\u4E00' + number));
    ASSERT_TRUE(Mount(path.c_str(), CREATE_NEW, volume)) << GetLastError();
    ranges.insert(rangeOf(volume));
    EXPECT_NE(CeUnmountDBVol(&volume), FALSE);
  }
  EXPECT_EQ(ranges.size(), 63u);
  // Of the same second, so they would be given the same one if it were not looked at who has it.
  CEGUID other{};
  ASSERT_TRUE(Mount(u"\\one.vol", CREATE_NEW, volume)) << GetLastError();
  ASSERT_TRUE(Mount(u"\\two.vol", CREATE_NEW, other)) << GetLastError();
  const CEOID first = rangeOf(volume);
  const CEOID second = rangeOf(other);
  EXPECT_TRUE(ranges.contains(first) && ranges.contains(second));
  EXPECT_NE(first, second);
}

}  // namespace
