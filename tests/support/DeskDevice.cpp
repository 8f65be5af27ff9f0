#include "tests/support/DeskDevice.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/Files.h"
#include "platform/Registry.h"
#include "tests/support/LeakCheck.h"

namespace wkt::test {

namespace {

void Require(bool done, const std::string& error) {
  if (!done)
    ADD_FAILURE() << error;
}

LONG SetValue(const std::u16string& key, const std::u16string& name, DWORD type, const void* data,
              size_t byteCount) {
  HKEY open = nullptr;
  const LONG made = RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                    nullptr, &open, nullptr);
  if (made != ERROR_SUCCESS)
    return made;
  const LONG set = RegSetValueExW(open, name.c_str(), 0, type, static_cast<const BYTE*>(data),
                                  static_cast<DWORD>(byteCount));
  RegCloseKey(open);
  return set;
}

}  // namespace

control::DeviceOptions DeskDevice::Options() {
  control::DeviceOptions options;
  options.settings.clockMode = control::ClockMode::Frozen;
  options.settings.clockTicks = static_cast<int64_t>(kStartTicks);
  options.settings.tickMode = control::TickMode::Fixed;
  options.settings.tickValue = kStartTickCount;
  options.settings.durability = control::Durability::Off;
  return options;
}

DeskDevice::DeskDevice(const control::DeviceOptions& options) {
  std::string pattern = (std::filesystem::temp_directory_path() / "wkt-device-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    ADD_FAILURE() << "no temporary folder";
    return;
  }
  root_ = std::filesystem::canonical(pattern).string();
  folder_ = root_ + "/device";
  std::string error;
  Require(control::CreateDevice(folder_, options, error), error);
}

DeskDevice::~DeskDevice() {
  CheckForLeaks();
  if (control::DeviceFolder() == folder_)
    control::LeaveDevice();
  std::error_code ignored;
  if (!root_.empty())
    std::filesystem::remove_all(root_, ignored);
}

std::string DeskDevice::MachinePath(const std::u16string& devicePath) const {
  return control::MachinePath(devicePath);
}

void DeskDevice::Reopen() {
  std::string error;
  Require(control::UseDevice(folder_, error), error);
}

void DeskDevice::FreezeClock(const std::string& isoTime) {
  std::string error;
  Require(control::FreezeClock(isoTime, error), error);
}

void DeskDevice::FreezeClock(uint64_t fileTime) {
  std::string error;
  Require(control::FreezeClock(fileTime, error), error);
}

void DeskDevice::StepClockMilliseconds(int64_t milliseconds) {
  std::string error;
  Require(control::StepClock(milliseconds * 10'000, error), error);
}

void DeskDevice::RunClock() {
  std::string error;
  Require(control::RunClock(error), error);
}

void DeskDevice::FixTickCount(uint32_t milliseconds) {
  std::string error;
  Require(control::FixTickCount(milliseconds, error), error);
}

void DeskDevice::SetZone(const std::string& ianaName, int year) {
  std::string error;
  Require(control::SetZone(ianaName, year, error), error);
}

void DeskDevice::SetLocale(const std::string& tag) {
  std::string error;
  Require(control::SetLocale(tag, error), error);
}

void DeskDevice::SetDurability(control::Durability durability) {
  std::string error;
  Require(control::SetDurability(durability, error), error);
}

void DeskDevice::SetCursorModel(control::CursorModel model) {
  std::string error;
  Require(control::SetCursorModel(model, error), error);
}

void DeskDevice::SetText(const std::u16string& key, const std::u16string& name,
                         const std::u16string& text) {
  EXPECT_EQ(SetValue(key, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(char16_t)),
            ERROR_SUCCESS);
}

void DeskDevice::SetNumber(const std::u16string& key, const std::u16string& name, uint32_t number) {
  EXPECT_EQ(SetValue(key, name, REG_DWORD, &number, sizeof(number)), ERROR_SUCCESS);
}

void DeskDevice::DeleteValue(const std::u16string& key, const std::u16string& name) {
  HKEY open = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_ALL_ACCESS, &open),
            ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteValueW(open, name.c_str()), ERROR_SUCCESS);
  RegCloseKey(open);
}

void DeskDevice::MakeFolder(const std::u16string& devicePath) {
  size_t end = 0;
  do {
    end = devicePath.find(u'\\', end + 1);
    const std::u16string part = devicePath.substr(0, end);
    EXPECT_TRUE(CreateDirectoryW(part.c_str(), nullptr) != FALSE || FileExists(part));
  } while (end != std::u16string::npos);
}

void DeskDevice::CopyFile(const std::string& machineFile, const std::u16string& devicePath) {
  const size_t folder = devicePath.rfind(u'\\');
  if (folder != std::u16string::npos && folder > 0)
    MakeFolder(devicePath.substr(0, folder));
  // A new file, never new content in the old one: that may be a library in use.
  std::error_code problem;
  std::filesystem::remove(MachinePath(devicePath), problem);
  std::filesystem::copy_file(machineFile, MachinePath(devicePath), problem);
  EXPECT_FALSE(problem) << machineFile << ": " << problem.message();
}

void DeskDevice::WriteFile(const std::u16string& devicePath, const std::string& content) {
  std::ofstream file(MachinePath(devicePath), std::ios::binary);
  file << content;
  file.close();
  EXPECT_TRUE(file) << "the file cannot be written";
}

std::string DeskDevice::ReadFile(const std::u16string& devicePath) const {
  const std::ifstream file(MachinePath(devicePath), std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

bool DeskDevice::FileExists(const std::u16string& devicePath) const {
  const std::string path = MachinePath(devicePath);
  return !path.empty() && std::filesystem::exists(path);
}

void DeskDevice::MakeInstallation(uint32_t databaseVersion) {
  MakeFolder(kInstallPath);
  SetText(u"SOFTWARE\\Worktally", u"InstallPath", kInstallPath);
  if (databaseVersion != 0)
    SetNumber(u"SOFTWARE\\Worktally", u"DatabaseVersion", databaseVersion);
}

void DeskDevice::InstallLibraries(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const std::u16string wide(name.begin(), name.end());
    CopyFile(BuiltLibrary(name), std::u16string(kInstallPath) + u'\\' + wide + u".dll");
  }
}

std::string DeskDevice::BuiltLibrary(const std::string& name) {
  return std::string(WKT_BINARY_DIR) + '/' + name + '/' + name + ".dll";
}

}  // namespace wkt::test
