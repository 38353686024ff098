#include "zuserve/RequestLine.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

#include "shared/Utf8.h"

namespace zuvia::zuserve {
namespace {

std::string timeText(std::chrono::system_clock::time_point time) {
  using std::chrono::duration_cast, std::chrono::milliseconds;
  const auto sinceEpoch = duration_cast<milliseconds>(time.time_since_epoch()).count();
  const std::time_t seconds = sinceEpoch / 1000;
  std::tm local{};
  localtime_s(&local, &seconds);
  std::array<char, 32> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &local);
  std::snprintf(text.data() + length, text.size() - length, ".%03d", static_cast<int>(sinceEpoch % 1000));
  return text.data();
}

std::string word(const std::string& text) {
  std::string shown = tools::printable(text);
  std::ranges::replace(shown, ' ', '_');
  return shown.empty() ? "-" : shown;
}

}  // namespace

std::string field(const char* name, const std::string& value) {
  return std::string(" ") + name + "=" + tools::quoted(value);
}

std::string requestLine(std::chrono::system_clock::time_point time, const RequestRecord& record) {
  return timeText(time) + " " + word(record.method) + " " + word(record.target) + " " + std::to_string(record.status) +
         " " + std::to_string(record.bytes) + record.detail;
}

}  // namespace zuvia::zuserve
