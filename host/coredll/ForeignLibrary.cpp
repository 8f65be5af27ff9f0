#include "host/coredll/ForeignLibrary.h"

#include <array>
#include <cstdio>

namespace wkt::host {

namespace {
const ForeignLoader* foreignLoader = nullptr;
}

void SetForeignLoader(const ForeignLoader* loader) {
  foreignLoader = loader;
}

const ForeignLoader* FindForeignLoader(const std::string& path) {
  if (foreignLoader == nullptr)
    return nullptr;
  std::FILE* file = std::fopen(path.c_str(), "rbe");
  if (file == nullptr)
    return nullptr;
  std::array<uint8_t, 64> head = {};
  const size_t count = std::fread(head.data(), 1, head.size(), file);
  std::fclose(file);
  return foreignLoader->Takes(std::span(head).first(count)) ? foreignLoader : nullptr;
}

}  // namespace wkt::host
