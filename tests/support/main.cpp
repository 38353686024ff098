#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

namespace {

// Ends the program when one test takes too long, with the name of that test: less than ctest waits, so
// that a test which hangs is told apart from a program that does.
class Watchdog : public testing::EmptyTestEventListener {
 public:
  static constexpr int kDefaultSeconds = 110;
  static constexpr int kExitStatus = 3;

  Watchdog() : thread_([this] { watch(); }) {}

  ~Watchdog() override {
    change([this] { ended_ = true; });
    thread_.join();
  }

  void OnTestStart(const testing::TestInfo& test) override {
    change([&] {
      test_ = std::string(test.test_suite_name()) + '.' + test.name();
      ++number_;
    });
  }

  void OnTestEnd(const testing::TestInfo&) override {
    change([this] { test_.clear(); });
  }

 private:
  // ZUVIA_TEST_SECONDS sets another limit for each test.
  static std::chrono::seconds limit() {
    const char* text = std::getenv("ZUVIA_TEST_SECONDS");
    return std::chrono::seconds(text == nullptr ? kDefaultSeconds : std::atoi(text));
  }

  template <typename Change>
  void change(Change apply) {
    const std::lock_guard lock(mutex_);
    apply();
    changed_.notify_all();
  }

  void watch() {
    std::unique_lock lock(mutex_);
    while (!ended_) {
      const int number = number_;
      const bool running = !test_.empty();
      const auto other = [&] { return ended_ || number_ != number || test_.empty() == running; };
      if (!running) {
        changed_.wait(lock, other);
      } else if (!changed_.wait_for(lock, limit(), other)) {
        giveUp();
      }
    }
  }

  [[noreturn]] void giveUp() const {
    std::printf("zuvia-test: %s hangs: it took more than %d seconds\n", test_.c_str(),
                static_cast<int>(limit().count()));
    std::fflush(stdout);
    std::_Exit(kExitStatus);
  }

  std::mutex mutex_;  // guards what follows, except the thread
  std::condition_variable changed_;
  std::string test_;  // the one that runs, "" between two
  int number_ = 0;
  bool ended_ = false;
  std::thread thread_;
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
