#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

#include "desktop/manager/Trace.h"
#include "desktop/partner/Failure.h"
#include "desktop/partner/Import.h"
#include "desktop/partner/Instant.h"

namespace wkt::test {
namespace {

constexpr char kOwnZone[] =
    "BEGIN:VTIMEZONE\nTZID:Home\n"
    "BEGIN:STANDARD\nDTSTART:19701025T030000\nTZOFFSETFROM:+0200\nTZOFFSETTO:+0100\n"
    "RRULE:FREQ=YEARLY;BYDAY=-1SU;BYMONTH=10\nEND:STANDARD\n"
    "BEGIN:DAYLIGHT\nDTSTART:19700329T020000\nTZOFFSETFROM:+0100\nTZOFFSETTO:+0200\n"
    "RRULE:FREQ=YEARLY;BYDAY=-1SU;BYMONTH=3\nEND:DAYLIGHT\nEND:VTIMEZONE\n";

std::string Calendar(const std::string& inside) {
  return "BEGIN:VCALENDAR\n" + inside + "END:VCALENDAR\n";
}
std::string Event(const std::string& lines) {
  return "BEGIN:VEVENT\n" + lines + "END:VEVENT\n";
}

ImportedRecords Read(const std::string& content, std::vector<std::string>* skipped = nullptr) {
  static const Zone zone("Europe/Vienna");
  ImportOptions options;
  options.fileName = "c.ics";
  options.zone = &zone;
  options.skipped = skipped;
  return ReadCalendarRecords(options, content);
}

// "2026-03-02T08:00:00 09:00", one a job, in their order.
std::vector<std::string> Times(const ImportedRecords& records) {
  std::vector<std::string> times;
  for (const ImportedRecord& imported : records) {
    if (imported.record.Folder() == FolderId::Jobs) {
      times.push_back(ClockText(imported.record.Ticks(Field::Start)) + " " +
                      MinuteText(imported.record.Ticks(Field::End)));
    }
  }
  std::sort(times.begin(), times.end());
  return times;
}
using Lines = std::vector<std::string>;

std::string Problem(const std::string& content) {
  try {
    (void)Read(content);
    return "none";
  } catch (const Failure& failure) {
    return failure.what();
  }
}

TEST(ImportCalendar, ZonesAreFoundByNameThenInTheFileThenAsWindowsNames) {
  EXPECT_EQ(Times(Read(Calendar(
                std::string(kOwnZone) + Event("DTSTART:20260701T080000Z\n") +
                Event("DTSTART:20260702T100000\n") +
                Event("DTSTART;TZID=America/New_York:20260703T100000\n") +
                Event("DTSTART;TZID=Home:20260704T100000\n") +
                Event("DTSTART;TZID=W. Europe Standard Time:20260705T100000\n") +
                Event("DTSTART;TZID=/example.org/20260101/Asia/Taipei:20260706T100000\n")))),
            (Lines{"2026-07-01T08:00:00 08:00", "2026-07-02T08:00:00 08:00",
                   "2026-07-03T14:00:00 14:00", "2026-07-04T08:00:00 08:00",
                   "2026-07-05T08:00:00 08:00", "2026-07-06T02:00:00 02:00"}));
  EXPECT_EQ(Problem(Calendar(Event("DTSTART;TZID=Mars/Base:20260301T080000\n"))),
            "c.ics:3: the time zone 'Mars/Base' is neither known nor defined in the file; expected "
            "a name such as Europe/Vienna");
}

// 9 o'clock stays 9 o'clock on both days on which the clocks change.
TEST(ImportCalendar, OccurrencesKeepTheWallClock) {
  for (const char* zone : {"Home", "Europe/Vienna"}) {
    const std::string tzid = std::string(";TZID=") + zone + ":";
    EXPECT_EQ(Times(Read(Calendar(
                  kOwnZone +
                  Event("DTSTART" + tzid + "20260328T090000\nDTEND" + tzid +
                        "20260328T100000\nRRULE:FREQ=DAILY;COUNT=3\n") +
                  Event("DTSTART" + tzid + "20261024T090000\nRRULE:FREQ=DAILY;COUNT=2\n")))),
              (Lines{"2026-03-28T08:00:00 09:00", "2026-03-29T07:00:00 08:00",
                     "2026-03-30T07:00:00 08:00", "2026-10-24T07:00:00 07:00",
                     "2026-10-25T08:00:00 08:00"}))
        << zone;
  }
}

TEST(ImportCalendar, WholeDaysHaveTheHoursOfTheirDay) {
  const ImportedRecords records = Read(
      Calendar(Event("DTSTART;VALUE=DATE:20260328\nRRULE:FREQ=DAILY;COUNT=3\n") +
               Event("DTSTART;VALUE=DATE:20261025\nDTEND;VALUE=DATE:20261027\nSUMMARY:two\n")));
  EXPECT_EQ(Times(records), (Lines{"2026-03-27T23:00:00 23:00", "2026-03-28T23:00:00 22:00",
                                   "2026-03-29T22:00:00 22:00", "2026-10-24T22:00:00 23:00"}));
  EXPECT_EQ(DateText(records.front().record.Ticks(Field::Day)), "2026-03-28");
}

TEST(ImportCalendar, ListsOfDatesAddAndTakeAway) {
  const std::string tzid = ";TZID=Home:";
  EXPECT_EQ(
      Times(Read(Calendar(
          kOwnZone +
          Event("UID:a\nDTSTART" + tzid +
                "20260302T090000\nDURATION:PT1H\nRRULE:FREQ=DAILY;COUNT=5\n"
                "EXDATE" +
                tzid +
                "20260302T090000,20260304T090000\n"
                "EXDATE;VALUE=DATE:20260305\n"
                "RDATE" +
                tzid +
                "20260401T090000,20260402T090000\n"
                "RDATE;VALUE=PERIOD:20260501T090000Z/PT3H,20260502T090000Z/20260502T103000Z\n")))),
      (Lines{"2026-03-03T08:00:00 09:00", "2026-03-06T08:00:00 09:00", "2026-04-01T07:00:00 08:00",
             "2026-04-02T07:00:00 08:00", "2026-05-01T09:00:00 12:00",
             "2026-05-02T09:00:00 10:30"}));
}

TEST(ImportCalendar, UntilIsAnInstant) {
  const auto until = [](const std::string& value) {
    return Times(Read(Calendar(Event("DTSTART;TZID=Europe/Vienna:20260302T090000\n"
                                     "RRULE:FREQ=DAILY;UNTIL=" +
                                     value + "\n"))))
        .size();
  };
  EXPECT_EQ(until("20260304T080000Z"), 3u) << "9 o'clock in Vienna";
  EXPECT_EQ(until("20260304T075959Z"), 2u);
  EXPECT_EQ(until("20260304"), 3u) << "the whole day";
  EXPECT_EQ(until("99991231"), 750u);
}

TEST(ImportCalendar, AnOccurrenceThatWasMovedKeepsItsIdentifier) {
  const std::string series =
      Event("UID:a\nDTSTART:20260302T090000Z\nSUMMARY:s\nRRULE:FREQ=DAILY;COUNT=3\n");
  const ImportedRecords before = Read(Calendar(series));
  const ImportedRecords after = Read(Calendar(
      Event("UID:a\nRECURRENCE-ID:20260303T090000Z\nDTSTART:20260303T150000Z\nSUMMARY:moved\n") +
      series));
  EXPECT_EQ(Times(after), (Lines{"2026-03-02T09:00:00 09:00", "2026-03-03T15:00:00 15:00",
                                 "2026-03-04T09:00:00 09:00"}));
  ASSERT_EQ(before.size(), 3u);
  EXPECT_EQ(after.front().record.Id(), before[1].record.Id());
  EXPECT_EQ(ToUtf8(after.front().record.Text(Field::Title)), "moved");
  const std::string cancelled =
      Event("UID:a\nRECURRENCE-ID:20260303T090000Z\nDTSTART:20260303T090000Z\nSTATUS:CANCELLED\n");
  EXPECT_EQ(Times(Read(Calendar(series + cancelled))).size(), 2u);
}

TEST(ImportCalendar, CategoriesAreProjectsAndAttendeesPersons) {
  const ImportedRecords records =
      Read(Calendar(Event("DTSTART:20260302T090000Z\nCATEGORIES:House / Roof,Other\n"
                          "ATTENDEE;CN=\"Sam, the roofer\":mailto:sam@example.org\n"
                          "ATTENDEE:mailto:kim@example.org\n")));
  Lines types;
  for (const ImportedRecord& imported : records) {
    if (imported.record.IsType()) {
      types.push_back(std::to_string(imported.record.Number(Field::Kind)) + " " +
                      ToUtf8(imported.record.DisplayName()));
    }
  }
  EXPECT_EQ(types, (Lines{"2 House", "2 Roof", "3 Sam, the roofer", "3 kim@example.org"}));
  const Record& job = records.back().record;
  EXPECT_EQ(job.Text(Field::Project), records[1].record.Id());
  EXPECT_EQ(records[1].record.Text(Field::Unused1), records[0].record.Id());
  EXPECT_EQ(job.Text(Field::Persons), records[2].record.Id() + u"; " + records[3].record.Id());
}

// A fold may stand between the bytes of one letter.
TEST(ImportCalendar, FoldsAreTakenOutBeforeAnythingElse) {
  const ImportedRecords records = Read(
      Calendar("BEG\r\n IN:VEVENT\r\nDTSTART:2026\r\n 0302T090000Z\r\nSUMMARY:K\xC3\r\n \xB6nig\r\n"
               "END:VEVENT\r\n"));
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(ToUtf8(records[0].record.Text(Field::Title)), "K\xC3\xB6nig");
  EXPECT_EQ(records[0].line, 2);
}

TEST(ImportCalendar, ErrorsNameTheLineAndWhatWasExpected) {
  const auto inEvent = [](const std::string& line) {
    return Problem(Calendar(Event("DTSTART:20260302T090000Z\n" + line + "\n")));
  };
  EXPECT_EQ(inEvent("DTEND:gestern"),
            "c.ics:4: DTEND cannot be read, expected a time such as 20260302T080000Z");
  EXPECT_EQ(inEvent("DURATION:one hour"),
            "c.ics:4: DURATION cannot be read, expected a length such as PT1H30M");
  EXPECT_EQ(inEvent("SUMMARY:x\nRRULE:FREQ=OFTEN"),
            "c.ics:5: RRULE cannot be read, expected a rule such as FREQ=WEEKLY;COUNT=10");
  EXPECT_EQ(inEvent("DTEND:20260302T080000Z"), "c.ics:4: the event ends before it starts");
  EXPECT_EQ(inEvent("EXRULE:FREQ=DAILY"), "c.ics:4: EXRULE is not understood; expected EXDATE");
  EXPECT_EQ(Problem(Calendar(Event("SUMMARY:x\n"))),
            "c.ics:2: the event has no DTSTART; expected one such as DTSTART:20260302T080000Z");
  EXPECT_EQ(Problem(Calendar("BEGIN:VEVENT\nDTSTART:20260302T090000Z\n")),
            "c.ics:4: END:VCALENDAR without its BEGIN; expected END:VEVENT");
  EXPECT_EQ(Problem("BEGIN:VCALENDAR\nBEGIN:VEVENT\n"),
            "c.ics:2: BEGIN:VEVENT is never closed; expected END:VEVENT behind it");
  EXPECT_EQ(Problem(Calendar(Event("SUMMARY:k\xF6nnte\n"))),
            "c.ics:3: not UTF-8, probably Latin-1; convert the file to UTF-8 first");
  EXPECT_EQ(
      Problem(Calendar("BEGIN:VTODO\n" + Event("DTSTART:20260302T090000Z\n") + "END:VTODO\n")),
      "c.ics:3: the event lies where none is expected, such as in a task");
  EXPECT_NE(Problem(std::string("B\0E\0G\0", 6)).find("c.ics:1: the file is UTF-16"),
            std::string::npos);
}

TEST(ImportCalendar, WhatCannotBeReadIsLeftOutWhenAllowed) {
  Lines skipped;
  const ImportedRecords records =
      Read(Calendar(Event("DTSTART:20260302T090000Z\n") + Event("SUMMARY:x\n") +
                    Event("DTSTART:20260303T090000Z\nRRULE:FREQ=OFTEN\n") +
                    Event("DTSTART:20260304T090000Z\n")),
           &skipped);
  EXPECT_EQ(records.size(), 2u);
  EXPECT_EQ(skipped.size(), 2u);
}

TEST(ImportCalendar, RulesThatWouldBeSearchedForLongAreRefused) {
  const std::clock_t start = std::clock();
  const auto rule = [](const std::string& text) {
    return Problem(Calendar(Event("DTSTART:20260302T090000Z\nRRULE:" + text + "\n")));
  };
  for (const char* text : {"FREQ=SECONDLY;BYMONTH=2;BYMONTHDAY=30", "FREQ=MINUTELY;BYHOUR=3",
                           "FREQ=HOURLY;BYMONTHDAY=31"}) {
    EXPECT_EQ(rule(text),
              "c.ics:4: an event that repeats by hours, minutes or seconds under conditions is not "
              "understood; expected FREQ=DAILY or a longer step")
        << text;
  }
  EXPECT_EQ(rule("FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=30;BYHOUR=1"),
            "c.ics:4: the rule never comes true or cannot be followed; expected one such as "
            "FREQ=WEEKLY");
  EXPECT_EQ(rule("FREQ=SECONDLY"), "none") << "bounded";
  // A zone's own rules are followed for decades.
  EXPECT_NE(Problem(Calendar("BEGIN:VTIMEZONE\nTZID:Z\nBEGIN:STANDARD\nDTSTART:19700101T000000\n"
                             "TZOFFSETFROM:+0000\nTZOFFSETTO:+0100\nRRULE:FREQ=SECONDLY\n"
                             "END:STANDARD\nEND:VTIMEZONE\n" +
                             Event("DTSTART;TZID=Z:20260302T090000\n")))
                .find("a VTIMEZONE changes by a rule"),
            std::string::npos);
  EXPECT_LT((std::clock() - start) / CLOCKS_PER_SEC, 20) << "seconds of processor time";
}

TEST(ImportCalendar, FilesWithoutBoundsAreRefused) {
  std::string many;
  for (int i = 0; i < 140; ++i) {
    many += Event("DTSTART:20260301T080000Z\nRRULE:FREQ=DAILY\n");
  }
  EXPECT_NE(Problem(Calendar(many)).find("more than 100000 occurrences, up to this event"),
            std::string::npos);
  std::string deep;
  for (int i = 0; i < 100'000; ++i) {
    deep += "BEGIN:VEVENT\n";
  }
  EXPECT_EQ(Problem(deep), "c.ics:17: components lie deeper than any calendar's");
  std::string dates;
  for (int i = 0; i < 20'001; ++i) {
    dates += "EXDATE:20260301T080000Z\n";
  }
  EXPECT_NE(Problem(Calendar(Event("DTSTART:20260301T080000Z\n" + dates)))
                .find("more than 20000 lines in one VEVENT"),
            std::string::npos);
  const std::string longText(2'000'000, 'x');
  EXPECT_NE(Problem(Calendar(Event("DTSTART:20260301T080000Z\nSUMMARY:" + longText + "\n")))
                .find("c.ics:4: a line longer than"),
            std::string::npos);
  EXPECT_EQ(Problem(Calendar(Event("DTSTART:20260301T080000Z\nATTACH:" + longText + "\n"))), "none")
      << "a picture that nobody reads";
}

}  // namespace
}  // namespace wkt::test
