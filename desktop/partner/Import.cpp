#include "desktop/partner/Import.h"

#include <fmt/format.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <vector>

#include "desktop/partner/Failure.h"

namespace wkt {

namespace {

constexpr char kUtf16[] = "the file is UTF-16; convert it to UTF-8 first";
constexpr char kLatin1[] = "not UTF-8, probably Latin-1; convert the file to UTF-8 first";
constexpr char kZeroByte[] = "a zero byte; the file is no text";

// A year of one person's time is some hundred kilobytes.
constexpr size_t kMaxFileBytes = size_t{256} << 20;

bool IsUtf8(std::string_view text) {
  int32_t length = 0;
  UErrorCode error = U_ZERO_ERROR;
  u_strFromUTF8(nullptr, 0, &length, text.data(), static_cast<int32_t>(text.size()), &error);
  return error == U_BUFFER_OVERFLOW_ERROR || U_SUCCESS(error);
}

int LineOf(std::string_view content, size_t position) {
  return 1 + static_cast<int>(std::count(
                 content.begin(), content.begin() + static_cast<std::ptrdiff_t>(position), '\n'));
}

// Lines before the first one that is no UTF-8.
int FirstWrongLine(std::string_view content) {
  for (size_t begin = 0; begin < content.size();) {
    const size_t end = std::min(content.find('\n', begin), content.size());
    if (!IsUtf8(content.substr(begin, end - begin))) {
      return LineOf(content, begin);
    }
    begin = end + 1;
  }
  return 1;
}

}  // namespace

std::string ReadImportFile(const std::string& path) {
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) {
    throw Failure(path + " is a folder, expected a file", ExitCode::Usage);
  }
  // Piece by piece: a pipe does not know its size.
  std::ifstream file(path, std::ios::binary);
  std::string content;
  std::vector<char> piece(size_t{1} << 16);
  while (file.read(piece.data(), static_cast<std::streamsize>(piece.size())) || file.gcount() > 0) {
    content.append(piece.data(), static_cast<size_t>(file.gcount()));
    if (content.size() > kMaxFileBytes) {
      throw Failure(path + " is larger than 256 MB; that is no file of records", ExitCode::Usage);
    }
  }
  if (!file.eof()) {
    throw Failure("cannot read " + path, ExitCode::Usage);
  }
  return content;
}

void ImportProblem(const ImportOptions& options, int line, const std::string& problem) {
  throw Failure(fmt::format("{}:{}: {}", options.fileName, line, problem), ExitCode::Usage);
}

std::string_view CheckUtf8(const ImportOptions& options, std::string_view content) {
  if (content.starts_with("\xFF\xFE") || content.starts_with("\xFE\xFF")) {
    ImportProblem(options, 1, kUtf16);
  }
  if (content.starts_with("\xEF\xBB\xBF")) {
    content.remove_prefix(3);
  }
  if (!IsUtf8(content)) {
    ImportProblem(options, FirstWrongLine(content), kLatin1);
  }
  if (const size_t zero = content.find('\0'); zero != std::string_view::npos) {
    const bool wide = content.size() > 1 && (content[0] == '\0' || content[1] == '\0');
    ImportProblem(options, LineOf(content, zero), wide ? kUtf16 : kZeroByte);
  }
  return content;
}

void CheckUtf8Line(const ImportOptions& options, std::string_view text, int line) {
  if (!IsUtf8(text)) {
    ImportProblem(options, line, kLatin1);
  }
  if (const size_t zero = text.find('\0'); zero != std::string_view::npos) {
    // Letters of a text in UTF-16 have a zero byte beside them.
    ImportProblem(options, line, line == 1 && zero < 2 ? kUtf16 : kZeroByte);
  }
}

void Attempt(const ImportOptions& options, const std::function<void()>& read) {
  try {
    read();
  } catch (const Failure& failure) {
    if (!options.skipped) {
      throw;
    }
    options.skipped->push_back(failure.what());
  }
}

std::u16string DerivedIdentifier(std::string_view source, std::string_view key, int ordinal) {
  // FNV-1a, 64 bits, over source and key: the same on every machine.
  uint64_t hash = 14695981039346656037ull;
  const auto mix = [&hash](std::string_view text) {
    for (const char c : text) {
      hash = (hash ^ static_cast<uint8_t>(c)) * 1099511628211ull;
    }
    hash = (hash ^ 0xFF) * 1099511628211ull;  // no UTF-8 text holds this byte
  };
  mix(source);
  mix(key);
  const std::string id = fmt::format("IM-{:016x}-{}", hash, ordinal);
  return std::u16string(id.begin(), id.end());
}

}  // namespace wkt
