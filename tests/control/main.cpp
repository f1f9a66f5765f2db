#include <gtest/gtest.h>

#include "tests/control/apart.h"

int main(int argc, char* argv[]) {
  testing::InitGoogleTest(&argc, argv);
  if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
  return control_test::RunApart([] { return RUN_ALL_TESTS(); });
}
