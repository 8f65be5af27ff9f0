// The parts of the PE file format that device libraries use.
#pragma once

#include <cstdint>

namespace wkt {

#pragma pack(push, 1)
struct PeFileHeader {
  uint32_t signature;  // "PE\0\0"
  uint16_t machine;
  uint16_t sectionCount;
  uint32_t timeStamp, symbolTable, symbolCount;
  uint16_t optionalHeaderSize;
  uint16_t flags;
};
struct PeDirectory {
  uint32_t rva, size;
};
struct PeOptionalHeader {
  uint16_t magic;
  uint8_t linkerMajor, linkerMinor;
  uint32_t codeSize, dataSize, zeroSize, entry, codeBase, dataBase, imageBase, sectionAlignment,
      fileAlignment;
  uint16_t systemMajor, systemMinor, imageMajor, imageMinor, subsystemMajor, subsystemMinor;
  uint32_t reserved, imageSize, headerSize, checksum;
  uint16_t subsystem, libraryFlags;
  uint32_t stackReserve, stackCommit, heapReserve, heapCommit, loaderFlags, directoryCount;
  PeDirectory directories[16];
};
struct PeSection {
  char name[8];
  uint32_t virtualSize, rva, rawSize, rawOffset, relocations, lines;
  uint16_t relocationCount, lineCount;
  uint32_t flags;
};
struct PeExportDirectory {
  uint32_t flags, timeStamp;
  uint16_t major, minor;
  uint32_t name, ordinalBase, functionCount, nameCount, functions, names, ordinals;
};
struct PeImportDescriptor {
  uint32_t lookup, timeStamp, forwarder, name, slots;
};
struct PeRelocationBlock {
  uint32_t page, size;
};
struct PeResourceDirectory {
  uint32_t flags, timeStamp;
  uint16_t major, minor, namedCount, numberedCount;
};
struct PeResourceEntry {
  uint32_t name, offset;
};
struct PeResourceData {
  uint32_t rva, size, codePage, reserved;
};
#pragma pack(pop)

static_assert(sizeof(PeFileHeader) == 24 && sizeof(PeOptionalHeader) == 224 &&
              sizeof(PeSection) == 40);

constexpr uint32_t kPeSignature = 0x00004550;
constexpr uint16_t kPeOptionalMagic = 0x10B;
constexpr uint16_t kPeSubsystemCe = 9;
constexpr uint16_t kPeMachineX86 = 0x14C;
constexpr uint16_t kPeMachineArm = 0x1C0;
constexpr int kPeExports = 0, kPeImports = 1, kPeResources = 2, kPeRelocations = 5;
constexpr uint32_t kPeSectionExecute = 0x20000000, kPeSectionWrite = 0x80000000;
constexpr uint32_t kPeResourceVersion = 16;
constexpr uint32_t kPeHighBit = 0x80000000;
constexpr uint32_t kPePage = 0x1000;

}  // namespace wkt
