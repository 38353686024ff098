#include "LineSplitter.h"

#include <utility>

namespace zuhost {

std::optional<std::string> LineSplitter::next() {
  const size_t end = pending_.find('\n');
  if (end == std::string::npos) return std::nullopt;
  std::string line = pending_.substr(0, end);
  pending_.erase(0, end + 1);
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

std::optional<std::string> LineSplitter::last() {
  if (pending_.empty()) return std::nullopt;
  return std::exchange(pending_, {});
}

}  // namespace zuhost
