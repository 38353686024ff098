#pragma once

#include <cstdint>
#include <string>

namespace zuvia::tools {

// Shows how far something is, on one line of the standard error stream, and takes the line away at its end. Where that
// stream is no console nothing is written at all. One thread at a time.
class ProgressBar {
 public:
  // what: what is being done, ASCII, a few words.
  explicit ProgressBar(std::string what);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar();

  // done, total: in any unit. Writes only when the line changes.
  void show(std::uint64_t done, std::uint64_t total);

 private:
  std::string what_;
  bool isShown_;  // whether there is a console
  std::string line_;
};

// The line: "packing [######--------------]  30 %", the bar 20 characters wide. A total of 0 counts as done.
std::string progressText(const std::string& what, std::uint64_t done, std::uint64_t total);

}  // namespace zuvia::tools
