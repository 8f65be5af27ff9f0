#include "tests/device/PeImage.h"

#include <sys/mman.h>

#include <cstring>
#include <fstream>
#include <iterator>

#include "tests/device/PeFormat.h"

namespace wkt {
namespace {

#if defined(__arm__)
constexpr uint16_t kOwnMachine = kPeMachineArm;
#else
constexpr uint16_t kOwnMachine = kPeMachineX86;
#endif

// Far from the base of any of our libraries; every load asks for the next place.
constexpr uintptr_t kFirstPlace = 0x32100000;
constexpr uintptr_t kPlaceStep = 0x00200000;
uintptr_t nextPlace = kFirstPlace;

bool Fail(std::string& error, const std::string& text) {
  error = text;
  return false;
}

struct Headers {
  PeFileHeader file;
  PeOptionalHeader optional;
  std::vector<PeSection> sections;
};

template <class T>
bool Read(std::span<const uint8_t> file, uint64_t offset, T& value) {
  if (offset + sizeof(T) > file.size()) {
    return false;
  }
  std::memcpy(&value, file.data() + offset, sizeof(T));
  return true;
}

bool ReadHeaders(std::span<const uint8_t> file, Headers& headers) {
  uint32_t at = 0;
  if (!PeImage::IsPe(file) || !Read(file, 0x3C, at) || !Read(file, at, headers.file) ||
      headers.file.signature != kPeSignature ||
      !Read(file, uint64_t{at} + sizeof(PeFileHeader), headers.optional) ||
      headers.optional.magic != kPeOptionalMagic ||
      headers.file.optionalHeaderSize != sizeof(PeOptionalHeader)) {
    return false;
  }
  headers.sections.resize(headers.file.sectionCount);
  uint64_t offset = uint64_t{at} + sizeof(PeFileHeader) + sizeof(PeOptionalHeader);
  for (PeSection& section : headers.sections) {
    if (!Read(file, offset, section)) {
      return false;
    }
    offset += sizeof(PeSection);
  }
  return true;
}

}  // namespace

bool PeImage::IsPe(std::span<const uint8_t> head) {
  return head.size() >= 2 && head[0] == 'M' && head[1] == 'Z';
}

template <class T>
T* PeImage::At(uint32_t rva, uint32_t count) const {
  if (rva == 0 || uint64_t{rva} + uint64_t{count} * sizeof(T) > size_) {
    return nullptr;
  }
  return reinterpret_cast<T*>(base_ + rva);
}

const char* PeImage::Text(uint32_t rva) const {
  const char* text = At<const char>(rva);
  return text != nullptr && std::memchr(text, 0, size_ - rva) != nullptr ? text : nullptr;
}

std::unique_ptr<PeImage> PeImage::Load(const std::string& path, Binder binder, std::string& error) {
  const std::vector<uint8_t> file = ReadWholeFile(path);
  std::unique_ptr<PeImage> image(new PeImage);
  if (!image->Map(file, error) || !image->Relocate(error) || !image->Bind(binder, error)) {
    error = path + ": " + error;
    return nullptr;
  }
  if (!image->Protect()) {
    error = path + ": pages cannot be protected";
    return nullptr;
  }
  return image;
}

PeImage::~PeImage() {
  if (base_ != nullptr) {
    munmap(base_, size_);
  }
}

bool PeImage::Map(std::span<const uint8_t> file, std::string& error) {
  Headers headers;
  if (!ReadHeaders(file, headers)) {
    return Fail(error, "not a PE library");
  }
  const PeOptionalHeader& optional = headers.optional;
  if (headers.file.machine != kOwnMachine || optional.subsystem != kPeSubsystemCe) {
    return Fail(error, "made for another machine or system");
  }
  void* place = mmap(reinterpret_cast<void*>(nextPlace), optional.imageSize, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (place == MAP_FAILED) {
    return Fail(error, "no memory for the image");
  }
  nextPlace += kPlaceStep;
  base_ = static_cast<uint8_t*>(place);
  size_ = optional.imageSize;
  preferredBase_ = optional.imageBase;
  entry_ = optional.entry;
  if (reinterpret_cast<uintptr_t>(base_) == preferredBase_) {
    return Fail(error, "mapped at its own base, so nothing would be proved");
  }
  for (const PeSection& section : headers.sections) {
    const uint32_t bytes = std::min(section.rawSize, section.virtualSize);
    if (uint64_t{section.rva} + section.virtualSize > size_ ||
        uint64_t{section.rawOffset} + bytes > file.size()) {
      return Fail(error, "a section lies outside of the image");
    }
    std::memcpy(base_ + section.rva, file.data() + section.rawOffset, bytes);
    sections_.push_back({section.rva, section.virtualSize, section.flags});
  }
  const auto directory = [&optional](int index) {
    return Directory{optional.directories[index].rva, optional.directories[index].size};
  };
  exports_ = directory(kPeExports);
  imports_ = directory(kPeImports);
  relocations_ = directory(kPeRelocations);
  return true;
}

bool PeImage::Relocate(std::string& error) {
  const uint32_t delta = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(base_)) - preferredBase_;
  if (relocations_.size == 0) {
    return Fail(error, "has no relocations and its base is taken");
  }
  for (uint32_t at = 0; at < relocations_.size;) {
    const auto* block = At<PeRelocationBlock>(relocations_.rva + at);
    if (block == nullptr || block->size < sizeof(*block) || at + block->size > relocations_.size) {
      return Fail(error, "relocations are damaged");
    }
    const uint32_t count = (block->size - sizeof(*block)) / 2;
    const auto* entries = reinterpret_cast<const uint16_t*>(block + 1);
    for (uint32_t i = 0; i < count; ++i) {
      const uint32_t kind = entries[i] >> 12;
      if (kind == 0) {
        continue;  // filling up to a whole word
      }
      auto* value = At<uint8_t>(block->page + (entries[i] & 0xFFF), 4);
      if (kind != 3 || value == nullptr) {
        return Fail(error, "relocation of an unknown kind or outside of the image");
      }
      uint32_t word;
      std::memcpy(&word, value, sizeof(word));
      word += delta;
      std::memcpy(value, &word, sizeof(word));
    }
    at += block->size;
  }
  return true;
}

bool PeImage::Bind(Binder binder, std::string& error) {
  for (uint32_t at = imports_.rva; imports_.size != 0; at += sizeof(PeImportDescriptor)) {
    const auto* descriptor = At<PeImportDescriptor>(at);
    if (descriptor == nullptr) {
      return Fail(error, "imports are damaged");
    }
    if (descriptor->slots == 0) {
      break;
    }
    const char* library = Text(descriptor->name);
    if (library == nullptr || std::strcmp(library, "coredll.dll") != 0) {
      return Fail(error, "imports from a library other than coredll.dll");
    }
    if (!BindLibrary(descriptor->lookup != 0 ? descriptor->lookup : descriptor->slots,
                     descriptor->slots, binder, error)) {
      return false;
    }
  }
  return true;
}

bool PeImage::BindLibrary(uint32_t lookup, uint32_t slots, Binder binder, std::string& error) {
  for (;; lookup += 4, slots += 4) {
    const auto* wanted = At<uint32_t>(lookup);
    auto* slot = At<uint32_t>(slots);
    if (wanted == nullptr || slot == nullptr) {
      return Fail(error, "imports are damaged");
    }
    if (*wanted == 0) {
      return true;
    }
    const char* name = (*wanted & kPeHighBit) != 0 ? nullptr : Text(*wanted + 2);
    if (name == nullptr) {
      return Fail(error, "imports by number");
    }
    void* function = binder(name);
    if (function == nullptr) {
      return Fail(error, std::string("coredll.dll has no function ") + name);
    }
    *slot = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(function));
  }
}

bool PeImage::Protect() {
  __builtin___clear_cache(reinterpret_cast<char*>(base_), reinterpret_cast<char*>(base_ + size_));
  for (const Section& section : sections_) {
    int protection = PROT_READ;
    protection |= (section.flags & kPeSectionWrite) != 0 ? PROT_WRITE : 0;
    protection |= (section.flags & kPeSectionExecute) != 0 ? PROT_EXEC : 0;
    const size_t bytes = (size_t{section.size} + kPePage - 1) & ~size_t{kPePage - 1};
    if (mprotect(base_ + section.rva, bytes, protection) != 0) {
      return false;
    }
  }
  return true;
}

PeImage::Entry PeImage::GetEntry() const {
  return reinterpret_cast<Entry>(base_ + entry_);
}

void* PeImage::FindExport(const char* name) const {
  const auto* directory = exports_.size != 0 ? At<PeExportDirectory>(exports_.rva) : nullptr;
  if (directory == nullptr) {
    return nullptr;
  }
  const auto* names = At<uint32_t>(directory->names, directory->nameCount);
  const auto* ordinals = At<uint16_t>(directory->ordinals, directory->nameCount);
  const auto* functions = At<uint32_t>(directory->functions, directory->functionCount);
  if (names == nullptr || ordinals == nullptr || functions == nullptr) {
    return nullptr;
  }
  for (uint32_t i = 0; i < directory->nameCount; ++i) {
    const char* text = Text(names[i]);
    if (text != nullptr && std::strcmp(text, name) == 0 && ordinals[i] < directory->functionCount) {
      return At<uint8_t>(functions[ordinals[i]]);
    }
  }
  return nullptr;
}

std::vector<uint8_t> ReadPeVersion(std::span<const uint8_t> file) {
  Headers headers;
  if (!ReadHeaders(file, headers)) {
    return {};
  }
  const auto offsetOf = [&headers](uint32_t rva) -> uint64_t {
    for (const PeSection& section : headers.sections) {
      if (rva >= section.rva && rva - section.rva < section.rawSize) {
        return uint64_t{section.rawOffset} + (rva - section.rva);
      }
    }
    return UINT64_MAX / 2;  // beyond any file
  };
  const uint64_t root = offsetOf(headers.optional.directories[kPeResources].rva);
  // Type, name, language: the version is of type 16, of the other two the first is taken.
  uint64_t at = root;
  for (int level = 0; level < 3; ++level) {
    PeResourceDirectory directory;
    if (!Read(file, at, directory)) {
      return {};
    }
    const uint32_t count = uint32_t{directory.namedCount} + directory.numberedCount;
    PeResourceEntry entry{};
    bool found = false;
    for (uint32_t i = 0; i < count && !found; ++i) {
      if (!Read(file, at + sizeof(directory) + i * sizeof(entry), entry)) {
        return {};
      }
      found = level != 0 || entry.name == kPeResourceVersion;
    }
    if (!found || ((entry.offset & kPeHighBit) != 0) != (level < 2)) {
      return {};
    }
    at = root + (entry.offset & ~kPeHighBit);
  }
  PeResourceData data;
  if (!Read(file, at, data) || offsetOf(data.rva) + data.size > file.size()) {
    return {};
  }
  const uint8_t* first = file.data() + offsetOf(data.rva);
  return {first, first + data.size};
}

std::vector<uint8_t> ReadWholeFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

}  // namespace wkt
