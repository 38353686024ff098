#pragma once

#include <cstddef>
#include <string>

namespace zuvia::bench {

struct Package {
  std::string bytes;
  std::string module;   // what zuimpl.dll in it is, version 2.0.0.47
  std::size_t content;  // how many bytes it unpacks to
};

// A package of about so many bytes, unpacked: an implementation module, and libraries of Windows as its companions.
// Making it takes some seconds; it is kept for the next call.
const Package& packageOf(std::size_t content);

}  // namespace zuvia::bench
