#include "tests/tools/RunCommand.h"
#include "tests/support/KillChild.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iterator>

namespace wkt::test {

CommandTest::CommandTest() {
  std::string name = (std::filesystem::temp_directory_path() / "wkt-tools-XXXXXX").string();
  folder = mkdtemp(name.data());
  setenv("WKT_CLOCK", "2026-03-02T08:00:00Z", 1);
  setenv("NO_COLOR", "1", 1);
}

CommandTest::~CommandTest() {
  std::filesystem::remove_all(folder);
}

std::string CommandTest::ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

CommandResult CommandTest::Run(const std::vector<std::string>& arguments) {
  return RunKilled(arguments, 0);
}

CommandResult CommandTest::RunKilled(const std::vector<std::string>& arguments,
                                     unsigned microseconds) {
  const StartedCommand command = Start(arguments, "");
  if (microseconds > 0) {
    usleep(microseconds);
    wkt::test::KillChild(command.process);
  }
  return Finish(command);
}

StartedCommand CommandTest::Start(const std::vector<std::string>& arguments,
                                  const std::string& name) {
  StartedCommand command{0, Path("." + name)};
  const std::string out = command.name + ".out";
  const std::string err = command.name + ".err";
  command.process = fork();
  if (command.process == 0) {
    const int outFile = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int errFile = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(outFile, STDOUT_FILENO);
    dup2(errFile, STDERR_FILENO);
    if (chdir(folder.c_str()) != 0) {
      _exit(126);
    }
    std::vector<char*> argv{const_cast<char*>(WKT_COMMAND)};
    for (const std::string& argument : arguments) {
      argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    execv(WKT_COMMAND, argv.data());
    _exit(127);
  }
  return command;
}

std::string CommandTest::Written(const StartedCommand& command, const char* stream) const {
  return ReadFile(command.name + "." + stream);
}

CommandResult CommandTest::Finish(const StartedCommand& command) {
  int status = 0;
  waitpid(command.process, &status, 0);
  CommandResult result;
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.out = Written(command, "out");
  result.err = Written(command, "err");
  return result;
}

bool CommandTest::WaitForText(const std::string& path, const std::string& text) const {
  constexpr int kTries = 6000;
  constexpr unsigned kPauseMicroseconds = 10'000;
  for (int i = 0; i < kTries; ++i) {
    if (ReadFile(path).find(text) != std::string::npos) {
      return true;
    }
    usleep(kPauseMicroseconds);
  }
  return false;
}

void CommandTest::MakeDevice(const std::string& name) {
  const CommandResult made = Run({"device", "new", name, "--zone", "Europe/Vienna", "--clock",
                                  "2026-03-02T08:00:00Z", "--seed", "1", "--durability", "off"});
  ASSERT_EQ(made.exitCode, 0) << made.err;
}

}  // namespace wkt::test
