// Sort orders: what an order demands of a record, and its key, which memcmp compares.
//
// A key is, per property of the order: one byte saying whether the record has it (left out where
// every record must), then its value in a form that compares by bytes, complemented for descending
// orders. Last comes the record's identifier, big-endian, so that all keys of an order differ and
// equal values stand in the order of the identifiers. No key is the beginning of another one.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/coredll/StoreImage.h"

namespace wkt::host {

constexpr size_t kOidBytes = 4;

// ERROR_INVALID_PARAMETER for a wrong version, number, flag or type (blobs have no order).
DWORD CheckSortOrder(const SORTORDERSPECEX& order);

// Whether the two put records in the same order.
bool IsSameSortOrder(const SORTORDERSPECEX& left, const SORTORDERSPECEX& right);

// The order of databases without one: by identifier.
SORTORDERSPECEX OrderByOid();

// The key without the identifier. ERROR_DBPROP_NOT_FOUND when a NONNULL property is missing.
// `isComplete` tells whether the record has all properties of the order.
DWORD MakeSortKey(const SORTORDERSPECEX& order, const RecordImage& image, std::string& key,
                  bool& isComplete);
// The same for the values of a seek, for the order's first properties.
DWORD MakeSeekKey(const SORTORDERSPECEX& order, std::span<const CEPROPVAL> values,
                  std::string& key);

void AppendOid(std::string& key, CEOID oid);
// Of a whole key.
CEOID OidOfKey(std::string_view key);

}  // namespace wkt::host
