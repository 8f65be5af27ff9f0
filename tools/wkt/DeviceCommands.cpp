#include <sys/stat.h>

#include <filesystem>
#include <memory>

#include "desktop/device/Installation.h"
#include "desktop/manager/RegistryText.h"
#include "desktop/manager/Trace.h"
#include "desktop/partner/Instant.h"
#include "host/control/Desk.h"
#include "tools/wkt/Commands.h"
#include "tools/wkt/Home.h"

namespace wkt::tool {

namespace {

using control::ClockMode;
using control::Durability;
using control::Settings;

struct DeviceArguments {
  std::string folder;
  std::string zone;
  std::string locale;
  std::string clock;
  std::string seed;
  std::string volume;
  std::string durability;
  bool withLog = false;
};

// Beside an installed command, or in the tree that it was built in.
std::string LibraryFolder(const std::string& program) {
  if (const char* named = std::getenv("WKT_LIBRARIES"); named && *named) {
    return named;
  }
  std::error_code error;
  const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
  const auto installed =
      (error ? std::filesystem::path(program) : self).parent_path() / "../lib/worktally";
  return std::filesystem::exists(installed / "WktDevSync.dll", error) ? installed.string() : "";
}

std::string LibraryPath(const std::string& folder, const std::string& library) {
  const std::string file = "/" + library + ".dll";
  return folder.empty() ? WKT_BUILD_LIBRARIES "/" + library + file : folder + file;
}

void Check(bool done, const std::string& error) {
  if (!done) {
    throw Failure(error);
  }
}

void ApplySettings(const DeviceArguments& arguments, Settings* settings) {
  if (!arguments.zone.empty()) {
    (void)Zone(arguments.zone);  // says what is wrong with a name
  }
  if (arguments.clock == "run") {
    settings->clockMode = ClockMode::Running;
    settings->clockTicks = 0;
  } else if (!arguments.clock.empty()) {
    const auto time = ParseTime(arguments.clock);
    if (!time || !time->hasOffset) {
      throw Failure("--clock is '" + arguments.clock +
                        "', expected an instant such as 2026-03-01T08:00Z, or run",
                    ExitCode::Usage);
    }
    settings->clockMode = ClockMode::Frozen;
    settings->clockTicks = static_cast<int64_t>(time->ticks);
  }
  if (!arguments.seed.empty()) {
    settings->tickMode = control::TickMode::Fixed;
    settings->tickValue = static_cast<uint32_t>(std::stoul(arguments.seed));
  }
  if (!arguments.durability.empty()) {
    settings->durability = arguments.durability == "full"      ? Durability::Full
                           : arguments.durability == "relaxed" ? Durability::Relaxed
                                                               : Durability::Off;
  }
}

Json DeviceReport(const std::string& folder) {
  const Settings settings = control::CurrentSettings();
  const auto text = [](const std::u16string& key, LPCWSTR name) {
    return ToUtf8(ReadRegistryText(key, name).value_or(u""));
  };
  Json report;
  report["device"] = folder;
  report["zone"] = text(u"Time", u"Zone");
  report["clock"] = settings.clockMode == ClockMode::Frozen   ? "frozen"
                    : settings.clockMode == ClockMode::Offset ? "offset"
                                                              : "running";
  report["time"] = ClockText(control::DeviceTime()) + "Z";
  report["durability"] = settings.durability == Durability::Full      ? "full"
                         : settings.durability == Durability::Relaxed ? "relaxed"
                                                                      : "off";
  report["installPath"] = text(u"SOFTWARE\\Worktally", u"InstallPath");
  report["databaseVersion"] = ReadRegistryNumber(u"SOFTWARE\\Worktally", u"DatabaseVersion", 0);
  report["volume"] = text(u"Software\\Microsoft\\Stock Portfolio", u"DBVol");
  return report;
}

std::string DeviceText(const Json& report) {
  Table table({{"setting"}, {"value"}});
  for (const auto& [name, value] : report.items()) {
    table.AddRow({name, value.is_string() ? value.get<std::string>() : value.dump()});
  }
  return table.Text();
}

// A folder that a failed command would leave half made; what stood in its place is an empty folder
// at most, and stays.
class NewFolder {
 public:
  explicit NewFolder(std::string folderPath)
      : path(std::move(folderPath)), existed(std::filesystem::exists(path)), isOurs(true) {
    std::error_code error;
    isOurs = !existed ||
             (std::filesystem::is_directory(path, error) && std::filesystem::is_empty(path, error));
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
  }
  ~NewFolder() {
    if (!isOurs) {
      return;
    }
    control::LeaveDevice();
    std::error_code error;
    std::filesystem::remove_all(path, error);
    if (existed) {
      std::filesystem::create_directory(path, error);
    }
  }
  NewFolder(const NewFolder&) = delete;
  NewFolder& operator=(const NewFolder&) = delete;

  void Keep() { isOurs = false; }

 private:
  std::string path;
  bool existed;
  bool isOurs;
};

void NewDevice(Shell& shell, const DeviceArguments& arguments) {
  control::DeviceOptions options;
  if (!arguments.zone.empty()) {
    options.zone = arguments.zone;
  }
  if (!arguments.locale.empty()) {
    options.locale = arguments.locale;
  }
  ApplySettings(arguments, &options.settings);
  std::string error;
  const std::string folder = std::filesystem::absolute(arguments.folder).string();
  NewFolder made(folder);
  Check(control::CreateDevice(folder, options, error), error);
  Installation installation;
  const std::string libraries = LibraryFolder(shell.program);
  installation.providerPath = LibraryPath(libraries, "WktDevSync");
  installation.logPath = LibraryPath(libraries, "WktDevLog");
  installation.withLog = arguments.withLog;
  if (!arguments.volume.empty()) {
    const std::u16string name = FromUtf8(arguments.volume);
    installation.volume = name.front() == u'\\' ? name : u"\\" + name;
  }
  error = Install(installation);
  Check(error.empty(), error);
  made.Keep();
  Say("Made " + arguments.folder + ".");
  if (shell.output.json) {
    Print(shell.output, DeviceReport(arguments.folder), DeviceText);
  }
}

void SetDevice(Shell& shell, const DeviceArguments& arguments) {
  UseDevice(arguments.folder);
  std::string error;
  Settings settings = control::CurrentSettings();
  ApplySettings(arguments, &settings);
  Check(control::ChangeSettings(settings, error), error);
  if (!arguments.zone.empty()) {
    Check(control::SetZone(arguments.zone, 0, error), error);
  }
  if (!arguments.locale.empty()) {
    Check(control::SetLocale(arguments.locale, error), error);
  }
  Print(shell.output, DeviceReport(arguments.folder), DeviceText);
}

void AddSettings(Command command, DeviceArguments* arguments) {
  command.AddOption("--zone", &arguments->zone, "Time zone, such as Europe/Vienna");
  command.AddOption("--locale", &arguments->locale, "Language and country, such as de-AT");
  command.AddOption("--clock", &arguments->clock,
                    "Stop the clock at this instant; 'run' lets it go");
  command.AddOption("--seed", &arguments->seed, "Fix the tick counter, so that identifiers repeat")
      .InRange(0u, UINT32_MAX);
  command.AddOption("--durability", &arguments->durability, "When writes reach the disk")
      .OneOf({"full", "relaxed", "off"});
}

}  // namespace

void AddDeviceCommands(Shell& shell) {
  const Command device = AddCommand(shell, shell.root, "device");
  device.RequireCommand();
  const auto arguments = std::make_shared<DeviceArguments>();

  const Command make = AddCommand(shell, device, "device new");
  make.AddOperand("DIR", &arguments->folder, "Folder of the new device");
  AddSettings(make, arguments.get());
  make.AddOption("--volume", &arguments->volume,
                 "Name a database volume in the registry, and make it");
  make.AddFlag("--log", &arguments->withLog, "Install the logging library, too");
  make.SetAction([&shell, arguments] { NewDevice(shell, *arguments); });

  const Command show = AddCommand(shell, device, "device show");
  show.AddOperand("DIR", &arguments->folder, "A device");
  show.SetAction([&shell, arguments] {
    UseDevice(arguments->folder);
    Print(shell.output, DeviceReport(arguments->folder), DeviceText);
  });

  const Command set = AddCommand(shell, device, "device set");
  set.AddOperand("DIR", &arguments->folder, "A device");
  AddSettings(set, arguments.get());
  set.SetAction([&shell, arguments] { SetDevice(shell, *arguments); });
  AddUpkeepCommands(shell, device);
}

}  // namespace wkt::tool
