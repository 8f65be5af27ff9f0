#include "tests/device/PeLoader.h"

#include <cstdio>
#include <utility>

#include "host/coredll/ForeignLibrary.h"
#include "tests/device/PeImage.h"

namespace wkt {

// Made from the list of functions that the libraries may call.
void* FindCoredllFunction(const char* name);

namespace {

int loadedCount = 0;

class PeLibrary final : public host::ForeignLibrary {
 public:
  explicit PeLibrary(std::unique_ptr<PeImage> image) : image_(std::move(image)) {}
  DllMainFunction Entry() const override {
    return reinterpret_cast<DllMainFunction>(image_->GetEntry());
  }
  void* Find(const char* name) const override { return image_->FindExport(name); }

 private:
  std::unique_ptr<PeImage> image_;
};

class PeLoader final : public host::ForeignLoader {
 public:
  bool Takes(std::span<const uint8_t> head) const override { return PeImage::IsPe(head); }

  std::unique_ptr<host::ForeignLibrary> Load(const std::string& path) const override {
    std::string error;
    std::unique_ptr<PeImage> image = PeImage::Load(path, FindCoredllFunction, error);
    if (image == nullptr) {
      std::fprintf(stderr, "%s\n", error.c_str());
      return nullptr;
    }
    ++loadedCount;
    return std::make_unique<PeLibrary>(std::move(image));
  }
};

const PeLoader loader;

}  // namespace

void UsePeLibraries() {
  host::AddForeignLoader(loader);
}

int PeLibrariesLoaded() {
  return loadedCount;
}

}  // namespace wkt
