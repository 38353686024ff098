#pragma once

#include <cstdint>
#include <string>

namespace zuvia {

// The host information as its JSON text gives it; absent and null members count as the values here.
struct HostInfoText {
  uint64_t uid = 0;
  std::string version;
  std::string appPath;  // UTF-8
  bool testEnv = false;
};

// Reads the JSON text. Returns false, with the parser's words in `errors`, when it is not JSON.
// Throws what the JSON library throws (a standard exception) when a member cannot be converted.
bool parseHostInfo(const char* json, HostInfoText& info, std::string& errors);

}  // namespace zuvia
