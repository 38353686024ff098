#include "Text.h"

#include <windows.h>

namespace zuhost {
namespace {

std::wstring widened(std::string_view bytes, UINT codePage) {
  const int length = static_cast<int>(bytes.size());
  const int size = MultiByteToWideChar(codePage, 0, bytes.data(), length, nullptr, 0);
  std::wstring wide(static_cast<size_t>(size), L'\0');
  MultiByteToWideChar(codePage, 0, bytes.data(), length, wide.data(), size);
  return wide;
}

}  // namespace

std::string utf8Of(std::wstring_view wide) {
  const int length = static_cast<int>(wide.size());
  const int size = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, utf8.data(), size, nullptr, nullptr);
  return utf8;
}

std::wstring wideOf(std::string_view utf8) {
  return widened(utf8, CP_UTF8);
}

std::string utf8OfAnsi(std::string_view ansi) {
  return utf8Of(widened(ansi, CP_ACP));
}

std::u32string codePointsOf(std::string_view utf8) {
  std::u32string characters;
  for (const wchar_t unit : wideOf(utf8)) {
    if (IS_LOW_SURROGATE(unit) && !characters.empty() && IS_HIGH_SURROGATE(characters.back())) {
      characters.back() = 0x10000 + ((characters.back() & 0x3FF) << 10) + (unit & 0x3FFU);
    } else {
      characters += unit;
    }
  }
  return characters;
}

std::string utf8OfCodePoints(std::u32string_view characters) {
  std::wstring wide;
  for (const char32_t character : characters) {
    if (character < 0x10000) {
      wide += static_cast<wchar_t>(character);
    } else {
      wide += static_cast<wchar_t>(0xD800 + ((character - 0x10000) >> 10));
      wide += static_cast<wchar_t>(0xDC00 + (character & 0x3FF));
    }
  }
  return utf8Of(wide);
}

std::string validUtf8(std::string_view bytes) {
  return utf8Of(wideOf(bytes));
}

}  // namespace zuhost
