#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

namespace {

// Ends the program when one test takes too long, with the name of that test: less than ctest waits, so
// that a test which hangs is told apart from a program that does.
//
// Its thread looks at a clock and is never waited for: a condition variable of this compiler's thread
// library loses a wake-up now and then under Wine, and the program would hang at its end.
class Watchdog : public testing::EmptyTestEventListener {
 public:
  static constexpr int kDefaultSeconds = 110;
  static constexpr int kExitStatus = 3;

  Watchdog() {
    std::thread([&state = state_] { watch(state); }).detach();
  }

  void OnTestStart(const testing::TestInfo& test) override {
    const std::lock_guard lock(state_.mutex);
    state_.test = std::string(test.test_suite_name()) + '.' + test.name();
    state_.begin = Clock::now();
  }

  void OnTestEnd(const testing::TestInfo&) override {
    const std::lock_guard lock(state_.mutex);
    state_.test.clear();
  }

 private:
  using Clock = std::chrono::steady_clock;

  // Outlives the listener, as the thread does.
  struct State {
    std::mutex mutex;  // guards the rest
    std::string test;  // the one that runs, "" between two
    Clock::time_point begin;
  };

  // ZUVIA_TEST_SECONDS sets another limit for each test.
  static std::chrono::seconds limit() {
    const char* text = std::getenv("ZUVIA_TEST_SECONDS");
    return std::chrono::seconds(text == nullptr ? kDefaultSeconds : std::atoi(text));
  }

  static void watch(State& state) {
    constexpr std::chrono::milliseconds kInterval(200);
    while (true) {
      std::this_thread::sleep_for(kInterval);
      const std::lock_guard lock(state.mutex);
      if (!state.test.empty() && Clock::now() - state.begin > limit()) {
        giveUp(state.test);
      }
    }
  }

  [[noreturn]] static void giveUp(const std::string& test) {
    std::printf("zuvia-test: %s hangs: it took more than %d seconds\n", test.c_str(),
                static_cast<int>(limit().count()));
    std::fflush(stdout);
    std::_Exit(kExitStatus);
  }

  State& state_ = *new State;
};

}  // namespace

// The closing line tells a test that passed from a program that died: see cmake/zuvia_test.cmake.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new Watchdog);  // gtest deletes it
  const int result = RUN_ALL_TESTS();
  if (result == 0) {
    std::puts("zuvia-test: passed");
    std::fflush(stdout);
  }
  return result;
}
