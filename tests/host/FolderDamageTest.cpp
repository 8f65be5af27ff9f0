// Device folders that are damaged, foreign, full or not to be written.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "host/control/Check.h"
#include "platform/Files.h"
#include "platform/Kernel.h"
#include "platform/Registry.h"
#include "tests/host/PeerProcess.h"
#include "tests/support/DeskDevice.h"

namespace {

namespace fs = std::filesystem;
using wkt::control::CheckFolder;
using wkt::test::PeerProcess;

class FolderDamage : public wkt::test::DeskDeviceTest {
 protected:
  std::string registry = device.Folder() + "/registry";

  static std::string Content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  static void Write(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
  }
  static LONG OpenTime() {
    HKEY key = nullptr;
    const LONG result = RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Time", 0, KEY_READ, &key);
    RegCloseKey(key);
    return result;
  }
  static LONG CreateAny() {
    HKEY key = nullptr;
    const LONG result = RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"Any", 0, nullptr, 0, KEY_ALL_ACCESS,
                                        nullptr, &key, nullptr);
    RegCloseKey(key);
    return result;
  }
};

constexpr LONG kBadRegistry = 1009;
constexpr LONG kWriteProtected = 19;

TEST_F(FolderDamage, MissingRegistryIsNamedAndNotMadeAnew) {
  wkt::control::LeaveDevice();
  fs::remove(registry);
  device.Reopen();
  testing::internal::CaptureStderr();
  EXPECT_EQ(OpenTime(), kBadRegistry);
  EXPECT_EQ(CreateAny(), kBadRegistry);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "worktally device: " + registry + ": No such file or directory\n");
  EXPECT_FALSE(fs::exists(registry));
}

TEST_F(FolderDamage, DamagedRegistriesAreNamedAndKept) {
  const std::string whole = Content(registry);
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "the end is missing"},
      {whole.substr(0, whole.size() / 2), ""},
      {whole.substr(0, whole.size() - 2), "the end is missing"},
      {"worktally-registry 2\n; end\n", "line 1 is damaged"},
      {"SQLite format 3", "line 1 is damaged"},
      {"worktally-registry 1\n\"value\"=\"before any key\"\n; end\n", "line 2 is damaged"},
      {"worktally-registry 1\n[]\n; end\n", "line 2 is damaged"},
      {"worktally-registry 1\n[A\\\\B]\n; end\n", "line 2 is damaged"},
      {"worktally-registry 1\n[A]\n\"v\"=dword:123\n; end\n", "line 3 is damaged"},
      {"worktally-registry 1\n[A]\n\"v\"=hex:1\n; end\n", "line 3 is damaged"},
      {"worktally-registry 1\n[A]\n\"v\"=hex:01,\n; end\n", "line 3 is damaged"},
      {"worktally-registry 1\n[A]\n\"v\"=hex(:01\n; end\n", "line 3 is damaged"},
      {"worktally-registry 1\n[A]\n\"v\"=\"open\n; end\n", "line 3 is damaged"},
      {"worktally-registry 1\n[A]\n\"v\"=\"a\\u12\"\n; end\n", "line 3 is damaged"},
      {"worktally-registry 1\n[A]\n\"v\"=\"a\"b\n; end\n", "line 3 is damaged"},
      {"worktally-registry 1\n[A]\n\"v\"=\"\xFF\"\n; end\n", "line 3 is damaged"},
      {"worktally-registry 1\n[A]\n\"v\"=\"a\"\n\"V\"=\"b\"\n; end\n", "line 4 is damaged"},
      {"worktally-registry 1\n[A]\nv\n; end\n", "line 3 is damaged"},
  };
  for (const auto& [text, problem] : cases) {
    wkt::control::LeaveDevice();
    Write(registry, text);
    device.Reopen();
    EXPECT_EQ(OpenTime(), kBadRegistry) << text;
    EXPECT_EQ(CreateAny(), kBadRegistry) << text;
    EXPECT_EQ(Content(registry), text);
    const auto findings = CheckFolder(device.Folder());
    ASSERT_EQ(findings.size(), 1u) << text;
    if (!problem.empty()) {
      EXPECT_EQ(findings[0], registry + ": " + problem);
    }
  }
  wkt::control::LeaveDevice();
  Write(registry, whole);
  device.Reopen();
  EXPECT_EQ(OpenTime(), ERROR_SUCCESS);
}

TEST_F(FolderDamage, WindowsLineEndsAreFine) {
  std::string text = Content(registry);
  for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2)
    text.insert(at, 1, '\r');
  wkt::control::LeaveDevice();
  Write(registry, text);
  device.Reopen();
  EXPECT_EQ(OpenTime(), ERROR_SUCCESS);
}

TEST_F(FolderDamage, FullDiskLeavesTheRegistryAsItWas) {
  const std::string before = Content(registry);
  signal(SIGXFSZ, SIG_IGN);
  rlimit limit = {};
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit small = {64, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const LONG result = CreateAny();
  HANDLE file = CreateFileW(u"\\f", GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  DWORD written = 99;
  const char bytes[100] = {};
  const BOOL wrote = WriteFile(file, bytes, sizeof(bytes), &written, nullptr);
  const DWORD error = GetLastError();
  CloseHandle(file);
  setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ(result, ERROR_DISK_FULL);
  EXPECT_FALSE(wrote);
  EXPECT_EQ(error, static_cast<DWORD>(ERROR_DISK_FULL));
  EXPECT_EQ(written, 64u);
  EXPECT_EQ(Content(registry), before);
  // What the failed change would have made is not remembered either.
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Any", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(CreateAny(), ERROR_SUCCESS);
}

TEST_F(FolderDamage, FolderThatMayNotBeWrittenIsReadAndToldSo) {
  if (geteuid() != 0)
    GTEST_SKIP() << "only root can become another user";
  // The device of a user who may look but not write.
  device.SetNumber(u"Peer", u"v", 5);
  fs::permissions(fs::path(device.Folder()).parent_path(), fs::perms(0755));
  fs::permissions(device.Folder(), fs::perms(0755));
  constexpr int kNobody = 65534;
  PeerProcess nobody(device.Folder(), kNobody);
  const std::string answer = nobody.Ask("get v");
  if (answer.empty())
    GTEST_SKIP() << "the build folder is not open to other users";
  EXPECT_EQ(answer, "5");
  EXPECT_EQ(nobody.Ask("set v 6"), std::to_string(kWriteProtected));
  EXPECT_EQ(nobody.Ask("file \\new 3"), "5");
  EXPECT_EQ(nobody.Ask("mutex m 1"), "0");
  EXPECT_EQ(nobody.Ask("wait 0"), "0");
  EXPECT_EQ(nobody.Ask("time"), "2026-03-02T08:00:00Z");
  // It notices changes all the same.
  device.SetNumber(u"Peer", u"v", 7);
  EXPECT_EQ(nobody.Ask("get v"), "7");
}

TEST_F(FolderDamage, SharedPageMayBeMissingDamagedOrOfAnotherBoot) {
  const std::string shared = device.Folder() + "/shared";
  wkt::control::LeaveDevice();
  const std::string whole = Content(shared);
  for (const std::string& text :
       {std::string(), std::string("short"), std::string(whole.size(), '\xFF'),
        whole.substr(0, 16) + std::string(8, '\1') + whole.substr(24)}) {
    Write(shared, text);
    device.Reopen();
    EXPECT_EQ(wkt::control::FormatIsoTime(wkt::control::DeviceTime()), "2026-03-02T08:00:00Z");
    HANDLE mutex = CreateMutexW(nullptr, FALSE, u"m");
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
    CloseHandle(mutex);
    wkt::control::LeaveDevice();
    EXPECT_EQ(fs::file_size(shared), whole.size());
  }
}

TEST_F(FolderDamage, MissingFileTreeIsNamed) {
  fs::remove(device.Folder() + "/files");
  testing::internal::CaptureStderr();
  EXPECT_FALSE(CreateDirectoryW(u"\\a", nullptr));
  EXPECT_EQ(GetLastError(), 3u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "worktally device: " + device.Folder() + "/files: the file tree is missing\n");
  EXPECT_EQ(CheckFolder(device.Folder()),
            std::vector<std::string>{device.Folder() + "/files: the file tree is missing"});
}

TEST_F(FolderDamage, CheckFindsWhatTheDeviceCannotSee) {
  EXPECT_TRUE(CheckFolder(device.Folder()).empty());
  const std::string files = device.Folder() + "/files/";
  fs::create_symlink("/etc", files + "link");
  Write(files + "a:b", "");
  Write(files + "Name", "");
  Write(files + "name", "");
  Write(device.Folder() + "/registry.new", "half");
  EXPECT_EQ(CheckFolder(device.Folder()),
            (std::vector<std::string>{
                files + "a:b: has a name that no device can make, the device does not see it",
                files + "link: is a link, the device does not see it",
                files + "name: differs from " + files + "Name in letter case only",
                device.Folder() +
                    "/registry.new: left by a process that was killed; the next change replaces it",
            }));
}

TEST_F(FolderDamage, RegistryTravelsAsText) {
  device.SetText(u"SOFTWARE\\Test", u"Name", u"a \"quoted\" \\ text\n\u00C4");
  device.SetNumber(u"SOFTWARE\\Test", u"Number", 0x12345678);
  std::string text, error;
  ASSERT_TRUE(wkt::control::ExportRegistry("HKEY_LOCAL_MACHINE\\software\\TEST", text, error))
      << error;
  EXPECT_NE(text.find("\"Name\"=\"a \\\"quoted\\\" \\\\ "
                      "text\\u000a\u00C4\"\n\"Number\"=dword:12345678\n; end\n"),
            std::string::npos)
      << text;
  std::string all;
  ASSERT_TRUE(wkt::control::ExportRegistry("", all, error));
  EXPECT_EQ(all, Content(registry));
  EXPECT_FALSE(wkt::control::ExportRegistry("HKEY_USERS\\none", text, error));
  EXPECT_EQ(error, "no such key: HKEY_USERS\\none");
  device.DeleteValue(u"SOFTWARE\\Test", u"Number");
  ASSERT_TRUE(wkt::control::ImportRegistry(text, error)) << error;
  std::string again;
  ASSERT_TRUE(wkt::control::ExportRegistry("", again, error));
  EXPECT_EQ(again, all);
}

TEST_F(FolderDamage, DamagedTextsAreNotImportedInPart) {
  const std::string before = Content(registry);
  std::string error;
  EXPECT_FALSE(wkt::control::ImportRegistry(
      "worktally-registry 1\n[HKEY_USERS\\a]\n\"v\"=\n; end\n", error));
  EXPECT_EQ(error, "line 3 is damaged");
  EXPECT_FALSE(
      wkt::control::ImportRegistry("worktally-registry 1\n[Elsewhere\\a]\n; end\n", error));
  EXPECT_EQ(error, "no root of the registry: Elsewhere");
  EXPECT_EQ(Content(registry), before);
}

// Without a device, calls that need one fail and say why once.
TEST(NoDeviceAtAll, CallsFailCleanlyWithOneMessage) {
  wkt::control::LeaveDevice();
  testing::internal::CaptureStderr();
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Time", 0, KEY_READ, &key), 21);
  EXPECT_FALSE(CreateDirectoryW(u"\\a", nullptr));
  EXPECT_EQ(GetLastError(), 21u);
  WIN32_FIND_DATAW found;
  EXPECT_EQ(FindFirstFileW(u"\\*", &found), INVALID_HANDLE_VALUE);
  EXPECT_EQ(LoadLibraryW(u"\\a.dll"), nullptr);
  EXPECT_EQ(GetLastError(), 126u);
  EXPECT_EQ(CreateMutexW(nullptr, FALSE, u"named"), nullptr);
  EXPECT_EQ(GetLastError(), 21u);
  HANDLE unnamed = CreateMutexW(nullptr, FALSE, nullptr);
  EXPECT_NE(unnamed, nullptr);
  CloseHandle(unnamed);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "worktally device: no device: set WKT_DEVICE to a device folder\n");
}

}  // namespace
