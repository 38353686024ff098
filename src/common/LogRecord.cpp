#include "common/LogRecord.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <new>

#include "platform/Windows.h"

namespace zuvia {

namespace {

// Enough for any 64-bit number with its sign.
constexpr size_t kNumberSize = 32;

template <typename Number>
LogRecord& appendNumber(LogRecord& record, Number number) {
  std::array<char, kNumberSize> digits;
  const std::to_chars_result result = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  std::array<wchar_t, kNumberSize> wide;
  wchar_t* const end = std::copy(digits.data(), result.ptr, wide.data());
  return record.append(std::wstring_view(wide.data(), static_cast<size_t>(end - wide.data())));
}

}  // namespace

void LogRecord::writeToSink() const {
  if (sink_->isEnabled(level_)) {
    sink_->write(level_, className_, sourceFile_, line_, functionName_, message_, ownModuleName);
  }
}

LogRecord& LogRecord::append(std::string_view text) {
  // No code page makes more UTF-16 units of a text than it has bytes.
  if (!enabled_ || text.empty() || !reserve(text.size())) {
    return *this;
  }
  const int size = static_cast<int>(text.size());
  length_ += static_cast<uint32_t>(MultiByteToWideChar(CP_ACP, 0, text.data(), size, message_ + length_, size));
  message_[length_] = L'\0';
  return *this;
}

LogRecord& LogRecord::append(std::wstring_view text) {
  if (!enabled_ || text.empty() || !reserve(text.size())) {
    return *this;
  }
  std::copy(text.begin(), text.end(), message_ + length_);
  length_ += static_cast<uint32_t>(text.size());
  message_[length_] = L'\0';
  return *this;
}

LogRecord& LogRecord::append(int32_t number) {
  return enabled_ ? appendNumber(*this, number) : *this;
}

LogRecord& LogRecord::append(int64_t number) {
  return enabled_ ? appendNumber(*this, number) : *this;
}

bool LogRecord::reserve(size_t more) {
  const size_t needed = length_ + more;
  if (needed <= capacity_) {
    return true;
  }
  constexpr size_t kMaxSize = std::numeric_limits<int32_t>::max();
  if (more > kMaxSize || needed >= kMaxSize) {
    return false;
  }
  size_t size = kInlineSize;
  while (size < needed + 1) {
    size *= 2;
  }
  std::unique_ptr<wchar_t[]> grown(new (std::nothrow) wchar_t[size]);
  if (!grown) {
    return false;
  }
  std::copy(message_, message_ + length_ + 1, grown.get());
  heap_ = std::move(grown);
  message_ = heap_.get();
  capacity_ = static_cast<uint32_t>(size - 1);
  return true;
}

}  // namespace zuvia
