#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "support/WideText.h"

namespace zuvia::test {

// One line as it reached the host's logger.
struct LogLine {
  std::uint16_t level = 0;
  std::string className;  // narrow texts as they came, in the system's code page
  std::string sourceFile;
  std::uint16_t line = 0;
  std::string functionName;
  WideText message;
  std::string moduleName;
  unsigned long threadId = 0;  // the thread that logged

  friend void PrintTo(const LogLine& line, std::ostream* stream);
};

// Receives the lines that reach hxbase.dll, instead of the standard error stream, for as long as it lives.
// One at a time in a process. All operations: any thread.
class LogCapture {
 public:
  LogCapture();

  // When it returns, no line comes any more; lines go to the standard error stream again.
  ~LogCapture();

  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // The lines so far, in the order in which they came.
  std::vector<LogLine> lines() const;

  // Their messages, in the same order.
  std::vector<WideText> messages() const;

  // Waits until a line with exactly this message has come; one that came before counts. Returns whether it
  // came within that time.
  bool waitFor(const std::wstring& message, unsigned milliseconds = 10000) const;

  // The same for a message that begins with these characters.
  bool waitForStart(const std::wstring& start, unsigned milliseconds = 10000) const;

  // Forgets the lines so far, and gives their memory back.
  void clear();

 private:
  static void receive(void* context, std::uint16_t level, const char* className, const char* sourceFile,
                      std::uint16_t line, const char* functionName, const wchar_t* message, const char* moduleName);
  template <typename Predicate>
  bool waitUntil(unsigned milliseconds, Predicate matches) const;

  mutable std::mutex mutex_;
  mutable std::condition_variable arrived_;
  std::vector<LogLine> lines_;
};

}  // namespace zuvia::test
