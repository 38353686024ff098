#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "torture/Arena.h"
#include "torture/CutStage.h"

// Where the life of a host is cut: before one of the Windows calls that its plugin makes, or at a moment.

namespace zuvia::test {

// Before the call of that number, counted from 1 and from the loading of the plugin.
struct CallPoint {
  std::string function;
  std::size_t number = 1;

  std::string text() const { return function + " #" + std::to_string(number); }
};

// How often each function was called in a whole life: see CallCutter.
using CallCounts = std::map<std::string, std::size_t>;

// Has a host live to its end and counts. Throws CycleFailed when it does not.
CallCounts countCalls(Arena& arena);

// Every call there is, function by function.
std::vector<CallPoint> everyCall(const CallCounts& counts);

// Has a host end there.
Arena::Preparation cutAt(const CallPoint& point);

// A share of the way, from 0 to 1, through the time that begins with a stage: that of the stage itself, or, for whole,
// from there to the end of the clean-up.
struct Moment {
  CutStage stage = CutStage::Request;
  bool whole = false;
  double share = 0;

  std::string text() const;
};

// How long a host takes for each stage.
class Timeline {
 public:
  using Duration = std::chrono::duration<double, std::milli>;

  // Has a host live to its end and measures. Throws CycleFailed when it does not.
  explicit Timeline(Arena& arena);

  // Half of them anywhere between the first request and the end of the clean-up; half of them anywhere within a stage,
  // so that short stages are met as well.
  static Moment draw(std::mt19937_64& random);

  // How long after the beginning of its stage it is.
  Duration delay(const Moment& moment) const;

  // Has a host be ended then, from outside.
  Arena::Preparation cutAt(const Moment& moment) const;

 private:
  std::map<CutStage, Duration> lengths_;
};

}  // namespace zuvia::test
