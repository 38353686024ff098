#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <hxbase/Log.h>

#include "common/ModuleName.h"

namespace zuvia {

// The level of every line of this module. What it means is the host logger's matter.
inline constexpr uint16_t kLogLevel = 1;

// Takes the lines of one record instead of the host's logger. The slot order is fixed.
class LogSink {
 public:
  virtual void write(uint16_t level, const char* className, const char* sourceFile, uint16_t line,
                     const char* functionName, const wchar_t* message, const char* moduleName) = 0;
  virtual bool isEnabled(uint16_t level) = 0;

 protected:
  ~LogSink() = default;
};

// The numbers that a line may hold: no characters, and no booleans, which have words.
template <typename Number>
concept LogNumber = std::integral<Number> && sizeof(Number) >= sizeof(int16_t) && !std::same_as<Number, wchar_t>;

// One log line, built by one statement and given to the host's logger at the end of it, also when
// an exception leaves the statement:
//
//   LogRecord(...) << "Scan directory fail! error: " << code << ", path: " << path;
//
// Lives on the stack of one thread. Appending never throws and never fails visibly; a piece for
// which there is no memory is left out. When the level is disabled nothing is converted, formatted
// or kept, and the host's logger still gets one line, with an empty message: it decides again.
class LogRecord {
 public:
  // The texts are narrow and must outlive the record. sink: see LogSink; null for the host's logger.
  LogRecord(const char* className, uint16_t level, const char* sourceFile, uint16_t line, const char* functionName,
            LogSink* sink = nullptr)
      : className_(className),
        level_(level),
        sourceFile_(sourceFile),
        line_(line),
        functionName_(functionName),
        enabled_(IsLogLevelEnabled(level)),
        sink_(sink) {
    message_ = inline_.data();
    *message_ = L'\0';
  }
  LogRecord(const LogRecord&) = delete;
  LogRecord& operator=(const LogRecord&) = delete;
  ~LogRecord() {
    if (sink_ == nullptr) {
      DoLog2(level_, className_, sourceFile_, line_, functionName_, message_, ownModuleName);
    } else {
      writeToSink();
    }
  }

  // Narrow text, read in the system's ANSI code page.
  LogRecord& append(std::string_view text);
  // UTF-16, taken as it is.
  LogRecord& append(std::wstring_view text);
  // Signed decimal.
  LogRecord& append(int32_t number);
  LogRecord& append(int64_t number);

  // A terminated text is not even measured when the level is disabled.
  LogRecord& operator<<(std::string_view text) { return enabled_ ? append(text) : *this; }
  LogRecord& operator<<(std::wstring_view text) { return enabled_ ? append(text) : *this; }
  LogRecord& operator<<(const char* text) { return enabled_ ? append(std::string_view(text)) : *this; }
  LogRecord& operator<<(const wchar_t* text) { return enabled_ ? append(std::wstring_view(text)) : *this; }
  LogRecord& operator<<(const std::string& text) { return *this << std::string_view(text); }
  LogRecord& operator<<(const std::wstring& text) { return *this << std::wstring_view(text); }

  // "true" or "false".
  LogRecord& operator<<(bool value) { return *this << std::string_view(value ? "true" : "false"); }

  // A number. Whatever int32_t does not hold goes as 64 bits: error codes and other DWORDs come out
  // unsigned, a uint64_t above the signed maximum comes out negative.
  template <LogNumber Number>
  LogRecord& operator<<(Number number) {
    if (!enabled_) {
      return *this;
    }
    if constexpr (std::signed_integral<Number> && sizeof(Number) <= sizeof(int32_t)) {
      return append(static_cast<int32_t>(number));
    } else {
      return append(static_cast<int64_t>(number));
    }
  }

  // The message so far, terminated; its length and how much fits before the buffer grows, both in
  // characters without the terminator.
  const wchar_t* message() const { return message_; }
  uint32_t length() const { return length_; }
  uint32_t capacity() const { return capacity_; }

 private:
  static constexpr uint32_t kInlineSize = 512;

  void writeToSink() const;

  // Makes room for `more` further characters. False when there is no memory for them.
  bool reserve(size_t more);

  std::unique_ptr<wchar_t[]> heap_;
  wchar_t* message_;
  uint32_t length_ = 0;
  uint32_t capacity_ = kInlineSize - 1;
  const char* className_;
  uint16_t level_;
  const char* sourceFile_;
  uint16_t line_;
  const char* functionName_;
  bool enabled_;
  LogSink* sink_;
  std::array<wchar_t, kInlineSize> inline_;  // last, so that whatever else is used lies together
};

}  // namespace zuvia

// The record of one statement, with the line it stands on.
#define ZU_LOG(className, sourceFile, functionName) \
  ::zuvia::LogRecord((className), ::zuvia::kLogLevel, (sourceFile), static_cast<uint16_t>(__LINE__), (functionName))
