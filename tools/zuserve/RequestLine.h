#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace zuvia::zuserve {

// One answered request, as it is printed.
struct RequestRecord {
  std::string method;
  std::string target;  // as the client sent it
  int status = 0;
  std::uint64_t bytes = 0;  // of the answer's body that were sent
  std::string detail;       // what else there is to say, made of field() pieces
};

// " NAME=VALUE": quoted and escaped.
std::string field(const char* name, const std::string& value);

// "2024-05-01T12:00:00.123 GET /x.7z 200 1234" and the detail, in local time. Whatever the client sent, it stays one
// line without control characters, and method and target stay one word each ("-" when there is none).
std::string requestLine(std::chrono::system_clock::time_point time, const RequestRecord& record);

}  // namespace zuvia::zuserve
