#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zuvia::bench {

// One line of the result: what we take against what the yardstick takes, medians of the same run.
struct Row {
  std::string name;
  double ours = 0;
  double yardstick = 0;
  std::string unit;              // of both: "ns", "ms", "bytes" …
  std::optional<double> target;  // the greatest ratio that is good; nothing: the row is only reported
  std::string limitedBy;         // what takes the time, or the space, that is left
  // Where the yardstick is nothing, as much as ours.
  double ratio() const { return yardstick == 0 ? ours : ours / yardstick; }
  // slack: what the target is multiplied with.
  bool isMet(double slack = 1) const { return !target || ratio() <= *target * slack; }
};

// The middle one; of an even number the mean of the middle two. values: not empty.
double median(std::vector<double> values);

// How the operations are to be measured.
struct Settings {
  unsigned repetitions = 9;
  // Whether a row is wanted, by its name. Groups that have none are not prepared.
  std::function<bool(const std::string& name)> wants = [](const std::string&) { return true; };
};

// Milliseconds that pass from one call to the next.
class Stopwatch {
 public:
  double milliseconds() const {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin_).count();
  }

 private:
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

// One way to do the work. run() does it once and returns the milliseconds of what is to be measured.
using Operation = std::function<double()>;

struct Medians {
  double ours;
  double yardstick;
};

// Runs both in turn, beginning with the other one each time, once unmeasured and then `repetitions` times.
Medians compare(unsigned repetitions, const Operation& ours, const Operation& yardstick);

// An operation that is measured from its beginning to its end.
Operation timed(std::function<void()> work);

}  // namespace zuvia::bench
