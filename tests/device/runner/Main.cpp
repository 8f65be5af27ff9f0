#include <gtest/gtest.h>

#include "tests/device/PeLoader.h"
#include "tests/device/runner/CaptureLibrary.h"

int main(int argumentCount, char** arguments) {
  wkt::UsePeLibraries();
  wkt::test::UseCaptureLibrary();
  testing::InitGoogleTest(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
