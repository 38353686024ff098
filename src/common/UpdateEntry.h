#pragma once

#include <string>

namespace zuvia {

// The update entry of the configuration service: which version it offers and where. Narrow texts
// as the service sent them, unchecked.
struct UpdateEntry {
  std::string ver;   // version of the offered implementation module
  std::string pmd5;  // MD5 of the package, hexadecimal
  std::string dmd5;  // MD5 of the zuimpl.dll inside it, hexadecimal
  std::string url;   // where the package lies
};

}  // namespace zuvia
