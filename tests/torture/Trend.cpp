#include "torture/Trend.h"

#include <algorithm>
#include <iterator>
#include <numeric>

namespace zuvia::test {
namespace {

std::vector<Point> secondHalf(const std::vector<Point>& points) {
  const double middle = (points.front().time + points.back().time) / 2;
  std::vector<Point> half;
  std::ranges::copy_if(points, std::back_inserter(half), [&](const Point& point) { return point.time >= middle; });
  return half;
}

double meanOf(const std::vector<Point>& points, double Point::*member) {
  const auto add = [&](double sum, const Point& point) { return sum + point.*member; };
  return std::accumulate(points.begin(), points.end(), 0.0, add) / static_cast<double>(points.size());
}

double slopeOf(const std::vector<Point>& points) {
  const double time = meanOf(points, &Point::time);
  const double value = meanOf(points, &Point::value);
  double products = 0;
  double squares = 0;
  for (const Point& point : points) {
    products += (point.time - time) * (point.value - value);
    squares += (point.time - time) * (point.time - time);
  }
  return products / squares;
}

}  // namespace

double growthOfSecondHalf(const Series& series) {
  if (series.points.size() < 3) return 0;
  const std::vector<Point> half = secondHalf(series.points);
  if (half.size() < 2) return 0;
  return slopeOf(half) * (half.back().time - half.front().time);
}

bool isFlat(const Series& series) {
  return growthOfSecondHalf(series) <= series.allowance;
}

}  // namespace zuvia::test
