#pragma once

#include <cstdint>
#include <string>

namespace zuvia::tools {

// Returns what a Windows error code means, in English where the system has it, with its number:
// "Access denied (error 5)". Any thread.
std::string systemErrorText(std::uint32_t code);

}  // namespace zuvia::tools
