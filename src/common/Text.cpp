#include "common/Text.h"

#include "platform/Windows.h"

namespace zuvia {

namespace {

// The length of null-terminated input includes the terminator; 1 or less means that there is no text.
constexpr int kNullTerminated = -1;

// Returns whether both conversions succeeded.
bool toWide(UINT codePage, DWORD flags, const std::string& narrow, std::wstring& wide) {
  const int length = MultiByteToWideChar(codePage, flags, narrow.c_str(), kNullTerminated, nullptr, 0);
  if (length <= 1) {
    return false;
  }
  wide.resize(static_cast<size_t>(length));
  const int converted = MultiByteToWideChar(codePage, flags, narrow.c_str(), kNullTerminated, wide.data(), length);
  wide.resize(static_cast<size_t>(length) - 1);
  return converted > 0;
}

}  // namespace

std::wstring AnsiToWide(const std::string& narrow) {
  std::wstring wide;
  if (!narrow.empty()) {
    toWide(CP_ACP, 0, narrow, wide);
  }
  return wide;
}

std::string WideToAnsi(const std::wstring& wide) {
  if (wide.empty()) {
    return {};
  }
  const int length = WideCharToMultiByte(CP_ACP, 0, wide.c_str(), kNullTerminated, nullptr, 0, nullptr, nullptr);
  if (length <= 1) {
    return {};
  }
  std::string narrow(static_cast<size_t>(length), '\0');
  WideCharToMultiByte(CP_ACP, 0, wide.c_str(), kNullTerminated, narrow.data(), length, nullptr, nullptr);
  narrow.pop_back();
  return narrow;
}

std::wstring Utf8ToWide(const std::string& narrow) {
  std::wstring wide;
  if (narrow.empty() || toWide(CP_UTF8, MB_ERR_INVALID_CHARS, narrow, wide)) {
    return wide;
  }
  return AnsiToWide(narrow);
}

}  // namespace zuvia
