#include "host/coredll/CallHook.h"

#include <mutex>
#include <utility>

namespace wkt::host {

std::atomic<bool> callHooksActive{false};

namespace {

struct Failure {
  std::string name;
  uint32_t remaining;  // calls until the failing one, that one included
  uint32_t error;
};

struct HookState {
  std::mutex lock;
  bool recording = false;
  std::vector<CallRecord> records;
  std::vector<Failure> failures;
  uint32_t pauses = 0;

  void UpdateActive() { callHooksActive.store(pauses == 0 && (recording || !failures.empty())); }
};

HookState& State() {
  static HookState state;
  return state;
}

constexpr size_t kNotRecorded = static_cast<size_t>(-1);

}  // namespace

uint32_t TakeInjectedFailure(const char* name) {
  HookState& state = State();
  const std::lock_guard guard(state.lock);
  uint32_t error = 0;
  for (auto failure = state.failures.begin(); failure != state.failures.end();) {
    const bool counts = failure->name == "*" || failure->name == name;
    if (counts && --failure->remaining == 0) {
      error = failure->error;
      failure = state.failures.erase(failure);
    } else {
      ++failure;
    }
  }
  state.UpdateActive();
  return error;
}

size_t BeginCallRecord(const char* name, std::vector<CallValue> arguments) {
  HookState& state = State();
  const std::lock_guard guard(state.lock);
  if (!state.recording)
    return kNotRecorded;
  state.records.push_back({.name = name, .arguments = std::move(arguments)});
  return state.records.size() - 1;
}

void EndCallRecord(size_t place, CallValue result, bool injected, uint32_t errorsBefore) {
  HookState& state = State();
  const std::lock_guard guard(state.lock);
  // The recording may have been stopped by the call itself.
  if (place >= state.records.size())
    return;
  state.records[place].result = std::move(result);
  state.records[place].lastError = LastError();
  state.records[place].lastErrorSet = ErrorSetCount() != errorsBefore;
  state.records[place].injected = injected;
}

void StartRecordingCalls() {
  HookState& state = State();
  const std::lock_guard guard(state.lock);
  state.records.clear();
  state.recording = true;
  state.UpdateActive();
}

std::vector<CallRecord> StopRecordingCalls() {
  HookState& state = State();
  const std::lock_guard guard(state.lock);
  state.recording = false;
  state.UpdateActive();
  return std::exchange(state.records, {});
}

void FailCall(const std::string& name, uint32_t nth, uint32_t error) {
  HookState& state = State();
  const std::lock_guard guard(state.lock);
  if (nth == 0 || error == 0)
    return;
  state.failures.push_back({name, nth, error});
  state.UpdateActive();
}

void ClearFailures() {
  HookState& state = State();
  const std::lock_guard guard(state.lock);
  state.failures.clear();
  state.UpdateActive();
}

void PauseCallHooks() {
  HookState& state = State();
  const std::lock_guard guard(state.lock);
  ++state.pauses;
  state.UpdateActive();
}

void ResumeCallHooks() {
  HookState& state = State();
  const std::lock_guard guard(state.lock);
  --state.pauses;
  state.UpdateActive();
}

bool AnyFailurePending() {
  HookState& state = State();
  const std::lock_guard guard(state.lock);
  return !state.failures.empty();
}

}  // namespace wkt::host
