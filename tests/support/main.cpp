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

  Watchdog() : m_thread([this] { watch(); }) {}

  ~Watchdog() override {
    change([this] { m_ended = true; });
    m_thread.join();
  }

  void OnTestStart(const testing::TestInfo& test) override {
    change([&] {
      m_test = std::string(test.test_suite_name()) + '.' + test.name();
      ++m_number;
    });
  }

  void OnTestEnd(const testing::TestInfo&) override {
    change([this] { m_test.clear(); });
  }

 private:
  // ZUVIA_TEST_SECONDS sets another limit for each test.
  static std::chrono::seconds limit() {
    const char* text = std::getenv("ZUVIA_TEST_SECONDS");
    return std::chrono::seconds(text == nullptr ? kDefaultSeconds : std::atoi(text));
  }

  template <typename Change>
  void change(Change apply) {
    const std::lock_guard lock(m_mutex);
    apply();
    m_changed.notify_all();
  }

  void watch() {
    std::unique_lock lock(m_mutex);
    while (!m_ended) {
      const int number = m_number;
      const bool running = !m_test.empty();
      const auto other = [&] { return m_ended || m_number != number || m_test.empty() == running; };
      if (!running) {
        m_changed.wait(lock, other);
      } else if (!m_changed.wait_for(lock, limit(), other)) {
        giveUp();
      }
    }
  }

  [[noreturn]] void giveUp() const {
    std::printf("zuvia-test: %s hangs: it took more than %d seconds\n", m_test.c_str(),
                static_cast<int>(limit().count()));
    std::fflush(stdout);
    std::_Exit(kExitStatus);
  }

  std::mutex m_mutex;  // guards what follows, except the thread
  std::condition_variable m_changed;
  std::string m_test;  // the one that runs, "" between two
  int m_number = 0;
  bool m_ended = false;
  std::thread m_thread;
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
