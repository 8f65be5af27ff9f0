#include <cstdlib>

#include "tests/tools/RunCommand.h"

namespace wkt::test {
namespace {

class Demo : public CommandTest {};

TEST_F(Demo, ShowsWhatTheTranscriptSays) {
  const std::string out = Path("transcript");
  const std::string work = Path("work");
  std::filesystem::create_directory(work);
  const std::string command =
      std::string("sh ") + WKT_SOURCE + "/scripts/demo.sh " + WKT_COMMAND + " " + work + " >" + out;
  ASSERT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(ReadFile(out), ReadFile(std::string(WKT_SOURCE) + "/docs/demo-transcript.txt"));
}

}  // namespace
}  // namespace wkt::test
