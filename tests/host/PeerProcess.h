// Runs desk_peer on a device and talks to it.
#pragma once

#include <string>

namespace wkt::test {

class PeerProcess {
 public:
  // `user`: the machine's user to run as, -1 for the test's own (only root may choose).
  explicit PeerProcess(const std::string& deviceFolder, int user = -1);
  ~PeerProcess();
  PeerProcess(const PeerProcess&) = delete;
  PeerProcess& operator=(const PeerProcess&) = delete;

  // Sends a command and waits for the answer.
  std::string Ask(const std::string& command);
  void Send(const std::string& command);
  // The next line; empty when the peer ended.
  std::string Read();
  // kill -9; it is reaped before the call returns.
  void Kill();
  // Ends its input and waits until it is gone.
  void Finish();
  // kill -9 without reaping: it stays a zombie until Kill or the end.
  void KillWithoutReaping() const;

 private:
  int process_ = -1;
  int to_ = -1;
  int from_ = -1;
};

}  // namespace wkt::test
