#pragma once

#include "WktCommon/WktTypeLean.h"
#include "WktDevCommon/PropertyTable.h"

// The properties of a type record in stored order.
namespace wkt {

constexpr size_t kTypePropertyCount = 15;
// Places in the table.
constexpr size_t kTypeModificationTimeAt = 3;
constexpr size_t kTypeFlagsAt = 9;

constexpr CEPROPID kTypeKindId = 0x40200003;
constexpr CEPROPID kTypeFlagsId = 0x4029001F;
constexpr CEPROPID kTypeCreationTimeId = 0x40240040;

[[nodiscard]] PropertyRows<CWktTypeLean> TypeProperties();

// Each value gets the field that its identifier names; -1 stands for all properties.
void StoreType(CWktTypeLean& type, CEPROPVAL* values, int count);
void LoadType(CWktTypeLean& type, const PropertyValues& values);
// The kind that chooses the record's class; 0, which has none, when the record does not say.
[[nodiscard]] int StoredKind(const PropertyValues& values);

}  // namespace wkt
