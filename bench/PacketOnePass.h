// A job packet written and read in one pass over plain members, without a packet object in between:
// the least that the format costs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace wkt::bench {

struct WideJob {
  std::u16string jobId, title, comment, workTypeId, projectId, teamworkId, personIds, flags,
      unused3;
  int32_t versionNumber = 0;
  int32_t unused2 = 0;
  uint64_t modificationTime = 0, startTime = 0, endTime = 0, localDay = 0;

  bool operator==(const WideJob&) const = default;
};

// A new block each.
[[nodiscard]] std::unique_ptr<uint8_t[]> EncodeInOnePass(const WideJob& job, size_t& byteCount);
void DecodeInOnePass(const uint8_t* bytes, WideJob& job);

}  // namespace wkt::bench
