#include "host/control/Desk.h"

#include <array>
#include <cstdio>

#include "host/coredll/Device.h"
#include "host/coredll/Paths.h"
#include "host/coredll/RegistryStore.h"
#include "platform/Database.h"
#include "platform/Files.h"
#include "platform/Kernel.h"
#include "platform/Registry.h"

namespace wkt::control {

namespace {

using host::Device;

constexpr char kNoDevice[] = "no device is in use";

bool Change(std::string& error, void (*edit)(Settings& settings, int64_t value), int64_t value) {
  Device* device = Device::CurrentIfAny();
  if (device == nullptr) {
    error = kNoDevice;
    return false;
  }
  Settings settings = device->CurrentSettings();
  edit(settings, value);
  return device->ChangeSettings(settings, error);
}

// Days from 1601-01-01 to the first of March of `year`, counted in years that begin in March, so
// that the leap day is the last.
int64_t DaysFromCivil(int64_t year, int month, int day) {
  year -= month <= 2 ? 1 : 0;
  const int64_t era = year / 400;
  const int64_t yearOfEra = year - era * 400;
  const int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  // 0000-03-01 lies 584694 days before 1601-01-01.
  return era * 146097 + dayOfEra - 584694;
}

constexpr int64_t kTicksPerMillisecond = 10'000;
constexpr int64_t kTicksPerDay = 24ll * 3600 * 1000 * kTicksPerMillisecond;

bool MakeVolume(const std::u16string& volume, std::string& error) {
  std::u16string path = volume;
  const size_t folder = path.rfind(u'\\');
  if (folder != std::u16string::npos && folder > 0)
    CreateDirectoryW(path.substr(0, folder).c_str(), nullptr);
  CEGUID guid = {};
  if (CeMountDBVol(&guid, path.data(), CREATE_NEW) == FALSE) {
    error = "the volume cannot be made: error " + std::to_string(GetLastError());
    return false;
  }
  CeUnmountDBVol(&guid);
  host::RegistryValue value = {u"DBVol", REG_SZ, {}};
  for (const char16_t unit : volume + u'\0') {
    value.data.push_back(static_cast<uint8_t>(unit));
    value.data.push_back(static_cast<uint8_t>(unit >> 8));
  }
  const LONG written =
      host::SetRegistryValues(u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Stock Portfolio", {value});
  if (written != ERROR_SUCCESS)
    error = "the registry cannot be written: error " + std::to_string(written);
  return written == ERROR_SUCCESS;
}

}  // namespace

bool CreateDevice(const std::string& folder, const DeviceOptions& options, std::string& error) {
  return host::CreateDeviceFolder(folder, options.settings, error) && UseDevice(folder, error) &&
         SetZone(options.zone, 0, error) && SetLocale(options.locale, error) &&
         (options.volume.empty() || MakeVolume(options.volume, error));
}

bool UseDevice(const std::string& folder, std::string& error) {
  return Device::Select(folder, error);
}

void LeaveDevice() {
  Device::Deselect();
}

std::string DeviceFolder() {
  const Device* device = Device::CurrentIfAny();
  return device != nullptr ? device->Folder() : std::string();
}

std::string MachinePath(const std::u16string& devicePath) {
  std::string path;
  return host::MachinePathOf(devicePath.c_str(), path) == ERROR_SUCCESS ? path : std::string();
}

Settings CurrentSettings() {
  const Device* device = Device::CurrentIfAny();
  return device != nullptr ? device->CurrentSettings() : Settings();
}

bool ChangeSettings(const Settings& settings, std::string& error) {
  Device* device = Device::CurrentIfAny();
  if (device != nullptr)
    return device->ChangeSettings(settings, error);
  error = kNoDevice;
  return false;
}

bool FreezeClock(uint64_t fileTime, std::string& error) {
  return Change(
      error,
      [](Settings& settings, int64_t value) {
        settings.clockMode = ClockMode::Frozen;
        settings.clockTicks = value;
      },
      static_cast<int64_t>(fileTime));
}

bool FreezeClock(const std::string& isoTime, std::string& error) {
  uint64_t fileTime = 0;
  if (ParseIsoTime(isoTime, fileTime))
    return FreezeClock(fileTime, error);
  error = "not a time like 2026-03-02T08:00:00Z: " + isoTime;
  return false;
}

bool StepClock(int64_t ticks, std::string& error) {
  return Change(
      error,
      [](Settings& settings, int64_t value) {
        if (settings.clockMode == ClockMode::Running) {
          settings.clockMode = ClockMode::Offset;
          settings.clockTicks = 0;
        }
        settings.clockTicks += value;
      },
      ticks);
}

bool OffsetClock(int64_t ticks, std::string& error) {
  return Change(
      error,
      [](Settings& settings, int64_t value) {
        settings.clockMode = ClockMode::Offset;
        settings.clockTicks = value;
      },
      ticks);
}

bool RunClock(std::string& error) {
  return Change(
      error,
      [](Settings& settings, int64_t) {
        settings.clockMode = ClockMode::Running;
        settings.clockTicks = 0;
      },
      0);
}

bool FixTickCount(uint32_t milliseconds, std::string& error) {
  return Change(
      error,
      [](Settings& settings, int64_t value) {
        settings.tickMode = TickMode::Fixed;
        settings.tickValue = static_cast<uint32_t>(value);
      },
      milliseconds);
}

bool RunTickCount(std::string& error) {
  return Change(
      error,
      [](Settings& settings, int64_t) {
        settings.tickMode = TickMode::Running;
        settings.tickValue = 0;
      },
      0);
}

uint64_t DeviceTime() {
  return host::NowTicks();
}

bool SetDurability(Durability durability, std::string& error) {
  return Change(
      error,
      [](Settings& settings, int64_t value) {
        settings.durability = static_cast<Durability>(value);
      },
      static_cast<int64_t>(durability));
}

bool SetCursorModel(CursorModel model, std::string& error) {
  return Change(
      error,
      [](Settings& settings, int64_t value) {
        settings.cursorModel = static_cast<CursorModel>(value);
      },
      static_cast<int64_t>(model));
}

bool ParseIsoTime(const std::string& text, uint64_t& fileTime) {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, millisecond = 0, used = 0;
  if (text.size() == 24 && sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d.%3dZ%n", &year, &month,
                                  &day, &hour, &minute, &second, &millisecond, &used) != 7)
    return false;
  if (text.size() == 20 && sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2dZ%n", &year, &month, &day,
                                  &hour, &minute, &second, &used) != 6)
    return false;
  constexpr std::array kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (used != static_cast<int>(text.size()) || year < 1601 || month < 1 || month > 12 || hour < 0 ||
      hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59 || millisecond < 0)
    return false;
  const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  if (day < 1 || day > kDays[static_cast<size_t>(month - 1)] + (month == 2 && leap ? 1 : 0))
    return false;
  const int64_t milliseconds = ((hour * 60ll + minute) * 60 + second) * 1000 + millisecond;
  fileTime = static_cast<uint64_t>(DaysFromCivil(year, month, day) * kTicksPerDay +
                                   milliseconds * kTicksPerMillisecond);
  return true;
}

std::string FormatIsoTime(uint64_t fileTime) {
  const auto day = static_cast<int64_t>(fileTime / static_cast<uint64_t>(kTicksPerDay));
  const auto milliseconds =
      static_cast<int64_t>(fileTime % static_cast<uint64_t>(kTicksPerDay)) / kTicksPerMillisecond;
  // The year whose first day is not later: the guess is at most one too high.
  int64_t year = 1601 + day / 365;
  while (DaysFromCivil(year, 1, 1) > day)
    --year;
  int month = 12;
  while (DaysFromCivil(year, month, 1) > day)
    --month;
  const int64_t dayOfMonth = day - DaysFromCivil(year, month, 1) + 1;
  std::array<char, 48> text;
  const int used = snprintf(text.data(), text.size(), "%04lld-%02d-%02lldT%02lld:%02lld:%02lld",
                            static_cast<long long>(year), month, static_cast<long long>(dayOfMonth),
                            static_cast<long long>(milliseconds / 3'600'000),
                            static_cast<long long>(milliseconds / 60'000 % 60),
                            static_cast<long long>(milliseconds / 1000 % 60));
  std::string result(text.data(), static_cast<size_t>(used));
  if (milliseconds % 1000 != 0) {
    snprintf(text.data(), text.size(), ".%03d", static_cast<int>(milliseconds % 1000));
    result += text.data();
  }
  return result + 'Z';
}

}  // namespace wkt::control
