#include "desktop/partner/PacketView.h"

#include <gtest/gtest.h>

#include "desktop/partner/Failure.h"
#include "desktop/partner/JsonText.h"
#include "platform/SyncProvider.h"
#include "tests/support/GoldenPacket.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Provider.h"

namespace wkt::test {
namespace {

// The installed provider, asked to store packets.
class PacketViewTest : public DeskDeviceTest {
 protected:
  PacketViewTest() : log(Installed(device)), provider(device) {
    handler = provider.Init(u"WktActivities", 1);
  }
  ~PacketViewTest() override { handler->Release(); }

  static DeskDevice& Installed(DeskDevice& device) {
    device.MakeInstallation();
    return device;
  }

  // What the provider says of a packet, as the view words it.
  std::string Ask(PacketKind kind, std::span<const uint8_t> bytes) {
    REPLSETUP setup = {};
    setup.cbStruct = sizeof(setup);
    setup.dwFlags = RSF_NEW_OBJECT;
    const std::u16string folder = kind == PacketKind::Type ? u"WktTypes" : u"WktActivities";
    setup.szObjType[folder.copy(setup.szObjType, MAX_OBJTYPE_NAME - 1)] = 0;
    handler->Setup(&setup);
    log.Take();
    const std::unique_ptr<BYTE[]> copy(new BYTE[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), copy.get());
    const HRESULT result = handler->SetPacket(copy.get(), static_cast<DWORD>(bytes.size()));
    std::string said;
    for (const std::string& line : log.Take()) {
      if (line.starts_with("32 ")) {
        said += "'" + line.substr(3) + "', ";
      }
    }
    return result == S_OK ? said + "accepted"
                          : said + (result == E_UNEXPECTED ? "E_UNEXPECTED" : "another answer");
  }
  void ExpectSameAnswer(PacketKind kind, const Bytes& bytes, const std::string& what) {
    const PacketView view = ViewPacket(bytes, kind);
    ASSERT_EQ(view.provider, Ask(kind, bytes)) << what;
    EXPECT_EQ(view.problem.empty(), view.provider == "accepted") << what;
    int line = 1;
    const std::string text = PacketToJson(view).dump();
    EXPECT_TRUE(PacketFromJson(ParseJson(text, &line)) == bytes) << what;
  }

  LogCapture log;
  Provider provider;
  IReplObjHandler* handler = nullptr;
};

TEST_F(PacketViewTest, SaysWhatTheProviderSaysToEveryKindOfDamage) {
  size_t packets = 0;
  for (const GoldenPacket& golden : LoadGoldenPackets()) {
    if (golden.bytes.size() > 1200) {
      continue;  // more of the same texts
    }
    const PacketKind kind = golden.IsJob() ? PacketKind::Job : PacketKind::Type;
    ++packets;
    ExpectSameAnswer(kind, golden.bytes, golden.name);
    Bytes longer = golden.bytes;
    longer.insert(longer.end(), {1, 2, 3});
    ExpectSameAnswer(kind, longer, golden.name + " with bytes behind it");
    for (size_t size = 0; size < golden.bytes.size(); size += size < 60 ? 1 : 13) {
      ExpectSameAnswer(
          kind,
          Bytes(golden.bytes.begin(), golden.bytes.begin() + static_cast<std::ptrdiff_t>(size)),
          golden.name + " cut to " + std::to_string(size));
    }
    // Letters in place of terminators, and terminators in place of letters.
    for (size_t at = 0; at + 1 < golden.bytes.size(); at += at < 60 ? 2 : 14) {
      for (const uint8_t low : {uint8_t{'X'}, uint8_t{0}}) {
        Bytes damaged = golden.bytes;
        damaged[at] = low;
        damaged[at + 1] = 0;
        ExpectSameAnswer(kind, damaged, golden.name + " damaged at " + std::to_string(at));
      }
    }
    // A whole field without a terminator, in each place where one may stand.
    for (size_t at = 0; at + 80 < golden.bytes.size(); at += 40) {
      Bytes damaged = golden.bytes;
      for (size_t i = at; i < at + 80; i += 2) {
        damaged[i] = 'X';
        damaged[i + 1] = 0;
      }
      ExpectSameAnswer(kind, damaged,
                       golden.name + " without terminators from " + std::to_string(at));
    }
  }
  EXPECT_GE(packets, 10u);
}

Bytes OlderPacket() {
  for (const GoldenPacket& golden : LoadGoldenPackets()) {
    if (golden.IsOlderLayout() && golden.bytes.size() < 1200) {
      return golden.bytes;
    }
  }
  ADD_FAILURE() << "there is no packet of the older layout";
  return {};
}

const PacketPart* PartNamed(const PacketView& view, const std::string& name) {
  for (const PacketPart& part : view.parts) {
    if (part.name == name) {
      return &part;
    }
  }
  return nullptr;
}

TEST(PacketView, OlderLayoutHasNarrowReferences) {
  const PacketView view = ViewPacket(OlderPacket());
  EXPECT_EQ(view.problem, "");
  EXPECT_FALSE(view.isType);
  EXPECT_NE(PartNamed(view, "type")->meaning.find(", older layout"), std::string::npos);
  for (const char* name : {"workType", "project", "teamwork"}) {
    ASSERT_NE(PartNamed(view, name), nullptr);
    EXPECT_EQ(PartNamed(view, name)->bytes.size(), 40u) << "20 units, not 40";
  }
}

TEST(PacketView, EveryGoldenPacketGivesItsBytesAgainWithOthersBehindTerminators) {
  size_t older = 0;
  for (const GoldenPacket& golden : LoadGoldenPackets()) {
    older += golden.IsOlderLayout();
    Bytes bytes = golden.bytes;
    for (const bool withJunk : {false, true}) {
      if (withJunk) {
        // Behind the terminator of each fixed field something that means nothing.
        for (const PacketPart& part : ViewPacket(golden.bytes).parts) {
          const size_t used = (part.value.size() + 1) * 2;
          // The magic and the type text are compared to their last byte.
          if (std::string_view(part.kind) != "text" && part.offset >= 28) {
            for (size_t i = used; i < part.bytes.size(); ++i) {
              bytes[part.offset + i] = static_cast<uint8_t>(0xA0 + i);
            }
          }
        }
        EXPECT_FALSE(bytes == golden.bytes) << golden.name;
      }
      const PacketView view = ViewPacket(bytes);
      EXPECT_EQ(view.problem, "") << golden.name;
      EXPECT_EQ(view.isType, !golden.IsJob()) << golden.name;
      int line = 1;
      EXPECT_TRUE(PacketFromJson(ParseJson(PacketToJson(view).dump(), &line)) == bytes)
          << golden.name;
    }
  }
  EXPECT_GE(older, 1u);
}

// The first thing wrong, and where.
TEST(PacketView, NamesTheFirstThingThatIsWrong) {
  const Bytes older = OlderPacket();
  const auto with = [&](size_t at, std::u16string_view units) {
    Bytes bytes = older;
    for (size_t i = 0; i < units.size(); ++i) {
      bytes[at + 2 * i] = static_cast<uint8_t>(units[i]);
      bytes[at + 2 * i + 1] = static_cast<uint8_t>(units[i] >> 8);
    }
    return ViewPacket(bytes, PacketKind::Job).problem;
  };
  const auto cut = [&](size_t size) {
    return ViewPacket(std::span(older).first(size), PacketKind::Job).problem;
  };
  EXPECT_EQ(cut(0), "magic at byte 0 needs 20 bytes, 0 are left");
  EXPECT_EQ(cut(19), "magic at byte 0 needs 20 bytes, 19 are left");
  EXPECT_EQ(cut(27), "type at byte 20 needs 8 bytes, 7 are left");
  EXPECT_EQ(cut(28), "id at byte 28 has no terminator within 0 bytes");
  EXPECT_EQ(cut(31), "id at byte 28 has no terminator within 3 bytes");
  EXPECT_EQ(with(0, u"worktally"), "magic at byte 0 is 'worktally', expected 'Worktally'");
  EXPECT_EQ(with(18, u"!"), "magic at byte 0 is 'Worktally!', expected 'Worktally'");
  EXPECT_EQ(with(20, u"Act"),
            "type at byte 20 is 'Act', expected 'act' or 'fac', or 'ACT' or 'FAC' of the older "
            "layout");
  EXPECT_EQ(
      with(20, u"ac"),
      "type at byte 20 is 'acT', expected 'act' or 'fac', or 'ACT' or 'FAC' of the older layout");
  const PacketView sound = ViewPacket(older);
  const PacketPart* version = PartNamed(sound, "version");
  EXPECT_EQ(with(version->offset, u"1234"), "version at byte " + std::to_string(version->offset) +
                                                " has no terminator within 8 bytes");
  const PacketPart* flags = PartNamed(sound, "flags");
  EXPECT_EQ(
      with(flags->offset, u"00000000000000000000"),
      "flags at byte " + std::to_string(flags->offset) + " has no terminator within 40 bytes");
  EXPECT_EQ(cut(older.size() - 1), "day low at byte " + std::to_string(older.size() - 40) +
                                       " needs 40 bytes, 39 are left");
  EXPECT_EQ(ViewPacket(older, PacketKind::Type).problem,
            "kind at byte 20 is 'ACT', expected 1 to 5");
}

TEST(PacketView, KindsOutsideOneToFiveAreNamed) {
  for (const GoldenPacket& golden : LoadGoldenPackets()) {
    if (golden.IsJob()) {
      continue;
    }
    Bytes bytes = golden.bytes;
    bytes[20] = '7';
    EXPECT_EQ(ViewPacket(bytes).problem, "kind at byte 20 is '7', expected 1 to 5");
    EXPECT_GT(ViewPacket(bytes).parts.size(), 15u) << "the fields behind it are shown";
    bytes[20] = 'x';
    EXPECT_EQ(ViewPacket(bytes, PacketKind::Type).problem,
              "kind at byte 20 is 'x', expected 1 to 5");
    return;
  }
  FAIL() << "there is no type packet";
}

TEST(PacketView, TextsOfAnotherShapeAreRefused) {
  for (const char* text :
       {"[]", "{}", R"({"fields": 1})", R"({"fields": [1]})", R"({"fields": [{}]})",
        R"({"fields": [{"raw": "0"}]})", R"({"fields": [{"raw": "0g"}]})",
        R"({"fields": [{"value": 1, "kind": "text"}]})",
        R"({"fields": [{"value": "a", "kind": "number"}]})",
        R"({"fields": [{"value": "abc", "kind": "number", "bytes": 6}]})",
        R"({"fields": [{"value": "a", "kind": "number", "bytes": 82}]})",
        R"({"fields": [{"value": "a", "kind": "number", "bytes": -1}]})"}) {
    int line = 1;
    const Json json = ParseJson(text, &line);
    EXPECT_THROW((void)PacketFromJson(json), Failure) << text;
  }
}

}  // namespace
}  // namespace wkt::test
