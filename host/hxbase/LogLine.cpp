#include "LogLine.h"

#include <windows.h>

#include <algorithm>
#include <string_view>

namespace hxbase {
namespace {

std::wstring widen(const char* ansi) {
  const int size = MultiByteToWideChar(CP_ACP, 0, ansi, -1, nullptr, 0);
  if (size <= 1) return {};
  std::wstring wide(static_cast<size_t>(size), L'\0');
  MultiByteToWideChar(CP_ACP, 0, ansi, -1, wide.data(), size);
  wide.pop_back();  // the terminator was counted and converted
  return wide;
}

std::string toUtf8(std::wstring_view wide) {
  const int length = static_cast<int>(wide.size());
  const int size = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, utf8.data(), size, nullptr, nullptr);
  return utf8;
}

}  // namespace

std::string readableLine(const LogLine& line) {
  std::wstring text = L"[" + std::to_wstring(line.level) + L"] " + widen(line.moduleName) + L' ' +
                      widen(line.sourceFile) + L':' + std::to_wstring(line.line) + L' ' + widen(line.className) + L' ' +
                      widen(line.functionName) + L": " + line.message;
  std::replace_if(
      text.begin(), text.end(), [](wchar_t c) { return c < L' ' || c == 0x7F; }, L' ');
  return toUtf8(text) + '\n';
}

}  // namespace hxbase
