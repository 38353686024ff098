#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

namespace sample {

// Events on their way, each on a thread of its own.
class Emissions {
 public:
  Emissions() = default;
  Emissions(const Emissions&) = delete;
  Emissions& operator=(const Emissions&) = delete;
  ~Emissions();

  // Runs raise on a new thread; what it throws is dropped there. Any thread.
  // Throws std::system_error when there is no thread to be had.
  void start(std::function<void()> raise);

  // Returns when every thread has ended. Call it before the module is freed; not from inside raise.
  void finish();

 private:
  struct Emission {
    std::thread thread;
    std::atomic<bool> ended = false;
  };

  void dropEnded();

  std::mutex mutex_;
  std::list<Emission> running_;
};

}  // namespace sample
