// A time zone by its IANA name: wall clock to UTC and back, with the rules of the date converted.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace wkt {

class Zone {
 public:
  static bool IsKnown(const std::string& name);
  // "W. Europe Standard Time" -> "Europe/Berlin"; empty when Windows has no such zone.
  static std::string NameFromWindows(const std::string& name);

  // Throws Failure for a name that is not known.
  explicit Zone(const std::string& name);
  ~Zone();
  Zone(Zone&&) noexcept;
  Zone& operator=(Zone&&) noexcept;

  const std::string& Name() const { return name_; }
  // Minutes east of UTC in force at an instant.
  int OffsetMinutes(uint64_t utc) const;
  uint64_t ToLocal(uint64_t utc) const;
  // A wall clock time that a change skips is moved on by what was skipped; one that it repeats is
  // taken as the first of the two.
  uint64_t ToUtc(uint64_t local) const;
  // "2026-03-02T09:00:00+01:00"
  std::string Text(uint64_t utc) const;

 private:
  struct Rules;
  std::string name_;
  std::unique_ptr<Rules> rules_;
};

}  // namespace wkt
