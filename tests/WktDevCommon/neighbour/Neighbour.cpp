// Another program of the device, for tests in which it comes in between:
//   neighbour FOLDER DATABASE add FLAGS ...       adds a record with each of these flag texts
//   neighbour FOLDER DATABASE delete OID ...      deletes these records
#include <cstdio>
#include <string>

#include "host/control/Desk.h"
#include "tests/support/RawDatabase.h"
#include "tests/support/Text.h"

namespace {

wkt::test::RawRecord MakeRecord(const std::u16string& database, const std::u16string& flags) {
  if (database == u"WktDevTypes")
    return wkt::test::RawType(u"New", 1).Set(0x4029001F, flags);
  return wkt::test::RawJob(u"New").Set(0x400B001F, flags);
}

bool Act(const std::u16string& name, const std::string& verb, const std::string& argument) {
  wkt::test::RawDatabase database(name.c_str());
  if (verb == "delete")
    return database.Delete(static_cast<CEOID>(std::stoul(argument)));
  return verb == "add" && database.Add(MakeRecord(name, wkt::test::Wide(argument))) != 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::string error;
  if (argc < 4 || !wkt::control::UseDevice(argv[1], error)) {
    fprintf(stderr, "neighbour: %s\n", error.c_str());
    return 1;
  }
  for (int i = 4; i < argc; ++i) {
    if (!Act(wkt::test::Wide(argv[2]), argv[3], argv[i])) {
      fprintf(stderr, "neighbour: cannot %s %s\n", argv[3], argv[i]);
      return 1;
    }
  }
  return 0;
}
