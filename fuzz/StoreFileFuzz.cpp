// A damaged object store, used by programs of the device and looked over by the check. The input is
// a list of changes to the bytes of a good store, so that it stays small and readable; an input
// that begins with FF is the file itself.
#include <string>

#include "fuzz/FuzzBytes.h"
#include "fuzz/FuzzDevice.h"
#include "fuzz/FuzzInput.h"
#include "host/control/CheckStore.h"
#include "host/control/Desk.h"
#include "platform/Platform.h"

namespace {

using wkt::fuzz::Bytes;
using wkt::fuzz::FuzzDevice;
using wkt::fuzz::Require;

constexpr size_t kPageBytes = 4096;
constexpr CEPROPID kNumber = 0x00010003;
constexpr CEPROPID kText = 0x0002001F;
constexpr CEPROPID kTime = 0x00030040;
constexpr CEPROPID kBlob = 0x00040041;
constexpr int kRecords = 12;
// A damaged catalogue may name many databases and a damaged tree many records.
constexpr int kMaxDatabases = 8;
constexpr int kMaxRecords = 40;

CEGUID objectStore = {};

CEPROPVAL Value(CEPROPID property) {
  CEPROPVAL value = {};
  value.propid = property;
  return value;
}

void WriteRecord(HANDLE database, CEOID oid, LONG number) {
  std::u16string text(static_cast<size_t>(number % 7) * 20, u'a');
  text += static_cast<char16_t>(u'a' + number % 26);
  BYTE blob[] = {1, 2, 3, 4, 5};
  CEPROPVAL values[] = {Value(kNumber), Value(kText), Value(kTime), Value(kBlob)};
  values[0].val.lVal = number;
  values[1].val.lpwstr = text.data();
  values[2].val.filetime = {static_cast<DWORD>(number), 30'000'000};
  values[3].val.blob = {sizeof(blob), blob};
  CeWriteRecordProps(database, oid, 4, values);
}

CEOID Create(const char16_t* name, bool isSorted) {
  CEDBASEINFOEX info = {};
  info.wVersion = CEDBASEINFOEX_VERSION;
  info.dwFlags = CEDB_VALIDNAME | CEDB_VALIDTYPE | (isSorted ? CEDB_VALIDSORTSPEC : 0);
  info.dwDbaseType = 0x4715E;
  std::u16string(name).copy(info.szDbaseName, CEDB_MAXDBASENAMELEN - 1);
  if (isSorted) {
    info.wNumSortOrder = 2;
    info.rgSortSpecs[0] = {SORTORDERSPECEX_VERSION, 1, 0, 0, {kNumber}, {CEDB_SORT_DESCENDING}};
    info.rgSortSpecs[1] = {SORTORDERSPECEX_VERSION, 2, 0, 0, {kText, kTime}, {0, 0}};
  }
  return CeCreateDatabaseEx2(&objectStore, &info);
}

std::vector<uint8_t> MakeGoodStore(FuzzDevice& device) {
  for (const char16_t* name : {u"Plain", u"Sorted"}) {
    CEOID oid = Create(name, *name == u'S');
    const HANDLE database = CeOpenDatabaseEx2(&objectStore, &oid, nullptr, nullptr, 0, nullptr);
    Require(database != nullptr, "a good store can be made");
    for (LONG number = 0; number < kRecords; ++number)
      WriteRecord(database, 0, number);
    CloseHandle(database);
  }
  std::vector<uint8_t> store = device.TakeStore();
  Require(store.size() > kPageBytes, "a good store has pages");
  return store;
}

// Where records and rows lie, so that changes meet them more often than by chance.
std::vector<size_t> InterestingPlaces(const std::vector<uint8_t>& store) {
  std::vector<size_t> places = {0, 16, 24, 28, 36, 52, 96, 100};
  for (size_t page = kPageBytes; page < store.size(); page += kPageBytes)
    places.push_back(page);
  // An image's version, then its count of properties.
  const std::string content(store.begin(), store.end());
  const std::string image("\1\0\0\0\4\0\0\0", 8);
  for (size_t at = content.find(image); at != std::string::npos; at = content.find(image, at + 1))
    places.push_back(at);
  return places;
}

void Change(Bytes& input, const std::vector<size_t>& places, std::vector<uint8_t>& store) {
  const uint8_t operation = input.Byte();
  size_t at = 0;
  if (operation & 0x80) {
    at = places[input.Byte() % places.size()] + input.Byte();
  } else {
    at = size_t{input.Byte()} * kPageBytes + input.Word() % kPageBytes;
  }
  at %= store.size();
  switch (operation & 7) {
    case 0:
      store[at] = input.Byte();
      break;
    case 1:
      store[at] = static_cast<uint8_t>(store[at] + input.Byte());
      break;
    case 2:
    case 3:
      for (const uint8_t byte : input.Take(operation >> 3 & 15)) {
        store[at] = byte;
        at = (at + 1) % store.size();
      }
      break;
    case 4: {
      const size_t from = size_t{input.Byte()} * kPageBytes % store.size();
      const size_t to = at / kPageBytes * kPageBytes;
      std::copy_n(store.begin() + static_cast<std::ptrdiff_t>(from),
                  std::min({kPageBytes, store.size() - from, store.size() - to}),
                  store.begin() + static_cast<std::ptrdiff_t>(to));
      break;
    }
    case 5:
      store.resize(std::max<size_t>(at, 1));
      break;
    default:
      store[at] ^= static_cast<uint8_t>(1 << (input.Byte() & 7));
  }
}

std::vector<uint8_t> Damaged(const uint8_t* data, size_t byteCount,
                             const std::vector<uint8_t>& good) {
  static const std::vector<size_t> places = InterestingPlaces(good);
  if (byteCount > 0 && data[0] == 0xFF)
    return {data + 1, data + byteCount};
  std::vector<uint8_t> store = good;
  Bytes input(data, byteCount);
  while (!input.IsEmpty())
    Change(input, places, store);
  return store;
}

// Every value is touched, so that one that lies outside the buffer is noticed.
uint64_t Touch(const CEPROPVAL& value) {
  uint64_t sum = value.propid + value.val.filetime.dwHighDateTime;
  if ((value.propid & 0xFFFF) == CEVT_LPWSTR) {
    for (const WCHAR* unit = value.val.lpwstr; *unit; ++unit)
      sum += *unit;
  }
  if ((value.propid & 0xFFFF) == CEVT_BLOB) {
    for (DWORD i = 0; i < value.val.blob.dwCount; ++i)
      sum += value.val.blob.lpb[i];
  }
  return sum;
}

uint64_t ReadAll(HANDLE database) {
  uint64_t sum = 0;
  BYTE* buffer = nullptr;
  DWORD byteCount = 0;
  for (int i = 0; i < kMaxRecords; ++i) {
    WORD count = 0;
    if (CeReadRecordPropsEx(database, CEDB_ALLOWREALLOC, &count, nullptr, &buffer, &byteCount,
                            nullptr) == 0)
      break;
    const auto* const values = reinterpret_cast<const CEPROPVAL*>(buffer);
    for (WORD property = 0; property < count; ++property)
      sum += Touch(values[property]);
  }
  LocalFree(buffer);
  return sum;
}

void UseDatabase(CEOID oid, SORTORDERSPECEX* order) {
  const HANDLE database =
      CeOpenDatabaseEx2(&objectStore, &oid, nullptr, order, CEDB_AUTOINCREMENT, nullptr);
  if (!database)
    return;
  ReadAll(database);
  DWORD index = 0;
  const CEOID first = CeSeekDatabase(database, CEDB_SEEK_BEGINNING, 0, &index);
  CeSeekDatabase(database, CEDB_SEEK_END, 1, &index);
  CeSeekDatabase(database, CEDB_SEEK_CURRENT, static_cast<DWORD>(-2), &index);
  const CEOID third = CeSeekDatabase(database, CEDB_SEEK_BEGINNING, 3, &index);
  CeSeekDatabase(database, CEDB_SEEK_CEOID, third, &index);
  WriteRecord(database, first, 5);
  WriteRecord(database, 0, 6);
  CeDeleteRecord(database, third);
  CloseHandle(database);
}

void UseEverything() {
  std::vector<CEOID> databases;
  const HANDLE enumeration = CeFindFirstDatabaseEx(nullptr, 0);
  if (enumeration != INVALID_HANDLE_VALUE) {
    while (databases.size() < kMaxDatabases) {
      const CEOID oid = CeFindNextDatabase(enumeration);
      if (oid == 0)
        break;
      databases.push_back(oid);
    }
    CloseHandle(enumeration);
  }
  for (const CEOID oid : databases) {
    CEOIDINFOEX info = {};
    info.wVersion = CEOIDINFOEX_VERSION;
    const BOOL known = CeOidGetInfoEx2(&objectStore, oid, &info);
    UseDatabase(oid, nullptr);
    if (!known || info.wObjType != OBJTYPE_DATABASE)
      continue;
    Require(info.infDatabase.wNumSortOrder <= CEDB_MAXSORTORDER,
            "a database has up to four orders");
    for (WORD i = 0; i < info.infDatabase.wNumSortOrder; ++i)
      UseDatabase(oid, &info.infDatabase.rgSortSpecs[i]);
  }
  const CEOID made = Create(u"New", true);
  if (made != 0)
    UseDatabase(made, nullptr);
  if (!databases.empty())
    CeDeleteDatabaseEx(&objectStore, databases.back());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t byteCount) {
  static FuzzDevice device;
  static const std::vector<uint8_t> good = MakeGoodStore(device);
  const std::vector<uint8_t> store = Damaged(data, byteCount, good);
  device.UseStore(store);
  UseEverything();
  wkt::control::LeaveDevice();
  (void)wkt::control::CheckVolume(device.StoreFile());
  return 0;
}
