#include "bench/SyncBenchRaw.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace wkt::bench {
namespace {

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

void Assign(std::u16string& text, const char* data) {
  text.assign(reinterpret_cast<const char16_t*>(data));
}
template <class T>
void Assign(T& value, const char* data) {
  std::memcpy(&value, data, sizeof(value));
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
    case 0x400A001F: {
      record.persons.clear();
      std::u16string all;
      Assign(all, data);
      for (size_t at = 0; at <= all.size();) {
        const size_t end = std::min(all.find(u"; ", at), all.size());
        record.persons.push_back(all.substr(at, end - at));
        at = end + 2;
      }
      return;
    }
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

std::string SortKey(const PlainRecord& record) {
  std::string key;
  for (const uint64_t time : {record.day, record.start}) {
    for (int shift = 56; shift >= 0; shift -= 8)
      key += static_cast<char>(time >> shift);
  }
  return key;
}

constexpr const char* kSchema =
    "PRAGMA page_size=4096; PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"
    "PRAGMA cache_size=-65536; PRAGMA wal_autocheckpoint=4000;"
    "CREATE TABLE catalogue(oid INTEGER PRIMARY KEY, nrec INTEGER, nbytes INTEGER, mtime INTEGER);"
    "INSERT INTO catalogue VALUES(2, 0, 0, 0);"
    "CREATE TABLE record(oid INTEGER PRIMARY KEY, img BLOB NOT NULL) STRICT;"
    "CREATE TABLE sort(key BLOB NOT NULL, oid INTEGER NOT NULL, PRIMARY KEY(key, oid)) STRICT,"
    " WITHOUT ROWID;";

}  // namespace

PlainRecord MakeRecord(uint32_t number) {
  const std::string n = std::to_string(number);
  PlainRecord record;
  record.id = Wide("CE-1dc8a2f-5e3d1c80-" + n + "-1a2b3c");
  record.title = Wide("Meeting about release " + n);
  record.comment = Wide("Agenda, open points and who does what until next week. " +
                        std::string(number * 37 % 160, 'x'));
  record.workType = Wide("CE-1c0ffee-1-" + n + "-3");
  record.project = Wide("CE-1c0ffee-2-" + n + "-3");
  record.teamwork = Wide("CE-1c0ffee-3-" + n + "-3");
  record.persons = {Wide("CE-1c0ffee-4-" + n + "-3"), Wide("CE-1c0ffee-5-" + n + "-3")};
  record.flags = u"0010000000000000000";
  record.unused3 = Wide("head tail " + n);
  record.day = kFirstDay + number / 10 * 24 * kTicksPerHour;
  record.start = record.day + number % 10 * kTicksPerHour;
  record.end = record.start + kTicksPerHour;
  record.modified = record.end;
  return record;
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

void DecodeImage(const std::string& image, PlainRecord& record) {
  uint32_t count = 0;
  std::memcpy(&count, image.data(), sizeof(count));
  const char* const entries = image.data() + sizeof(count);
  const char* const data = entries + count * 8;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t entry[2];
    std::memcpy(entry, entries + i * 8, sizeof(entry));
    DecodeField(record, entry[0], data + entry[1]);
  }
}

RawStore::RawStore(const std::string& path) {
  if (sqlite3_open_v2(path.c_str(), &database,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr) ||
      sqlite3_exec(database, kSchema, nullptr, nullptr, nullptr)) {
    fprintf(stderr, "bench: %s\n", sqlite3_errmsg(database));
    exit(1);
  }
  begin = Prepare("BEGIN IMMEDIATE");
  commit = Prepare("COMMIT");
  list = Prepare(
      "SELECT r.oid, r.img FROM sort s JOIN record r ON r.oid = s.oid ORDER BY s.key, s.oid");
  get = Prepare("SELECT img FROM record WHERE oid = ?");
  update = Prepare("UPDATE record SET img = ?2 WHERE oid = ?1");
  insert = Prepare("INSERT INTO record VALUES(?1, ?2)");
  insertSort = Prepare("INSERT INTO sort VALUES(?2, ?1)");
  remove = Prepare("DELETE FROM record WHERE oid = ?");
  removeSort = Prepare("DELETE FROM sort WHERE key = ?2 AND oid = ?1");
  catalogue = Prepare("UPDATE catalogue SET nrec = nrec + ?1, mtime = mtime + 1 WHERE oid = 2");
}

RawStore::~RawStore() {
  for (sqlite3_stmt* const statement : statements)
    sqlite3_finalize(statement);
  sqlite3_close(database);
}

sqlite3_stmt* RawStore::Prepare(const char* text) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v3(database, text, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr)) {
    fprintf(stderr, "bench: %s\n", sqlite3_errmsg(database));
    exit(1);
  }
  statements.push_back(statement);
  return statement;
}

void RawStore::Run(sqlite3_stmt* statement) {
  sqlite3_step(statement);
  if (sqlite3_reset(statement) != SQLITE_OK) {
    fprintf(stderr, "bench: %s\n", sqlite3_errmsg(database));
    exit(1);
  }
}

void RawStore::TouchCatalogue(int records) {
  sqlite3_bind_int(catalogue, 1, records);
  Run(catalogue);
}

void RawStore::Fill(uint32_t count) {
  Run(begin);
  for (uint32_t i = 0; i < count; ++i) {
    const PlainRecord record = MakeRecord(i);
    const std::string key = SortKey(record);
    image = EncodeImage(record);
    ++lastOid;
    sqlite3_bind_int64(insert, 1, lastOid);
    sqlite3_bind_blob(insert, 2, image.data(), static_cast<int>(image.size()), SQLITE_STATIC);
    Run(insert);
    sqlite3_bind_int64(insertSort, 1, lastOid);
    sqlite3_bind_blob(insertSort, 2, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
    Run(insertSort);
  }
  Run(commit);
}

void RawStore::List(std::vector<uint32_t>& oids) {
  oids.clear();
  std::vector<uint32_t> changed;
  while (sqlite3_step(list) == SQLITE_ROW) {
    const auto* const blob = static_cast<const char*>(sqlite3_column_blob(list, 1));
    image.assign(blob, static_cast<size_t>(sqlite3_column_bytes(list, 1)));
    PlainRecord record;
    DecodeImage(image, record);
    const auto oid = static_cast<uint32_t>(sqlite3_column_int64(list, 0));
    (record.flags[4] == u'0' ? changed : oids).push_back(oid);
  }
  sqlite3_reset(list);
  oids.insert(oids.end(), changed.rbegin(), changed.rend());
}

void RawStore::Get(uint32_t oid) {
  sqlite3_bind_int64(get, 1, oid);
  if (sqlite3_step(get) == SQLITE_ROW) {
    const auto* const blob = static_cast<const char*>(sqlite3_column_blob(get, 0));
    image.assign(blob, static_cast<size_t>(sqlite3_column_bytes(get, 0)));
  }
  sqlite3_reset(get);
}

void RawStore::Confirm(uint32_t oid) {
  Get(oid);
  const std::string off(
      "0\0"
      "0\0"
      "1\0"
      "0\0"
      "0\0",
      10);
  const size_t flags = image.find(off);
  if (flags != std::string::npos)
    image[flags + 8] = '1';
  Run(begin);
  sqlite3_bind_int64(update, 1, oid);
  sqlite3_bind_blob(update, 2, image.data(), static_cast<int>(image.size()), SQLITE_STATIC);
  Run(update);
  TouchCatalogue(0);
  Run(commit);
}

uint32_t RawStore::Insert(const PlainRecord& record) {
  image = EncodeImage(record);
  const std::string key = SortKey(record);
  Run(begin);
  sqlite3_bind_int64(insert, 1, ++lastOid);
  sqlite3_bind_blob(insert, 2, image.data(), static_cast<int>(image.size()), SQLITE_STATIC);
  Run(insert);
  sqlite3_bind_int64(insertSort, 1, lastOid);
  sqlite3_bind_blob(insertSort, 2, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
  Run(insertSort);
  TouchCatalogue(1);
  Run(commit);
  return lastOid;
}

void RawStore::Delete(uint32_t oid) {
  Get(oid);
  PlainRecord record;
  DecodeImage(image, record);
  const std::string key = SortKey(record);
  Run(begin);
  sqlite3_bind_int64(remove, 1, oid);
  Run(remove);
  sqlite3_bind_int64(removeSort, 1, oid);
  sqlite3_bind_blob(removeSort, 2, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
  Run(removeSort);
  TouchCatalogue(-1);
  Run(commit);
}

}  // namespace wkt::bench
