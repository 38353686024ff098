#include "Text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

namespace zuvia::fuzz {

namespace {

uint32_t byteAt(std::string_view bytes, size_t at) {
  return static_cast<unsigned char>(bytes[at]);
}

// How many bytes a character takes that begins with this one; 0: none does.
size_t utf8Length(uint32_t first) {
  if (first < 0x80) return 1;
  if (first < 0xC2) return 0;
  if (first < 0xE0) return 2;
  if (first < 0xF0) return 3;
  return first < 0xF5 ? 4 : 0;
}

// Whether a character of three or four bytes is in its shortest form and is one.
bool isCharacter(uint32_t value, size_t length) {
  if (length == 3) return value >= 0x800 && (value < 0xD800 || value > 0xDFFF);
  return length != 4 || (value >= 0x10000 && value <= 0x10FFFF);
}

// How many bytes the character at the beginning takes; 0 when there is none.
size_t leadingCharacter(std::string_view bytes) {
  const size_t length = utf8Length(byteAt(bytes, 0));
  if (length == 0 || bytes.size() < length) return 0;
  uint32_t value = length == 1 ? byteAt(bytes, 0) : byteAt(bytes, 0) & (0x7FU >> length);
  for (size_t i = 1; i < length; ++i) {
    if ((byteAt(bytes, i) & 0xC0) != 0x80) return 0;
    value = value << 6 | (byteAt(bytes, i) & 0x3F);
  }
  return isCharacter(value, length) ? length : 0;
}

void enter(std::vector<std::wstring>& path, const std::wstring& component) {
  if (component.empty() || component == L".") return;
  if (component == L".." && !path.empty() && path.back() != L"..") {
    path.pop_back();
  } else {
    path.push_back(component);
  }
}

}  // namespace

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  for (size_t at = 0; (at = text.find(separator)) != std::string_view::npos; text.remove_prefix(at + 1)) {
    pieces.push_back(text.substr(0, at));
  }
  pieces.push_back(text);
  return pieces;
}

std::string quoted(std::string_view bytes) {
  std::string text = "\"";
  for (const char byte : bytes) {
    if (static_cast<unsigned char>(byte) < 0x20 || byte == '"' || byte == '\\') {
      std::array<char, 7> escape = {};
      std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(byte));
      text += escape.data();
    } else {
      text += byte;
    }
  }
  return text + '"';
}

bool isUtf8(std::string_view bytes) {
  while (!bytes.empty()) {
    const size_t length = leadingCharacter(bytes);
    if (length == 0) return false;
    bytes.remove_prefix(length);
  }
  return true;
}

std::wstring wideName(std::string_view bytes) {
  std::wstring name;
  for (size_t at = 0; at + 1 < bytes.size(); at += 2) {
    const auto unit = static_cast<wchar_t>(byteAt(bytes, at) | byteAt(bytes, at + 1) << 8);
    if (unit == L'\0') break;
    name += unit;
  }
  return name;
}

std::vector<std::wstring> resolved(std::wstring_view path) {
  std::vector<std::wstring> components;
  std::wstring component;
  for (const wchar_t character : path) {
    if (character == L'\\' || character == L'/') {
      enter(components, component);
      component.clear();
    } else {
      component += character;
    }
  }
  enter(components, component);
  return components;
}

bool isAtOrBelow(const std::vector<std::wstring>& path, const std::vector<std::wstring>& directory) {
  return path.size() >= directory.size() && std::equal(directory.begin(), directory.end(), path.begin());
}

}  // namespace zuvia::fuzz
