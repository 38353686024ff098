#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zuvia::test {

// A program that a test starts and talks to by lines. It ends with the object at the latest, and with the
// test's own process if that dies. One thread at a time.
class ChildProcess {
 public:
  // Starts a program, which inherits nothing but its three standard streams.
  // program: its path. arguments: as it is to see them. Throws std::system_error when it cannot be started.
  explicit ChildProcess(const std::wstring& program, const std::vector<std::wstring>& arguments = {});

  // Ends it, if it has not ended.
  ~ChildProcess();

  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  unsigned long id() const;

  // Writes a line to its standard input; the line break is added. Returns false when it does not read any more.
  bool writeLine(std::string_view line);

  // Its standard input ends.
  void closeInput();

  // Takes the next line from its standard output, without the line break. Nothing: it ended its output, or no
  // line came within that time.
  std::optional<std::string> readLine(unsigned milliseconds = 10000);

  // Takes lines until one meets the condition, and returns that one. The time is for all of them together.
  std::optional<std::string> readUntil(const std::function<bool(const std::string&)>& condition,
                                       unsigned milliseconds = 10000);

  // What it has written to its standard error stream so far; once it has ended, all of it.
  std::string errorText() const;

  // Waits for its end. Returns its exit status; nothing: it still runs.
  std::optional<unsigned long> waitForExit(unsigned milliseconds = 10000);

  // Ends it at once, wherever it is; its exit status is 999. Returns when it has ended.
  void terminate();

 private:
  struct Private;
  std::unique_ptr<Private> m;
};

// Joins arguments to a command line from which a program takes them apart again as they were.
std::wstring commandLine(const std::wstring& program, const std::vector<std::wstring>& arguments);

}  // namespace zuvia::test
