#pragma once

#include <optional>
#include <string>

namespace zuvia::zuserve {

// What a host says about itself in the body of a configuration request; empty where it says nothing.
struct ConfigRequest {
  std::string version;
  std::string osVersion;
  std::string hostver;
  std::string hitseq;
};

// Reads the body. Empty when it is not a JSON object, or one of the members above is not a text.
std::optional<ConfigRequest> parseConfigRequest(const std::string& body);

}  // namespace zuvia::zuserve
