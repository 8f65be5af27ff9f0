#pragma once

#include "WktCommon/WktUtilLean.h"
#include "platform/Types.h"

namespace wkt {

// The clock at a record's making, and the identifier that a new record draws there. Times and text
// are made of them when somebody asks: most records are filled from a database or a packet before
// anybody does, and making them takes as long as the rest of a record.
class CreationMoment {
 public:
  enum class Draws { Nothing, Identifier };
  // Drawing takes a number, asked for or not.
  explicit CreationMoment(Draws draws);

  // As `GetCurrentFileTime` gives it: UTC in whole seconds.
  [[nodiscard]] FILETIME WholeSecond() const;
  // The local date at midnight.
  [[nodiscard]] FILETIME LocalDay() const;
  // The same text each time; empty without memory.
  [[nodiscard]] WideString Identifier() const;

 private:
  GuidParts parts;
};

}  // namespace wkt
