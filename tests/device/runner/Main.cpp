#include <gtest/gtest.h>

#include <cstdio>

#include "tests/device/PeLoader.h"
#include "tests/device/runner/CaptureLibrary.h"

int main(int argumentCount, char** arguments) {
  wkt::UsePeLibraries();
  wkt::test::UseCaptureLibrary();
  testing::InitGoogleTest(&argumentCount, arguments);
  const int result = RUN_ALL_TESTS();
  // A test that passes here without a device library would prove nothing.
  if (result == 0 && testing::UnitTest::GetInstance()->test_to_run_count() > 0 &&
      !GTEST_FLAG_GET(list_tests) && wkt::PeLibrariesLoaded() == 0) {
    std::puts("no device library was loaded");
    return 1;
  }
  return result;
}
