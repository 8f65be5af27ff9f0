#include "host/coredll/ElfCheck.h"

#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "host/coredll/Paths.h"

namespace wkt::host {

namespace {

using Header = ElfW(Ehdr);
using Segment = ElfW(Phdr);

constexpr unsigned char kClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;

// That of this library itself: the first bytes of every image in memory are its header.
extern "C" const Header __ehdr_start __attribute__((visibility("hidden")));

bool HasRightHeader(const Header& header) {
  return memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 && header.e_ident[EI_CLASS] == kClass &&
         header.e_ident[EI_DATA] == __ehdr_start.e_ident[EI_DATA] && header.e_type == ET_DYN &&
         header.e_machine == __ehdr_start.e_machine && header.e_phentsize == sizeof(Segment) &&
         header.e_phnum != 0;
}

bool LiesInside(const Segment& segment, uint64_t fileBytes) {
  return segment.p_offset <= fileBytes && segment.p_filesz <= fileBytes - segment.p_offset &&
         segment.p_filesz <= segment.p_memsz;
}

}  // namespace

bool IsLoadable(const std::string& machinePath) {
  const OwnedFile file(open(machinePath.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat info = {};
  Header header = {};
  if (!file.IsOpen() || fstat(file.Get(), &info) != 0 ||
      pread(file.Get(), &header, sizeof(header), 0) != static_cast<ssize_t>(sizeof(header)) ||
      !HasRightHeader(header))
    return false;
  std::vector<Segment> segments(header.e_phnum);
  const auto byteCount = static_cast<ssize_t>(segments.size() * sizeof(Segment));
  if (pread(file.Get(), segments.data(), static_cast<size_t>(byteCount),
            static_cast<off_t>(header.e_phoff)) != byteCount)
    return false;
  bool dynamic = false;
  for (const Segment& segment : segments) {
    if ((segment.p_type == PT_LOAD || segment.p_type == PT_DYNAMIC) &&
        !LiesInside(segment, static_cast<uint64_t>(info.st_size)))
      return false;
    dynamic = dynamic || segment.p_type == PT_DYNAMIC;
  }
  return dynamic;
}

}  // namespace wkt::host
