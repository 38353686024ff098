#include "support/LogCapture.h"

#include <hxbase/LogControl.h>
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <string_view>

namespace zuvia::test {

void PrintTo(const LogLine& line, std::ostream* stream) {
  *stream << "level " << line.level << ' ' << line.className << ' ' << line.sourceFile << ':' << line.line << ' '
          << line.functionName << " [" << line.moduleName << "] ";
  PrintTo(line.message, stream);
}

LogCapture::LogCapture() {
  HxSetLogSink(&LogCapture::receive, this);
}

LogCapture::~LogCapture() {
  HxSetLogSink(nullptr, nullptr);
}

std::vector<LogLine> LogCapture::lines() const {
  const std::lock_guard lock(mutex_);
  return lines_;
}

std::vector<WideText> LogCapture::messages() const {
  const std::lock_guard lock(mutex_);
  std::vector<WideText> messages;
  for (const LogLine& line : lines_) messages.push_back(line.message);
  return messages;
}

bool LogCapture::waitFor(const std::wstring& message, unsigned milliseconds) const {
  return waitUntil(milliseconds, [&](std::wstring_view text) { return text == message; });
}

bool LogCapture::waitForStart(const std::wstring& start, unsigned milliseconds) const {
  return waitUntil(milliseconds, [&](std::wstring_view text) { return text.starts_with(start); });
}

void LogCapture::clear() {
  const std::lock_guard lock(mutex_);
  std::vector<LogLine>().swap(lines_);
}

void LogCapture::receive(void* context, std::uint16_t level, const char* className, const char* sourceFile,
                         std::uint16_t line, const char* functionName, const wchar_t* message, const char* moduleName) {
  // The logger promises its callers to leave their last error alone only as far as its sink does.
  const DWORD lastError = GetLastError();
  auto& self = *static_cast<LogCapture*>(context);
  const std::lock_guard lock(self.mutex_);
  self.lines_.push_back(
      {level, className, sourceFile, line, functionName, std::wstring(message), moduleName, GetCurrentThreadId()});
  self.arrived_.notify_all();
  SetLastError(lastError);
}

template <typename Predicate>
bool LogCapture::waitUntil(unsigned milliseconds, Predicate matches) const {
  std::unique_lock lock(mutex_);
  return arrived_.wait_for(lock, std::chrono::milliseconds(milliseconds), [&] {
    return std::any_of(lines_.begin(), lines_.end(), [&](const LogLine& line) { return matches(line.message); });
  });
}

}  // namespace zuvia::test
