#include "shared/Utf8.h"

#include <array>
#include <cstdint>
#include <cstdio>

#include "platform/Windows.h"

namespace zuvia::tools {
namespace {

std::string escaped(char byte) {
  std::array<char, 5> text{};
  std::snprintf(text.data(), text.size(), "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
  return text.data();
}

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

struct Lead {
  std::size_t length;  // of the whole sequence, 0 for a byte that begins none
  std::uint32_t bits;
  std::uint32_t least;  // smallest character that needs this length
};

Lead leadOf(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  if (value < 0x80) return {1, value, 0};
  if ((value & 0xE0) == 0xC0) return {2, value & 0x1Fu, 0x80};
  if ((value & 0xF0) == 0xE0) return {3, value & 0x0Fu, 0x800};
  if ((value & 0xF8) == 0xF0) return {4, value & 0x07u, 0x10000};
  return {0, 0, 0};
}

bool isShown(std::uint32_t character) {
  const bool isControl = character < 0x20 || (character >= 0x7F && character < 0xA0);
  const bool isLineBreak = character == 0x2028 || character == 0x2029;
  const bool isDirection = (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
  const bool isSurrogate = character >= 0xD800 && character < 0xE000;
  return !isControl && !isLineBreak && !isDirection && !isSurrogate && character <= 0x10FFFF;
}

// The length of the character that the text begins with when it is a valid one that may be shown, else 0.
std::size_t shownLength(std::string_view text) {
  const Lead lead = leadOf(text.front());
  if (lead.length == 0 || lead.length > text.size()) return 0;
  std::uint32_t character = lead.bits;
  for (const char byte : text.substr(1, lead.length - 1)) {
    if (!isContinuation(byte)) return 0;
    character = (character << 6) | (static_cast<unsigned char>(byte) & 0x3Fu);
  }
  return character >= lead.least && isShown(character) ? lead.length : 0;
}

}  // namespace

std::wstring toWide(std::string_view utf8) {
  const auto length = static_cast<int>(utf8.size());
  const int size = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, wide.data(), size);
  return wide;
}

std::string toUtf8(std::wstring_view wide) {
  const auto length = static_cast<int>(wide.size());
  const int size = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, utf8.data(), size, nullptr, nullptr);
  return utf8;
}

std::string printable(std::string_view utf8) {
  std::string result;
  while (!utf8.empty()) {
    const std::size_t length = shownLength(utf8);
    if (length == 0) {
      result += escaped(utf8.front());
    } else {
      result += utf8.substr(0, length);
    }
    utf8.remove_prefix(length == 0 ? 1 : length);
  }
  return result;
}

std::string quoted(std::string_view utf8) {
  std::string result = "\"";
  for (const char byte : utf8) {
    if (byte == '"' || byte == '\\') result += '\\';
    result += byte;
  }
  return printable(result + '"');
}

}  // namespace zuvia::tools
