#pragma once

#include <string>

#include "Groups.h"

namespace zuvia::bench {

// A table for people: a line for each row, with both figures, the ratio, its target and whether it is met.
std::string toTable(const Rows& rows);

// One JSON array for programs: objects with name, ratio, target (null where there is none), ours, yardstick, unit and
// limitedBy.
std::string toJson(const Rows& rows);

}  // namespace zuvia::bench
