#pragma once

#include <map>
#include <string>
#include <vector>

// A synchronisation script: a transcript of commands with all that they have to bring about.
//
//   # A comment.
//   $ find WktActivities              a command, with words and key=value or key='a value' pairs
//   = S_OK unchanged: A changed: B    what it answers, one or more lines
//     256 Folder type = '...'         what the provider logs meanwhile: level and text,
//     >FindObjects                    or the entry and leave of a function
//
// Player.h lists the commands.
namespace wkt::test {

struct Step {
  int line = 0;                       // of the command
  std::vector<std::string> comments;  // lines before the command, as they stand
  std::string command;
  std::vector<std::string> output;  // expected lines, as they stand
};

struct Script {
  std::vector<Step> steps;
  std::vector<std::string> trailer;  // comments at the end
};

[[nodiscard]] Script ReadScript(const std::string& path);
void WriteScript(const std::string& path, const Script& script);

// The parts of a command: words in order, pairs by key. "\n" in a quoted value is a line break.
struct Command {
  std::vector<std::string> words;
  std::vector<std::pair<std::string, std::string>> pairs;

  [[nodiscard]] std::string Word(size_t index) const {
    return index < words.size() ? words[index] : std::string();
  }
  // The fallback when the command has no such pair.
  [[nodiscard]] std::string Pair(const std::string& key, const std::string& fallback) const;
};

[[nodiscard]] Command ParseCommand(const std::string& text);

}  // namespace wkt::test
