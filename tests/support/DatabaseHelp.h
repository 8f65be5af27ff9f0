// Short ways to databases and records for tests, by platform calls only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Platform.h"

namespace wkt::test {

constexpr CEPROPID PropertyId(WORD number, WORD type) {
  return CEPROPID{number} << 16 | type;
}

// Values to write. Texts and blobs must outlive them.
CEPROPVAL ShortValue(WORD number, SHORT value);
CEPROPVAL UnsignedShortValue(WORD number, USHORT value);
CEPROPVAL LongValue(WORD number, LONG value);
CEPROPVAL UnsignedLongValue(WORD number, ULONG value);
CEPROPVAL BoolValue(WORD number, bool value);
CEPROPVAL DoubleValue(WORD number, double value);
CEPROPVAL TimeValue(WORD number, uint64_t ticks);
CEPROPVAL TextValue(WORD number, const char16_t* text);
CEPROPVAL BlobValue(WORD number, const std::string& bytes);
// Removes a property.
CEPROPVAL NoValue(CEPROPID property);

// One value as it came from the store, as text: "I4 5", "LPWSTR a", "BLOB 00ff", "missing".
std::string Describe(const CEPROPVAL& value);
// A record as text: "0001:I4 5; 0002:LPWSTR a".
std::string Describe(const CEPROPVAL* values, size_t count);

SORTORDERSPECEX SortOrder(const std::vector<std::pair<CEPROPID, DWORD>>& keys, WORD keyFlags = 0);

// A new database of the object store (or of `volume`); 0 on failure.
CEOID CreateDatabase(const char16_t* name, DWORD type = 1,
                     const std::vector<SORTORDERSPECEX>& orders = {},
                     const CEGUID* volume = nullptr);
HANDLE OpenDatabase(CEOID oid, DWORD flags = CEDB_AUTOINCREMENT,
                    const SORTORDERSPECEX* order = nullptr, const CEGUID* volume = nullptr);

// The record at the handle's position with all its properties; nullopt when the read fails.
struct ReadResult {
  CEOID oid;
  std::string record;
};
std::optional<ReadResult> ReadNext(HANDLE database);
// All identifiers in the handle's order, from the beginning.
std::vector<CEOID> ReadOrder(HANDLE database);
CEOID Write(HANDLE database, CEOID oid, std::vector<CEPROPVAL> values);

}  // namespace wkt::test
