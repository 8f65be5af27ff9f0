// Version information of library files: found in the file, and walked in memory.
//
// The information is a tree of nodes as in Windows resources: three words (bytes of the node, size
// of its value, 1 when the value is text), a terminated name, the value, children; each at a
// multiple of four.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wkt::host {

using Bytes = std::span<const uint8_t>;

// The version information in a library file (an ELF section ".wktver", or a resource of a PE file).
// nullopt when there is none, or when what is there is damaged.
std::optional<std::vector<uint8_t>> VersionBlockOf(Bytes file);

struct VersionValue {
  size_t offset;  // from the start of the block
  size_t units;   // bytes, or UTF-16 units when it is a text
};

// The value at a path as VerQueryValueW takes it ("\", "\VarFileInfo\Translation"). nullopt when it
// is missing or the block is damaged there.
std::optional<VersionValue> FindVersionValue(Bytes block, std::u16string_view path);

// A little-endian number of the file; nullopt behind its end.
template <typename Number>
std::optional<Number> NumberAt(Bytes bytes, uint64_t offset) {
  if (offset > bytes.size() || bytes.size() - offset < sizeof(Number))
    return std::nullopt;
  Number number = 0;
  for (size_t i = sizeof(Number); i-- > 0;)
    number = static_cast<Number>((number << 7 << 1) | bytes[static_cast<size_t>(offset) + i]);
  return number;
}

// Empty when the range is not wholly inside.
Bytes RangeAt(Bytes bytes, uint64_t offset, uint64_t count);

}  // namespace wkt::host
