// Clock and zone of a device.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/Kernel.h"
#include "platform/Registry.h"
#include "platform/Time.h"
#include "tests/support/DeskDevice.h"

namespace wkt::test {

namespace {

using Clock = DeskDeviceTest;

constexpr uint64_t kTicksPerMinute = 600'000'000;

uint64_t Ticks(const FILETIME& time) {
  return (uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

FILETIME File(uint64_t ticks) {
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

std::string Padded(unsigned value) {
  return (value < 10 ? "0" : "") + std::to_string(value);
}

// "2026-03-02 08:00:00" and, where there are any, ".123".
std::string Text(const SYSTEMTIME& time) {
  std::string text = std::to_string(time.wYear) + "-" + Padded(time.wMonth) + "-" +
                     Padded(time.wDay) + " " + Padded(time.wHour) + ":" + Padded(time.wMinute) +
                     ":" + Padded(time.wSecond);
  return time.wMilliseconds == 0 ? text : text + "." + std::to_string(time.wMilliseconds);
}

std::string UtcNow() {
  SYSTEMTIME now = {};
  GetSystemTime(&now);
  return Text(now);
}

std::string LocalNow() {
  SYSTEMTIME now = {};
  GetLocalTime(&now);
  return Text(now);
}

// Minutes that FileTimeToLocalFileTime takes off.
int64_t BiasApplied() {
  const FILETIME utc = File(134169120000000000);
  FILETIME local = {};
  EXPECT_EQ(FileTimeToLocalFileTime(&utc, &local), TRUE);
  return (static_cast<int64_t>(Ticks(utc)) - static_cast<int64_t>(Ticks(local))) /
         static_cast<int64_t>(kTicksPerMinute);
}

DWORD ZoneState() {
  TIME_ZONE_INFORMATION zone = {};
  return GetTimeZoneInformation(&zone);
}

LONG StoreZone(DWORD type, const void* data, size_t byteCount) {
  HKEY key = nullptr;
  EXPECT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"Time", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                            &key, nullptr),
            ERROR_SUCCESS);
  const LONG result = RegSetValueExW(key, u"TimeZoneInformation", 0, type,
                                     static_cast<const BYTE*>(data), static_cast<DWORD>(byteCount));
  RegCloseKey(key);
  return result;
}

void StoreZone(const TIME_ZONE_INFORMATION& zone) {
  EXPECT_EQ(StoreZone(REG_BINARY, &zone, sizeof(zone)), ERROR_SUCCESS);
}

TIME_ZONE_INFORMATION ViennaRules() {
  TIME_ZONE_INFORMATION zone = {};
  zone.Bias = -60;
  zone.DaylightBias = -60;
  zone.StandardDate = {0, 10, 0, 5, 3, 0, 0, 0};
  zone.DaylightDate = {0, 3, 0, 5, 2, 0, 0, 0};
  return zone;
}

struct Change {
  const char* zone;
  const char* before;  // UTC, the last millisecond of the old bias
  const char* localBefore;
  const char* at;  // UTC
  const char* localAt;
  DWORD state;  // from then on
  LONG bias;    // minutes, from then on
};

TEST_F(Clock, BothDaysOfChange) {
  const Change changes[] = {
      {"Europe/Vienna", "2026-03-29T00:59:59.999Z", "2026-03-29 01:59:59.999",
       "2026-03-29T01:00:00Z", "2026-03-29 03:00:00", TIME_ZONE_ID_DAYLIGHT, -120},
      {"Europe/Vienna", "2026-10-25T00:59:59.999Z", "2026-10-25 02:59:59.999",
       "2026-10-25T01:00:00Z", "2026-10-25 02:00:00", TIME_ZONE_ID_STANDARD, -60},
      {"America/New_York", "2026-03-08T06:59:59.999Z", "2026-03-08 01:59:59.999",
       "2026-03-08T07:00:00Z", "2026-03-08 03:00:00", TIME_ZONE_ID_DAYLIGHT, 240},
      {"America/New_York", "2026-11-01T05:59:59.999Z", "2026-11-01 01:59:59.999",
       "2026-11-01T06:00:00Z", "2026-11-01 01:00:00", TIME_ZONE_ID_STANDARD, 300},
      {"Australia/Sydney", "2026-04-04T15:59:59.999Z", "2026-04-05 02:59:59.999",
       "2026-04-04T16:00:00Z", "2026-04-05 02:00:00", TIME_ZONE_ID_STANDARD, -600},
      {"Australia/Sydney", "2026-10-03T15:59:59.999Z", "2026-10-04 01:59:59.999",
       "2026-10-03T16:00:00Z", "2026-10-04 03:00:00", TIME_ZONE_ID_DAYLIGHT, -660},
      // Ten and a half hours ahead, and the clocks change by half an hour.
      {"Australia/Lord_Howe", "2026-04-04T14:59:59.999Z", "2026-04-05 01:59:59.999",
       "2026-04-04T15:00:00Z", "2026-04-05 01:30:00", TIME_ZONE_ID_STANDARD, -630},
      {"Australia/Lord_Howe", "2026-10-03T15:29:59.999Z", "2026-10-04 01:59:59.999",
       "2026-10-03T15:30:00Z", "2026-10-04 02:30:00", TIME_ZONE_ID_DAYLIGHT, -660},
  };
  for (const Change& change : changes) {
    SCOPED_TRACE(std::string(change.zone) + " " + change.at);
    device.SetZone(change.zone);
    device.FreezeClock(change.before);
    EXPECT_EQ(LocalNow(), change.localBefore);
    EXPECT_NE(ZoneState(), change.state);
    EXPECT_NE(BiasApplied(), change.bias);
    device.FreezeClock(change.at);
    EXPECT_EQ(LocalNow(), change.localAt);
    EXPECT_EQ(ZoneState(), change.state);
    EXPECT_EQ(BiasApplied(), change.bias);
  }
}

TEST_F(Clock, TheTurnOfTheYearIsSummerInTheSouth) {
  device.SetZone("Australia/Sydney");
  for (const char* time : {"2026-01-01T00:00:00Z", "2026-12-31T23:59:59Z"}) {
    device.FreezeClock(time);
    EXPECT_EQ(ZoneState(), TIME_ZONE_ID_DAYLIGHT);
    EXPECT_EQ(BiasApplied(), -660);
  }
  device.FreezeClock("2026-07-01T00:00:00Z");
  EXPECT_EQ(ZoneState(), TIME_ZONE_ID_STANDARD);
}

TEST_F(Clock, ZoneWithoutDaylightSavingAndWithHalfAnHour) {
  device.SetZone("Asia/Kolkata");
  for (const char* time : {"2026-01-15T20:00:00Z", "2026-07-15T20:00:00Z"}) {
    device.FreezeClock(time);
    EXPECT_EQ(ZoneState(), TIME_ZONE_ID_UNKNOWN);
    EXPECT_EQ(BiasApplied(), -330);
  }
  EXPECT_EQ(LocalNow(), "2026-07-16 01:30:00");
}

TEST_F(Clock, ZoneWithoutDaylightSavingChangesOnNoDay) {
  device.SetZone("Africa/Lagos");
  // Before and after the instants at which its neighbours in Europe change.
  for (const auto& [time, local] :
       {std::pair{"2026-03-29T00:59:59.999Z", "2026-03-29 01:59:59.999"},
        {"2026-03-29T01:00:00Z", "2026-03-29 02:00:00"},
        {"2026-10-25T00:59:59.999Z", "2026-10-25 01:59:59.999"},
        {"2026-10-25T01:00:00Z", "2026-10-25 02:00:00"}}) {
    device.FreezeClock(time);
    EXPECT_EQ(LocalNow(), local);
    EXPECT_EQ(ZoneState(), TIME_ZONE_ID_UNKNOWN);
    EXPECT_EQ(BiasApplied(), -60);
  }
}

TEST_F(Clock, TheBiasOfNowIsAppliedToEveryDate) {
  device.FreezeClock("2026-07-01T12:00:00Z");
  const FILETIME winter = File(134169120000000000);  // 2 March
  FILETIME local = {};
  EXPECT_EQ(FileTimeToLocalFileTime(&winter, &local), TRUE);
  EXPECT_EQ(Ticks(local) - Ticks(winter), 120 * kTicksPerMinute);
  FILETIME back = {};
  EXPECT_EQ(LocalFileTimeToFileTime(&local, &back), TRUE);
  EXPECT_EQ(Ticks(back), Ticks(winter));
}

TEST_F(Clock, ConversionInPlaceIsRefused) {
  FILETIME time = File(134169120000000000);
  SetLastError(0);
  EXPECT_EQ(FileTimeToLocalFileTime(&time, &time), FALSE);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(LocalFileTimeToFileTime(&time, &time), FALSE);
  EXPECT_EQ(Ticks(time), 134169120000000000u);
}

TEST_F(Clock, LocalTimesWrapAtTheStartOfTime) {
  device.SetZone("America/New_York");
  const FILETIME zero = {};
  FILETIME local = {};
  EXPECT_EQ(FileTimeToLocalFileTime(&zero, &local), TRUE);
  EXPECT_EQ(Ticks(local), uint64_t{0} - 300 * kTicksPerMinute);
  SYSTEMTIME calendar = {};
  EXPECT_EQ(FileTimeToSystemTime(&local, &calendar), FALSE);
}

TEST_F(Clock, TheZoneIsHandedOutAsStored) {
  TIME_ZONE_INFORMATION stored = ViennaRules();
  stored.StandardName[0] = u'W';
  stored.DaylightName[31] = u'S';  // unterminated
  StoreZone(stored);
  TIME_ZONE_INFORMATION zone = {};
  SetLastError(0xDEADBEEF);
  EXPECT_EQ(GetTimeZoneInformation(&zone), TIME_ZONE_ID_STANDARD);
  EXPECT_EQ(memcmp(&zone, &stored, sizeof(zone)), 0);
  EXPECT_EQ(GetLastError(), 0xDEADBEEF);
}

TEST_F(Clock, RulesHoldInEveryYear) {
  StoreZone(ViennaRules());
  device.FreezeClock("1602-03-31T00:59:59Z");
  EXPECT_EQ(BiasApplied(), -60);
  device.FreezeClock("1602-03-31T01:00:00Z");
  EXPECT_EQ(BiasApplied(), -120);
  device.FreezeClock("9999-10-31T00:59:59Z");
  EXPECT_EQ(BiasApplied(), -120);
  device.FreezeClock("9999-10-31T01:00:00Z");
  EXPECT_EQ(BiasApplied(), -60);
}

TEST_F(Clock, WeeksAreCountedFromTheFirstOfTheMonth) {
  TIME_ZONE_INFORMATION zone = ViennaRules();
  // February 2026 begins on a Sunday and has four of them: the fifth is the fourth.
  zone.DaylightDate = {0, 2, 0, 5, 2, 0, 0, 0};
  StoreZone(zone);
  device.FreezeClock("2026-02-22T00:59:59Z");
  EXPECT_EQ(BiasApplied(), -60);
  device.FreezeClock("2026-02-22T01:00:00Z");
  EXPECT_EQ(BiasApplied(), -120);
  // The first Saturday is the last day of the first week.
  zone.DaylightDate = {0, 2, 6, 1, 2, 0, 0, 0};
  StoreZone(zone);
  device.FreezeClock("2026-02-07T00:59:59Z");
  EXPECT_EQ(BiasApplied(), -60);
  device.FreezeClock("2026-02-07T01:00:00Z");
  EXPECT_EQ(BiasApplied(), -120);
}

TEST_F(Clock, RulesWithAYearHappenOnce) {
  TIME_ZONE_INFORMATION zone = ViennaRules();
  zone.DaylightDate = {2026, 4, 0, 10, 2, 0, 0, 0};
  zone.StandardDate = {2026, 9, 0, 20, 3, 0, 0, 0};
  StoreZone(zone);
  const struct {
    const char* time;
    DWORD state;
  } cases[] = {
      {"2025-07-01T00:00:00Z", TIME_ZONE_ID_STANDARD},
      {"2026-04-10T00:59:59Z", TIME_ZONE_ID_STANDARD},
      {"2026-04-10T01:00:00Z", TIME_ZONE_ID_DAYLIGHT},
      {"2026-09-20T00:59:59Z", TIME_ZONE_ID_DAYLIGHT},
      {"2026-09-20T01:00:00Z", TIME_ZONE_ID_STANDARD},
      {"2027-07-01T00:00:00Z", TIME_ZONE_ID_STANDARD},
      {"2100-07-01T00:00:00Z", TIME_ZONE_ID_STANDARD},
  };
  for (const auto& one : cases) {
    device.FreezeClock(one.time);
    EXPECT_EQ(ZoneState(), one.state) << one.time;
  }
}

TEST_F(Clock, StandardBiasCounts) {
  TIME_ZONE_INFORMATION zone = ViennaRules();
  zone.StandardBias = 10;
  StoreZone(zone);
  device.FreezeClock("2026-01-15T00:00:00Z");
  EXPECT_EQ(BiasApplied(), -50);
}

TEST_F(Clock, RulesThatNameNoMomentAreNoRules) {
  const SYSTEMTIME bad[] = {
      {0, 0, 0, 0, 0, 0, 0, 0},  {0, 13, 0, 1, 2, 0, 0, 0},    {0, 3, 7, 1, 2, 0, 0, 0},
      {0, 3, 0, 0, 2, 0, 0, 0},  {0, 3, 0, 6, 2, 0, 0, 0},     {0, 3, 0, 1, 24, 0, 0, 0},
      {0, 3, 0, 1, 2, 60, 0, 0}, {2026, 2, 0, 30, 2, 0, 0, 0}, {1500, 3, 0, 1, 2, 0, 0, 0}};
  device.FreezeClock("2026-07-01T00:00:00Z");
  for (const SYSTEMTIME& rule : bad) {
    TIME_ZONE_INFORMATION zone = ViennaRules();
    zone.DaylightDate = rule;
    StoreZone(zone);
    EXPECT_EQ(ZoneState(), TIME_ZONE_ID_UNKNOWN) << rule.wMonth;
    EXPECT_EQ(BiasApplied(), -60) << rule.wMonth;
  }
}

TEST_F(Clock, DamagedZoneIsUtc) {
  const TIME_ZONE_INFORMATION good = ViennaRules();
  TIME_ZONE_INFORMATION far = good;
  far.Bias = 0x7FFFFFFF;
  EXPECT_EQ(StoreZone(REG_BINARY, &good, sizeof(good) - 1), ERROR_SUCCESS);
  EXPECT_EQ(BiasApplied(), 0);
  EXPECT_EQ(StoreZone(REG_SZ, &good, sizeof(good)), ERROR_SUCCESS);
  EXPECT_EQ(BiasApplied(), 0);
  EXPECT_EQ(StoreZone(REG_BINARY, nullptr, 0), ERROR_SUCCESS);
  EXPECT_EQ(BiasApplied(), 0);
  StoreZone(far);
  EXPECT_EQ(BiasApplied(), 0);
  EXPECT_EQ(ZoneState(), TIME_ZONE_ID_UNKNOWN);
  StoreZone(good);
  EXPECT_EQ(BiasApplied(), -60);
}

TEST_F(Clock, TheFrozenClockStandsStill) {
  EXPECT_EQ(UtcNow(), "2026-03-02 08:00:00");
  EXPECT_EQ(LocalNow(), "2026-03-02 09:00:00");
  SYSTEMTIME now = {};
  GetSystemTime(&now);
  EXPECT_EQ(now.wDayOfWeek, 1);
  device.StepClockMilliseconds(1);
  EXPECT_EQ(UtcNow(), "2026-03-02 08:00:00.1");
  device.StepClockMilliseconds(-2);
  EXPECT_EQ(UtcNow(), "2026-03-02 07:59:59.999");
}

TEST_F(Clock, TheRunningClockRuns) {
  device.RunClock();
  SYSTEMTIME now = {};
  FILETIME first = {};
  FILETIME second = {};
  GetSystemTime(&now);
  ASSERT_EQ(SystemTimeToFileTime(&now, &first), TRUE);
  do {
    GetSystemTime(&now);
    ASSERT_EQ(SystemTimeToFileTime(&now, &second), TRUE);
    ASSERT_NE(CompareFileTime(&first, &second), 1);
  } while (CompareFileTime(&first, &second) == 0);
}

TEST_F(Clock, TicksAreFixedOrRun) {
  EXPECT_EQ(GetTickCount(), 1000u);
  device.FixTickCount(0xFFFFFFFF);
  EXPECT_EQ(GetTickCount(), 0xFFFFFFFFu);
}

}  // namespace

}  // namespace wkt::test
