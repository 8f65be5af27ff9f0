// Questions about the registry: steps on the keys below one that is empty at first, an answer for
// each step. Paths and names are words, "." is the key itself or the default value.
//
//   create PATH            result and disposition
//   open PATH              result
//   set PATH NAME TYPE HEX result
//   query PATH NAME SIZE   result, type, size, bytes; SIZE -1 asks for the size alone
//   keys PATH SIZE         all names, sorted, with room for so many units
//   values PATH SIZE SIZE  all names with type, size and bytes, sorted, with room for so many
//   drop PATH NAME         result of deleting a value
//   delete PATH            result of deleting a key
#include <algorithm>
#include <cstring>
#include <vector>

#include "tests/platform/foreign/AnswerText.h"

namespace wkt::foreign {

namespace {

constexpr size_t kRoom = 64;
constexpr BYTE kPoison = 0xA5;

std::string Number(long long value) {
  return std::to_string(value);
}

std::string Hex(const BYTE* bytes, size_t count) {
  std::string hex;
  char digits[3];
  for (size_t index = 0; index < count; ++index) {
    snprintf(digits, sizeof digits, "%02x", bytes[index]);
    hex += digits;
  }
  return hex;
}

std::vector<BYTE> BytesOf(const std::string& hex) {
  std::vector<BYTE> bytes;
  for (size_t index = 0; hex != "-" && index + 1 < hex.size(); index += 2)
    bytes.push_back(static_cast<BYTE>(strtoul(hex.substr(index, 2).c_str(), nullptr, 16)));
  return bytes;
}

Text Name(const std::string& word) {
  return word == "." ? Text() : Decode(word);
}

// Deleted with all below it, which one call does on a device only.
void DeleteTree(HKEY parent, const Unit* name) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(parent, name, 0, KEY_ALL_ACCESS, &key) != ERROR_SUCCESS)
    return;
  for (;;) {
    Unit child[kRoom];
    DWORD length = kRoom;
    if (RegEnumKeyExW(key, 0, child, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
      break;
    DeleteTree(key, child);
  }
  RegCloseKey(key);
  RegDeleteKeyW(parent, name);
}

// The value's bytes as far as they are told; anything written behind them is told too.
std::string Data(LONG result, const BYTE* buffer, DWORD room, DWORD count) {
  const size_t written = result == ERROR_SUCCESS ? count : 0;
  std::string text = " " + Hex(buffer, written);
  // What is in a buffer that was too small is not defined.
  for (size_t index = result == ERROR_SUCCESS ? written : room; index < kRoom; ++index) {
    if (buffer[index] != kPoison)
      return text + " overrun";
  }
  return text;
}

std::string Query(HKEY key, const Text& name, long long room) {
  BYTE buffer[kRoom];
  memset(buffer, kPoison, sizeof buffer);
  DWORD type = 99;
  auto count = static_cast<DWORD>(room < 0 ? 0 : room);
  const LONG result =
      RegQueryValueExW(key, name.c_str(), nullptr, &type, room < 0 ? nullptr : buffer, &count);
  std::string answer = Number(result);
  if (result != ERROR_SUCCESS && result != ERROR_MORE_DATA)
    return answer;
  answer += " " + Number(type) + " " + Number(count);
  return room < 0 ? answer : answer + Data(result, buffer, static_cast<DWORD>(room), count);
}

std::string Sorted(std::vector<std::string> entries, LONG end) {
  // The order of an enumeration is each system's own.
  std::sort(entries.begin(), entries.end());
  std::string answer;
  for (const std::string& entry : entries)
    answer += entry + ", ";
  return answer + Number(end);
}

std::string Keys(HKEY key, DWORD room) {
  std::vector<std::string> entries;
  for (DWORD index = 0;; ++index) {
    Unit name[kRoom];
    DWORD length = room;
    const LONG result =
        RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
    if (result != ERROR_SUCCESS && result != ERROR_MORE_DATA)
      return Sorted(entries, result);
    entries.push_back(result == ERROR_SUCCESS ? Encode(name, length) : "small");
  }
}

std::string Values(HKEY key, DWORD room, DWORD dataRoom) {
  std::vector<std::string> entries;
  for (DWORD index = 0;; ++index) {
    Unit name[kRoom];
    DWORD length = room;
    BYTE buffer[kRoom];
    memset(buffer, kPoison, sizeof buffer);
    DWORD type = 99;
    DWORD count = dataRoom;
    const LONG result = RegEnumValueW(key, index, name, &length, nullptr, &type, buffer, &count);
    if (result != ERROR_SUCCESS && result != ERROR_MORE_DATA)
      return Sorted(entries, result);
    entries.push_back(result == ERROR_SUCCESS
                          ? Encode(name, length) + "=" + Number(type) + " " + Number(count) +
                                Data(result, buffer, dataRoom, count)
                          : "small");
  }
}

std::string OnKey(HKEY base, const std::string& step, Reader& reader) {
  const std::string path = reader.Word();
  HKEY key = nullptr;
  LONG opened = RegOpenKeyExW(base, Name(path).c_str(), 0, KEY_ALL_ACCESS, &key);
  std::string answer = Number(opened);
  if (step == "set") {
    const Text name = Name(reader.Word());
    const auto type = static_cast<DWORD>(reader.Number());
    const std::vector<BYTE> bytes = BytesOf(reader.Word());
    if (opened == ERROR_SUCCESS) {
      answer = Number(RegSetValueExW(key, name.c_str(), 0, type, bytes.data(),
                                     static_cast<DWORD>(bytes.size())));
    }
  } else if (step == "query") {
    const Text name = Name(reader.Word());
    const long long room = reader.Number();
    if (opened == ERROR_SUCCESS)
      answer = Query(key, name, room);
  } else if (step == "keys") {
    const auto room = static_cast<DWORD>(reader.Number());
    if (opened == ERROR_SUCCESS)
      answer = Keys(key, room);
  } else if (step == "values") {
    const auto room = static_cast<DWORD>(reader.Number());
    const auto dataRoom = static_cast<DWORD>(reader.Number());
    if (opened == ERROR_SUCCESS)
      answer = Values(key, room, dataRoom);
  } else if (step == "drop") {
    const Text name = Name(reader.Word());
    if (opened == ERROR_SUCCESS)
      answer = Number(RegDeleteValueW(key, name.c_str()));
  }
  if (opened == ERROR_SUCCESS)
    RegCloseKey(key);
  return answer;
}

std::string Step(HKEY base, const std::string& step, Reader& reader) {
  if (step == "create") {
    HKEY key = nullptr;
    DWORD disposition = 0;
    const LONG result = RegCreateKeyExW(base, Name(reader.Word()).c_str(), 0, nullptr, 0,
                                        KEY_ALL_ACCESS, nullptr, &key, &disposition);
    if (result == ERROR_SUCCESS)
      RegCloseKey(key);
    return Number(result) + " " + Number(disposition);
  }
  if (step == "delete")
    return Number(RegDeleteKeyW(base, Name(reader.Word()).c_str()));
  return OnKey(base, step, reader);
}

}  // namespace

std::string AnswerRegistry(Reader& reader) {
  static const Text base = Decode("WktJudge");
  DeleteTree(HKEY_CURRENT_USER, base.c_str());
  HKEY key = nullptr;
  if (RegCreateKeyExW(HKEY_CURRENT_USER, base.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                      nullptr) != ERROR_SUCCESS)
    return "no registry";
  std::string answer;
  for (std::string step = reader.Word(); !step.empty(); step = reader.Word())
    answer += (answer.empty() ? "" : "; ") + Step(key, step, reader);
  RegCloseKey(key);
  return answer;
}

}  // namespace wkt::foreign
