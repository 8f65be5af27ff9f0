#include "tests/WktDevCommon/Meanwhile.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include "platform/Database.h"

namespace wkt::test {

std::vector<NeighbourWords> meanwhile;
int readsUntilThen = 0;
int writesUntilThen = 0;

namespace {

void LetTheNeighbourAct() {
  for (NeighbourWords& words : meanwhile) {
    std::vector<char*> arguments;
    for (std::string& word : words)
      arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t process = 0;
    int status = -1;
    EXPECT_EQ(posix_spawn(&process, words[0].c_str(), nullptr, nullptr, arguments.data(), environ),
              0);
    EXPECT_EQ(waitpid(process, &status, 0), process);
    EXPECT_EQ(status, 0);
  }
  meanwhile.clear();
}

}  // namespace
}  // namespace wkt::test

// Every read and write of the code under test comes through here.
extern "C" CEOID __real_CeReadRecordPropsEx(HANDLE, DWORD, LPWORD, CEPROPID*, LPBYTE*, LPDWORD,
                                            HANDLE);
extern "C" CEOID __wrap_CeReadRecordPropsEx(HANDLE database, DWORD flags, LPWORD count,
                                            CEPROPID* wanted, LPBYTE* buffer, LPDWORD byteCount,
                                            HANDLE heap) {
  if (wkt::test::readsUntilThen > 0 && --wkt::test::readsUntilThen == 0)
    wkt::test::LetTheNeighbourAct();
  return __real_CeReadRecordPropsEx(database, flags, count, wanted, buffer, byteCount, heap);
}
extern "C" CEOID __real_CeWriteRecordProps(HANDLE, CEOID, WORD, CEPROPVAL*);
extern "C" CEOID __wrap_CeWriteRecordProps(HANDLE database, CEOID oid, WORD count,
                                           CEPROPVAL* values) {
  if (wkt::test::writesUntilThen > 0 && --wkt::test::writesUntilThen == 0)
    wkt::test::LetTheNeighbourAct();
  return __real_CeWriteRecordProps(database, oid, count, values);
}
