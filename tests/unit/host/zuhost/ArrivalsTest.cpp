#include "Arrivals.h"

#include <gtest/gtest.h>

#include <thread>

namespace zuhost {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

TEST(Arrivals, FindTheOldestAndKeepIt) {
  Arrivals arrivals;
  for (const char* text : {"a 1", "b", "a 2"}) arrivals.add(text);
  EXPECT_EQ(arrivals.find("a*", milliseconds(0)), "a 1");
  EXPECT_EQ(arrivals.find("a*", milliseconds(0)), "a 1");
  EXPECT_EQ(arrivals.find("c*", milliseconds(0)), std::nullopt);
}

TEST(Arrivals, TakeEachOnce) {
  Arrivals arrivals;
  for (const char* text : {"a 1", "b", "a 2"}) arrivals.add(text);
  EXPECT_EQ(arrivals.take("a*", milliseconds(0)), "a 1");
  EXPECT_EQ(arrivals.take("a*", milliseconds(0)), "a 2");
  EXPECT_EQ(arrivals.take("a*", milliseconds(0)), std::nullopt);
  EXPECT_EQ(arrivals.take("b", milliseconds(0)), "b");
}

TEST(Arrivals, WaitForTheRightOne) {
  Arrivals arrivals;
  std::thread other([&] {
    std::this_thread::sleep_for(milliseconds(20));
    arrivals.add("wrong");
    arrivals.add("right");
  });
  EXPECT_EQ(arrivals.take("right", milliseconds(60'000)), "right");
  other.join();
}

TEST(Arrivals, GiveUpAfterTheTime) {
  Arrivals arrivals;
  const auto begin = steady_clock::now();
  EXPECT_EQ(arrivals.find("a", milliseconds(50)), std::nullopt);
  EXPECT_GE(steady_clock::now() - begin, milliseconds(40));
}

TEST(Arrivals, ForgetTheOldestOfTooMany) {
  Arrivals arrivals;
  arrivals.add("first");
  for (size_t i = 1; i < Arrivals::kMost; ++i) arrivals.add("x");
  EXPECT_TRUE(arrivals.find("first", milliseconds(0)));
  arrivals.add("x");
  EXPECT_FALSE(arrivals.find("first", milliseconds(0)));
}

TEST(Arrivals, SayWhatIsThere) {
  Arrivals arrivals;
  EXPECT_EQ(arrivals.summary(), "none");
  arrivals.add("a");
  arrivals.add("b");
  EXPECT_EQ(arrivals.summary(), R"(2: "a", "b")");
  for (int i = 0; i < 10; ++i) arrivals.add("c");
  EXPECT_EQ(arrivals.summary().substr(0, 31), R"(12, the last of them: "c", "c",)");
  arrivals.clear();
  EXPECT_EQ(arrivals.summary(), "none");
}

}  // namespace
}  // namespace zuhost
