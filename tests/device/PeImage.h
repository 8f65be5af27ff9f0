// A Windows CE library mapped into a Linux process of the same machine: i386, or ARM under qemu.
//
// The image is placed away from the base it was linked for, moved by its relocations, and its
// imports from coredll.dll are bound by name to functions that the caller supplies. The library's
// entry is not called by Load. Images come from our own build; what does not fit together is
// refused, not trusted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace wkt {

class PeImage {
 public:
  // The address of a coredll.dll function, or null when there is none of that name.
  using Binder = void* (*)(const char* name);
  // The entry of a library, as Windows CE calls it.
  using Entry = int32_t (*)(void* instance, uint32_t reason, void* reserved);

  // Null on failure; `error` then says why.
  static std::unique_ptr<PeImage> Load(const std::string& path, Binder binder, std::string& error);
  ~PeImage();
  PeImage(const PeImage&) = delete;
  PeImage& operator=(const PeImage&) = delete;

  // Whether the bytes open with the mark of a PE file.
  static bool IsPe(std::span<const uint8_t> head);

  void* Base() const { return base_; }
  uint32_t PreferredBase() const { return preferredBase_; }
  Entry GetEntry() const;
  // Null when the library exports no such name.
  void* FindExport(const char* name) const;

 private:
  PeImage() = default;
  bool Map(std::span<const uint8_t> file, std::string& error);
  bool Relocate(std::string& error);
  bool Bind(Binder binder, std::string& error);
  bool BindLibrary(uint32_t lookup, uint32_t slots, Binder binder, std::string& error);
  bool Protect();
  const char* Text(uint32_t rva) const;
  template <class T>
  T* At(uint32_t rva, uint32_t count = 1) const;

  struct Directory {
    uint32_t rva = 0;
    uint32_t size = 0;
  };
  struct Section {
    uint32_t rva;
    uint32_t size;
    uint32_t flags;
  };

  uint8_t* base_ = nullptr;
  uint32_t size_ = 0;
  uint32_t preferredBase_ = 0;
  uint32_t entry_ = 0;
  Directory exports_, imports_, relocations_;
  std::vector<Section> sections_;
};

// The first version resource of a PE file, without loading it; empty when there is none.
std::vector<uint8_t> ReadPeVersion(std::span<const uint8_t> file);

// The whole file; empty when it cannot be read.
std::vector<uint8_t> ReadWholeFile(const std::string& path);

}  // namespace wkt
