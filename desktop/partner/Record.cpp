#include "desktop/partner/Record.h"

namespace wkt {

namespace {

constexpr FieldDescription kJobFields[] = {
    {Field::Id, "id", FieldKind::Text},
    {Field::Version, "version", FieldKind::Version},
    {Field::Modified, "modified", FieldKind::Instant},
    {Field::Title, "title", FieldKind::Text},
    {Field::Comment, "comment", FieldKind::Text},
    {Field::WorkType, "workType", FieldKind::Reference},
    {Field::Project, "project", FieldKind::Reference},
    {Field::Teamwork, "teamwork", FieldKind::Reference},
    {Field::Start, "start", FieldKind::Instant},
    {Field::End, "end", FieldKind::Instant},
    {Field::Persons, "persons", FieldKind::Text},
    {Field::Flags, "flags", FieldKind::Flags},
    {Field::JobUnused2, "unused2", FieldKind::Number},
    {Field::JobUnused3, "unused3", FieldKind::Text},
    {Field::Day, "day", FieldKind::LocalDay},
};

constexpr FieldDescription kTypeFields[] = {
    {Field::Kind, "kind", FieldKind::Number},
    {Field::Id, "id", FieldKind::Text},
    {Field::Version, "version", FieldKind::Version},
    {Field::Modified, "modified", FieldKind::Instant},
    {Field::Created, "created", FieldKind::Instant},
    {Field::UseCount, "useCount", FieldKind::Number},
    {Field::Name1, "name1", FieldKind::Text},
    {Field::Name2, "name2", FieldKind::Text},
    {Field::Comment, "comment", FieldKind::Text},
    {Field::Flags, "flags", FieldKind::Flags},
    {Field::Unused1, "unused1", FieldKind::Text},
    {Field::Unused2, "unused2", FieldKind::Text},
    {Field::Unused3, "unused3", FieldKind::Number},
    {Field::Unused4, "unused4", FieldKind::Number},
    {Field::Unused5, "unused5", FieldKind::Instant},
};

// What a new record of the device has, so that both sides make them alike.
constexpr int32_t kJobVersion = 23;
constexpr int32_t kTypeVersion = 32;
constexpr char16_t kJobFlags[] = u"0010000000000000000";
constexpr char16_t kTypeFlags[] = u"0001000000000000000";
// The only kind of type that carries a flag of its own from the start.
constexpr int kKindOneFlag = 4;

std::u16string FlagsWithoutState(const Record& record) {
  std::u16string flags = record.Text(Field::Flags);
  flags.resize(kFlagCount, u'0');
  const FolderDescription& folder = DescribeFolder(record.Folder());
  for (char16_t& flag : flags) {
    flag = flag == u'0' ? u'0' : u'1';
  }
  flags[static_cast<size_t>(folder.partnerFlags[0])] = u'0';
  flags[static_cast<size_t>(folder.partnerFlags[1])] = u'0';
  flags[static_cast<size_t>(folder.changedDuringSyncFlag)] = u'0';
  return flags;
}

}  // namespace

std::span<const FieldDescription> FieldsOf(FolderId folder) {
  if (folder == FolderId::Types) {
    return kTypeFields;
  }
  return kJobFields;
}

std::u16string Record::DisplayName() const {
  if (!IsType()) {
    return Text(Field::Title);
  }
  const std::u16string& second = Text(Field::Name2);
  const bool isPerson = Number(Field::Kind) == 3;
  return isPerson && !second.empty() ? Text(Field::Name1) + u" " + second : Text(Field::Name1);
}

bool Record::Flag(int position) const {
  const std::u16string& flags = Text(Field::Flags);
  const auto index = static_cast<size_t>(position);
  return index < flags.size() && flags[index] != u'0';
}

void Record::SetFlag(int position, bool on) {
  std::u16string flags = Text(Field::Flags);
  flags.resize(kFlagCount, u'0');
  flags[static_cast<size_t>(position)] = on ? u'1' : u'0';
  SetText(Field::Flags, std::move(flags));
}

Record MakeRecord(FolderId folder, uint64_t now, uint64_t localDay) {
  Record record(folder);
  record.SetTicks(Field::Modified, now);
  if (folder == FolderId::Types) {
    record.SetNumber(Field::Kind, 1);
    record.SetNumber(Field::Version, kTypeVersion);
    record.SetTicks(Field::Created, now);
    record.SetText(Field::Flags, kTypeFlags);
    record.SetFlag(kKindOneFlag, true);
  } else {
    record.SetNumber(Field::Version, kJobVersion);
    record.SetTicks(Field::Start, now);
    record.SetTicks(Field::End, now);
    record.SetText(Field::Flags, kJobFlags);
    record.SetNumber(Field::JobUnused2, -1);
    record.SetTicks(Field::Day, localDay);
  }
  return record;
}

bool SameContent(const Record& a, const Record& b) {
  if (a.Folder() != b.Folder()) {
    return false;
  }
  for (const FieldDescription& field : FieldsOf(a.Folder())) {
    if (field.field == Field::Modified || field.field == Field::Flags) {
      continue;
    }
    if (a.Value(field.field) != b.Value(field.field)) {
      return false;
    }
  }
  return FlagsWithoutState(a) == FlagsWithoutState(b);
}

Record ForDevice(const Record& record, int partner) {
  Record sent = record;
  const FolderDescription& folder = DescribeFolder(record.Folder());
  sent.SetFlag(folder.partnerFlags[0], partner == 1);
  sent.SetFlag(folder.partnerFlags[1], partner == 2);
  sent.SetFlag(folder.changedDuringSyncFlag, false);
  return sent;
}

}  // namespace wkt
