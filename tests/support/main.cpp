#include <cstdio>

#include <gtest/gtest.h>

// The closing line tells a test that passed from a program that died: see cmake/zuvia_test.cmake.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  if (result == 0) {
    std::puts("zuvia-test: passed");
    std::fflush(stdout);
  }
  return result;
}
