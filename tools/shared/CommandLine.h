#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace zuvia::tools {

// What the tools return to their caller.
inline constexpr int kDone = 0;
inline constexpr int kCheckFailed = 1;  // the tool did its work; what it looked at is not in order
inline constexpr int kBadInput = 2;     // bad usage, or something that cannot be read or written

// Ends a tool with a message, UTF-8 and without the tool's name, and an exit status.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& message, int exitStatus = kBadInput)
      : std::runtime_error(message), status_(exitStatus) {}
  int status() const { return status_; }

 private:
  int status_;
};

// What the value of an option stands for. parse: from the value; what it refuses passes on with the option's name.
template <typename Parse>
auto parsedOption(const std::string& option, const std::string& value, Parse parse) {
  try {
    return parse(value);
  } catch (const Failure& failure) {
    throw Failure(option + ": " + failure.what(), failure.status());
  }
}

// Returns the process's arguments in UTF-8, without the program's name.
std::vector<std::string> commandLineArguments();

// Parses the arguments and runs the callbacks of the commands among them. Help and version go to the
// standard output stream. Whatever is thrown on the way becomes one line on the standard error stream,
// "NAME: message", NAME being the app's; bad usage is led to the help.
// Returns the exit status: that of a Failure, kBadInput for any other exception, else kDone.
int runTool(CLI::App& app, std::vector<std::string> arguments);

}  // namespace zuvia::tools
