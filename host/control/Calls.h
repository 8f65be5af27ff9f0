// Platform calls of this process: written down, and made to fail. All but the last error, the thread
// id, the interlocked counters and the runtime functions; what a call fills in is not kept.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/coredll/CallHook.h"

namespace wkt::control {

using host::CallRecord;
using host::CallValue;

// Records from its making on, until Take or its end. One at a time.
class CallRecording {
 public:
  CallRecording();
  ~CallRecording();
  CallRecording(const CallRecording&) = delete;
  CallRecording& operator=(const CallRecording&) = delete;

  // What was called so far; the recording ends.
  std::vector<CallRecord> Take();

 private:
  bool running_ = true;
};

// The calls as text, one a line: name, arguments, result, and the last error of a call that failed:
//   RegOpenKeyExW(HKEY_LOCAL_MACHINE, "SOFTWARE\Worktally", 0, 0x20019) = 0
//   CreateDirectoryW("\a", NULL) = 0, error 183
// Handles are named #1, #2 .. by their first appearance, pointers "ptr". Numbers are decimal, from
// 65536 on hexadecimal, so that flags and identifiers stay readable.
std::vector<std::string> DescribeCalls(const std::vector<CallRecord>& calls);
// Names alone, in order.
std::vector<std::string> CallNames(const std::vector<CallRecord>& calls);

// The nth call of a function from now on (1: the next) fails with this error and does nothing.
// Several may be armed. "*" counts calls of all functions.
void FailCall(const std::string& name, uint32_t nth, uint32_t error);
// Failures not reached are dropped; false when there were none, so that a test can tell that its
// failure happened.
bool ClearFailures();

// While it lives, calls are neither recorded nor counted nor failed: those of a test between the
// calls of the program that it watches.
class CallsUnwatched {
 public:
  CallsUnwatched();
  ~CallsUnwatched();
  CallsUnwatched(const CallsUnwatched&) = delete;
  CallsUnwatched& operator=(const CallsUnwatched&) = delete;
};

// Open handles of all kinds, registry keys and searches included.
size_t OpenHandles();

}  // namespace wkt::control
