// Runs one fuzzing program over stored inputs. A .txt file of the folders named is one input: it
// runs, every beginning of it, and it with each byte changed. A .hex file has an input a line,
// which runs as it is. Both are hexadecimal text; "#" begins a comment, "00*38" repeats a byte,
// "*N" a line, and lines before "hex" are skipped when there is such a line. A file of any other
// name is an input as it stands.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t byteCount);

namespace {

// Longer inputs are not run in all their variants.
constexpr size_t kMaxVariedBytes = 4000;

void AppendWord(const std::string& word, std::vector<uint8_t>& bytes) {
  const size_t star = word.find('*');
  if (star != std::string::npos) {
    bytes.insert(bytes.end(), std::stoul(word.substr(star + 1)),
                 static_cast<uint8_t>(std::stoul(word.substr(0, star), nullptr, 16)));
    return;
  }
  for (size_t at = 0; at < word.size(); at += 2)
    bytes.push_back(static_cast<uint8_t>(std::stoul(word.substr(at, 2), nullptr, 16)));
}

void AppendLine(const std::string& line, std::vector<uint8_t>& bytes) {
  std::istringstream words(line.substr(0, line.find('#')));
  std::vector<uint8_t> chunk;
  size_t count = 1;
  for (std::string word; words >> word;) {
    if (word[0] == '*') {
      count = std::stoul(word.substr(1));
    } else {
      AppendWord(word, chunk);
    }
  }
  for (size_t i = 0; i < count; ++i)
    bytes.insert(bytes.end(), chunk.begin(), chunk.end());
}

std::vector<std::string> ReadLines(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);)
    lines.push_back(line);
  return lines;
}

std::vector<uint8_t> ReadHex(const std::filesystem::path& path) {
  const std::vector<std::string> lines = ReadLines(path);
  const auto mark = std::find(lines.begin(), lines.end(), "hex");
  std::vector<uint8_t> bytes;
  for (auto line = mark == lines.end() ? lines.begin() : mark + 1; line != lines.end(); ++line)
    AppendLine(*line, bytes);
  return bytes;
}

std::vector<uint8_t> ReadInput(const std::filesystem::path& path) {
  if (path.extension() == ".txt")
    return ReadHex(path);
  std::ifstream file(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(file), {});
}

size_t RunWithVariants(std::vector<uint8_t> bytes) {
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  if (bytes.size() > kMaxVariedBytes)
    return 1;
  size_t runs = 1;
  for (size_t byteCount = 0; byteCount < bytes.size(); ++byteCount, ++runs)
    LLVMFuzzerTestOneInput(bytes.data(), byteCount);
  for (uint8_t& byte : bytes) {
    for (const uint8_t other : {uint8_t{0}, uint8_t{0xFF}, static_cast<uint8_t>(byte ^ 1)}) {
      const uint8_t kept = byte;
      byte = other;
      LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
      byte = kept;
      ++runs;
    }
  }
  return runs;
}

size_t RunLines(const std::filesystem::path& path) {
  size_t runs = 0;
  for (const std::string& line : ReadLines(path)) {
    std::vector<uint8_t> bytes;
    AppendLine(line, bytes);
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    ++runs;
  }
  return runs;
}

}  // namespace

int main(int argc, char** argv) {
  size_t files = 0;
  size_t runs = 0;
  for (int i = 1; i < argc; ++i) {
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
      paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    for (const auto& path : paths) {
      runs += path.extension() == ".hex" ? RunLines(path) : RunWithVariants(ReadInput(path));
      ++files;
    }
  }
  std::printf("%zu inputs, %zu runs\n", files, runs);
  return files == 0;
}
