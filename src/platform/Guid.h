#pragma once

#include <string>

namespace zuvia {

// The first three fields of a fresh GUID as 8 + 4 + 4 lower-case hexadecimal digits, a name part
// that no other process comes up with. Any thread; throws std::bad_alloc only.
std::wstring freshGuidText();

}  // namespace zuvia
