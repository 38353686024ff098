#pragma once

#include <string>

namespace zuvia {

// The address that configuration requests are posted to. The hosts, each with an optional port,
// are settings of the build.
inline std::string configUrl(bool testEnv) {
  return std::string("https://") + (testEnv ? ZUVIA_CONFIG_TEST_HOST : ZUVIA_CONFIG_HOST) + "/configs/pc/post";
}

}  // namespace zuvia
