#include "tests/support/RecordedCalls.h"

#include <set>

#include "host/coredll/CallHook.h"
#include "tests/support/Text.h"

namespace wkt::test {
namespace {

bool IsClockOrLocale(const std::string& name) {
  static const std::set<std::string> kNames = {"GetLocalTime",
                                               "GetSystemTime",
                                               "SystemTimeToFileTime",
                                               "FileTimeToSystemTime",
                                               "FileTimeToLocalFileTime",
                                               "CompareFileTime",
                                               "GetTimeZoneInformation",
                                               "GetTickCount",
                                               "GetDateFormatW",
                                               "GetTimeFormatW",
                                               "GetLocaleInfoW"};
  return kNames.contains(name);
}

std::string Describe(const host::CallValue& value) {
  switch (value.kind) {
    case host::CallValue::Kind::Number:
      return std::to_string(value.number);
    case host::CallValue::Kind::Text:
      return "'" + Narrow(value.text) + "'";
    case host::CallValue::Kind::NullText:
      return "null";
    case host::CallValue::Kind::Pointer:
      return value.number == 0 ? "null" : "ptr";
    default:
      return "";
  }
}

std::string Describe(const host::CallRecord& call) {
  std::string text = call.name + "(";
  for (const host::CallValue& argument : call.arguments) {
    if (text.back() != '(')
      text += ", ";
    text += Describe(argument);
  }
  return text + ")";
}

}  // namespace

RecordedCalls::RecordedCalls() {
  host::StartRecordingCalls();
}

RecordedCalls::~RecordedCalls() {
  if (recording)
    host::StopRecordingCalls();
}

std::vector<std::string> RecordedCalls::Take() {
  std::vector<std::string> lines;
  recording = false;
  for (const host::CallRecord& call : host::StopRecordingCalls()) {
    if (!IsClockOrLocale(call.name))
      lines.push_back(Describe(call));
  }
  return lines;
}

FailingCall::FailingCall(const std::string& name, uint32_t nth, uint32_t error) {
  host::FailCall(name, nth, error);
}

FailingCall::~FailingCall() {
  host::ClearFailures();
}

bool FailingCall::Happened() const {
  return !host::AnyFailurePending();
}

}  // namespace wkt::test
