#include "tests/host/PeerProcess.h"
#include "tests/support/KillChild.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace wkt::test {

PeerProcess::PeerProcess(const std::string& deviceFolder, int user) {
  int to[2] = {}, from[2] = {};
  if (pipe2(to, O_CLOEXEC) != 0 || pipe2(from, O_CLOEXEC) != 0) {
    ADD_FAILURE() << "no pipes";
    return;
  }
  const std::string device = "WKT_DEVICE=" + deviceFolder;
  process_ = fork();
  if (process_ == 0) {
    dup2(to[0], STDIN_FILENO);
    dup2(from[1], STDOUT_FILENO);
    if (user >= 0 && setuid(static_cast<uid_t>(user)) != 0)
      _exit(126);
    putenv(const_cast<char*>(device.c_str()));
    execl(WKT_DESK_PEER, "desk_peer", nullptr);
    _exit(127);
  }
  close(to[0]);
  close(from[1]);
  to_ = to[1];
  from_ = from[0];
}

PeerProcess::~PeerProcess() {
  Kill();
  if (to_ >= 0)
    close(to_);
  close(from_);
}

void PeerProcess::Send(const std::string& command) {
  const std::string line = command + '\n';
  EXPECT_EQ(write(to_, line.data(), line.size()), static_cast<ssize_t>(line.size()));
}

std::string PeerProcess::Read() {
  std::string line;
  char unit = 0;
  while (read(from_, &unit, 1) == 1 && unit != '\n')
    line += unit;
  return line;
}

std::string PeerProcess::Ask(const std::string& command) {
  Send(command);
  return Read();
}

void PeerProcess::Kill() {
  if (process_ <= 0)
    return;
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  process_ = -1;
}

void PeerProcess::Finish() {
  close(to_);
  to_ = -1;
  waitpid(process_, nullptr, 0);
  process_ = -1;
}

void PeerProcess::KillWithoutReaping() const {
  KillChild(process_);
  siginfo_t info = {};
  waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOWAIT);
}

}  // namespace wkt::test
