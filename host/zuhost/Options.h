#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace zuhost {

struct Options {
  enum class Mode {
    Session,  // commands from the standard input
    Run,      // commands from the script
    Status,   // no session
  };

  Mode mode = Mode::Session;
  std::filesystem::path script;
  std::optional<std::filesystem::path> appPath;
  std::optional<std::filesystem::path> plugin;
  std::optional<std::filesystem::path> recording;
  bool json = false;
  bool levelOff = false;
};

// The command line asks for something else than a run: what to print, and the exit status.
struct Refusal {
  std::string text;
  int status;
};

// Reads the arguments that follow the program's name, in UTF-8.
// Throws Refusal for --help and --version (status 0, for the standard output) and for anything
// that is wrong (status 2, one line for the standard error).
Options parseOptions(std::vector<std::string> arguments);

}  // namespace zuhost
