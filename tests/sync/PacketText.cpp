#include <cstdlib>

#include "tests/support/Text.h"
#include "tests/sync/Player.h"

// Packets written and read here without the product's packet classes: a script's desktop partner
// must not share a mistake with them.
namespace wkt::test {
namespace {

void AppendUnits(std::vector<BYTE>& bytes, const std::u16string& text) {
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<BYTE>(unit & 0xFF));
    bytes.push_back(static_cast<BYTE>(unit >> 8));
  }
}

void AppendText(std::vector<BYTE>& bytes, const std::string& text) {
  AppendUnits(bytes, Wide(text) + u'\0');
}

void AppendFixed(std::vector<BYTE>& bytes, const std::string& text, size_t units) {
  std::u16string field = Wide(text);
  field.resize(units);
  AppendUnits(bytes, field);
}

// High half, then low half, each a signed decimal in 20 units.
void AppendTime(std::vector<BYTE>& bytes, const std::string& decimal) {
  const uint64_t time = std::strtoull(decimal.c_str(), nullptr, 10);
  AppendFixed(bytes, std::to_string(static_cast<int32_t>(time >> 32)), 20);
  AppendFixed(bytes, std::to_string(static_cast<int32_t>(time)), 20);
}

// 2026-03-02 09:00 and 00:00 as file times.
constexpr char kTime[] = "134169156000000000";
constexpr char kDay[] = "134168832000000000";

std::vector<BYTE> BuildJob(const Command& fields, const std::string& typeText) {
  const size_t idUnits = typeText == "ACT" || typeText == "FAC" ? 20 : 40;
  std::vector<BYTE> bytes;
  AppendFixed(bytes, fields.Pair("magic", "Worktally"), 10);
  AppendFixed(bytes, typeText, 4);
  AppendText(bytes, fields.Pair("id", "D1"));
  AppendFixed(bytes, fields.Pair("version", "23"), 4);
  AppendTime(bytes, fields.Pair("modified", kTime));
  AppendText(bytes, fields.Pair("title", "Desktop"));
  AppendText(bytes, fields.Pair("comment", ""));
  AppendFixed(bytes, fields.Pair("worktype", ""), idUnits);
  AppendFixed(bytes, fields.Pair("project", ""), idUnits);
  AppendFixed(bytes, fields.Pair("teamwork", ""), idUnits);
  AppendTime(bytes, kTime);
  AppendTime(bytes, kTime);
  AppendText(bytes, fields.Pair("persons", ""));
  AppendFixed(bytes, fields.Pair("flags", "0010000000000000000"), 20);
  AppendFixed(bytes, "-1", 20);
  AppendText(bytes, fields.Pair("unused3", ""));
  AppendTime(bytes, kDay);
  return bytes;
}

std::vector<BYTE> BuildType(const Command& fields) {
  std::vector<BYTE> bytes;
  AppendFixed(bytes, fields.Pair("magic", "Worktally"), 10);
  AppendFixed(bytes, fields.Pair("kind", "4"), 20);
  AppendText(bytes, fields.Pair("id", "D1"));
  AppendFixed(bytes, fields.Pair("version", "32"), 4);
  AppendTime(bytes, fields.Pair("modified", kTime));
  AppendTime(bytes, fields.Pair("created", kTime));
  AppendFixed(bytes, "3", 20);
  AppendText(bytes, fields.Pair("name1", "Desktop"));
  AppendText(bytes, fields.Pair("name2", ""));
  AppendText(bytes, fields.Pair("comment", ""));
  AppendFixed(bytes, fields.Pair("flags", "0001000000000000000"), 20);
  AppendText(bytes, fields.Pair("unused1", ""));
  AppendText(bytes, "");
  AppendFixed(bytes, "-1", 20);
  AppendFixed(bytes, "-1", 20);
  AppendTime(bytes, "0");
  return bytes;
}

std::vector<BYTE> BytesOfHex(const std::string& hex) {
  std::vector<BYTE> bytes;
  for (size_t at = 0; at + 1 < hex.size(); at += 2)
    bytes.push_back(static_cast<BYTE>(std::strtoul(hex.substr(at, 2).c_str(), nullptr, 16)));
  return bytes;
}

// Reads texts out of bytes, never beyond them.
class Reader {
 public:
  Reader(const BYTE* start, DWORD byteCount) : bytes(start), left(byteCount) {}

  std::string Fixed(size_t units) {
    std::u16string text = Units(units);
    const size_t end = text.find(u'\0');
    return Narrow(text.substr(0, end));
  }
  std::string Text() {
    std::u16string text;
    for (;;) {
      const std::u16string unit = Units(1);
      if (unit.empty() || unit[0] == 0)
        return Narrow(text);
      text += unit;
    }
  }
  std::string Time() {
    const auto high = static_cast<uint32_t>(std::atoi(Fixed(20).c_str()));
    const auto low = static_cast<uint32_t>(std::atoi(Fixed(20).c_str()));
    return std::to_string((static_cast<uint64_t>(high) << 32) | low);
  }
  [[nodiscard]] size_t Left() const { return left; }

 private:
  std::u16string Units(size_t count) {
    std::u16string text;
    for (; count > 0 && left >= 2; --count, bytes += 2, left -= 2)
      text += static_cast<char16_t>(bytes[0] | (bytes[1] << 8));
    return text;
  }

  const BYTE* bytes;
  size_t left;
};

// One field after the other, in the order of the packet.
std::string DescribeJob(Reader reader) {
  std::string line = reader.Fixed(10);
  line += " " + reader.Fixed(4);
  line += " id='" + reader.Text();
  line += "' version='" + reader.Fixed(4);
  line += "' modified=" + reader.Time();
  line += " title='" + reader.Text();
  line += "' comment='" + reader.Text();
  line += "' worktype='" + reader.Fixed(40);
  line += "' project='" + reader.Fixed(40);
  line += "' teamwork='" + reader.Fixed(40);
  line += "' start=" + reader.Time();
  line += " end=" + reader.Time();
  line += " persons='" + reader.Text();
  line += "' flags='" + reader.Fixed(20);
  line += "' unused2='" + reader.Fixed(20);
  line += "' unused3='" + reader.Text();
  line += "' day=" + reader.Time();
  return line + " left=" + std::to_string(reader.Left());
}

std::string DescribeType(Reader reader) {
  std::string line = reader.Fixed(10);
  line += " kind='" + reader.Fixed(20);
  line += "' id='" + reader.Text();
  line += "' version='" + reader.Fixed(4);
  line += "' modified=" + reader.Time();
  line += " created=" + reader.Time();
  line += " uses='" + reader.Fixed(20);
  line += "' name1='" + reader.Text();
  line += "' name2='" + reader.Text();
  line += "' comment='" + reader.Text();
  line += "' flags='" + reader.Fixed(20);
  line += "' unused1='" + reader.Text();
  line += "' unused2='" + reader.Text();
  line += "' unused3='" + reader.Fixed(20);
  line += "' unused4='" + reader.Fixed(20);
  line += "' unused5=" + reader.Time();
  return line + " left=" + std::to_string(reader.Left());
}

}  // namespace

std::vector<BYTE> BuildPacket(const Command& command) {
  const std::string kind = command.words.empty() ? "" : command.words.back();
  std::vector<BYTE> bytes = BytesOfHex(command.Pair("bytes", ""));
  if (kind == "type")
    bytes = BuildType(command);
  if (kind == "act" || kind == "fac" || kind == "ACT" || kind == "FAC" || kind == "Act")
    bytes = BuildJob(command, kind);
  const std::string more = command.Pair("more", "");
  bytes.insert(bytes.end(), more.begin(), more.end());
  const size_t cut = static_cast<size_t>(std::atoi(command.Pair("cut", "0").c_str()));
  bytes.resize(bytes.size() - std::min(cut, bytes.size()));
  return bytes;
}

std::string DescribePacket(const BYTE* bytes, DWORD byteCount, bool isType) {
  const Reader reader(bytes, byteCount);
  return isType ? DescribeType(reader) : DescribeJob(reader);
}

}  // namespace wkt::test
