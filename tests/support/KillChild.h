#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <csignal>

namespace wkt::test {

// Kills a child and nobody else: 0 and -1, which a process that could not be started leaves behind,
// mean everybody to `kill`.
inline void KillChild(pid_t child, int signal = SIGKILL) {
  ASSERT_GT(child, 0) << "no process was started";
  ::kill(child, signal);
}

}  // namespace wkt::test
