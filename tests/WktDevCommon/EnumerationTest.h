#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "WktDevCommon/SyncJobDatabase.h"
#include "WktDevCommon/SyncWktTypeDatabase.h"
#include "tests/WktDevCommon/DatabaseTest.h"
#include "tests/support/RawDatabase.h"

using Oids = std::vector<CEOID>;

inline constexpr char16_t kSynchronized[] = u"0010100000000000000";
inline constexpr char16_t kEditedWhileSynchronized[] = u"0010101000000000000";
inline constexpr CEPROPID kJobFlags = 0x400B001F;
inline constexpr CEPROPID kTypeFlags = 0x4029001F;
inline constexpr CEPROPID kJobStart = 0x40080040;
inline constexpr CEPROPID kTypeCreation = 0x40240040;

// Databases of both kinds, and the list that the last enumeration made of one.
class EnumerationTest : public DatabaseTest {
 protected:
  ~EnumerationTest() override {
    if (info.poid)
      LocalFree(info.poid);
  }

  // Jobs one after another in the order of the database, by their flag texts.
  Oids AddJobs(const std::vector<std::u16string>& flags) {
    wkt::test::RawDatabase raw(u"WktDevJobs");
    Oids made;
    uint64_t start = 1000;
    for (const std::u16string& text : flags)
      made.push_back(raw.Add(wkt::test::RawJob(u"J").Set(kJobFlags, text).Set(kJobStart, ++start)));
    return made;
  }
  CEOID AddType(int32_t kind, const char16_t* flags, uint64_t creation = 5) {
    return wkt::test::RawDatabase(u"WktDevTypes")
        .Add(wkt::test::RawType(u"T1", kind).Set(kTypeFlags, flags).Set(kTypeCreation, creation));
  }

  template <class Database>
  HRESULT FindIn(const WCHAR* name, DWORD partner) {
    Database database(name);
    EXPECT_TRUE(database.Open(TRUE));
    return database.ReadFindObjectInfo(&info, partner);
  }
  HRESULT FindJobs(DWORD partner = 0) { return FindIn<CSyncJobDatabase>(u"WktDevJobs", partner); }
  HRESULT FindTypes(DWORD partner = 0) {
    return FindIn<CSyncWktTypeDatabase>(u"WktDevTypes", partner);
  }
  [[nodiscard]] Oids Listed() const {
    return info.poid ? Oids(info.poid, info.poid + info.cUnChg + info.cChg) : Oids();
  }

  FINDOBJINFO info = {};
};
