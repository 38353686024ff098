#include "Emissions.h"

namespace sample {

Emissions::~Emissions() {
  // Only at the end of the process are there threads left, and Windows has ended them already.
  for (auto& emission : running_) {
    if (emission.thread.joinable()) emission.thread.detach();
  }
}

void Emissions::start(std::function<void()> raise) {
  const std::lock_guard lock(mutex_);
  dropEnded();
  auto& emission = running_.emplace_back();
  try {
    emission.thread = std::thread([&emission, raise = std::move(raise)] {
      try {
        raise();
      } catch (...) {  // a listener's; nobody is above this thread to receive it
      }
      emission.ended = true;
    });
  } catch (...) {
    running_.pop_back();
    throw;
  }
}

void Emissions::finish() {
  std::list<Emission> running;
  {
    const std::lock_guard lock(mutex_);
    running.swap(running_);
  }
  for (auto& emission : running) emission.thread.join();
}

void Emissions::dropEnded() {
  running_.remove_if([](Emission& emission) {
    if (!emission.ended) return false;
    emission.thread.join();
    return true;
  });
}

}  // namespace sample
