#include "host/coredll/ForeignLibrary.h"

#include <array>
#include <cstdio>
#include <vector>

namespace wkt::host {

namespace {

std::vector<const ForeignLoader*>& Loaders() {
  static auto* loaders = new std::vector<const ForeignLoader*>;
  return *loaders;
}

}  // namespace

void AddForeignLoader(const ForeignLoader& loader) {
  Loaders().push_back(&loader);
}

const ForeignLoader* FindForeignLoader(const std::string& path) {
  if (Loaders().empty())
    return nullptr;
  std::FILE* file = std::fopen(path.c_str(), "rbe");
  if (file == nullptr)
    return nullptr;
  std::array<uint8_t, 64> head = {};
  const size_t count = std::fread(head.data(), 1, head.size(), file);
  std::fclose(file);
  for (const ForeignLoader* loader : Loaders()) {
    if (loader->Takes(std::span(head).first(count)))
      return loader;
  }
  return nullptr;
}

}  // namespace wkt::host
