#pragma once

#include "Installation.h"
#include "Record.h"

namespace zuhost {

// {"status": {…}}, as docs/zuhost.md lists its members; for a person a table of it.
Record statusRecord(const Installation& installation);

// A time span in its largest whole unit: "59 s", "2 min", "3 h", "4 d".
std::string ageText(int64_t seconds);

}  // namespace zuhost
