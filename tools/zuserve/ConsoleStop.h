#pragma once

#include <functional>

namespace zuvia::zuserve {

// Calls a function, on a thread of the system's, when the user presses Ctrl+C or Ctrl+Break, closes the console
// window or leaves. The process then has a few seconds to end by itself. One object at a time.
class ConsoleStop {
 public:
  explicit ConsoleStop(std::function<void()> stop);
  ConsoleStop(const ConsoleStop&) = delete;
  ConsoleStop& operator=(const ConsoleStop&) = delete;
  // Afterwards the function is not called any more; a call that runs is waited for.
  ~ConsoleStop();
};

}  // namespace zuvia::zuserve
