// A program that writes records by a fixed plan, so that after any number of its calls it is known
// what the database must hold.
#pragma once

#include <cstdint>
#include <deque>
#include <set>
#include <string>

#include "platform/Platform.h"

namespace wkt::test {

class StoreWriter {
 public:
  StoreWriter(HANDLE database, int writer) : database_(database), writer_(writer) {}
  // The next call of the plan; false when it fails.
  bool Step();
  [[nodiscard]] uint32_t Steps() const { return steps_; }

  // The texts of all records of a writer after so many calls.
  static std::set<std::string> Expected(int writer, uint32_t steps);
  // The texts of all its records in the database now, which must be whole.
  static std::set<std::string> Found(HANDLE database, int writer);

 private:
  enum class Kind { Insert, Update, Delete };
  static Kind KindOf(uint32_t step);
  static std::string TextOf(int writer, uint32_t step);

  HANDLE database_;
  int writer_;
  uint32_t steps_ = 0;
  std::deque<CEOID> records_;
};

// A database with one order for the writers.
CEOID CreateWriterDatabase(const char16_t* name);
// What SQLite's own check says of a file, "ok" when nothing is wrong.
std::string IntegrityOf(const std::string& file);

}  // namespace wkt::test
