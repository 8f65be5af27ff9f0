#include "WktCommon/WktTypeKinds.h"

#include <iterator>

#include "WktCommon/Allocation.h"

namespace {

// Every record of kind 1 is made with this flag on.
constexpr int kKind1Flag = 4;

template <class Kind>
CWktTypeLean* Make(BOOL makeNew) {
  return wkt::NewObject<Kind>(makeNew);
}

using Maker = CWktTypeLean* (*)(BOOL makeNew);
// From kind 1 on.
constexpr Maker kMakers[] = {Make<CWktTypeKind1>, Make<CWktTypeKind2>, Make<CWktTypeKind3>,
                             Make<CWktTypeKind4>, Make<CWktTypeKind5>};
static_assert(std::size(kMakers) == wkt::kLastTypeKind - wkt::kFirstTypeKind + 1);

}  // namespace

namespace wkt {

CWktTypeLean* MakeType(int kind, BOOL makeNew) {
  if (kind < kFirstTypeKind || kind > kLastTypeKind)
    return nullptr;
  return kMakers[kind - kFirstTypeKind](makeNew);
}

void DestroyType(CWktTypeLean* type) {
  if (!type)
    return;
  switch (type->madeAs) {
    case TypeClass::Kind1:
      delete static_cast<CWktTypeKind1*>(type);
      return;
    case TypeClass::Kind2:
      delete static_cast<CWktTypeKind2*>(type);
      return;
    case TypeClass::Kind3:
      delete static_cast<CWktTypeKind3*>(type);
      return;
    case TypeClass::Kind4:
      delete static_cast<CWktTypeKind4*>(type);
      return;
    case TypeClass::Kind5:
      delete static_cast<CWktTypeKind5*>(type);
      return;
    case TypeClass::Item:
      delete static_cast<CWktTypeItem*>(type);
      return;
    case TypeClass::Plain:
      break;
  }
  type->~CWktTypeLean();
  ::operator delete(type);
}

void ClearItems(ItemList& items) {
  for (CWktTypeItem* const item : items)
    DestroyType(item);
  items.clear();
}

}  // namespace wkt

CWktTypeKind1::CWktTypeKind1(BOOL makeNew) : CWktTypeLean(makeNew, wkt::TypeClass::Kind1, 1) {
  TurnOnByDefault(kKind1Flag);
}

CWktTypeKind1::CWktTypeKind1(wkt::ForCopy) : CWktTypeLean(FALSE, wkt::TypeClass::Kind1, 1) {}

CWktTypeLean* CWktTypeKind1::Clone() const {
  return CopyInto(wkt::NewObject<CWktTypeKind1>(wkt::ForCopy()));
}

CWktTypeKind2::CWktTypeKind2(BOOL makeNew) : CWktTypeLean(makeNew, wkt::TypeClass::Kind2, 2) {}

CWktTypeLean* CWktTypeKind2::Clone() const {
  return CopyInto(wkt::NewObject<CWktTypeKind2>(FALSE));
}

WideString CWktTypeKind2::GetRootName(const wkt::TypeList& types) const {
  const CWktTypeLean* const root = FindRoot(types, OwnRoot::Counts);
  return root ? root->GetDisplayName() : WideString();
}

CWktTypeKind3::CWktTypeKind3(BOOL makeNew) : CWktTypeLean(makeNew, wkt::TypeClass::Kind3, 3) {}

CWktTypeLean* CWktTypeKind3::Clone() const {
  return CopyInto(wkt::NewObject<CWktTypeKind3>(FALSE));
}

WideString CWktTypeKind3::GetDisplayName() const {
  WideString name = GetName1();
  const WideString second = GetName2();
  if (!second.IsEmpty())
    name.Append(u" ").Append(second);
  return name;
}

CWktTypeKind4::CWktTypeKind4(BOOL makeNew) : CWktTypeLean(makeNew, wkt::TypeClass::Kind4, 4) {}

CWktTypeLean* CWktTypeKind4::Clone() const {
  return CopyInto(wkt::NewObject<CWktTypeKind4>(FALSE));
}

CWktTypeKind5::CWktTypeKind5(BOOL makeNew) : CWktTypeLean(makeNew, wkt::TypeClass::Kind5, 5) {}

CWktTypeLean* CWktTypeKind5::Clone() const {
  return CopyInto(wkt::NewObject<CWktTypeKind5>(FALSE));
}
