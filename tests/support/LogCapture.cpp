#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>

#include "platform/Kernel.h"

namespace wkt::test {
namespace {

constexpr char16_t kLogLibrary[] = u"\\Program Files\\Worktally\\WktDevLog.dll";

const char* FileOf(LogCapture::Exports exports) {
  switch (exports) {
    case LogCapture::Exports::WriteOnly:
      return WKT_CAPTURE_LOG_WRITE_ONLY;
    case LogCapture::Exports::EnterAndLeaveOnly:
      return WKT_CAPTURE_LOG_ENTER_LEAVE;
    default:
      return WKT_CAPTURE_LOG;
  }
}

class Names {
 public:
  std::string Of(char kind, const std::string& word) {
    if (word == "0" || word == "-1" || word == "4294967295")
      return word;
    auto& known = names[kind];
    const auto made = known.emplace(word, known.size() + 1);
    return kind + std::to_string(made.first->second);
  }

 private:
  std::map<char, std::map<std::string, size_t>> names;
};

char KindOf(const std::string& mark) {
  if (mark == "this = " || mark == "Bytes = " || mark == "pFindObjectInfo = ")
    return 'A';
  return mark == "handle = " ? 'H' : 'O';
}

std::string Filtered(const std::string& line, Names& names) {
  static const std::regex pattern(
      "(this = |Bytes = |pFindObjectInfo = |handle = |CEOID\\) = |CEOID = |ceOid = |OID = "
      "|database; Got |"
      "; Expected )([-A-Za-z0-9]+)|(CE-[0-9a-f]+-[0-9a-f]+-[0-9a-f]+-[0-9a-f]+)");
  std::string out;
  auto rest = line.cbegin();
  for (std::sregex_iterator match(line.begin(), line.end(), pattern), end; match != end; ++match) {
    out.append(rest, (*match)[0].first);
    const bool isIdentifier = (*match)[3].matched;
    out += isIdentifier ? names.Of('G', match->str(3))
                        : match->str(1) + names.Of(KindOf(match->str(1)), match->str(2));
    rest = (*match)[0].second;
  }
  return out.append(rest, line.cend());
}

std::string Shown(const LogLines& lines) {
  std::string out;
  for (const std::string& line : lines)
    out += line + "\n";
  return out;
}

template <class Function>
Function Accessor(const char16_t* name) {
  HMODULE const library = LoadLibraryW(kLogLibrary);
  return library == nullptr ? nullptr : reinterpret_cast<Function>(GetProcAddressW(library, name));
}

}  // namespace

LogCapture::LogCapture(DeskDevice& device, Exports exports) {
  device.CopyFile(FileOf(exports), kLogLibrary);
}

LogLines LogCapture::Read(bool initCalls) {
  const auto count = Accessor<size_t (*)(BOOL)>(u"CaptureCount");
  const auto line = Accessor<const char* (*)(BOOL, size_t)>(u"CaptureLine");
  LogLines lines;
  if (count == nullptr || line == nullptr) {
    ADD_FAILURE() << "the capturing library is not on the device";
    return lines;
  }
  for (size_t i = 0; i < count(initCalls); ++i)
    lines.emplace_back(line(initCalls, i));
  return lines;
}

LogLines LogCapture::Take() {
  LogLines lines = Read(false);
  if (const auto clear = Accessor<void (*)()>(u"CaptureClear"))
    clear();
  return lines;
}

LogLines LogCapture::InitCalls() {
  return Read(true);
}

LogLines FilterLog(const LogLines& lines) {
  Names names;
  LogLines filtered;
  for (const std::string& line : lines)
    filtered.push_back(Filtered(line, names));
  return filtered;
}

LogLines WithoutAddresses(const LogLines& lines) {
  static const std::regex address("((this|Bytes|pFindObjectInfo) = )[-0-9A-Z]+");
  LogLines flattened;
  for (const std::string& line : lines)
    flattened.push_back(std::regex_replace(line, address, "$1A"));
  return flattened;
}

void ExpectLog(const LogLines& actual, const LogLines& expected) {
  const LogLines got = FilterLog(actual);
  const LogLines wanted = FilterLog(expected);
  if (got == wanted)
    return;
  const auto differs = std::mismatch(got.begin(), got.end(), wanted.begin(), wanted.end());
  const auto shown = [](auto at, const LogLines& lines) {
    return at == lines.end() ? std::string("(nothing)") : *at;
  };
  ADD_FAILURE() << "line " << differs.first - got.begin() + 1 << " of the log is\n  "
                << shown(differs.first, got) << "\nexpected\n  " << shown(differs.second, wanted)
                << "\nwhole log:\n"
                << Shown(got);
}

void ExpectLog(LogCapture& capture, const LogLines& expected) {
  ExpectLog(capture.Take(), expected);
}

}  // namespace wkt::test
