// Another process that logs: log_writer DEVICE-FOLDER NAME COUNT writes COUNT lines (0: without
// end).
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/control/Desk.h"
#include "tests/WktDevLog/LoadedLog.h"
#include "tests/support/Text.h"

int main(int argc, char** argv) {
  std::string error;
  if (argc != 4 || !wkt::control::UseDevice(argv[1], error)) {
    std::fprintf(stderr, "log_writer: %s\n", error.c_str());
    return 2;
  }
  const wkt::test::LoadedLog log(u"\\Program Files\\Worktally\\WktDevLog.dll");
  if (log.write == nullptr)
    return 3;
  log.init(u"log_writer", u"\\Logging\\log.txt");
  const std::u16string name = wkt::test::Wide(argv[2]);
  const std::u16string filling(180, u'x');
  const int count = std::atoi(argv[3]);
  for (int i = 1; count == 0 || i <= count; ++i)
    log.Line(256, u"%s %d %s.", name.c_str(), i, filling.c_str() + i % 180);
  return 0;
}
