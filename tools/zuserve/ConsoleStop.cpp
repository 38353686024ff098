#include "zuserve/ConsoleStop.h"

#include <mutex>
#include <utility>

#include "platform/Windows.h"

namespace zuvia::zuserve {
namespace {

constexpr DWORD kGraceMs = 10'000;

std::mutex stopMutex;
std::function<void()> stopFunction;

BOOL WINAPI handle(DWORD event) {
  {
    const std::lock_guard lock(stopMutex);
    if (stopFunction) stopFunction();
  }
  // Windows ends the process when this returns from one of the others; until then it ends by itself.
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(kGraceMs);
  return TRUE;
}

void setStopFunction(std::function<void()> function) {
  const std::lock_guard lock(stopMutex);
  stopFunction = std::move(function);
}

}  // namespace

ConsoleStop::ConsoleStop(std::function<void()> stop) {
  setStopFunction(std::move(stop));
  SetConsoleCtrlHandler(handle, TRUE);
}

// The handler stays: an event that arrives while the process ends must not end it earlier.
ConsoleStop::~ConsoleStop() {
  setStopFunction(nullptr);
}

}  // namespace zuvia::zuserve
