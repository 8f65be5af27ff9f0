// The settings of a device: the text file "device" of its folder.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/coredll/SharedPage.h"

namespace wkt::host {

// The newest layout of a device folder that this library knows.
constexpr uint32_t kDeviceFormat = 1;

struct Settings {
  ClockMode clockMode = ClockMode::Running;
  int64_t clockTicks = 0;  // Frozen: UTC file time; Offset: added to the machine's clock (100 ns)
  TickMode tickMode = TickMode::Running;
  uint32_t tickValue = 0;
  Durability durability = Durability::Full;
  CursorModel cursorModel = CursorModel::WriteKeepsPosition;
};

std::string SettingsPath(const std::string& folder);
std::string FormatSettings(const Settings& settings);
// On failure `error` says what is wrong with which line.
std::optional<Settings> ParseSettings(const std::string& text, std::string& error);
// On failure `error` names the file.
std::optional<Settings> ReadSettings(const std::string& folder, std::string& error);
[[nodiscard]] bool WriteSettings(const std::string& folder, const Settings& settings,
                                 std::string& error);

// A registry without keys, as text.
inline constexpr char kEmptyRegistry[] = "worktally-registry 1\n; end\n";

// Makes the folder with its settings, an empty registry and an empty file tree. Fails when `folder`
// exists and is not empty. The settings are written last: a folder without them is no device.
[[nodiscard]] bool CreateDeviceFolder(const std::string& folder, const Settings& settings,
                                      std::string& error);

// Replaces a file as a whole: other processes, and this one after a crash, see the old or the new
// content. With `durable` it is on the disk on return. On failure errno tells why.
enum class Sync : bool { No, Yes };
[[nodiscard]] bool ReplaceFile(const std::string& path, const std::string& content, Sync sync);
// nullopt with errno set when the file cannot be read.
std::optional<std::string> ReadWholeFile(const std::string& path);

}  // namespace wkt::host
