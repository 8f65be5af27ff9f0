#include "host/coredll/RegistryTree.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <utility>

#include "host/coredll/Text.h"

namespace wkt::host {

namespace {

constexpr std::string_view kFirstLine = "worktally-registry 1";
constexpr std::string_view kLastLine = "; end";
constexpr uint32_t kText = 1;    // REG_SZ
constexpr uint32_t kBinary = 3;  // REG_BINARY
constexpr uint32_t kNumber = 4;  // REG_DWORD

// In double quotes: backslash and quote behind a backslash, control characters as \uXXXX.
std::string Quoted(std::u16string_view text) {
  std::string quoted = "\"";
  for (const char byte : ToUtf8(text)) {
    if (byte == '\\' || byte == '"')
      quoted += '\\';
    if (static_cast<unsigned char>(byte) >= 0x20 && byte != 0x7F) {
      quoted += byte;
      continue;
    }
    std::array<char, 8> escape;
    snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned char>(byte));
    quoted += escape.data();
  }
  return quoted + '"';
}

// The text in front of `line`, which is shortened by it.
std::optional<std::u16string> TakeQuoted(std::string_view& line) {
  if (line.empty() || line[0] != '"')
    return std::nullopt;
  std::string bytes;
  for (size_t i = 1; i < line.size(); ++i) {
    if (line[i] == '"') {
      line.remove_prefix(i + 1);
      return FromUtf8(bytes);
    }
    if (line[i] != '\\') {
      bytes += line[i];
      continue;
    }
    if (++i == line.size())
      return std::nullopt;
    if (line[i] != 'u') {
      bytes += line[i];
      continue;
    }
    uint32_t unit = 0;
    const char* first = line.data() + i + 1;
    if (i + 4 >= line.size() || std::from_chars(first, first + 4, unit, 16).ptr != first + 4 ||
        unit == 0)
      return std::nullopt;
    bytes += ToUtf8(std::u16string(1, static_cast<char16_t>(unit)));
    i += 4;
  }
  return std::nullopt;
}

// The text of a value that is exactly one terminated text; nullopt when only bytes can say it.
std::optional<std::u16string> PlainText(const RegistryValue& value) {
  if (value.type != kText || value.data.size() < 2 || value.data.size() % 2 != 0)
    return std::nullopt;
  std::u16string text;
  for (size_t i = 0; i < value.data.size(); i += 2)
    text += static_cast<char16_t>(value.data[i] | (value.data[i + 1] << 8));
  if (text.find(u'\0') != text.size() - 1)
    return std::nullopt;
  text.pop_back();
  // Halves of surrogate pairs that would join when read again.
  if (FromUtf8(ToUtf8(text)) != text)
    return std::nullopt;
  return text;
}

std::string FormatData(const RegistryValue& value) {
  if (const std::optional<std::u16string> text = PlainText(value))
    return Quoted(*text);
  std::array<char, 16> number;
  if (value.type == kNumber && value.data.size() == 4) {
    const uint32_t bits = value.data[0] | uint32_t{value.data[1]} << 8 |
                          uint32_t{value.data[2]} << 16 | uint32_t{value.data[3]} << 24;
    snprintf(number.data(), number.size(), "dword:%08x", bits);
    return number.data();
  }
  std::string text = "hex";
  if (value.type != kBinary) {
    snprintf(number.data(), number.size(), "(%x)", value.type);
    text += number.data();
  }
  char separator = ':';
  for (const uint8_t byte : value.data) {
    snprintf(number.data(), number.size(), "%c%02x", separator, byte);
    text += number.data();
    separator = ',';
  }
  return value.data.empty() ? text + ':' : text;
}

bool ReadHex(std::string_view text, uint32_t& number) {
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  return !text.empty() && problem == std::errc() && end == text.data() + text.size();
}

void StoreNumber(RegistryValue& value, uint32_t bits) {
  value.type = kNumber;
  value.data = {static_cast<uint8_t>(bits), static_cast<uint8_t>(bits >> 8),
                static_cast<uint8_t>(bits >> 16), static_cast<uint8_t>(bits >> 24)};
}

bool ReadBytes(std::string_view text, RegistryValue& value) {
  value.type = kBinary;
  if (text.substr(0, 1) == "(") {
    const size_t end = text.find(')');
    if (end == std::string_view::npos || !ReadHex(text.substr(1, end - 1), value.type))
      return false;
    text.remove_prefix(end + 1);
  }
  if (text.substr(0, 1) != ":")
    return false;
  text.remove_prefix(1);
  while (!text.empty()) {
    uint32_t byte = 0;
    if (!ReadHex(text.substr(0, 2), byte) || text.size() < 2 ||
        (text.size() > 2 && text[2] != ',') || text.size() == 3)
      return false;
    value.data.push_back(static_cast<uint8_t>(byte));
    text.remove_prefix(std::min<size_t>(text.size(), 3));
  }
  return value.data.size() <= kMaxRegistryData;
}

bool ReadData(std::string_view text, RegistryValue& value) {
  if (text.substr(0, 6) == "dword:") {
    uint32_t bits = 0;
    if (text.size() != 14 || !ReadHex(text.substr(6), bits))
      return false;
    StoreNumber(value, bits);
    return true;
  }
  if (text.substr(0, 3) == "hex")
    return ReadBytes(text.substr(3), value);
  const std::optional<std::u16string> plain = TakeQuoted(text);
  if (!plain || !text.empty())
    return false;
  value.type = kText;
  for (const char16_t unit : *plain) {
    value.data.push_back(static_cast<uint8_t>(unit));
    value.data.push_back(static_cast<uint8_t>(unit >> 8));
  }
  value.data.insert(value.data.end(), 2, 0);
  return value.data.size() <= kMaxRegistryData;
}

bool ReadValue(std::string_view line, RegistryKey& key) {
  RegistryValue value;
  if (line[0] == '@') {
    line.remove_prefix(1);
  } else {
    std::optional<std::u16string> name = TakeQuoted(line);
    if (!name || !IsValueName(*name))
      return false;
    value.name = std::move(*name);
  }
  if (line.substr(0, 1) != "=" || !ReadData(line.substr(1), value) ||
      key.FindValue(value.name) != nullptr)
    return false;
  key.values.push_back(std::move(value));
  return true;
}

RegistryKey* ReadKey(std::string_view line, RegistryKey& root) {
  const std::optional<std::u16string> path = FromUtf8(line.substr(1, line.size() - 2));
  if (!path || path->empty())
    return nullptr;
  RegistryKey* key = &root;
  size_t depth = 0;
  for (size_t start = 0; start <= path->size();) {
    const size_t end = std::min(path->find(u'\\', start), path->size());
    const std::u16string_view name = std::u16string_view(*path).substr(start, end - start);
    if (!IsKeyName(name) || ++depth > kMaxRegistryDepth)
      return nullptr;
    key = &key->MakeKey(name);
    start = end + 1;
  }
  return key;
}

void FormatKey(const RegistryKey& key, const std::string& path, std::string& text) {
  text += '[' + path + "]\n";
  for (const RegistryValue& value : key.values)
    text += (value.name.empty() ? "@" : Quoted(value.name)) + '=' + FormatData(value) + '\n';
  for (const auto& child : key.keys)
    FormatKey(*child, path + '\\' + ToUtf8(child->name), text);
}

}  // namespace

RegistryKey* RegistryKey::FindKey(std::u16string_view keyName) const {
  for (const auto& key : keys) {
    if (EqualIgnoringCase(key->name, keyName))
      return key.get();
  }
  return nullptr;
}

const RegistryValue* RegistryKey::FindValue(std::u16string_view valueName) const {
  for (const RegistryValue& value : values) {
    if (EqualIgnoringCase(value.name, valueName))
      return &value;
  }
  return nullptr;
}

RegistryValue* RegistryKey::FindValue(std::u16string_view valueName) {
  return const_cast<RegistryValue*>(std::as_const(*this).FindValue(valueName));
}

const RegistryKey* RegistryKey::FindPath(std::u16string_view path) const {
  const RegistryKey* key = this;
  while (key != nullptr && !path.empty()) {
    const size_t end = std::min(path.find(u'\\'), path.size());
    key = key->FindKey(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return key;
}

RegistryKey* RegistryKey::FindPath(std::u16string_view path) {
  return const_cast<RegistryKey*>(std::as_const(*this).FindPath(path));
}

RegistryKey& RegistryKey::MakeKey(std::u16string_view keyName) {
  if (RegistryKey* found = FindKey(keyName))
    return *found;
  keys.push_back(std::make_unique<RegistryKey>());
  keys.back()->name = keyName;
  return *keys.back();
}

RegistryKey& RegistryKey::MakePath(std::u16string_view path, bool& made) {
  RegistryKey* key = this;
  while (!path.empty()) {
    const size_t end = std::min(path.find(u'\\'), path.size());
    const std::u16string_view keyName = path.substr(0, end);
    made = made || key->FindKey(keyName) == nullptr;
    key = &key->MakeKey(keyName);
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return *key;
}

bool RegistryKey::SetValue(const RegistryValue& value) {
  RegistryValue* found = FindValue(value.name);
  if (found == nullptr) {
    values.push_back(value);
    return true;
  }
  if (found->type == value.type && found->data == value.data)
    return false;
  found->type = value.type;
  found->data = value.data;
  return true;
}

std::string FormatRegistry(const RegistryKey& root) {
  std::string text(kFirstLine);
  text += '\n';
  for (const auto& key : root.keys)
    FormatKey(*key, ToUtf8(key->name), text);
  return text.append(kLastLine) + '\n';
}

std::optional<RegistryKey> ParseRegistry(std::string_view text, std::string& error) {
  RegistryKey root;
  RegistryKey* key = nullptr;
  size_t lineNumber = 0;
  bool ended = false;
  while (!text.empty() && !ended) {
    const size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.ends_with('\r'))
      line.remove_suffix(1);
    bool good = true;
    if (++lineNumber == 1) {
      good = line == kFirstLine;
    } else if (line == kLastLine) {
      ended = true;
    } else if (!line.empty() && line[0] == '[' && line.back() == ']') {
      key = ReadKey(line, root);
      good = key != nullptr;
    } else if (!line.empty() && line[0] != ';') {
      good = key != nullptr && ReadValue(line, *key);
    }
    if (!good) {
      error = "line " + std::to_string(lineNumber) + " is damaged";
      return std::nullopt;
    }
  }
  if (!ended) {
    error = "the end is missing";
    return std::nullopt;
  }
  return root;
}

bool IsKeyName(std::u16string_view name) {
  return !name.empty() && name.size() <= kMaxRegistryName &&
         std::none_of(name.begin(), name.end(),
                      [](char16_t unit) { return unit < 0x20 || unit == u'\\'; }) &&
         FromUtf8(ToUtf8(name)) == name;
}

bool IsValueName(std::u16string_view name) {
  return name.size() <= kMaxRegistryName && name.find(u'\0') == std::u16string_view::npos;
}

}  // namespace wkt::host
