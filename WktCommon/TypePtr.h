#pragma once

#include <cstdint>
#include <memory>
#include <vector>

class CWktTypeLean;

namespace wkt {

// Told of each stamp of a type record. Nothing here installs a list of them.
class TypeObserver {
 public:
  virtual void OnTypeChanged(CWktTypeLean& type) = 0;

 protected:
  ~TypeObserver() = default;
};

// Records looked up by identifier; borrowed.
using TypeList = std::vector<CWktTypeLean*>;

// The class of a record, fixed when it is made. Its kind number is a stored field that may say
// otherwise, so it cannot tell how the record is to be destroyed.
enum class TypeClass : uint8_t { Plain, Kind1, Kind2, Kind3, Kind4, Kind5, Item };

// Destroys a record of any class; the destructor is not virtual. Null is allowed.
void DestroyType(CWktTypeLean* type);
struct TypeDeleter {
  void operator()(CWktTypeLean* type) const { DestroyType(type); }
};
using TypePtr = std::unique_ptr<CWktTypeLean, TypeDeleter>;

struct RecordPeek;  // tests look at what has no getter

}  // namespace wkt
