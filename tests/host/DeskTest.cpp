// The knobs: making and choosing devices, clock, zone and locale.
#include "host/control/Desk.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "platform/Registry.h"
#include "platform/Time.h"
#include "tests/support/DeskDevice.h"

namespace {

using wkt::test::DeskDeviceTest;

using Desk = DeskDeviceTest;

std::u16string LocaleText(const char16_t* name) {
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"nls\\overrides", 0, KEY_READ, &key), ERROR_SUCCESS);
  char16_t text[80] = {};
  DWORD byteCount = sizeof(text);
  EXPECT_EQ(
      RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &byteCount),
      ERROR_SUCCESS);
  RegCloseKey(key);
  return text;
}

TIME_ZONE_INFORMATION StoredZone() {
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Time", 0, KEY_READ, &key), ERROR_SUCCESS);
  TIME_ZONE_INFORMATION zone = {};
  DWORD byteCount = sizeof(zone);
  DWORD type = 0;
  EXPECT_EQ(RegQueryValueExW(key, u"TimeZoneInformation", nullptr, &type,
                             reinterpret_cast<BYTE*>(&zone), &byteCount),
            ERROR_SUCCESS);
  EXPECT_EQ(type, REG_BINARY);
  EXPECT_EQ(byteCount, 172u);
  RegCloseKey(key);
  return zone;
}

struct Rule {
  int month, weekday, week, hour;
};

void ExpectRule(const SYSTEMTIME& date, const Rule& rule) {
  EXPECT_EQ(date.wYear, 0);
  EXPECT_EQ(date.wMonth, rule.month);
  EXPECT_EQ(date.wDayOfWeek, rule.weekday);
  EXPECT_EQ(date.wDay, rule.week);
  EXPECT_EQ(date.wHour, rule.hour);
}

TEST_F(Desk, ClockStandsAtTheStartTime) {
  EXPECT_EQ(wkt::control::FormatIsoTime(wkt::control::DeviceTime()), "2026-03-02T08:00:00Z");
  EXPECT_EQ(wkt::control::DeviceTime(), wkt::test::kStartTicks);
}

TEST_F(Desk, FrozenClockStepsBothWays) {
  device.StepClockMilliseconds(1500);
  EXPECT_EQ(wkt::control::FormatIsoTime(wkt::control::DeviceTime()), "2026-03-02T08:00:01.500Z");
  device.StepClockMilliseconds(-2000);
  EXPECT_EQ(wkt::control::FormatIsoTime(wkt::control::DeviceTime()), "2026-03-02T07:59:59.500Z");
}

TEST_F(Desk, OffsetClockRuns) {
  std::string error;
  ASSERT_TRUE(wkt::control::RunClock(error));
  const uint64_t machine = wkt::control::DeviceTime();
  ASSERT_TRUE(wkt::control::OffsetClock(36'000'000'000, error));
  const uint64_t ahead = wkt::control::DeviceTime() - machine;
  EXPECT_GE(ahead, 36'000'000'000u);
  EXPECT_LT(ahead, 36'000'000'000u + 600'000'000u);
}

TEST_F(Desk, IsoTimesAreReadStrictly) {
  uint64_t ticks = 0xDEADBEEF;
  for (const char* bad :
       {"", "2026-03-02", "2026-03-02T08:00:00", "2026-02-29T00:00:00Z", "2026-13-01T00:00:00Z",
        "2026-03-02T24:00:00Z", "1600-12-31T00:00:00Z", "2026-03-02T08:00:00.5Z",
        "2026-03-02T08:00:00Zx", "2026-03-02 08:00:00Z"})
    EXPECT_FALSE(wkt::control::ParseIsoTime(bad, ticks)) << bad;
  EXPECT_EQ(ticks, 0xDEADBEEF);
  ASSERT_TRUE(wkt::control::ParseIsoTime("1601-01-01T00:00:00Z", ticks));
  EXPECT_EQ(ticks, 0u);
  ASSERT_TRUE(wkt::control::ParseIsoTime("1970-01-01T00:00:00Z", ticks));
  EXPECT_EQ(ticks, 116'444'736'000'000'000u);
  ASSERT_TRUE(wkt::control::ParseIsoTime("2024-02-29T23:59:59.999Z", ticks));
  EXPECT_EQ(wkt::control::FormatIsoTime(ticks), "2024-02-29T23:59:59.999Z");
}

TEST_F(Desk, ZoneOfViennaChangesOnLastSundays) {
  const TIME_ZONE_INFORMATION zone = StoredZone();
  EXPECT_EQ(zone.Bias, -60);
  EXPECT_EQ(zone.StandardBias, 0);
  EXPECT_EQ(zone.DaylightBias, -60);
  ExpectRule(zone.StandardDate, {10, 0, 5, 3});
  ExpectRule(zone.DaylightDate, {3, 0, 5, 2});
  EXPECT_EQ(std::u16string(zone.StandardName), u"Central European Standard Time");
  EXPECT_EQ(std::u16string(zone.DaylightName), u"Central European Summer Time");
}

TEST_F(Desk, ZonesOfOtherShapes) {
  device.SetZone("America/New_York");
  TIME_ZONE_INFORMATION zone = StoredZone();
  EXPECT_EQ(zone.Bias, 300);
  ExpectRule(zone.DaylightDate, {3, 0, 2, 2});
  ExpectRule(zone.StandardDate, {11, 0, 1, 2});

  device.SetZone("Australia/Lord_Howe");  // half an hour of daylight saving, in the southern summer
  zone = StoredZone();
  EXPECT_EQ(zone.Bias, -630);
  EXPECT_EQ(zone.DaylightBias, -30);
  ExpectRule(zone.DaylightDate, {10, 0, 1, 2});
  ExpectRule(zone.StandardDate, {4, 0, 1, 2});

  device.SetZone("Asia/Kathmandu");
  zone = StoredZone();
  EXPECT_EQ(zone.Bias, -345);
  EXPECT_EQ(zone.DaylightBias, 0);
  ExpectRule(zone.DaylightDate, {0, 0, 0, 0});
  ExpectRule(zone.StandardDate, {0, 0, 0, 0});

  device.SetZone("Europe/Vienna", 1990);  // summer ended in September then
  ExpectRule(StoredZone().StandardDate, {9, 0, 5, 3});
}

TEST_F(Desk, UnknownZonesAreRefused) {
  std::string error;
  EXPECT_FALSE(wkt::control::SetZone("Europe/Vienn", 0, error));
  EXPECT_EQ(error, "no zone of the time-zone database: Europe/Vienn");
  EXPECT_FALSE(wkt::control::SetZone("", 0, error));
  EXPECT_EQ(StoredZone().Bias, -60);
}

TEST_F(Desk, LocaleOfTheUnitedStates) {
  EXPECT_EQ(LocaleText(u"SSHDT"), u"M/d/yy");
  EXPECT_EQ(LocaleText(u"SLDT"), u"dddd, MMMM dd, yyyy");
  EXPECT_EQ(LocaleText(u"STFMT"), u"h:mm:ss tt");
  EXPECT_EQ(LocaleText(u"SDATE"), u"/");
  EXPECT_EQ(LocaleText(u"STIME"), u":");
  EXPECT_EQ(LocaleText(u"S1159"), u"AM");
  EXPECT_EQ(LocaleText(u"S2359"), u"PM");
  EXPECT_EQ(LocaleText(u"DAY1"), u"Monday");
  EXPECT_EQ(LocaleText(u"DAY7"), u"Sunday");
  EXPECT_EQ(LocaleText(u"ADAY7"), u"Sun");
  EXPECT_EQ(LocaleText(u"MON1"), u"January");
  EXPECT_EQ(LocaleText(u"MON12"), u"December");
  EXPECT_EQ(LocaleText(u"AMON3"), u"Mar");
}

TEST_F(Desk, LocaleOfAustria) {
  device.SetLocale("de-AT");
  EXPECT_EQ(LocaleText(u"SSHDT"), u"dd.MM.yy");
  EXPECT_EQ(LocaleText(u"SLDT"), u"dddd, d. MMMM yyyy");
  EXPECT_EQ(LocaleText(u"STFMT"), u"HH:mm:ss");
  EXPECT_EQ(LocaleText(u"SDATE"), u".");
  EXPECT_EQ(LocaleText(u"DAY3"), u"Mittwoch");
  EXPECT_EQ(LocaleText(u"MON1"), u"J\u00E4nner");
}

TEST_F(Desk, PicturesKeepQuotedLetters) {
  device.SetLocale("es-ES");
  EXPECT_EQ(LocaleText(u"SLDT"), u"dddd, d 'de' MMMM 'de' yyyy");
}

TEST_F(Desk, UnknownLocalesAreRefused) {
  std::string error;
  for (const char* bad : {"", "qq-QQ", "not a tag"})
    EXPECT_FALSE(wkt::control::SetLocale(bad, error)) << bad;
  EXPECT_EQ(LocaleText(u"SSHDT"), u"M/d/yy");
}

TEST_F(Desk, SettingsOutliveTheProcess) {
  device.SetDurability(wkt::control::Durability::Relaxed);
  device.SetCursorModel(wkt::control::CursorModel::WriteMovesPosition);
  device.FixTickCount(4'000'000'000);
  wkt::control::LeaveDevice();
  std::filesystem::remove(device.Folder() + "/shared");
  device.Reopen();
  const wkt::control::Settings settings = wkt::control::CurrentSettings();
  EXPECT_EQ(settings.durability, wkt::control::Durability::Relaxed);
  EXPECT_EQ(settings.cursorModel, wkt::control::CursorModel::WriteMovesPosition);
  EXPECT_EQ(settings.clockMode, wkt::control::ClockMode::Frozen);
  EXPECT_EQ(settings.clockTicks, static_cast<int64_t>(wkt::test::kStartTicks));
  EXPECT_EQ(settings.tickValue, 4'000'000'000u);
}

TEST_F(Desk, FullFolderIsNotMadeADevice) {
  std::string error;
  EXPECT_FALSE(wkt::control::CreateDevice(device.Folder(), {}, error));
  EXPECT_EQ(error, device.Folder() + ": exists and is not an empty folder");
}

struct BadSettings {
  const char* text;
  const char* problem;
};

class DeskSettings : public DeskDeviceTest, public ::testing::WithParamInterface<BadSettings> {};

TEST_P(DeskSettings, AreRefusedWithTheFilesNameAndStayAsTheyAre) {
  wkt::control::LeaveDevice();
  const std::string path = device.Folder() + "/device";
  std::ofstream(path, std::ios::binary) << GetParam().text;
  std::string error;
  EXPECT_FALSE(wkt::control::UseDevice(device.Folder(), error));
  EXPECT_EQ(error, path + ": " + GetParam().problem);
  std::ifstream file(path, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Damaged, DeskSettings,
    ::testing::Values(BadSettings{"", "the file is empty"},
                      BadSettings{
                          "worktally-device 2\nfuture setting\n",
                          "the device has format 2, newer than 1, the newest this program knows"},
                      BadSettings{"worktally-device 0\n", "not the settings of a device"},
                      BadSettings{"worktally-device one\n", "not the settings of a device"},
                      BadSettings{"SQLite format 3", "not the settings of a device"},
                      BadSettings{"worktally-device 1\nclock frozen\n",
                                  "line 2 is no setting this program knows"},
                      BadSettings{"worktally-device 1\n\nticks fixed 4294967296\n",
                                  "line 3 is no setting this program knows"},
                      BadSettings{"worktally-device 1\ndurability full now\n",
                                  "line 2 is no setting this program knows"},
                      BadSettings{"worktally-device 1\ncolour red\n",
                                  "line 2 is no setting this program knows"}));

TEST(DeskFolder, MissingFolderIsNamed) {
  std::string error;
  EXPECT_FALSE(wkt::control::UseDevice("/nowhere/at all", error));
  EXPECT_EQ(error, "/nowhere/at all: No such file or directory");
}

}  // namespace
