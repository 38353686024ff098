#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace zuvia {

// What a configuration request says.
struct ConfigRequest {
  uint64_t uid = 0;
  std::string bssCode;
  std::string osVersion;
  std::string version;
  std::map<std::string, std::string> extendInfo;
};

// The body: one compact JSON object without a line end. "zuuid" in extendInfo replaces the uid's text there.
std::string requestBody(const ConfigRequest& request);

// The header that tells the service the user; also what the exchange is cached under.
std::string uidHeader(uint64_t uid);

}  // namespace zuvia
