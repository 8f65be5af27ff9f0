#include "desktop/partner/RecordJson.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "desktop/partner/Failure.h"
#include "desktop/partner/RecordPacket.h"
#include "tests/desktop/RecordGen.h"

namespace wkt {
namespace {

constexpr uint64_t kSample = (155288ull * 24 + 8) * 3600 * 10'000'000;

Record SampleJob() {
  Record record =
      MakeRecord(FolderId::Jobs, kSample, kSample - kSample % (24ull * 3600 * 10'000'000));
  record.SetText(Field::Id, u"PC-1");
  record.SetText(Field::Title, u"Gärtnern 🌱");
  return record;
}

TEST(RecordJson, JobAsText) {
  EXPECT_EQ(
      RecordToJson(SampleJob()).dump(),
      R"({"id":"PC-1","version":23,"modified":"2026-03-02T08:00:00Z","title":"Gärtnern 🌱","comment":"",)"
      R"("workType":"","project":"","teamwork":"","start":"2026-03-02T08:00:00Z","end":"2026-03-02T08:00:00Z",)"
      R"("persons":"","flags":"0010000000000000000","unused2":-1,"unused3":"","day":"2026-03-02"})");
}

TEST(RecordJson, TextsThatAreNoUnicodeAreKept) {
  Record record = SampleJob();
  record.SetText(Field::Title, {u'a', 0xD83D});
  const Json json = RecordToJson(record);
  EXPECT_EQ(json["title"].dump(), R"({"utf16le":"61003dd8"})");
  Record read(FolderId::Jobs);
  ReadRecordJson(json, Zone("UTC"), &read);
  EXPECT_EQ(read, record);
}

TEST(RecordJson, ErrorsNameFieldAndExpectation) {
  const auto problem = [](const char* text) -> std::string {
    Record record = SampleJob();
    try {
      ReadRecordJson(Json::parse(text), Zone("UTC"), &record);
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code, ExitCode::Usage);
      return failure.what();
    }
    return "";
  };
  EXPECT_EQ(problem(R"({"start":"today"})"),
            R"(start is "today", expected a time such as 2026-03-02T08:00:00Z)");
  EXPECT_EQ(problem(R"({"start":"2026-03-02"})"),
            R"(start is "2026-03-02", expected a time such as 2026-03-02T08:00:00Z)");
  EXPECT_EQ(problem(R"({"day":-1})"), "day is -1, expected a date such as 2026-03-02");
  EXPECT_EQ(problem(R"({"unused2":2147483648})"),
            "unused2 is 2147483648, expected a whole number of 32 bits");
  EXPECT_EQ(problem(R"({"unused2":1.5})"), "unused2 is 1.5, expected a whole number of 32 bits");
  EXPECT_EQ(problem(R"({"title":7})"), "title is 7, expected a text");
  EXPECT_EQ(problem(R"({"titel":"x"})"), "there is no field 'titel' in a job");
  EXPECT_EQ(problem(R"({"version":1000})"), "version is 1000, expected -99 to 999");
  EXPECT_EQ(problem(R"({"flags":"00000000000000000000"})"),
            "flags has 20 characters, at most 19 are possible");
  EXPECT_EQ(problem(R"({"project":"0123456789012345678901234567890123456789"})"),
            "project has 40 characters, at most 39 are possible");
  EXPECT_EQ(problem("{\"title\":\"a\\u0000b\"}"), "title holds a zero character");
  EXPECT_EQ(problem("[]"), "a record is array, expected an object of named fields");
  EXPECT_EQ(problem(R"({"title":"fine"})"), "");
}

TEST(RecordJson, WallClockTimesAreOfTheZone) {
  Record record = SampleJob();
  ReadRecordJson(Json{{"start", "2026-07-01T09:00"}}, Zone("Europe/Vienna"), &record);
  EXPECT_EQ(RecordToJson(record)["start"], "2026-07-01T07:00:00Z");
}

RC_GTEST_PROP(RecordJson, LosesNothing, ()) {
  const Record record = *GenRecord();
  Record read(record.Folder());
  ReadRecordJson(Json::parse(RecordToJson(record).dump()), Zone("UTC"), &read);
  RC_ASSERT(read == record);
}

RC_GTEST_PROP(RecordPacket, LosesNothing, ()) {
  const Record record = *GenRecord();
  RC_ASSERT(CheckRecord(record).empty());
  const Bytes packet = EncodePacket(record);
  const auto decoded = DecodePacket(record.Folder(), packet);
  RC_ASSERT(decoded.has_value());
  RC_ASSERT(*decoded == record);
  // Every shorter packet is refused, not read past its end.
  const auto length = *rc::gen::inRange<size_t>(0, packet.size());
  RC_ASSERT(!DecodePacket(record.Folder(), std::span(packet).first(length)));
}

TEST(RecordPacket, OtherFoldersPacketsAreRefused) {
  const Bytes job = EncodePacket(SampleJob());
  EXPECT_TRUE(DecodePacket(FolderId::Jobs, job));
  EXPECT_FALSE(DecodePacket(FolderId::Types, job));
  Bytes wrong = job;
  wrong[0] = 'w';
  EXPECT_FALSE(DecodePacket(FolderId::Jobs, wrong));
  EXPECT_FALSE(DecodePacket(FolderId::Jobs, {}));
}

TEST(Record, ContentLeavesStateAndStampOut) {
  const Record record = SampleJob();
  Record other = record;
  other.SetFlag(4, true);
  other.SetFlag(6, true);
  other.SetTicks(Field::Modified, 1);
  EXPECT_TRUE(SameContent(record, other));
  other.SetFlag(0, true);
  EXPECT_FALSE(SameContent(record, other));
  other = record;
  other.SetText(Field::Comment, u"x");
  EXPECT_FALSE(SameContent(record, other));
}

TEST(Record, GoesToADeviceMarkedForItsPartnerOnly) {
  Record record = SampleJob();
  record.SetFlag(4, true);
  record.SetFlag(6, true);
  EXPECT_EQ(ForDevice(record, 2).Text(Field::Flags), u"0010010000000000000");
  EXPECT_EQ(ForDevice(record, 1).Text(Field::Flags), u"0010100000000000000");
  Record type = MakeRecord(FolderId::Types, kSample, 0);
  EXPECT_EQ(ForDevice(type, 1).Text(Field::Flags), u"1001100000000000000");
  EXPECT_EQ(ForDevice(type, 2).Text(Field::Flags), u"0101100000000000000");
}

}  // namespace
}  // namespace wkt
