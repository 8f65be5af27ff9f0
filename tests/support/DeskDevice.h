// A fresh device on the desk for a test: made below the machine's temporary folder, used by this
// process, removed in the end.
//
// Its clock stands at 2026-03-02T08:00:00Z, its tick count at 1000, its zone is Europe/Vienna, its
// locale en-US, and writes are not synced to the disk. What a method cannot do fails the test with
// the reason.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "host/control/Desk.h"
#include "platform/Types.h"

namespace wkt::test {

inline constexpr char kStartTime[] = "2026-03-02T08:00:00Z";
// kStartTime as a file time: 155288 days and 8 hours after 1601-01-01.
inline constexpr uint64_t kStartTicks = (155288ull * 24 + 8) * 3600 * 10'000'000;
inline constexpr uint32_t kStartTickCount = 1000;
inline constexpr char16_t kInstallPath[] = u"\\Program Files\\Worktally";

class DeskDevice {
 public:
  DeskDevice() : DeskDevice(Options()) {}
  explicit DeskDevice(const control::DeviceOptions& options);
  ~DeskDevice();
  DeskDevice(const DeskDevice&) = delete;
  DeskDevice& operator=(const DeskDevice&) = delete;

  // The options of a DeskDevice without any, to be changed.
  static control::DeviceOptions Options();

  // The device folder, an absolute path of the machine.
  [[nodiscard]] const std::string& Folder() const { return folder_; }
  // The machine's path of a device path, for looking at files from outside.
  [[nodiscard]] std::string MachinePath(const std::u16string& devicePath) const;
  // Leaves the device and uses it again, as a new process would find it.
  void Reopen();

  void FreezeClock(const std::string& isoTime);
  void FreezeClock(uint64_t fileTime);
  void StepClockMilliseconds(int64_t milliseconds);
  void RunClock();
  void FixTickCount(uint32_t milliseconds);
  void SetZone(const std::string& ianaName, int year = 0);
  void SetLocale(const std::string& tag);
  void SetDurability(control::Durability durability);
  void SetCursorModel(control::CursorModel model);

  // Below HKEY_LOCAL_MACHINE.
  void SetText(const std::u16string& key, const std::u16string& name, const std::u16string& text);
  void SetNumber(const std::u16string& key, const std::u16string& name, uint32_t number);
  void DeleteValue(const std::u16string& key, const std::u16string& name);

  // Makes a folder with all that lead to it.
  void MakeFolder(const std::u16string& devicePath);
  // Copies a file of the machine onto the device, making its folder.
  void CopyFile(const std::string& machineFile, const std::u16string& devicePath);
  void WriteFile(const std::u16string& devicePath, const std::string& content);
  // Empty when it is missing; FileExists tells.
  [[nodiscard]] std::string ReadFile(const std::u16string& devicePath) const;
  [[nodiscard]] bool FileExists(const std::u16string& devicePath) const;

  // What an installation leaves behind: the folder kInstallPath, the registry value "InstallPath"
  // and, unless 0, "DatabaseVersion".
  void MakeInstallation(uint32_t databaseVersion = 74);
  // Copies built libraries ("WktDevSync", "WktDevLog") into the installation folder, as <name>.dll.
  void InstallLibraries(const std::vector<std::string>& names = {"WktDevSync", "WktDevLog"});
  // The built file of such a library.
  static std::string BuiltLibrary(const std::string& name);

 private:
  std::string root_;  // the temporary folder around the device
  std::string folder_;
};

// A test that runs on its own device.
class DeskDeviceTest : public ::testing::Test {
 protected:
  DeskDevice device;
};

}  // namespace wkt::test
