#include <gtest/gtest.h>

#if defined(_WIN32)
#include <windows.h>
#endif

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

#if defined(_WIN32)

// Found beside the program's import table, where tests put their hooks.
using Pause = void(WINAPI*)(DWORD);

Pause findPause() {
  return reinterpret_cast<Pause>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "Sleep")));
}

#else

using Pause = void (*)(unsigned long);

Pause findPause() {
  return [](unsigned long milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); };
}

#endif

// Ends the program when one test takes too long, with the name of that test: less than ctest waits, so
// that a test which hangs is told apart from a program that does.
//
// Its thread sleeps and counts, takes no lock, is never waited for and calls nothing that a test may have hooked. Under
// Wine a condition variable of this compiler's thread library loses a wake-up now and then, and the program would hang
// at its end; and a lock that is contended for keeps an event open, which a test that counts handles would see.
class Watchdog : public testing::EmptyTestEventListener {
 public:
  static constexpr int kDefaultSeconds = 110;
  static constexpr int kExitStatus = 3;

  Watchdog() {
    std::thread([&state = state_] { watch(state); }).detach();
  }

  void OnTestStart(const testing::TestInfo& test) override {
    state_.test = &test;
    ++state_.number;
  }

  void OnTestEnd(const testing::TestInfo&) override { state_.test = nullptr; }

 private:
  // Outlives the listener, as the thread does.
  struct State {
    std::atomic<const testing::TestInfo*> test = nullptr;  // the one that runs, null between two
    std::atomic<int> number = 0;
  };

  // ZUVIA_TEST_SECONDS sets another limit for each test.
  static std::chrono::seconds limit() {
    const char* text = std::getenv("ZUVIA_TEST_SECONDS");
    return std::chrono::seconds(text == nullptr ? kDefaultSeconds : std::atoi(text));
  }

  static void watch(const State& state) {
    constexpr std::chrono::milliseconds kInterval(200);
    const Pause pause = findPause();
    int seen = 0;
    std::chrono::milliseconds waited(0);
    while (true) {
      pause(static_cast<unsigned long>(kInterval.count()));
      const int number = state.number;
      waited = number == seen ? waited + kInterval : std::chrono::milliseconds(0);
      seen = number;
      const testing::TestInfo* const test = state.test;
      if (test != nullptr && waited > limit()) {
        giveUp(*test);
      }
    }
  }

  [[noreturn]] static void giveUp(const testing::TestInfo& test) {
    std::printf("zuvia-test: %s.%s hangs: it took more than %d seconds\n", test.test_suite_name(), test.name(),
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
