#pragma once

#include <optional>
#include <string>

#include "common/UpdateEntry.h"

namespace zuvia::zuserve {

inline constexpr const char* kConfigPath = "/configs/pc/post";

// What a host says about itself in the body of a configuration request; empty where it says nothing.
struct ConfigRequest {
  std::string version;
  std::string osVersion;
  std::string hostver;
  std::string hitseq;
};

// Reads the body. Empty when it is not a JSON object, or one of the members above is not a text.
std::optional<ConfigRequest> parseConfigRequest(const std::string& body);

// The answer that offers this entry, or that offers nothing.
std::string configAnswer(const std::optional<UpdateEntry>& entry);

}  // namespace zuvia::zuserve
