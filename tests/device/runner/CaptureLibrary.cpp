#include "tests/device/runner/CaptureLibrary.h"

#include <cstring>
#include <fstream>
#include <string_view>

#include "host/coredll/ForeignLibrary.h"
#include "platform/LogLibrary.h"

CE_FUNCTIONS_BEGIN
void CEAPI WktLogInit(const WCHAR* moduleName, const WCHAR* logFilePath);
void CEAPI WktLogExit();
void CEAPI WktLogWrite(DWORD level, const WCHAR* format, va_list arguments);
void CEAPI WktLogWriteEnter(const char* functionName);
void CEAPI WktLogWriteLeave(const char* functionName);
void CEAPI WktLogSetWriteToFile(BOOL on);
BOOL CEAPI WktLogGetWriteToFile();
size_t CaptureCount(BOOL initCalls);
const char* CaptureLine(BOOL initCalls, size_t index);
void CaptureClear();
CE_FUNCTIONS_END

namespace wkt::test {
namespace {

// What a file says that stands for the library; the names that it exports come behind, "*" for all.
constexpr std::string_view kMark = "wkt capture library: ";

template <class Function>
void* Address(Function* function) {
  return reinterpret_cast<void*>(function);
}

class CaptureLibrary final : public host::ForeignLibrary {
 public:
  explicit CaptureLibrary(const std::string& exported) : names(" " + exported + " ") {}
  DllMainFunction Entry() const override {
    return [](HANDLE, DWORD, LPVOID) -> BOOL { return TRUE; };
  }
  void* Find(const char* name) const override {
    const struct {
      const char* name;
      void* function;
    } functions[] = {{"WktLogInit", Address(WktLogInit)},
                     {"WktLogExit", Address(WktLogExit)},
                     {"WktLogWrite", Address(WktLogWrite)},
                     {"WktLogWriteEnter", Address(WktLogWriteEnter)},
                     {"WktLogWriteLeave", Address(WktLogWriteLeave)},
                     {"WktLogSetWriteToFile", Address(WktLogSetWriteToFile)},
                     {"WktLogGetWriteToFile", Address(WktLogGetWriteToFile)},
                     {"CaptureCount", Address(CaptureCount)},
                     {"CaptureLine", Address(CaptureLine)},
                     {"CaptureClear", Address(CaptureClear)}};
    for (const auto& function : functions) {
      if (std::strcmp(function.name, name) == 0)
        return IsExported(name) ? function.function : nullptr;
    }
    return nullptr;
  }

 private:
  [[nodiscard]] bool IsExported(const std::string& name) const {
    return names == " * " || name.starts_with("Capture") ||
           names.find(" " + name + " ") != std::string::npos;
  }

  std::string names;
};

class CaptureLoader final : public host::ForeignLoader {
 public:
  bool Takes(std::span<const uint8_t> head) const override {
    return head.size() >= kMark.size() && std::memcmp(head.data(), kMark.data(), kMark.size()) == 0;
  }
  std::unique_ptr<host::ForeignLibrary> Load(const std::string& path) const override {
    std::ifstream file(path);
    std::string line;
    std::getline(file.ignore(kMark.size()), line);
    return std::make_unique<CaptureLibrary>(line);
  }
};

const CaptureLoader loader;

}  // namespace

void UseCaptureLibrary() {
  host::AddForeignLoader(loader);
}

}  // namespace wkt::test
