#include "WktDevCommon/VolumeIdentity.h"

#include <gtest/gtest.h>

#include <cstring>

#include "WktDevCommon/SyncJobDatabase.h"
#include "platform/Files.h"
#include "platform/Kernel.h"
#include "tests/WktDevCommon/DatabaseTest.h"
#include "tests/support/RawDatabase.h"

namespace {

using wkt::test::RawDatabase;

// Opens up the field that nothing in the program writes.
class VolumeJobDatabase : public CSyncJobDatabase {
 public:
  using CSyncJobDatabase::CSyncJobDatabase;
  void SetVolume(const CEGUID& guid) { volumeGuid = guid; }
};

class VolumeIdentity : public DatabaseTest {};

// The same words for a list and for a set-up that a packet was written through.
TEST_F(VolumeIdentity, ReportsAVolumeOnlyWhenItsDatabaseHasOne) {
  BYTE sentinel = 0;
  BYTE* volumeId = &sentinel;
  UINT byteCount = 77;
  VolumeJobDatabase database(u"WktDevJobs");
  wkt::ReportVolume(database, volumeId, byteCount);
  EXPECT_EQ(volumeId, &sentinel);
  EXPECT_EQ(byteCount, 77u);
  for (const CEGUID& volume :
       {CEGUID{1, 2, 3, 4}, CEGUID{0, 0, 0, 1}, CEGUID{0x80000000, 0, 0, 0}}) {
    database.SetVolume(volume);
    wkt::ReportVolume(database, volumeId, byteCount);
    EXPECT_EQ(volumeId, reinterpret_cast<BYTE*>(database.GetVolumeGuid()));
    EXPECT_EQ(byteCount, 16u);
    EXPECT_EQ(std::memcmp(volumeId, &volume, 16), 0);
  }
}

TEST_F(VolumeIdentity, LeavesTheVolumeMembersAloneInTheObjectStore) {
  RawDatabase(u"WktDevJobs").Add(wkt::test::RawJob(u"J"));
  WCHAR path[] = u"\\cards.vol";
  CEGUID mounted = {};
  ASSERT_TRUE(CeMountDBVol(&mounted, path, CREATE_NEW));
  BYTE sentinel = 0;
  FINDOBJINFO info = {};
  info.lpbVolumeID = &sentinel;
  info.cbVolumeID = 77;
  CSyncJobDatabase database(u"WktDevJobs");
  ASSERT_TRUE(database.Open(FALSE));
  EXPECT_EQ(database.ReadFindObjectInfo(&info, 0), S_OK);
  EXPECT_EQ(info.cChg, 1u);
  LocalFree(info.poid);
  EXPECT_EQ(info.lpbVolumeID, &sentinel);
  EXPECT_EQ(info.cbVolumeID, 77u);
}

TEST_F(VolumeIdentity, NamesAVolumeThatItLivesOn) {
  WCHAR path[] = u"\\cards.vol";
  CEGUID volume = {};
  ASSERT_TRUE(CeMountDBVol(&volume, path, CREATE_NEW));
  VolumeJobDatabase database(u"WktDevJobs");
  database.SetVolume(volume);
  ASSERT_TRUE(database.Open(TRUE));
  FINDOBJINFO info = {};
  EXPECT_EQ(database.ReadFindObjectInfo(&info, 0), S_OK);
  ASSERT_EQ(info.cbVolumeID, 16u);
  EXPECT_EQ(std::memcmp(info.lpbVolumeID, &volume, 16), 0);
  EXPECT_FALSE(wkt::test::HasDatabase(u"WktDevJobs"));
}

}  // namespace
