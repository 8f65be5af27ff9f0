#include "tests/support/GoldenPacket.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/Samples.h"
#include "tests/support/Text.h"

namespace wkt::test {

namespace {

// "text", with \n, \t and \\ in it, or "x" * N.
std::u16string ReadText(const std::string& value) {
  const size_t end = value.rfind('"');
  std::string text;
  for (size_t i = 1; i < end; ++i) {
    if (value[i] != '\\') {
      text += value[i];
      continue;
    }
    const char escaped = value[++i];
    text += escaped == 'n' ? '\n' : escaped == 't' ? '\t' : escaped;
  }
  const size_t times = value.find('*', end);
  const size_t count = times == std::string::npos ? 1 : std::stoul(value.substr(times + 1));
  std::string repeated;
  for (size_t i = 0; i < count; ++i)
    repeated += text;
  return Wide(repeated);
}

void AppendHex(const std::string& line, std::vector<uint8_t>& bytes) {
  std::istringstream words(line);
  std::vector<uint8_t> chunk;
  size_t count = 1;
  for (std::string word; words >> word;) {
    if (word[0] == '*') {
      count = std::stoul(word.substr(1));
    } else {
      chunk.push_back(static_cast<uint8_t>(std::stoul(word, nullptr, 16)));
    }
  }
  for (size_t i = 0; i < count; ++i)
    bytes.insert(bytes.end(), chunk.begin(), chunk.end());
}

GoldenPacket Load(const std::filesystem::path& path) {
  GoldenPacket golden;
  golden.name = path.stem().string();
  std::ifstream file(path);
  bool inHex = false;
  size_t statedBytes = 0;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#')
      continue;
    if (inHex) {
      AppendHex(line, golden.bytes);
      continue;
    }
    const size_t equals = line.find(" = ");
    const std::string name = line.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : line.substr(equals + 3);
    if (name == "hex") {
      inHex = true;
    } else if (name == "packet") {
      golden.kind = value;
    } else if (name == "bytes") {
      statedBytes = std::stoul(value);
    } else if (name == "rest") {
      golden.hasJunk = value != "00";
    } else if (value[0] == '"') {
      golden.texts[name] = ReadText(value);
    } else {
      golden.numbers[name] = value;
    }
  }
  EXPECT_EQ(golden.bytes.size(), statedBytes) << golden.name;
  return golden;
}

void ExpectText(const WCHAR* text, const GoldenPacket& golden, const char* field) {
  EXPECT_EQ(Narrow(text), Narrow(golden.Text(field))) << golden.name << ": " << field;
}
void ExpectNumber(int number, const GoldenPacket& golden, const char* field) {
  EXPECT_EQ(number, golden.Number(field)) << golden.name << ": " << field;
}
void ExpectTime(const FILETIME& time, const GoldenPacket& golden, const char* field) {
  EXPECT_EQ(Ticks(time), Ticks(golden.Time(field))) << golden.name << ": " << field;
}

}  // namespace

const std::u16string& GoldenPacket::Text(const std::string& field) const {
  return texts.at(field);
}

int32_t GoldenPacket::Number(const std::string& field) const {
  return static_cast<int32_t>(std::stol(numbers.at(field)));
}

FILETIME GoldenPacket::Time(const std::string& field) const {
  return TicksToTime(std::stoull(numbers.at(field)));
}

std::vector<GoldenPacket> LoadGoldenPackets() {
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(WKT_TEST_DATA "/packets"))
    paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  std::vector<GoldenPacket> packets;
  packets.reserve(paths.size());
  for (const auto& path : paths)
    packets.push_back(Load(path));
  EXPECT_FALSE(packets.empty());
  return packets;
}

void ExpectFields(const CJobPacket& packet, const GoldenPacket& golden) {
  EXPECT_TRUE(packet.IsValid()) << golden.name;
  ExpectText(packet.GetJobId(), golden, "jobId");
  ExpectNumber(packet.GetVersionNumber(), golden, "version");
  ExpectTime(packet.GetModificationTime(), golden, "modificationTime");
  ExpectText(packet.GetTitle(), golden, "title");
  ExpectText(packet.GetComment(), golden, "comment");
  ExpectText(packet.GetWorkTypeId(), golden, "workTypeId");
  ExpectText(packet.GetProjectId(), golden, "projectId");
  ExpectText(packet.GetTeamworkId(), golden, "teamworkId");
  ExpectTime(packet.GetStartTime(), golden, "startTime");
  ExpectTime(packet.GetEndTime(), golden, "endTime");
  ExpectText(packet.GetPersonIds(), golden, "personIds");
  ExpectText(packet.GetFlags(), golden, "flags");
  ExpectNumber(packet.GetUnused2(), golden, "unused2");
  ExpectText(packet.GetUnused3(), golden, "unused3");
  ExpectTime(packet.GetLocalDayAsFileTime(), golden, "localDay");
}

void ExpectFields(const CWktTypePacket& packet, const GoldenPacket& golden) {
  EXPECT_TRUE(packet.IsValid()) << golden.name;
  ExpectNumber(packet.GetTypeOfType(), golden, "kind");
  ExpectText(packet.GetId(), golden, "id");
  ExpectNumber(packet.GetVersionNumber(), golden, "version");
  ExpectTime(packet.GetModificationTime(), golden, "modificationTime");
  ExpectTime(packet.GetCreationTime(), golden, "creationTime");
  ExpectNumber(packet.GetUseCount(), golden, "useCount");
  ExpectText(packet.GetName1(), golden, "name1");
  ExpectText(packet.GetName2(), golden, "name2");
  ExpectText(packet.GetComment(), golden, "comment");
  ExpectText(packet.GetFlags(), golden, "flags");
  ExpectText(packet.GetUnused1(), golden, "unused1");
  ExpectText(packet.GetUnused2(), golden, "unused2");
  ExpectNumber(packet.GetUnused3(), golden, "unused3");
  ExpectNumber(packet.GetUnused4(), golden, "unused4");
  ExpectTime(packet.GetUnused5(), golden, "unused5");
}

std::unique_ptr<CJobPacket> MakeJobPacket(const GoldenPacket& golden) {
  const bool isFavorite = golden.kind == "fac" || golden.kind == "FAC";
  auto packet = std::make_unique<CJobPacket>(isFavorite ? 2 : 1);
  packet->SetJobId(golden.Text("jobId").c_str());
  packet->SetVersionNumber(golden.Number("version"));
  packet->SetModificationTime(golden.Time("modificationTime"));
  packet->SetTitle(golden.Text("title").c_str());
  packet->SetComment(golden.Text("comment").c_str());
  packet->SetWorkTypeId(golden.Text("workTypeId").c_str());
  packet->SetProjectId(golden.Text("projectId").c_str());
  packet->SetTeamworkId(golden.Text("teamworkId").c_str());
  packet->SetStartTime(golden.Time("startTime"));
  packet->SetEndTime(golden.Time("endTime"));
  packet->SetPersonIds(golden.Text("personIds").c_str());
  packet->SetFlags(golden.Text("flags").c_str());
  packet->SetUnused2(golden.Number("unused2"));
  packet->SetUnused3(golden.Text("unused3").c_str());
  packet->SetLocalDayAsFileTime(golden.Time("localDay"));
  return packet;
}

std::unique_ptr<CWktTypePacket> MakeTypePacket(const GoldenPacket& golden) {
  auto packet = std::make_unique<CWktTypePacket>();
  packet->SetTypeOfType(golden.Number("kind"));
  packet->SetId(golden.Text("id").c_str());
  packet->SetVersionNumber(golden.Number("version"));
  packet->SetModificationTime(golden.Time("modificationTime"));
  packet->SetCreationTime(golden.Time("creationTime"));
  packet->SetUseCount(golden.Number("useCount"));
  packet->SetName1(golden.Text("name1").c_str());
  packet->SetName2(golden.Text("name2").c_str());
  packet->SetComment(golden.Text("comment").c_str());
  packet->SetFlags(golden.Text("flags").c_str());
  packet->SetUnused1(golden.Text("unused1").c_str());
  packet->SetUnused2(golden.Text("unused2").c_str());
  packet->SetUnused3(golden.Number("unused3"));
  packet->SetUnused4(golden.Number("unused4"));
  packet->SetUnused5(golden.Time("unused5"));
  return packet;
}

}  // namespace wkt::test
