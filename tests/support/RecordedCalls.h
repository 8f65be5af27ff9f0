#pragma once

#include <string>
#include <vector>

// The platform calls made while this lives, in order: "CeDeleteRecord(ptr, 7)". Numbers are
// decimal, texts in single quotes, pointers and handles "ptr" or "null". `CeReadRecordPropsEx` and
// the like are given with all arguments; functions of the clock and the locale are left out.
namespace wkt::test {

class RecordedCalls {
 public:
  RecordedCalls();
  ~RecordedCalls();
  RecordedCalls(const RecordedCalls&) = delete;
  RecordedCalls& operator=(const RecordedCalls&) = delete;
  // Ends the recording.
  [[nodiscard]] std::vector<std::string> Take();

 private:
  bool recording = true;
};

// While it lives, the nth call (from 1) of a platform function fails with this error.
class FailingCall {
 public:
  FailingCall(const std::string& name, uint32_t nth, uint32_t error);
  ~FailingCall();
  FailingCall(const FailingCall&) = delete;
  FailingCall& operator=(const FailingCall&) = delete;
  [[nodiscard]] bool Happened() const;
};

}  // namespace wkt::test
