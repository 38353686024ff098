#pragma once

#include <string>

namespace zuvia {

// The running operating system in one line of text, by the kernel's own numbers. Never fails: the
// worst answer is "Unknown Windows Version". Any thread; logs nothing.
std::wstring osVersionString();

}  // namespace zuvia
