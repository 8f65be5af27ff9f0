#include "tests/sync/Script.h"

#include <fstream>
#include <utility>

namespace wkt::test {
namespace {

bool IsComment(const std::string& line) {
  return line.empty() || line[0] == '#';
}

// One word or pair from `at` on; quotes end only at a quote.
std::string ReadPart(const std::string& text, size_t& at) {
  std::string part;
  bool quoted = false;
  for (; at < text.size() && (quoted || text[at] != ' '); ++at) {
    if (text[at] == '\'') {
      quoted = !quoted;
    } else if (text.compare(at, 2, "\\n") == 0) {
      part += '\n';
      ++at;
    } else {
      part += text[at];
    }
  }
  return part;
}

}  // namespace

Script ReadScript(const std::string& path) {
  Script script;
  std::ifstream file(path);
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    if (line.starts_with("$ ")) {
      script.steps.push_back({number, std::exchange(script.trailer, {}), line.substr(2), {}});
    } else if (IsComment(line) || script.steps.empty()) {
      script.trailer.push_back(line);
    } else {
      script.steps.back().output.push_back(line);
    }
  }
  return script;
}

void WriteScript(const std::string& path, const Script& script) {
  std::ofstream file(path);
  for (const Step& step : script.steps) {
    for (const std::string& comment : step.comments)
      file << comment << '\n';
    file << "$ " << step.command << '\n';
    for (const std::string& line : step.output)
      file << line << '\n';
  }
  for (const std::string& comment : script.trailer)
    file << comment << '\n';
}

std::string Command::Pair(const std::string& key, const std::string& fallback) const {
  for (const auto& [name, value] : pairs) {
    if (name == key)
      return value;
  }
  return fallback;
}

Command ParseCommand(const std::string& text) {
  Command command;
  for (size_t at = 0; at < text.size();) {
    if (text[at] == ' ') {
      ++at;
      continue;
    }
    const size_t start = at;
    const std::string part = ReadPart(text, at);
    const size_t equals = part.find('=');
    if (equals == std::string::npos || text[start] == '\'') {
      command.words.push_back(part);
    } else {
      command.pairs.emplace_back(part.substr(0, equals), part.substr(equals + 1));
    }
  }
  return command;
}

}  // namespace wkt::test
