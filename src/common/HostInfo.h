#pragma once

#include <string>

namespace zuvia {

// What the host said of itself last, one for the process. Empty at first; overwritten by every
// accepted host information and kept for the rest of the process.
//
// Not locked: the host sends its information from one thread, and the fetch that reads it begins
// afterwards.
struct HostInfo {
  std::string hostVersion;
  std::string appPath;    // UTF-8, as received
  std::wstring appPathW;  // the same in UTF-16: where the plugin's files lie
  bool testEnv = false;   // whether the test configuration service is asked
};

HostInfo& hostInfo();

}  // namespace zuvia
