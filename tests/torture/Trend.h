#pragma once

#include <string>
#include <vector>

namespace zuvia::test {

// A measure over time.
struct Point {
  double time;  // in any unit, growing
  double value;
};

struct Series {
  std::string name;
  std::string unit;  // of the values; "" for a number of things
  double allowance;  // how much it may grow over the second half of the time and still count as flat
  std::vector<Point> points;
};

// How much a series grows over the second half of its time: along the straight line that fits that half best (least
// squares). 0 where there are fewer than three points.
double growthOfSecondHalf(const Series& series);

bool isFlat(const Series& series);

}  // namespace zuvia::test
