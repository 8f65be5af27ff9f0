#include "host/control/Calls.h"

#include <array>
#include <cstdio>
#include <map>

#include "host/coredll/Handles.h"
#include "host/coredll/Text.h"

namespace wkt::control {

namespace {

constexpr int64_t kFirstRoot = 0x80000000;
constexpr std::array kRoots = {"HKEY_CLASSES_ROOT", "HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE",
                               "HKEY_USERS"};
// Handles are below, addresses above.
constexpr int64_t kHandleLimit = int64_t{1} << 31;
constexpr int64_t kDecimalLimit = 65536;

class Describer {
 public:
  std::string Describe(const CallRecord& call) {
    std::string text = call.name + '(';
    for (size_t i = 0; i < call.arguments.size(); ++i)
      text += (i == 0 ? "" : ", ") + Value(call.arguments[i]);
    text += ") = " + Value(call.result);
    if (IsFailure(call))
      text += ", error " + std::to_string(call.lastError);
    return text;
  }

 private:
  std::string Value(const CallValue& value) {
    switch (value.kind) {
      case CallValue::Kind::None:
        return "void";
      case CallValue::Kind::Number:
        return Number(value.number);
      case CallValue::Kind::Pointer:
        return Pointer(value.number);
      case CallValue::Kind::Text:
        return '"' + host::ToUtf8(value.text) + '"';
      case CallValue::Kind::NullText:
        return "NULL";
    }
    return {};
  }

  static std::string Number(int64_t number) {
    if (number > -kDecimalLimit && number < kDecimalLimit)
      return std::to_string(number);
    std::array<char, 24> text;
    snprintf(text.data(), text.size(), "0x%llX", static_cast<unsigned long long>(number));
    return text.data();
  }

  std::string Pointer(int64_t value) {
    if (value == 0)
      return "NULL";
    if (value == -1 || value == int64_t{UINT32_MAX})
      return "INVALID_HANDLE_VALUE";
    if (value >= kFirstRoot && value - kFirstRoot < static_cast<int64_t>(kRoots.size()))
      return kRoots[static_cast<size_t>(value - kFirstRoot)];
    if (value < 0 || value >= kHandleLimit)
      return "ptr";
    const auto [found, added] = handles_.try_emplace(value, handles_.size() + 1);
    return '#' + std::to_string(found->second);
  }

  static bool IsFailure(const CallRecord& call) {
    // Registry functions return their error; what they find in the last error is another call's.
    if (call.name.rfind("Reg", 0) == 0)
      return false;
    const bool nothing =
        call.result.kind == CallValue::Kind::Number || call.result.kind == CallValue::Kind::Pointer
            ? call.result.number == 0 || call.result.number == -1
            : false;
    return nothing && call.lastErrorSet && call.lastError != 0;
  }

  std::map<int64_t, size_t> handles_;
};

}  // namespace

CallRecording::CallRecording() {
  host::StartRecordingCalls();
}

CallRecording::~CallRecording() {
  Take();
}

std::vector<CallRecord> CallRecording::Take() {
  if (!running_)
    return {};
  running_ = false;
  return host::StopRecordingCalls();
}

std::vector<std::string> DescribeCalls(const std::vector<CallRecord>& calls) {
  Describer describer;
  std::vector<std::string> lines;
  lines.reserve(calls.size());
  for (const CallRecord& call : calls)
    lines.push_back(describer.Describe(call));
  return lines;
}

std::vector<std::string> CallNames(const std::vector<CallRecord>& calls) {
  std::vector<std::string> names;
  names.reserve(calls.size());
  for (const CallRecord& call : calls)
    names.push_back(call.name);
  return names;
}

void FailCall(const std::string& name, uint32_t nth, uint32_t error) {
  host::FailCall(name, nth, error);
}

bool ClearFailures() {
  const bool pending = host::AnyFailurePending();
  host::ClearFailures();
  return pending;
}

CallsUnwatched::CallsUnwatched() {
  host::PauseCallHooks();
}

CallsUnwatched::~CallsUnwatched() {
  host::ResumeCallHooks();
}

size_t OpenHandles() {
  return host::CountHandles();
}

}  // namespace wkt::control
