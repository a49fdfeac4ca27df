// The test programs' main: the process runs under a UTF-8 locale, as a host sets one (the
// library never does), and knows where the source tree is, also when run outside CTest.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>

int main(int argc, char** argv) {
  setenv("VELDRAKE_SOURCE_DIR", VELDRAKE_SOURCE_DIR_DEFAULT, /*overwrite=*/0);
  std::setlocale(LC_ALL, "C.UTF-8");
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
