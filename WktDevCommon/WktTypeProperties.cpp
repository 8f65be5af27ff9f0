#include "WktDevCommon/WktTypeProperties.h"

#include <iterator>

namespace wkt {
namespace {

void StoreComment(CWktTypeLean& type, CEPROPVAL& value) {
  StoreText(value, type.GetComment(FALSE, FALSE).c_str());
}
void LoadComment(CWktTypeLean& type, const CEPROPVAL& value) {
  type.SetComment(value.val.lpwstr);
}

void StoreFlags(CWktTypeLean& type, CEPROPVAL& value) {
  StoreText(value, type.GetFlags());
}
void LoadFlags(CWktTypeLean& type, const CEPROPVAL& value) {
  type.SetFlags(value.val.lpwstr);
}

void StoreVersion(CWktTypeLean& type, CEPROPVAL& value) {
  value.val.lVal = static_cast<LONG>(type.GetVersionNumber());
}
void LoadVersion(CWktTypeLean& type, const CEPROPVAL& value) {
  type.SetVersionNumber(static_cast<DWORD>(value.val.lVal));
}

constexpr PropertyField<CWktTypeLean> kTypeProperties[] = {
    NumberProperty<&CWktTypeLean::GetTypeOfType, &CWktTypeLean::SetTypeOfType>(kTypeKindId),
    TextProperty<&CWktTypeLean::GetId, &CWktTypeLean::SetId>(0x4021001F),
    {0x40220003, StoreVersion, LoadVersion},
    ModificationTimeProperty<&CWktTypeLean::GetModificationTime>(0x40230040),
    TimeProperty<&CWktTypeLean::GetCreationTime, &CWktTypeLean::SetCreationTime>(
        kTypeCreationTimeId),
    NumberProperty<&CWktTypeLean::GetUseCount, &CWktTypeLean::SetUseCount>(0x40250003),
    TextProperty<&CWktTypeLean::GetName1, &CWktTypeLean::SetName1>(0x4026001F),
    TextProperty<&CWktTypeLean::GetName2, &CWktTypeLean::SetName2>(0x4027001F),
    {0x4028001F, StoreComment, LoadComment},
    // Positions 0 to 2 are the state of the synchronisation.
    {kTypeFlagsId, StoreFlags, LoadFlags},
    // Through the virtual pair: a record may keep items in this text.
    TextProperty<&CWktTypeLean::GetUnused1, &CWktTypeLean::SetUnused1>(0x402A001F),
    TextProperty<&CWktTypeLean::GetUnused2, &CWktTypeLean::SetUnused2>(0x402B001F),
    NumberProperty<&CWktTypeLean::GetUnused3, &CWktTypeLean::SetUnused3>(0x402C0003),
    NumberProperty<&CWktTypeLean::GetUnused4, &CWktTypeLean::SetUnused4>(0x402D0003),
    TimeProperty<&CWktTypeLean::GetUnused5, &CWktTypeLean::SetUnused5>(0x402E0040),
};
static_assert(std::size(kTypeProperties) == kTypePropertyCount);
static_assert(kTypeProperties[0].identifier == kTypeKindId);
static_assert(kTypeProperties[kTypeFlagsAt].identifier == kTypeFlagsId);
static_assert(kTypeProperties[kTypeModificationTimeAt].identifier == 0x40230040);

}  // namespace

PropertyRows<CWktTypeLean> TypeProperties() {
  return kTypeProperties;
}

void StoreType(CWktTypeLean& type, CEPROPVAL* values, int count) {
  PropertyWalk<kTypeProperties>::Store(type, values, count);
}

void LoadType(CWktTypeLean& type, const PropertyValues& values) {
  PropertyWalk<kTypeProperties>::Load<kTypeModificationTimeAt>(type, values);
}

int StoredKind(const PropertyValues& values) {
  const CEPROPVAL* const kind = values.Find(kTypeKindId, 0);
  return kind ? kind->val.lVal : 0;
}

}  // namespace wkt
