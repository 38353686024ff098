#pragma once

#include <string>
#include <vector>

#include "torture/Trend.h"

namespace zuvia::test {

// A picture, as SVG text: one diagram for each series, two in a row, each from 0 up, with its growth over the second
// half of the time. timeUnit: of all points' times.
std::string plot(const std::string& title, const std::vector<Series>& series, const std::string& timeUnit);

// A value from 1, 2 or 5 times a power of ten: the distance of about `wanted` ticks on an axis that ends at `end`.
double tickDistance(double end, int wanted);

// A number as a person writes it: no more digits than it needs, up to three behind the point.
std::string numberText(double number);

}  // namespace zuvia::test
