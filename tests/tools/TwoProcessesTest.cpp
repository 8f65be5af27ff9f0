// Commands that run at the same time on one device.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/support/KillChild.h"
#include "tests/tools/RunCommand.h"

namespace wkt::test {
namespace {

using nlohmann::json;

class TwoProcesses : public CommandTest {
 protected:
  void SetUp() override {
    MakeDevice("pocket");
    ASSERT_EQ(
        Run({"import", "pocket", std::string(WKT_SOURCE) + "/data/sample/sample.json"}).exitCode,
        0);
  }

  // A synchronisation that stands still in its middle: its trace is a pipe that nobody reads, and
  // what it wrote fills the pipe. Returns the pipe's end.
  int StartHeldSync(StartedCommand* command) {
    const std::string pipe = Path("trace");
    EXPECT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    *command = Start({"sync", "pocket", "desk", "--trace", "trace"}, "held");
    const int file = open(pipe.c_str(), O_RDONLY);
    constexpr int kFull = 50'000;  // of 65536; what does not fit whole is not written
    int waiting = 0;
    for (int tries = 0; tries < 6000 && waiting < kFull; ++tries) {
      usleep(10'000);
      ioctl(file, FIONREAD, &waiting);
    }
    EXPECT_GE(waiting, kFull);
    return file;
  }

  static void LetGo(int pipe) {
    char buffer[65536];
    while (read(pipe, buffer, sizeof buffer) > 0) {
    }
    close(pipe);
  }

  static std::vector<std::string> SortedLines(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
      lines.push_back(line);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
  }
};

TEST_F(TwoProcesses, ListenShowsWhatASynchronisationElsewhereTells) {
  ASSERT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0);
  const StartedCommand text = Start({"listen", "pocket", "--seconds", "200"}, "text");
  ASSERT_TRUE(WaitForText(text.name + ".err", "Listening as the application's window."));
  ASSERT_EQ(Run({"job", "add", "desk", "--title", "a"}).exitCode, 0);
  ASSERT_EQ(Run({"type", "add", "desk", "--kind", "2", "--name", "b"}).exitCode, 0);
  ASSERT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0);
  EXPECT_TRUE(WaitForText(text.name + ".out", "daily jobs"));
  wkt::test::KillChild(text.process, SIGINT);
  const CommandResult heard = Finish(text);
  EXPECT_EQ(heard.exitCode, 0) << "interrupted, as it is meant to be";
  EXPECT_EQ(SortedLines(heard.out), (std::vector<std::string>{"WM_USER + 102: daily jobs changed",
                                                              "WM_USER + 103: types changed"}));

  const StartedCommand lines = Start({"listen", "pocket", "--json", "--seconds", "200"}, "json");
  ASSERT_TRUE(WaitForText(lines.name + ".err", "Listening"));
  ASSERT_EQ(Run({"favorite", "add", "desk", "--title", "c"}).exitCode, 0);
  ASSERT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0);
  EXPECT_TRUE(WaitForText(lines.name + ".out", "}"));
  wkt::test::KillChild(lines.process, SIGTERM);
  const json message = json::parse(Finish(lines).out);
  EXPECT_EQ(message["message"], 0x400 + 101);
  EXPECT_EQ(message["meaning"], "favourite jobs changed");
}

TEST_F(TwoProcesses, ListenEndsByItself) {
  const CommandResult result = Run({"listen", "pocket", "--seconds", "0.3"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "");
}

TEST_F(TwoProcesses, SecondSynchronisationOfADeviceIsRefused) {
  StartedCommand first;
  const int pipe = StartHeldSync(&first);
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"sync", "pocket", "office", "--partner", "2"},
        {"sync", "pocket", "office", "--partner", "2", "--dry-run"},
        {"backup", "pocket", "b"}}) {
    const CommandResult second = Run(arguments);
    EXPECT_EQ(second.exitCode, 4) << arguments[0];
    EXPECT_NE(second.err.find("synchronisation of this device is running; wait for its end"),
              std::string::npos)
        << second.err;
    EXPECT_FALSE(std::filesystem::exists(Path("office"))) << "nothing was changed";
  }
  LetGo(pipe);
  EXPECT_EQ(Finish(first).exitCode, 0);
  EXPECT_EQ(Run({"sync", "pocket", "office", "--partner", "2"}).exitCode, 0);
}

TEST_F(TwoProcesses, EditsWaitForThePartnerAndAreMarkedOnTheDevice) {
  StartedCommand sync;
  const int pipe = StartHeldSync(&sync);
  ASSERT_EQ(Run({"job", "change", "pocket", "Day off", "--comment", "meanwhile"}).exitCode, 0);
  EXPECT_EQ(json::parse(Run({"why", "pocket", "Day off", "--json"}).out)["flags"],
            "0010001000000000000");
  ASSERT_EQ(Run({"job", "delete", "pocket", "Phone rings"}).exitCode, 0);
  const StartedCommand edit = Start({"job", "add", "desk", "--title", "patient"}, "edit");
  usleep(300'000);
  EXPECT_EQ(Written(edit, "err"), "") << "it waits";
  LetGo(pipe);
  const CommandResult result = Finish(sync);
  EXPECT_LE(result.exitCode, 1) << result.err << result.out;
  EXPECT_EQ(Finish(edit).exitCode, 0);
  EXPECT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0);
  const json jobs = json::parse(Run({"export", "pocket"}).out)["jobs"];
  EXPECT_EQ(json::parse(Run({"export", "desk"}).out)["jobs"], jobs);
  const std::string device = jobs.dump();
  EXPECT_NE(device.find("meanwhile"), std::string::npos);
  EXPECT_NE(device.find("patient"), std::string::npos);
  EXPECT_EQ(device.find("Phone rings"), std::string::npos);
}

}  // namespace
}  // namespace wkt::test
