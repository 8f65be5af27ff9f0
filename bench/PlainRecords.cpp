#include "bench/PlainRecords.h"

#include <algorithm>
#include <cstring>

namespace wkt::bench {
namespace {

// 2026-02-28T00:00:00 in ticks since 1601.
constexpr uint64_t kFirstDay = 134'167'104'000'000'000;
constexpr uint64_t kTicksPerHour = 36'000'000'000;

std::u16string Wide(const std::string& text) {
  return {text.begin(), text.end()};
}

std::u16string JoinPersons(const PlainRecord& record) {
  std::u16string all;
  for (const std::u16string& person : record.persons)
    all += (all.empty() ? u"" : u"; ") + person;
  return all;
}

class ImageWriter {
 public:
  void Text(uint32_t id, const std::u16string& text) {
    Add(id, text.c_str(), (text.size() + 1) * sizeof(char16_t));
  }
  void Number(uint32_t id, int32_t number) { Add(id, &number, sizeof(number)); }
  void Time(uint32_t id, uint64_t time) { Add(id, &time, sizeof(time)); }
  [[nodiscard]] std::string Take() {
    const auto count = static_cast<uint32_t>(entries.size() / 2);
    std::string image(sizeof(count), '\0');
    std::memcpy(image.data(), &count, sizeof(count));
    image.append(reinterpret_cast<const char*>(entries.data()), entries.size() * 4);
    return image + data;
  }

 private:
  void Add(uint32_t id, const void* bytes, size_t byteCount) {
    entries.push_back(id);
    entries.push_back(static_cast<uint32_t>(data.size()));
    data.append(static_cast<const char*>(bytes), byteCount);
  }
  std::vector<uint32_t> entries;
  std::string data;
};

// Calls `take` with identifier and data of each property.
template <class Take>
void ForEachProperty(std::string_view image, const Take& take) {
  uint32_t count = 0;
  std::memcpy(&count, image.data(), sizeof(count));
  const char* const entries = image.data() + sizeof(count);
  const char* const data = entries + size_t{count} * 8;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t entry[2] = {};
    std::memcpy(entry, entries + size_t{i} * 8, sizeof(entry));
    take(entry[0], data + entry[1]);
  }
}

void Assign(std::u16string& text, const char* data) {
  text.assign(reinterpret_cast<const char16_t*>(data));
}
template <class T>
void Assign(T& value, const char* data) {
  std::memcpy(&value, data, sizeof(value));
}

void AssignPersons(std::vector<std::u16string>& persons, const char* data) {
  persons.clear();
  std::u16string all;
  Assign(all, data);
  for (size_t at = 0; at <= all.size();) {
    const size_t end = std::min(all.find(u"; ", at), all.size());
    persons.push_back(all.substr(at, end - at));
    at = end + 2;
  }
}

void DecodeField(PlainRecord& record, uint32_t id, const char* data) {
  switch (id) {
    case 0x4000001F:
      return Assign(record.id, data);
    case 0x40010003:
      return Assign(record.version, data);
    case 0x40020040:
      return Assign(record.modified, data);
    case 0x4003001F:
      return Assign(record.title, data);
    case 0x4004001F:
      return Assign(record.comment, data);
    case 0x40080040:
      return Assign(record.start, data);
    case 0x40090040:
      return Assign(record.end, data);
    case 0x400A001F:
      return AssignPersons(record.persons, data);
    case 0x400B001F:
      return Assign(record.flags, data);
    case 0x40100003:
      return Assign(record.unused2, data);
    case 0x4011001F:
      return Assign(record.unused3, data);
    case 0x40120040:
      return Assign(record.day, data);
    case 0x4013001F:
      return Assign(record.workType, data);
    case 0x4014001F:
      return Assign(record.project, data);
    case 0x4015001F:
      return Assign(record.teamwork, data);
    default:
      return;
  }
}

void DecodeField(PlainType& type, uint32_t id, const char* data) {
  switch (id) {
    case 0x40200003:
      return Assign(type.kind, data);
    case 0x4021001F:
      return Assign(type.id, data);
    case 0x40220003:
      return Assign(type.version, data);
    case 0x40230040:
      return Assign(type.modified, data);
    case 0x40240040:
      return Assign(type.created, data);
    case 0x40250003:
      return Assign(type.useCount, data);
    case 0x4026001F:
      return Assign(type.name1, data);
    case 0x4027001F:
      return Assign(type.name2, data);
    case 0x4028001F:
      return Assign(type.comment, data);
    case 0x4029001F:
      return Assign(type.flags, data);
    case 0x402A001F:
      return Assign(type.unused1, data);
    case 0x402B001F:
      return Assign(type.unused2, data);
    case 0x402C0003:
      return Assign(type.unused3, data);
    case 0x402D0003:
      return Assign(type.unused4, data);
    case 0x402E0040:
      return Assign(type.unused5, data);
    default:
      return;
  }
}

}  // namespace

PlainRecord MakeRecord(uint32_t number, uint32_t edition) {
  const std::string n = std::to_string(number);
  PlainRecord record;
  record.id = Wide("CE-1dc8a2f-5e3d1c80-" + n + "-1a2b3c");
  record.title = Wide("Meeting about release " + n);
  record.comment = Wide("Agenda, open points and who does what until next week. " +
                        std::string(1 + number * 37 % 160, static_cast<char>('a' + edition)));
  record.workType = Wide("CE-1c0ffee-1-" + n + "-3");
  record.project = Wide("CE-1c0ffee-2-" + n + "-3");
  record.teamwork = Wide("CE-1c0ffee-3-" + n + "-3");
  record.persons = {Wide("CE-1c0ffee-4-" + n + "-3"), Wide("CE-1c0ffee-5-" + n + "-3")};
  record.flags = u"0010000000000000000";
  record.unused3 = Wide("head tail " + n);
  record.day = kFirstDay + uint64_t{number} / 10 * 24 * kTicksPerHour;
  record.start = record.day + number % 10 * kTicksPerHour;
  record.end = record.start + kTicksPerHour;
  record.modified = record.end;
  return record;
}

PlainType MakePlainType(uint32_t number, uint32_t edition) {
  const std::string n = std::to_string(number);
  PlainType type;
  type.kind = static_cast<int32_t>(number % 4) + 1;
  type.id = Wide("CE-1dc8a2f-5e3d1c80-" + n + "-1a2b3c");
  type.name1 = Wide("Customer " + n);
  type.name2 = Wide("Branch office " + n);
  type.comment = Wide("Pays late, ask for Mr " + n + " " +
                      std::string(1 + number * 37 % 80, static_cast<char>('a' + edition)));
  type.flags = u"0001100000000000000";
  type.unused1 = Wide("CE-1c0ffee-1-" + n + "-3");
  type.unused2 = Wide("0");
  type.useCount = static_cast<int32_t>(number % 100);
  type.created = kFirstDay + number * kTicksPerHour;
  type.modified = type.created + kTicksPerHour;
  return type;
}

std::string EncodeImage(const PlainRecord& record) {
  ImageWriter image;
  image.Text(0x4000001F, record.id);
  image.Number(0x40010003, record.version);
  image.Time(0x40020040, record.modified);
  image.Text(0x4003001F, record.title);
  image.Text(0x4004001F, record.comment);
  for (const uint32_t id : {0x40050003u, 0x40060003u, 0x40070003u})
    image.Number(id, -2);
  image.Time(0x40080040, record.start);
  image.Time(0x40090040, record.end);
  image.Text(0x400A001F, JoinPersons(record));
  image.Text(0x400B001F, record.flags);
  for (const uint32_t id : {0x400C000Bu, 0x400D000Bu, 0x400E000Bu, 0x400F000Bu})
    image.Number(id, 0);
  image.Number(0x40100003, record.unused2);
  image.Text(0x4011001F, record.unused3);
  image.Time(0x40120040, record.day);
  image.Text(0x4013001F, record.workType);
  image.Text(0x4014001F, record.project);
  image.Text(0x4015001F, record.teamwork);
  return image.Take();
}

std::string EncodeImage(const PlainType& type) {
  ImageWriter image;
  image.Number(0x40200003, type.kind);
  image.Text(0x4021001F, type.id);
  image.Number(0x40220003, type.version);
  image.Time(0x40230040, type.modified);
  image.Time(0x40240040, type.created);
  image.Number(0x40250003, type.useCount);
  image.Text(0x4026001F, type.name1);
  image.Text(0x4027001F, type.name2);
  image.Text(0x4028001F, type.comment);
  image.Text(0x4029001F, type.flags);
  image.Text(0x402A001F, type.unused1);
  image.Text(0x402B001F, type.unused2);
  image.Number(0x402C0003, type.unused3);
  image.Number(0x402D0003, type.unused4);
  image.Time(0x402E0040, type.unused5);
  return image.Take();
}

void DecodeImage(std::string_view image, PlainRecord& record) {
  ForEachProperty(image,
                  [&record](uint32_t id, const char* data) { DecodeField(record, id, data); });
}

void DecodeImage(std::string_view image, PlainType& type) {
  ForEachProperty(image, [&type](uint32_t id, const char* data) { DecodeField(type, id, data); });
}

const ImageKind kJobImages = {0x400B001F, 4, {0x40120040, 0x40080040}, [](std::string_view image) {
                                PlainRecord record;
                                DecodeImage(image, record);
                                return record.flags[4] == u'0';
                              }};
const ImageKind kTypeImages = {0x4029001F, 0, {0x40240040}, [](std::string_view image) {
                                 PlainType type;
                                 DecodeImage(image, type);
                                 return type.flags[0] == u'0';
                               }};

const char* FlagIn(std::string_view image, uint32_t property, size_t index) {
  const char* found = nullptr;
  ForEachProperty(image, [&](uint32_t id, const char* data) {
    if (id == property)
      found = data + index * sizeof(char16_t);
  });
  return found;
}

std::string SortKey(std::string_view image, const ImageKind& kind) {
  std::string key;
  for (const uint32_t property : kind.order) {
    uint64_t time = 0;
    ForEachProperty(image, [&](uint32_t id, const char* data) {
      if (id == property)
        Assign(time, data);
    });
    for (int shift = 56; shift >= 0; shift -= 8)
      key += static_cast<char>(time >> shift);
  }
  return key;
}

}  // namespace wkt::bench
