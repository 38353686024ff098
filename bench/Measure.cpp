#include "Measure.h"

#include <algorithm>

namespace zuvia::bench {

double median(std::vector<double> values) {
  std::ranges::sort(values);
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

Medians compare(unsigned repetitions, const Operation& ours, const Operation& yardstick) {
  yardstick();
  ours();
  std::vector<double> oursTook;
  std::vector<double> yardstickTook;
  for (unsigned i = 0; i < repetitions; ++i) {
    if (i % 2 == 0) oursTook.push_back(ours());
    yardstickTook.push_back(yardstick());
    if (i % 2 == 1) oursTook.push_back(ours());
  }
  return {median(oursTook), median(yardstickTook)};
}

Operation timed(std::function<void()> work) {
  return [work = std::move(work)] {
    const Stopwatch stopwatch;
    work();
    return stopwatch.milliseconds();
  };
}

}  // namespace zuvia::bench
