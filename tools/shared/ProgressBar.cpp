#include "shared/ProgressBar.h"

#include <algorithm>
#include <utility>

#include "shared/Output.h"

namespace zuvia::tools {
namespace {

constexpr std::size_t kWidth = 20;
constexpr std::size_t kPercentDigits = 3;

}  // namespace

std::string progressText(const std::string& what, std::uint64_t done, std::uint64_t total) {
  const double part = total == 0 ? 1.0 : std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
  const auto full = static_cast<std::size_t>(part * kWidth);
  std::string percent = std::to_string(static_cast<int>(part * 100));
  percent.insert(0, kPercentDigits - percent.size(), ' ');
  return what + " [" + std::string(full, '#') + std::string(kWidth - full, '-') + "] " + percent + " %";
}

ProgressBar::ProgressBar(std::string what) : what_(std::move(what)), isShown_(isConsole(Stream::Error)) {}

ProgressBar::~ProgressBar() {
  if (!line_.empty()) writeText(Stream::Error, "\r" + std::string(line_.size(), ' ') + "\r");
}

void ProgressBar::show(std::uint64_t done, std::uint64_t total) {
  if (!isShown_) return;
  std::string line = progressText(what_, done, total);
  if (line == line_) return;
  writeText(Stream::Error, "\r" + line);
  line_ = std::move(line);
}

}  // namespace zuvia::tools
