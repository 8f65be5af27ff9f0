#pragma once

#include "WktDevCommon/PropertyTable.h"
#include "platform/Database.h"

namespace wkt {

// The properties of one record as the platform read them, in memory that the platform allocated
// for this read. Released by the next read and by the destructor.
class RecordBuffer {
 public:
  RecordBuffer() = default;
  ~RecordBuffer() { Release(); }
  RecordBuffer(const RecordBuffer&) = delete;
  RecordBuffer& operator=(const RecordBuffer&) = delete;

  // All properties of the record at the database's position. 0 = nothing read.
  [[nodiscard]] CEOID ReadFrom(HANDLE database);
  [[nodiscard]] PropertyValues Values() const {
    return {reinterpret_cast<const CEPROPVAL*>(buffer), count};
  }

 private:
  void Release();

  BYTE* buffer = nullptr;
  WORD count = 0;
};

}  // namespace wkt
