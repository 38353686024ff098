#pragma once

#include <string>

namespace zuvia::test {

// The host information that test hosts send, as JSON: it asks the test service.
//
// appPath: the application path, UTF-8. members: further ones, each with a comma in front.
std::string hostInformation(const std::string& appPath, const std::string& members = {});

}  // namespace zuvia::test
