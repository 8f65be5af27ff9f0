// Random records within what packets can carry.
#pragma once

#include <rapidcheck.h>

#include "desktop/partner/Record.h"

namespace wkt {

inline rc::Gen<std::u16string> GenText(size_t limit) {
  return rc::gen::map(
      rc::gen::container<std::vector<uint16_t>>(rc::gen::oneOf(
          rc::gen::inRange<uint16_t>(1, 0x80), rc::gen::inRange<uint16_t>(1, 0xFFFF))),
      [limit](const std::vector<uint16_t>& units) {
        std::u16string text(units.begin(), units.end());
        text.resize(std::min(text.size(), limit));
        return text;
      });
}

inline rc::Gen<Record> GenRecord() {
  return rc::gen::exec([] {
    Record record(*rc::gen::element(FolderId::Jobs, FolderId::Favorites, FolderId::Types));
    for (const FieldDescription& field : FieldsOf(record.Folder())) {
      switch (field.kind) {
        case FieldKind::Text:
          record.SetText(field.field, *GenText(400));
          break;
        case FieldKind::Reference:
          record.SetText(field.field, *GenText(kReferenceLimit));
          break;
        case FieldKind::Flags:
          record.SetText(field.field, *rc::gen::container<std::u16string>(
                                          kFlagCount, rc::gen::element(u'0', u'1')));
          break;
        case FieldKind::Number:
          record.SetNumber(field.field, field.field == Field::Kind
                                            ? *rc::gen::inRange(1, 6)
                                            : *rc::gen::arbitrary<int32_t>());
          break;
        case FieldKind::Version:
          record.SetNumber(field.field, *rc::gen::inRange(-99, 1000));
          break;
        case FieldKind::Instant:
        case FieldKind::LocalDay:
          record.SetTicks(field.field,
                          *rc::gen::oneOf(rc::gen::arbitrary<uint64_t>(),
                                          rc::gen::element<uint64_t>(0, 1ull << 31, 1ull << 32,
                                                                     1ull << 63, UINT64_MAX)));
          break;
      }
    }
    return record;
  });
}

}  // namespace wkt
