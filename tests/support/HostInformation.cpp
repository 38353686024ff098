#include "support/HostInformation.h"

namespace zuvia::test {
namespace {

std::string jsonText(const std::string& text) {
  std::string quoted = "\"";
  for (const char character : text) {
    if (character == '\\' || character == '"') quoted += '\\';
    quoted += character;
  }
  return quoted + '"';
}

}  // namespace

std::string hostInformation(const std::string& appPath, const std::string& members) {
  return R"({"uid": 4711, "ver": "9.1.2", "test_env": true, "app_path": )" + jsonText(appPath) + members + '}';
}

}  // namespace zuvia::test
