// The knobs of a device on the desk: making one, choosing it for this process, its clock, zone,
// locale and settings. For tests and tools; programs of the device know none of this.
//
// All functions act on the device in use unless they name a folder. They return false with `error`
// saying what is wrong, with the file's name when it is one's fault.
#pragma once

#include <cstdint>
#include <string>

#include "host/coredll/Settings.h"

namespace wkt::control {

using host::ClockMode;
using host::CursorModel;
using host::Durability;
using host::Settings;
using host::TickMode;

struct DeviceOptions {
  std::string zone = "Europe/Vienna";  // an IANA name
  std::string locale = "en-US";        // a BCP 47 tag
  Settings settings;
  // Device path of a database volume to make and to name in the registry, where the provider looks
  // for it; empty: the databases live in the object store.
  std::u16string volume;
};

// Makes the folder and uses it from now on. The folder's parent exists, itself it is empty or
// missing.
[[nodiscard]] bool CreateDevice(const std::string& folder, const DeviceOptions& options,
                                std::string& error);
// Uses an existing device from now on; the one before is left, its handles closed.
[[nodiscard]] bool UseDevice(const std::string& folder, std::string& error);
void LeaveDevice();
// The folder of the device in use, empty when there is none.
std::string DeviceFolder();
// The machine's path of a device path; empty when it is none.
std::string MachinePath(const std::u16string& devicePath);

[[nodiscard]] Settings CurrentSettings();
[[nodiscard]] bool ChangeSettings(const Settings& settings, std::string& error);

// Times are UTC, as file times or as text "2026-03-02T08:00:00Z" (with ".123" for milliseconds).
[[nodiscard]] bool FreezeClock(uint64_t fileTime, std::string& error);
[[nodiscard]] bool FreezeClock(const std::string& isoTime, std::string& error);
// Moves a frozen or offset clock by 100 ns ticks, back when negative; a running one becomes offset.
[[nodiscard]] bool StepClock(int64_t ticks, std::string& error);
// A running clock that is `ticks` ahead of the machine's.
[[nodiscard]] bool OffsetClock(int64_t ticks, std::string& error);
[[nodiscard]] bool RunClock(std::string& error);
[[nodiscard]] bool FixTickCount(uint32_t milliseconds, std::string& error);
[[nodiscard]] bool RunTickCount(std::string& error);
// The device's UTC time as a file time.
uint64_t DeviceTime();

[[nodiscard]] bool SetDurability(Durability durability, std::string& error);
[[nodiscard]] bool SetCursorModel(CursorModel model, std::string& error);

// Writes the zone's bias and rules into the registry, as they are in `year` (0: the device's
// present one).
[[nodiscard]] bool SetZone(const std::string& ianaName, int year, std::string& error);
// Writes pictures, separators, markers and names into the registry.
[[nodiscard]] bool SetLocale(const std::string& tag, std::string& error);

// "2026-03-02T08:00:00Z" or "2026-03-02T08:00:00.123Z", years 1601 to 9999.
[[nodiscard]] bool ParseIsoTime(const std::string& text, uint64_t& fileTime);
std::string FormatIsoTime(uint64_t fileTime);

}  // namespace wkt::control
