#include "host/coredll/VersionBlock.h"

#include <algorithm>

#include "host/coredll/Text.h"

namespace wkt::host {

namespace {

constexpr uint32_t kFixedSignature = 0xFEEF04BD;
constexpr size_t kFixedBytes = 52;
constexpr size_t kNodeHeaderBytes = 6;
// Deeper than any real tree: root, StringFileInfo, table, string.
constexpr int kMaxDepth = 6;

size_t Aligned(size_t offset) {
  return (offset + 3) & ~size_t{3};
}

// A node of the tree; offsets from the start of the block.
struct Node {
  size_t end;
  std::u16string name;
  VersionValue value;
  size_t children;
};

std::optional<Node> ReadNode(Bytes block, size_t offset) {
  const auto length = NumberAt<uint16_t>(block, offset);
  const auto valueLength = NumberAt<uint16_t>(block, offset + 2);
  const auto isText = NumberAt<uint16_t>(block, offset + 4);
  if (!length || !valueLength || !isText || *length < kNodeHeaderBytes ||
      *length > block.size() - offset)
    return std::nullopt;
  Node node = {offset + *length, {}, {}, 0};
  size_t at = offset + kNodeHeaderBytes;
  for (;; at += 2) {
    const auto unit = NumberAt<uint16_t>(block.first(node.end), at);
    if (!unit)
      return std::nullopt;
    if (*unit == 0)
      break;
    node.name += static_cast<char16_t>(*unit);
  }
  node.value = {Aligned(at + 2), *valueLength};
  const size_t valueBytes = *isText == 1 ? size_t{2} * *valueLength : *valueLength;
  // A node that ends with its name may end before the value's place.
  if (valueBytes == 0)
    node.value.offset = std::min(node.value.offset, node.end);
  if (node.value.offset > node.end || valueBytes > node.end - node.value.offset)
    return std::nullopt;
  node.children = Aligned(node.value.offset + valueBytes);
  return node;
}

std::optional<Node> FindChild(Bytes block, const Node& parent, std::u16string_view name) {
  for (size_t offset = parent.children; offset + kNodeHeaderBytes <= parent.end;) {
    std::optional<Node> child = ReadNode(block.first(parent.end), offset);
    if (!child)
      return std::nullopt;
    if (EqualIgnoringCase(child->name, name))
      return child;
    offset = Aligned(child->end);
  }
  return std::nullopt;
}

// Cut to the length it states, when that is a whole root with its fixed part.
std::optional<std::vector<uint8_t>> CheckedBlock(Bytes found) {
  const std::optional<Node> root = ReadNode(found, 0);
  if (!root || root->name != u"VS_VERSION_INFO" || root->value.units != kFixedBytes ||
      NumberAt<uint32_t>(found, root->value.offset) != kFixedSignature)
    return std::nullopt;
  return std::vector<uint8_t>(found.begin(), found.begin() + static_cast<ptrdiff_t>(root->end));
}

// Offsets of the fields of ELF headers, by word size.
struct ElfLayout {
  bool wide;
  uint64_t sectionTable, sectionEntrySize, sectionCount, nameSection;
  uint64_t offsetInSection, sizeInSection;
};
constexpr ElfLayout kElf32 = {false, 0x20, 0x2E, 0x30, 0x32, 0x10, 0x14};
constexpr ElfLayout kElf64 = {true, 0x28, 0x3A, 0x3C, 0x3E, 0x18, 0x20};

std::optional<uint64_t> ElfWord(Bytes file, const ElfLayout& layout, uint64_t offset) {
  if (layout.wide)
    return NumberAt<uint64_t>(file, offset);
  return NumberAt<uint32_t>(file, offset);
}

// The content of a section whose header stands at `header`.
Bytes ElfSection(Bytes file, const ElfLayout& layout, uint64_t header) {
  const auto offset = ElfWord(file, layout, header + layout.offsetInSection);
  const auto size = ElfWord(file, layout, header + layout.sizeInSection);
  return offset && size ? RangeAt(file, *offset, *size) : Bytes();
}

Bytes FindElfSection(Bytes file, std::string_view wanted) {
  const auto wordSize = NumberAt<uint8_t>(file, 4);
  const ElfLayout& layout = wordSize == 2 ? kElf64 : kElf32;
  const auto table = ElfWord(file, layout, layout.sectionTable);
  const auto entrySize = NumberAt<uint16_t>(file, layout.sectionEntrySize);
  const auto count = NumberAt<uint16_t>(file, layout.sectionCount);
  const auto nameIndex = NumberAt<uint16_t>(file, layout.nameSection);
  if (!table || !entrySize || !count || !nameIndex || *table > file.size())
    return {};
  const Bytes names = ElfSection(file, layout, *table + uint64_t{*nameIndex} * *entrySize);
  for (uint64_t i = 0; i < *count; ++i) {
    const uint64_t header = *table + i * *entrySize;
    const auto nameOffset = NumberAt<uint32_t>(file, header);
    const Bytes name = nameOffset ? RangeAt(names, *nameOffset, wanted.size() + 1) : Bytes();
    if (!name.empty() && std::equal(wanted.begin(), wanted.end(), name.begin()) && name.back() == 0)
      return ElfSection(file, layout, header);
  }
  return {};
}

// The resources of a PE file: a tree of three levels (type, name, language) of eight-byte entries.
class PeResources {
 public:
  explicit PeResources(Bytes file) : file_(file) {}

  // The first language of the first version resource.
  Bytes FindVersion() {
    if (!Open())
      return {};
    constexpr uint32_t kVersionType = 16;
    const auto names = Entry(0, kVersionType);
    const auto languages =
        names && (*names & kIsFolder) != 0 ? Entry(*names & ~kIsFolder, kAny) : std::nullopt;
    const auto leaf = languages && (*languages & kIsFolder) != 0
                          ? Entry(*languages & ~kIsFolder, kAny)
                          : std::nullopt;
    if (!leaf || (*leaf & kIsFolder) != 0)
      return {};
    const auto address = NumberAt<uint32_t>(resources_, *leaf);
    const auto size = NumberAt<uint32_t>(resources_, uint64_t{*leaf} + 4);
    if (!address || !size || *address < address_)
      return {};
    return RangeAt(resources_, *address - address_, *size);
  }

 private:
  static constexpr uint32_t kIsFolder = 0x80000000;
  static constexpr uint32_t kAny = 0xFFFFFFFF;

  // Finds the section that holds the resource directory.
  bool Open() {
    const auto header = NumberAt<uint32_t>(file_, 0x3C);
    if (!header || NumberAt<uint32_t>(file_, *header) != 0x00004550u)
      return false;
    const auto sectionCount = NumberAt<uint16_t>(file_, uint64_t{*header} + 6);
    const auto optionalSize = NumberAt<uint16_t>(file_, uint64_t{*header} + 20);
    // The third directory entry behind the 96 bytes of a 32-bit optional header.
    const auto address = NumberAt<uint32_t>(file_, uint64_t{*header} + 24 + 96 + 16);
    if (!sectionCount || !optionalSize || !address || *address == 0 ||
        NumberAt<uint16_t>(file_, uint64_t{*header} + 24) != 0x010Bu)
      return false;
    address_ = *address;
    for (uint64_t i = 0; i < *sectionCount; ++i) {
      const uint64_t section = uint64_t{*header} + 24 + *optionalSize + i * 40;
      const auto start = NumberAt<uint32_t>(file_, section + 12);
      const auto size = NumberAt<uint32_t>(file_, section + 16);
      const auto offset = NumberAt<uint32_t>(file_, section + 20);
      if (!start || !size || !offset || address_ < *start || address_ - *start >= *size)
        continue;
      const Bytes content = RangeAt(file_, *offset, *size);
      resources_ = content.empty() ? content : content.subspan(address_ - *start);
      return !resources_.empty();
    }
    return false;
  }

  // What the entry of a folder with that number (or its first one) points to.
  std::optional<uint32_t> Entry(uint32_t folder, uint32_t number) {
    const auto named = NumberAt<uint16_t>(resources_, uint64_t{folder} + 12);
    const auto numbered = NumberAt<uint16_t>(resources_, uint64_t{folder} + 14);
    if (!named || !numbered)
      return std::nullopt;
    for (uint64_t i = 0; i < uint64_t{*named} + *numbered; ++i) {
      const uint64_t entry = uint64_t{folder} + 16 + i * 8;
      const auto id = NumberAt<uint32_t>(resources_, entry);
      if (!id || number == kAny || *id == number)
        return NumberAt<uint32_t>(resources_, entry + 4);
    }
    return std::nullopt;
  }

  Bytes file_;
  Bytes resources_;
  uint32_t address_ = 0;  // of the resource directory in the loaded image
};

}  // namespace

Bytes RangeAt(Bytes bytes, uint64_t offset, uint64_t count) {
  if (offset > bytes.size() || count > bytes.size() - offset)
    return {};
  return bytes.subspan(static_cast<size_t>(offset), static_cast<size_t>(count));
}

std::optional<std::vector<uint8_t>> VersionBlockOf(Bytes file) {
  if (NumberAt<uint32_t>(file, 0) == 0x464C457Fu)
    return CheckedBlock(FindElfSection(file, ".wktver"));
  if (NumberAt<uint16_t>(file, 0) == 0x5A4Du)
    return CheckedBlock(PeResources(file).FindVersion());
  return std::nullopt;
}

std::optional<VersionValue> FindVersionValue(Bytes block, std::u16string_view path) {
  std::optional<Node> node = ReadNode(block, 0);
  for (int depth = 0; node && depth < kMaxDepth; ++depth) {
    while (path.starts_with(u'\\'))
      path.remove_prefix(1);
    if (path.empty())
      return node->value;
    const size_t end = std::min(path.find(u'\\'), path.size());
    node = FindChild(block, *node, path.substr(0, end));
    path.remove_prefix(end);
  }
  return std::nullopt;
}

}  // namespace wkt::host
