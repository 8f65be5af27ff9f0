// A record of a run: every call to a provider as one JSON line, written when the call has returned.
//   {"call":"FindObjects","folder":"WktTypes","uFlags":"0","cUnChg":2,...,"result":"S_OK"}
// Packets are hex. Lines are flushed one by one, so a killed run leaves all but its last call.
#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Types.h"

namespace wkt {

// Wide text as UTF-8; a half surrogate pair becomes U+FFFD.
std::string ToUtf8(std::u16string_view text);
std::string ToHex(std::span<const uint8_t> bytes);
// Nothing for what is not pairs of hexadecimal digits, of either case.
std::optional<std::vector<uint8_t>> FromHex(std::string_view text);

class Trace {
 public:
  using Line = nlohmann::ordered_json;

  Trace() = default;
  ~Trace();
  Trace(const Trace&) = delete;
  Trace& operator=(const Trace&) = delete;

  // False when the file cannot be written. Without an open file nothing is recorded.
  [[nodiscard]] bool Open(const std::string& path);
  bool IsOpen() const { return file_ != nullptr; }
  void Write(const Line& line);

 private:
  std::FILE* file_ = nullptr;
};

}  // namespace wkt
