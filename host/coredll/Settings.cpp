#include "host/coredll/Settings.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <string_view>
#include <utility>

namespace wkt::host {

namespace {

constexpr std::string_view kFirstWord = "worktally-device";

template <typename Choice>
struct Word {
  std::string_view word;
  Choice choice;
};
// g++ finds it alone, the analysers' clang does not.
template <typename Choice>
Word(std::string_view, Choice) -> Word<Choice>;

constexpr std::array kClockWords = {Word{"running", ClockMode::Running},
                                    Word{"frozen", ClockMode::Frozen},
                                    Word{"offset", ClockMode::Offset}};
constexpr std::array kTickWords = {Word{"running", TickMode::Running},
                                   Word{"fixed", TickMode::Fixed}};
constexpr std::array kDurabilityWords = {Word{"full", Durability::Full},
                                         Word{"relaxed", Durability::Relaxed},
                                         Word{"off", Durability::Off}};
constexpr std::array kCursorWords = {Word{"write-keeps-position", CursorModel::WriteKeepsPosition},
                                     Word{"write-moves-position", CursorModel::WriteMovesPosition}};

template <typename Words, typename Choice>
bool ReadWord(const Words& words, std::string_view word, Choice& choice) {
  for (const auto& candidate : words) {
    if (candidate.word == word) {
      choice = candidate.choice;
      return true;
    }
  }
  return false;
}

template <typename Words, typename Choice>
std::string WordOf(const Words& words, Choice choice) {
  for (const auto& candidate : words) {
    if (candidate.choice == choice)
      return std::string(candidate.word);
  }
  return {};
}

template <typename Number>
bool ReadNumber(std::string_view text, Number& number) {
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
  return problem == std::errc() && end == text.data() + text.size();
}

// The words of a line, up to three; more make the line invalid.
std::array<std::string_view, 4> SplitWords(std::string_view line) {
  std::array<std::string_view, 4> words;
  for (std::string_view& word : words) {
    const size_t blank = line.find(' ');
    word = line.substr(0, blank);
    line = blank == std::string_view::npos ? std::string_view() : line.substr(blank + 1);
  }
  return words;
}

bool ReadSetting(std::string_view line, Settings& settings) {
  const auto [name, value, number, excess] = SplitWords(line);
  if (!excess.empty())
    return false;
  if (name == "clock") {
    return ReadWord(kClockWords, value, settings.clockMode) &&
           (settings.clockMode == ClockMode::Running ? number.empty()
                                                     : ReadNumber(number, settings.clockTicks));
  }
  if (name == "ticks") {
    return ReadWord(kTickWords, value, settings.tickMode) &&
           (settings.tickMode == TickMode::Running ? number.empty()
                                                   : ReadNumber(number, settings.tickValue));
  }
  if (name == "durability")
    return number.empty() && ReadWord(kDurabilityWords, value, settings.durability);
  if (name == "cursor")
    return number.empty() && ReadWord(kCursorWords, value, settings.cursorModel);
  return false;
}

bool WriteAll(int file, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = write(file, content.data(), content.size());
    if (written < 0 && errno == EINTR)
      continue;
    if (written < 0)
      return false;
    content.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

bool SyncFolderOf(const std::string& path) {
  const int folder =
      open(path.substr(0, path.find_last_of('/')).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0)
    return false;
  const bool synced = fsync(folder) == 0;
  close(folder);
  return synced;
}

bool IsEmptyFolder(const std::string& path) {
  DIR* folder = opendir(path.c_str());
  if (folder == nullptr)
    return false;
  bool empty = true;
  while (const dirent* entry = readdir(folder)) {
    if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0)
      empty = false;
  }
  closedir(folder);
  return empty;
}

bool MakeFolder(const std::string& path, std::string& error) {
  if (mkdir(path.c_str(), 0777) == 0)
    return true;
  error = path + ": " + strerror(errno);
  return false;
}

}  // namespace

std::string SettingsPath(const std::string& folder) {
  return folder + "/device";
}

std::string FormatSettings(const Settings& settings) {
  std::string text(kFirstWord);
  text += ' ' + std::to_string(kDeviceFormat) + '\n';
  text += "clock " + WordOf(kClockWords, settings.clockMode);
  if (settings.clockMode != ClockMode::Running)
    text += ' ' + std::to_string(settings.clockTicks);
  text += "\nticks " + WordOf(kTickWords, settings.tickMode);
  if (settings.tickMode != TickMode::Running)
    text += ' ' + std::to_string(settings.tickValue);
  text += "\ndurability " + WordOf(kDurabilityWords, settings.durability);
  text += "\ncursor " + WordOf(kCursorWords, settings.cursorModel) + '\n';
  return text;
}

std::optional<Settings> ParseSettings(const std::string& text, std::string& error) {
  Settings settings;
  uint32_t lineNumber = 0;
  for (size_t start = 0; start < text.size();) {
    const size_t end = std::min(text.find('\n', start), text.size());
    const std::string_view line(text.data() + start, end - start);
    start = end + 1;
    if (++lineNumber == 1) {
      const auto [first, version, excess, more] = SplitWords(line);
      uint32_t format = 0;
      if (first != kFirstWord || !ReadNumber(version, format) || !excess.empty() || format == 0) {
        error = "not the settings of a device";
        return std::nullopt;
      }
      if (format > kDeviceFormat) {
        error = "the device has format " + std::to_string(format) + ", newer than " +
                std::to_string(kDeviceFormat) + ", the newest this program knows";
        return std::nullopt;
      }
    } else if (!line.empty() && !ReadSetting(line, settings)) {
      error = "line " + std::to_string(lineNumber) + " is no setting this program knows";
      return std::nullopt;
    }
  }
  if (lineNumber == 0) {
    error = "the file is empty";
    return std::nullopt;
  }
  return settings;
}

std::optional<Settings> ReadSettings(const std::string& folder, std::string& error) {
  const std::string path = SettingsPath(folder);
  const std::optional<std::string> text = ReadWholeFile(path);
  if (!text) {
    error = path + ": " + strerror(errno) + " (not a device folder?)";
    return std::nullopt;
  }
  std::optional<Settings> settings = ParseSettings(*text, error);
  if (!settings)
    error = path + ": " + error;
  return settings;
}

bool WriteSettings(const std::string& folder, const Settings& settings, std::string& error) {
  const std::string path = SettingsPath(folder);
  const Sync sync = settings.durability == Durability::Off ? Sync::No : Sync::Yes;
  if (ReplaceFile(path, FormatSettings(settings), sync))
    return true;
  error = path + ": " + strerror(errno);
  return false;
}

bool CreateDeviceFolder(const std::string& folder, const Settings& settings, std::string& error) {
  struct stat found = {};
  if (stat(folder.c_str(), &found) == 0) {
    if (!IsEmptyFolder(folder)) {
      error = folder + ": exists and is not an empty folder";
      return false;
    }
  } else if (!MakeFolder(folder, error)) {
    return false;
  }
  const Sync sync = settings.durability == Durability::Off ? Sync::No : Sync::Yes;
  const std::string registry = folder + "/registry";
  if (!MakeFolder(folder + "/files", error))
    return false;
  if (!ReplaceFile(registry, kEmptyRegistry, sync)) {
    error = registry + ": " + strerror(errno);
    return false;
  }
  return WriteSettings(folder, settings, error);
}

bool ReplaceFile(const std::string& path, const std::string& content, Sync sync) {
  const std::string temporary = path + ".new";
  const int file =
      open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0666);
  if (file < 0)
    return false;
  const bool written = WriteAll(file, content) && (sync == Sync::No || fdatasync(file) == 0);
  const int problem = errno;
  close(file);
  if (!written) {
    unlink(temporary.c_str());
    errno = problem;
    return false;
  }
  return rename(temporary.c_str(), path.c_str()) == 0 && (sync == Sync::No || SyncFolderOf(path));
}

std::optional<std::string> ReadWholeFile(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0)
    return std::nullopt;
  std::string content;
  std::array<char, 16384> part;
  ssize_t count = 0;
  while ((count = read(file, part.data(), part.size())) != 0) {
    if (count > 0) {
      content.append(part.data(), static_cast<size_t>(count));
    } else if (errno != EINTR) {
      const int problem = errno;
      close(file);
      errno = problem;
      return std::nullopt;
    }
  }
  close(file);
  return content;
}

}  // namespace wkt::host
