#pragma once

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "support/ChildProcess.h"
#include "support/Files.h"

namespace zuvia::test {

// How a program ended, and what it wrote.
struct Ended {
  unsigned long status;
  std::string output;
  std::string error;
};

// Runs one of the tools to its end; 999 is the status of one that does not come to an end.
inline Ended runTool(const std::wstring& name, const std::vector<std::wstring>& arguments) {
  constexpr unsigned kLineMs = 60'000;
  ChildProcess process(joinPath(programDirectory(), name), arguments);
  std::string output;
  while (const auto line = process.readLine(kLineMs)) output += *line + "\n";
  const unsigned long status = process.waitForExit().value_or(999);
  // What a failure has to say may still be on its way.
  for (int attempt = 0; attempt < 500 && status != 0 && process.errorText().empty(); ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return {status, output, process.errorText()};
}

}  // namespace zuvia::test
