// The registry in memory and as text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wkt::host {

// Limits of the classic registry.
constexpr size_t kMaxRegistryName = 255;  // units
constexpr size_t kMaxRegistryData = 4096;
constexpr size_t kMaxRegistryDepth = 16;  // levels, the root's own included

struct RegistryValue {
  std::u16string name;  // empty: the key's default value
  uint32_t type = 0;
  std::vector<uint8_t> data;
};

// Keys and values stand in the order in which they were made; names keep the case they were made
// with.
struct RegistryKey {
  std::u16string name;
  std::vector<RegistryValue> values;
  std::vector<std::unique_ptr<RegistryKey>> keys;

  // nullptr when missing. Letter case does not matter.
  [[nodiscard]] RegistryKey* FindKey(std::u16string_view keyName) const;
  [[nodiscard]] RegistryValue* FindValue(std::u16string_view valueName);
  [[nodiscard]] const RegistryValue* FindValue(std::u16string_view valueName) const;
  // Down a path of names separated by "\"; the empty path is this key.
  [[nodiscard]] RegistryKey* FindPath(std::u16string_view path);
  [[nodiscard]] const RegistryKey* FindPath(std::u16string_view path) const;
  RegistryKey& MakeKey(std::u16string_view keyName);
  // Sets `made` when a level was missing.
  RegistryKey& MakePath(std::u16string_view path, bool& made);
  // False when the value is there with the same content; its name keeps the case it was made with.
  bool SetValue(const RegistryValue& value);
};

// The whole registry below a nameless root whose keys are HKEY_LOCAL_MACHINE and the like.
std::string FormatRegistry(const RegistryKey& root);
// nullopt with `error` naming the line when the text is damaged or cut off.
std::optional<RegistryKey> ParseRegistry(std::string_view text, std::string& error);

// A name that a key or value may have: length, no "\" in a key's, no control characters in a key's.
bool IsKeyName(std::u16string_view name);
bool IsValueName(std::u16string_view name);

}  // namespace wkt::host
