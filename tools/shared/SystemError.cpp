#include "shared/SystemError.h"

#include <array>
#include <string_view>

#include "platform/Windows.h"
#include "shared/Utf8.h"

namespace zuvia::tools {
namespace {

constexpr DWORD kFlags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
constexpr DWORD kEnglish = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);

std::wstring_view messageOf(DWORD code, std::array<wchar_t, 512>& buffer) {
  const auto capacity = static_cast<DWORD>(buffer.size());
  DWORD length = FormatMessageW(kFlags, nullptr, code, kEnglish, buffer.data(), capacity, nullptr);
  if (length == 0) length = FormatMessageW(kFlags, nullptr, code, 0, buffer.data(), capacity, nullptr);
  std::wstring_view text(buffer.data(), length);
  while (!text.empty() && (text.back() <= L' ' || text.back() == L'.')) text.remove_suffix(1);
  return text;
}

}  // namespace

std::string systemErrorText(std::uint32_t code) {
  std::array<wchar_t, 512> buffer{};
  const std::string number = "error " + std::to_string(code);
  const std::wstring_view text = messageOf(code, buffer);
  return text.empty() ? number : toUtf8(text) + " (" + number + ")";
}

}  // namespace zuvia::tools
