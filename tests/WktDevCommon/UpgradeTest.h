#pragma once

#include <cstdint>
#include <string>

#include "WktDevCommon/JobDatabase.h"
#include "platform/Registry.h"
#include "tests/WktDevCommon/DatabaseTest.h"
#include "tests/support/RawDatabase.h"

// Job databases in the older layout on a device that does not know their version.
namespace wkt::test {

inline constexpr char16_t kProgramKey[] = u"SOFTWARE\\Worktally";
inline constexpr CEPROPID kIdTexts[] = {0x4013001F, 0x4014001F, 0x4015001F};

class JobUpgrade : public DatabaseTest {
 protected:
  JobUpgrade() { device.DeleteValue(kProgramKey, u"DatabaseVersion"); }

  // The stored version, or the type of a value that is no number, negative; -100 when missing.
  static int32_t Version() {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kProgramKey, 0, KEY_READ, &key) != ERROR_SUCCESS)
      return -100;
    DWORD type = 0;
    int32_t value = 0;
    DWORD size = sizeof(value);
    const LONG code = RegQueryValueExW(key, u"DatabaseVersion", nullptr, &type,
                                       reinterpret_cast<BYTE*>(&value), &size);
    RegCloseKey(key);
    if (code != ERROR_SUCCESS)
      return -100;
    return type == REG_DWORD ? value : -static_cast<int32_t>(type);
  }

  static std::string Texts(const char16_t* database, CEOID oid) {
    return Texts(RawDatabase(database).Read(oid).value_or(RawRecord()));
  }
  static std::string Texts(const RawRecord& record) {
    std::u16string all;
    for (const CEPROPID text : kIdTexts)
      all += (record.Has(text) ? u"'" + record.Text(text) + u"'" : u"none") + u" ";
    return {all.begin(), all.end() - 1};
  }

  // Both databases in the older layout, one job in each.
  void MakeOldDatabases() {
    favorite = RawDatabase(u"WktDevFavJobs").Add(OldRawJob(u"F", 12, -1, -2));
    daily = RawDatabase(u"WktDevJobs").Add(OldRawJob(u"D", -2147483647 - 1, 0, 2147483647));
  }
  void ExpectUpgraded() {
    EXPECT_EQ(Texts(u"WktDevFavJobs", favorite), "'12' '' ''");
    EXPECT_EQ(Texts(u"WktDevJobs", daily), "'-2147483648' '0' '2147483647'");
    EXPECT_EQ(Version(), 74);
  }
  void ExpectUntouched() {
    EXPECT_EQ(Texts(u"WktDevFavJobs", favorite), "none none none");
    EXPECT_EQ(Texts(u"WktDevJobs", daily), "none none none");
  }

  CEOID favorite = 0;
  CEOID daily = 0;
};

}  // namespace wkt::test
