// Recording platform calls and making them fail, for tests and tools.
//
// Every exported function runs its body through one of the functions below. While nobody listens
// this costs one test of a flag and the body is inlined. Bodies call internal functions, not other
// exported ones, so that a recording shows the calls a program made and nothing else.
//
//   BOOL CEAPI CeDeleteRecord(HANDLE database, CEOID oid) {
//     return HookedCall("CeDeleteRecord", FALSE, [&] { return DeleteRecord(database, oid); },
//     database, oid);
//   }
//   LONG CEAPI RegCloseKey(HKEY key) {
//     return HookedStatus("RegCloseKey", [&] { return CloseKey(key); }, key);
//   }
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

namespace wkt::host {

// An argument or result as recorded. Texts are copied: the caller's may be gone when it is looked
// at.
struct CallValue {
  enum class Kind { None, Number, Pointer, Text, NullText };
  Kind kind = Kind::None;
  int64_t number = 0;  // Number: the value; Pointer: the address or handle
  std::u16string text;
};

struct CallRecord {
  std::string name;
  std::vector<CallValue> arguments;
  CallValue result;
  uint32_t lastError = 0;     // GetLastError after the call
  bool lastErrorSet = false;  // the call set it
  bool injected = false;      // the failure was asked for, the function did not run
};

// Set while calls are recorded or a failure is armed.
extern std::atomic<bool> callHooksActive;

inline CallValue DescribeValue(const char16_t* text) {
  return text != nullptr ? CallValue{CallValue::Kind::Text, 0, text}
                         : CallValue{CallValue::Kind::NullText, 0, {}};
}
inline CallValue DescribeValue(char16_t* text) {
  return DescribeValue(static_cast<const char16_t*>(text));
}

template <typename T>
CallValue DescribeValue(T value) {
  if constexpr (std::is_pointer_v<T>) {
    return {CallValue::Kind::Pointer, static_cast<int64_t>(reinterpret_cast<uintptr_t>(value)), {}};
  } else if constexpr (std::is_null_pointer_v<T>) {
    return {CallValue::Kind::Pointer, 0, {}};
  } else {
    return {CallValue::Kind::Number, static_cast<int64_t>(value), {}};
  }
}

// The error with which this call of `name` shall fail, 0 for none; counts the call.
uint32_t TakeInjectedFailure(const char* name);
// Keeps the last error as it is. The record's place in the list is that of the call's beginning:
// BeginCallRecord reserves it, so that calls made inside (a library's DllMain) come after it.
size_t BeginCallRecord(const char* name, std::vector<CallValue> arguments);
// `errorsBefore`: ErrorSetCount at the call's beginning.
void EndCallRecord(size_t place, CallValue result, bool injected, uint32_t errorsBefore);

// GetLastError and SetLastError without the hooks.
uint32_t LastError();
void SetError(uint32_t error);
// How often the calling thread's last error was set.
uint32_t ErrorSetCount();

template <typename Result, typename Body, typename... Arguments>
Result HookedCallSlow(const char* name, Result failure, const Body& body,
                      const Arguments&... arguments) {
  const uint32_t errorsBefore = ErrorSetCount();
  const size_t place = BeginCallRecord(name, {DescribeValue(arguments)...});
  if (const uint32_t error = TakeInjectedFailure(name); error != 0) {
    SetError(error);
    EndCallRecord(place, DescribeValue(failure), true, errorsBefore);
    return failure;
  }
  Result result = static_cast<Result>(body());
  EndCallRecord(place, DescribeValue(result), false, errorsBefore);
  return result;
}

// A function that reports through its result and the last error. `failure` is its failure value.
template <typename Result, typename Body, typename... Arguments>
inline Result HookedCall(const char* name, Result failure, const Body& body,
                         const Arguments&... arguments) {
  if (!callHooksActive.load(std::memory_order_relaxed)) [[likely]]
    return static_cast<Result>(body());
  return HookedCallSlow(name, failure, body, arguments...);
}

// A function that returns the error itself and leaves the last error alone: the registry's.
template <typename Body, typename... Arguments>
inline int32_t HookedStatus(const char* name, const Body& body, const Arguments&... arguments) {
  if (!callHooksActive.load(std::memory_order_relaxed)) [[likely]]
    return body();
  const uint32_t errorsBefore = ErrorSetCount();
  const size_t place = BeginCallRecord(name, {DescribeValue(arguments)...});
  const auto error = static_cast<int32_t>(TakeInjectedFailure(name));
  const int32_t result = error != 0 ? error : body();
  EndCallRecord(place, DescribeValue(result), error != 0, errorsBefore);
  return result;
}

// What host/control uses. Recording is per process.
void StartRecordingCalls();
std::vector<CallRecord> StopRecordingCalls();
// The `nth` call of `name` from now (1 = the next) fails with `error`; several may be armed at
// once. With "*" as name every hooked function counts.
void FailCall(const std::string& name, uint32_t nth, uint32_t error);
// Failures armed and not reached are dropped.
void ClearFailures();
bool AnyFailurePending();
// While a positive number of these is under way nothing is recorded, counted or failed.
void PauseCallHooks();
void ResumeCallHooks();

}  // namespace wkt::host
